// One access point: its radios and networks, what was ordered and what is, whom it hears, its clients, its messages.
import { h, keep_children, row, set_attribute, set_hidden, set_text, soon, table, empty } from "../dom.js";
import { band_name, count, date_and_time, dbm, decimal, minus, place, precise_time, short_mac, span, without_envelope } from "../format.js";
import { access_points, agent_key, condition, find_agent, scan_progress } from "../state.js";
import { line_chart, load_chart } from "../charts.js";

const heard_rows = 60;

// What a radio was told, beside what it says: [name, ordered, is, agrees].
function comparison(radio, ordered) {
    const told = ordered?.radios?.find((one) => one.id === radio.id) ?? {};
    const unit = { bandwidth: " MHz", power: " dBm" };
    return ["channel", "bandwidth", "primary", "power"].map((name) => {
        const wanted = told[name];
        const matters = wanted !== undefined && (name !== "primary" || radio.bandwidth === 40);
        return [name, matters ? `${wanted}${unit[name] ?? ""}` : "–", `${radio[name] ?? "–"}${unit[name] ?? ""}`, !matters || String(wanted) === String(radio[name])];
    });
}

function radio_card(radio, agent) {
    const rows = comparison(radio, agent.ordered).map(([name, wanted, is, agrees]) => h("tr", { "data-differs": !agrees },
        h("th", { scope: "row", text: name }), h("td", { class: "number", text: wanted }),
        h("td", { class: "number" }, is, !agrees && h("span", { class: "badge", text: "differs" }))));
    const vaps = (radio.vaps ?? []).map((vap) => row([{ text: vap.ssid, class: "ssid" }, { text: vap.mac, class: "mac" },
        [vap.kv && "11k/v", vap.ft && "11r"].filter(Boolean).join(" ") || "–"]));
    const locked = radio.locked?.length ? h("span", { class: "quiet", text: `locked: ${radio.locked.join(", ")}` }) : null;
    return h("article", { class: "sheet card" },
        h("div", { class: "title" }, h("h2", { text: `Radio ${radio.id}` }), h("span", { class: "quiet", text: band_name(radio.band) }),
            h("span", { class: "state", "data-kind": radio.active ? "good" : "gone", text: radio.active ? "up" : "down" })),
        radio.active && h("p", { class: "large number" }, `${place(radio)}`, h("small", { text: ` ${minus(radio.power)} dBm of ${minus(radio["power-min"])}…${minus(radio["power-max"])}` })),
        h("p", { class: "quiet", text: radio.load === undefined ? "load not known before a scan" : `load ${decimal(radio.load)} on its channels` }), locked,
        table(`Ordered and is, radio ${radio.id}`, ["", "Ordered", "Is"], h("tbody", {}, rows)),
        vaps.length > 0 && table(`Networks of radio ${radio.id}`, ["SSID", "BSSID", "Roaming"], h("tbody", {}, vaps)),
        h("p", { class: "quiet", text: radio.available?.length ? `may use ${radio.available.join(" ")}` : "" }));
}

export function agent_view(context) {
    let key = "";
    const choice = h("select", { "aria-label": "Access point", onchange: () => (location.hash = context.link_to("agent", choice.value)) });
    const state = h("span", { class: "state" });
    const facts = h("p", { class: "facts" });
    const meter = h("progress", { max: 1, "aria-label": "Scan" });
    const scan_text = h("span", {});
    const scan = h("p", { class: "scan", hidden: true }, "Scan", meter, scan_text);
    const cards = h("div", { class: "cards" });
    const loads = load_chart("Load of each channel in the last report");
    const signals = line_chart("Signal of the clients over time", "dBm");
    const heard = h("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": "Networks it hears" });
    const clients = h("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": "Clients" });
    const neighbours = h("div");
    const messages = h("ol", { class: "log small" });
    const message_parts = new Map();
    const all_messages = h("a", { class: "button", text: "All of its messages" });
    const heard_title = h("span", { class: "quiet" });
    const body = h("div", {},
        h("div", { class: "facts-line" }, state, facts), scan, cards,
        h("div", { class: "two" },
            h("article", { class: "sheet" }, h("h2", { text: "Load of each channel" }), loads.element, h("p", { class: "quiet", text: "● in use by this access point" })),
            h("article", { class: "sheet" }, h("h2", { text: "Clients" }), signals.element, clients)),
        h("div", { class: "two" },
            h("article", { class: "sheet" }, h("div", { class: "title" }, h("h2", { text: "Hears" }), heard_title), heard),
            h("article", { class: "sheet" }, h("h2", { text: "802.11k list, as ordered" }), neighbours)),
        h("article", { class: "sheet flat" }, h("div", { class: "title" }, h("h2", { text: "Messages" }), all_messages), messages));
    const nothing = empty("No access point has connected yet.");
    const element = h("section", { class: "view", "aria-label": "Agent" }, h("div", { class: "head" }, h("h1", { text: "Agent" }), h("div", { class: "tools" }, choice)), nothing, body);

    const agent = () => find_agent(context.state, key) ?? (key ? undefined : access_points(context.state).sort((a, b) => (agent_key(a) < agent_key(b) ? -1 : 1))[0]);

    function list_agents(chosen) {
        const wanted = access_points(context.state).map(agent_key).sort();
        if (choice.dataset.signature !== wanted.join()) {
            choice.dataset.signature = wanted.join();
            choice.replaceChildren(...wanted.map((value) => h("option", { value, text: value })));
        }
        if (chosen) choice.value = agent_key(chosen);
    }

    function draw_state(one) {
        const [kind, word] = condition(one);
        set_attribute(state, "data-kind", kind);
        set_text(state, word);
        set_text(facts, [one.mac, one.domain, one.address, one.protocol, `connected ${date_and_time(one.connected)}`, `${count(one.received, "message")} received`,
            count(one.violations, "violation"), one.closed && `gone: ${one.reason}`].filter(Boolean).join(" · "));
        cards.replaceChildren(...(one.radios ?? []).map((radio) => radio_card(radio, one)));
        const switches = ["use-dca", "use-tpc", "use-80211v", "use-80211r"].filter((name) => one.ordered?.[name] !== undefined).map((name) => `${name} ${one.ordered[name]}`);
        const list = (one.neighbours ?? []).map((other) => row([{ text: other.mac, class: "mac" }, other.channel, other.priority, (other.vaps ?? []).map((vap) => vap.ssid).join(", ")]));
        neighbours.replaceChildren(list.length ? table("802.11k neighbours", ["Access point", "Channel", "Priority", "SSIDs"], h("tbody", {}, list)) : empty("None was handed out."),
            h("p", { class: "quiet", text: switches.length ? `switches: ${switches.join(", ")}` : "" }));
    }

    async function draw_report(one) {
        const [report, known] = await Promise.all([context.ask("report", { agent: one.id }), context.ask("clients", { agent: one.id })]);
        if (agent()?.id !== one.id || !element.isConnected) return;
        const last = context.state.reports.get(one.id);
        if (last) loads.set(last.load);
        set_text(heard_title, report.ok ? `${count(report.heard.length, "network")}, ${span(context.now() - report.time)} ago` : "");
        const name = (id) => short_mac(context.state.agents.get(id)?.mac) || `#${id}`;
        heard.replaceChildren(report.ok && report.heard.length ? table("Networks it hears, the loudest first", ["BSSID", "Whose", "Heard", "Channel", "Width", "Rounds"], h("tbody", {},
            [...report.heard].sort((a, b) => b.rssi - a.rssi).slice(0, heard_rows).map((bss) => row([{ text: bss.bssid, class: "mac" },
                bss.owner === undefined ? "foreign" : bss.owner === one.id ? "itself" : `${name(bss.owner)} ${bss.ssid ?? ""}`, dbm(bss.rssi), bss.channel, `${bss.bandwidth} MHz`, bss.rounds])))) : empty("No scan was reported yet."));
        draw_clients(known.ok ? known.clients : []);
    }

    function draw_clients(list) {
        const lines = list.filter((client) => client.points.some(([, rssi]) => rssi)).map((client) => ({ name: client.mac, points: client.points.filter(([, rssi]) => rssi) }));
        set_hidden(signals.element, lines.length === 0);
        if (lines.length) signals.set(lines.sort((a, b) => b.points.length - a.points.length).slice(0, 12));
        clients.replaceChildren(list.length ? table("Clients", ["Client", "Network", "Radio", "Signal", ""], h("tbody", {}, list.map((client) =>
            row([{ text: client.mac, class: "mac" }, { text: client.ssid, class: "ssid" }, client.radio ?? "–", dbm(client.points.at(-1)?.[1]), client.here ? "here" : "left"])))) : empty("No client."));
    }

    async function draw_messages(one) {
        const reply = await context.ask("entries", { agent: one.id, limit: 12 });
        if (!reply.ok || agent()?.id !== one.id) return;
        const sign = { received: "→", sent: "←" };
        keep_children(messages, message_parts, reply.entries, (entry) => `${entry.seq} ${entry.time}`, (entry) => ({ element: h("li", { "data-bad": entry.cmd === "violation" },
            h("time", { class: "number", text: precise_time(entry.time) }), h("span", { class: "way", "data-way": entry.direction, text: sign[entry.direction] ?? "•" }),
            h("b", { class: "cmd", text: entry.cmd || "–" }), h("span", { class: "said", text: without_envelope(entry.text ?? "") })) }), () => {});
    }

    function tick() {
        const one = agent();
        const progress = one && !one.closed ? scan_progress(one.scan, context.now()) : null;
        set_hidden(scan, !progress);
        if (!progress) return;
        meter.value = progress.part;
        set_text(scan_text, progress.text);
    }

    function redraw() {
        const one = agent();
        list_agents(one);
        set_hidden(body, !one);
        set_hidden(nothing, Boolean(one));
        set_text(nothing, key ? "This access point is not known here." : "No access point has connected yet.");
        if (!one) return;
        set_attribute(all_messages, "href", context.link_to("messages", agent_key(one)));
        draw_state(one);
        tick();
        draw_soon();
    }

    const draw_soon = soon(150, () => {
        const one = agent();
        if (!one || !element.isConnected) return;
        draw_report(one);
        draw_messages(one);
    });

    return {
        element,
        show: (parameter) => (key = parameter),
        update(changes) {
            const one = agent();
            if (changes.all || !one || [...changes.agents].some((id) => context.state.agents.get(id)?.mac === one.mac)) redraw();
            else if (changes.reports.has(one.id) || changes.messages.some((entry) => entry.agent === one.id)) draw_soon();
        },
        tick,
    };
}
