// The domain: a row per access point. Rows are built once and written to only where something changed.
import { h, keep_children, set_attribute, set_hidden, set_text, empty } from "../dom.js";
import { count, decimal, minus, place, span } from "../format.js";
import { access_points, agent_key, clients_of, condition, radio_of_band, scan_progress } from "../state.js";
import { bands } from "../channels.js";

const columns = [
    ["state", "State", (a) => condition(a)[1]],
    ["name", "Access point", agent_key],
    ["domain", "Domain", (a) => a.domain ?? ""],
    ["radio2", "2.4 GHz", (a) => radio_of_band(a, 2)?.channel ?? 999],
    ["radio5", "5 GHz", (a) => radio_of_band(a, 5)?.channel ?? 999],
    ["clients", "Clients", (a) => -clients_of(a)],
    ["scan", "Scan", (a) => -(a.scan?.begun ?? 0)],
    ["heard", "Last report", (a) => a.heard],
    ["violations", "Violations", (a) => -a.violations],
];

const filters = {
    all: ["All", () => true],
    good: ["Subscribed", (a) => !a.closed && a.subscribed],
    trouble: ["In trouble", (a) => a.closed || !a.subscribed || a.violations > 0 || (a.radios ?? []).some((radio) => !radio.active)],
    scanning: ["Scanning", (a) => Boolean(a.scan)],
};

function load_bar() {
    const fill = h("span", { class: "fill" });
    const element = h("span", { class: "load", role: "img" }, fill);
    return {
        element,
        set(load) {
            set_hidden(element, load === undefined);
            if (load === undefined) return;
            fill.style.setProperty("--part", Math.min(load / 4, 1).toFixed(3));
            set_attribute(element, "data-level", load >= 2.5 ? "high" : load >= 1 ? "middle" : "low");
            set_attribute(element, "aria-label", `load ${decimal(load)}`);
            set_attribute(element, "title", `load ${decimal(load)}: the part of the air that others take, summed up`);
        },
    };
}

function radio_cell(label) {
    const where = h("b");
    const power = h("span", { class: "quiet" });
    const load = load_bar();
    const more = h("span", { class: "quiet" });
    const element = h("td", { class: "radio", "data-label": label }, h("span", { class: "place" }, where, power), h("span", { class: "place small" }, load.element, more));
    return {
        element,
        set(radio) {
            set_attribute(element, "data-off", !radio || !radio.active);
            set_text(where, !radio ? "–" : radio.active ? place(radio) : "down");
            const clients = radio?.clients?.length ?? 0;
            set_text(power, radio?.active ? `${minus(radio.power)} dBm` : "");
            const loaded = radio?.load === undefined ? "" : `load ${radio.load.toFixed(1)} · `;
            set_text(more, radio?.active ? loaded + count(clients, "client") : "");
            load.set(radio?.active ? radio.load : undefined);
        },
    };
}

function make_row(context, agent) {
    const key = agent_key(agent);
    const cell = (label, ...children) => h("td", { "data-label": label }, children);
    const state = h("span", { class: "state" });
    const name = h("a", { href: context.link_to("agent", key), text: agent.mac || "unnamed" });
    const number = h("span", { class: "quiet" });
    const domain = cell("Domain");
    const radios = bands.map((band) => radio_cell(band === 2 ? "2.4 GHz" : "5 GHz"));
    const clients = cell("Clients");
    const meter = h("progress", { max: 1, "aria-label": `Scan of ${key}` });
    const scan_text = h("span", { class: "quiet" });
    const age = cell("Last report");
    const violations = h("span", {});
    for (const one of [clients, age]) one.classList.add("number");
    const element = h("tr", { "data-agent": key }, cell("State", state),
        h("th", { scope: "row", "data-label": "Access point" }, h("span", { class: "mac" }, name), number), domain,
        radios.map((radio) => radio.element), clients, h("td", { class: "scan", "data-label": "Scan" }, meter, scan_text), age,
        cell("Violations", violations));
    return { element, state, number, domain, radios, clients, meter, scan_text, age, violations, shown: null };
}

function write_row(parts, agent, now) {
    const fresh = parts.shown !== agent; // the state replaces an agent's object whenever something changed
    parts.shown = agent;
    set_text(parts.age, agent.heard ? `${span(now - agent.heard)} ago` : "never");
    const scan = scan_progress(agent.closed ? null : agent.scan, now);
    set_hidden(parts.meter, !scan);
    set_text(parts.scan_text, scan?.text ?? "");
    set_attribute(parts.scan_text, "data-late", scan?.late);
    if (scan && Math.abs(parts.meter.value - scan.part) > 0.004) parts.meter.value = scan.part;
    if (!fresh) return;
    const [kind, word] = condition(agent);
    set_attribute(parts.state, "data-kind", kind);
    set_attribute(parts.state, "title", agent.closed ? agent.reason : `${agent.address}, ${agent.protocol}`);
    set_text(parts.state, word);
    set_attribute(parts.element, "data-kind", kind);
    set_text(parts.number, `connection ${agent.id}`);
    set_text(parts.domain, agent.domain || "–");
    bands.forEach((band, index) => parts.radios[index].set(radio_of_band(agent, band)));
    set_text(parts.clients, clients_of(agent));
    set_text(parts.violations, agent.violations || "–");
    set_attribute(parts.violations, "class", agent.violations ? "badge" : "quiet");
}

export function domain_view(context) {
    const parts = new Map();
    const totals = h("dl", { class: "totals" });
    const total_parts = new Map();
    let sorted_by = "name";
    let backwards = false;
    let filter = "all";
    let stale = true;

    const search = h("input", { type: "search", placeholder: "Address, domain, SSID, channel", "aria-label": "Search access points", oninput: redraw });
    const choice = h("select", { "aria-label": "Show", onchange: () => redraw((filter = choice.value)) },
        Object.entries(filters).map(([key, [text]]) => h("option", { value: key, text })));
    const body = h("tbody");
    const heads = columns.map(([key, text]) => h("th", { scope: "col", "data-key": key },
        h("button", { class: "sort", text, onclick: () => sort_by(key) })));
    const nobody = empty("No access point has connected yet.");
    const listed = h("table", { class: "domain" }, h("caption", { class: "unseen", text: "Access points of the domain" }),
        h("thead", {}, h("tr", {}, heads)), body);
    const element = h("section", { class: "view", "aria-label": "Domain" },
        h("div", { class: "head" }, h("h1", { text: "Domain" }), totals, h("div", { class: "tools" }, search, choice)),
        h("div", { class: "sheet scroll", tabindex: 0, role: "region", "aria-label": "Access points" }, listed, nobody));

    function sort_by(key) {
        backwards = key === sorted_by ? !backwards : false;
        sorted_by = key;
        redraw();
    }

    function texts_of(agent) {
        const radios = (agent.radios ?? []).flatMap((radio) => [radio.channel, ...(radio.vaps ?? []).flatMap((vap) => [vap.ssid, vap.mac])]);
        return [agent.mac, agent.domain, agent.address, condition(agent)[1], ...radios].join(" ").toLowerCase();
    }

    function chosen() {
        const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
        const wanted = access_points(context.state).filter((agent) => filters[filter][1](agent) &&
            (words.length === 0 || words.every((word) => texts_of(agent).includes(word))));
        const value = columns.find(([key]) => key === sorted_by)[2];
        const compare = (a, b) => (a < b ? -1 : a > b ? 1 : 0);
        wanted.sort((a, b) => (backwards ? -1 : 1) * compare(value(a), value(b)) || compare(agent_key(a), agent_key(b)));
        return wanted;
    }

    function redraw() {
        stale = false;
        const now = context.now();
        const shown = chosen();
        keep_children(body, parts, shown, agent_key, (agent) => make_row(context, agent), (part, agent) => write_row(part, agent, now));
        for (const head of heads)
            set_attribute(head, "aria-sort", head.dataset.key !== sorted_by ? null : backwards ? "descending" : "ascending");
        set_hidden(listed, context.state.agents.size === 0);
        set_hidden(nobody, shown.length > 0);
        set_text(nobody, context.state.agents.size === 0 ? "No access point has connected yet." : "None is like that.");
        draw_totals();
    }

    function draw_totals() {
        const all = access_points(context.state);
        const values = [
            ["access points", all.length],
            ["subscribed", all.filter(filters.good[1]).length],
            ["lost", all.filter((agent) => agent.closed).length],
            ["clients", all.reduce((sum, agent) => sum + (agent.closed ? 0 : clients_of(agent)), 0)],
            ["violations", all.reduce((sum, agent) => sum + agent.violations, 0)],
        ];
        keep_children(totals, total_parts, values, ([name]) => name, ([name]) => {
            const value = h("dd");
            return { element: h("div", {}, h("dt", { text: name }), value), value };
        }, (part, [, value]) => set_text(part.value, value));
    }

    return {
        element,
        show: () => (stale = true),
        // A new order of the rows would cost the reader their place: agents that merely report are written in place.
        update(changes) {
            if (changes.all || stale) return redraw();
            if (changes.agents.size === 0) return;
            const resort = [...changes.agents].some((id) => {
                const agent = context.state.agents.get(id);
                const part = agent && parts.get(agent_key(agent));
                return !part || sorted_by !== "name" || filter !== "all" || search.value || part.shown?.id !== id;
            });
            if (resort) return redraw();
            const now = context.now();
            for (const id of changes.agents) {
                const agent = context.state.agents.get(id);
                write_row(parts.get(agent_key(agent)), agent, now);
            }
            draw_totals();
        },
        tick() {
            const now = context.now();
            for (const part of parts.values()) if (part.shown) write_row(part, part.shown, now);
        },
    };
}
