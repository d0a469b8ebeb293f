// The air: how full each channel was over time, who takes which block of a band now, and what a plan changes there.
import { h, set_attribute, set_hidden, set_text, empty, row, table, soon } from "../dom.js";
import { band_name, count, dbm, short_mac } from "../format.js";
import { access_points, agent_key } from "../state.js";
import { heat_map } from "../heat.js";
import { blocks_of, spectrum, spectrum_legend } from "../spectrum.js";

const spans = [["All there is", 0], ["15 min", 900000], ["1 hour", 3600000], ["6 hours", 21600000], ["24 hours", 86400000]];
const refresh = 1000; // ms between two questions to the service

export function air_view(context) {
    let band = 2;
    const band_buttons = [2, 5].map((value) => h("button", { "aria-pressed": String(value === band), text: band_name(value), onclick: () => {
        band = value;
        band_buttons.forEach((button, index) => set_attribute(button, "aria-pressed", String([2, 5][index] === band)));
        ask();
    } }));
    const who = h("select", { "aria-label": "Reports of", onchange: () => ask() });
    const length = h("select", { "aria-label": "Span of time", onchange: () => ask() }, spans.map(([text, value]) => h("option", { value, text })));
    const heat = heat_map("Load of the channels over time");
    const nothing = empty("No scan has been reported yet. Order one in Orders: it fills this picture.");
    const now_blocks = spectrum();
    const then_blocks = spectrum();
    const then_title = h("h2");
    const then = h("article", { class: "sheet", hidden: true }, h("div", { class: "title" }, then_title), then_blocks.element);
    const now_title = h("h2", { text: "Who takes which block now" });
    const summary = h("span", { class: "quiet" });
    const legend_place = h("div");
    const listed = h("details", {}, h("summary", { text: "As a table" }), h("div", { class: "scroll" }));
    const element = h("section", { class: "view", "aria-label": "Air" },
        h("div", { class: "head" }, h("h1", { text: "Air" }), h("div", { class: "tools" }, h("div", { class: "choice", role: "group", "aria-label": "Band" }, band_buttons), who, length)),
        h("article", { class: "sheet" }, h("h2", { text: "How full each channel was" }), nothing, heat.element),
        h("article", { class: "sheet" }, h("div", { class: "title" }, now_title, summary), now_blocks.element, legend_place, listed), then);

    const name = (id) => {
        const agent = context.state.agents.get(id);
        return short_mac(agent?.mac) || `#${id}`;
    };

    function list_agents() {
        const kept = who.value || "0";
        const wanted = access_points(context.state).sort((a, b) => (agent_key(a) < agent_key(b) ? -1 : 1));
        const signature = wanted.map((agent) => agent.id).join();
        if (who.dataset.signature === signature) return;
        who.dataset.signature = signature;
        who.replaceChildren(h("option", { value: 0, text: "All access points" }), ...wanted.map((agent) => h("option", { value: agent.id, text: agent_key(agent) })));
        who.value = kept;
        if (who.selectedIndex < 0) who.value = "0";
    }

    // The blocks with the radios of a plan set to one side of it ("from" or "to"), the others where they are; null
    // when the plan changes none of them. More power is heard as much louder.
    function set_to(side, blocks) {
        const changes = new Map((context.state.plan?.changes ?? []).map((change) => [`${change.agent} ${change.radio}`, change]));
        const concerned = (block) => (block.own ? changes.get(`${block.owner} ${block.radio}`) : undefined);
        if (!blocks.some(concerned)) return null;
        const other = side === "to" ? "from" : "to";
        return blocks.map((block) => {
            const change = concerned(block);
            if (!change) return block;
            const wanted = change[side];
            const louder = (wanted.power ?? 0) - (change[other].power ?? wanted.power ?? 0);
            return { ...block, channel: wanted.channel, bandwidth: wanted.bandwidth, primary: wanted.primary, moved: true,
                rssi: block.rssi === undefined ? undefined : block.rssi + louder };
        });
    }

    // [[title, blocks], ...]: now alone, or before and after a plan.
    function sides(blocks) {
        const state = context.state.plan?.state;
        const ahead = ["proposed", "applying", "undoing"].includes(state) ? set_to("to", blocks) : null;
        if (ahead) return [["Before the plan: now", blocks], ["After the plan", ahead]];
        const behind = ["verifying", "done"].includes(state) ? set_to("from", blocks) : null;
        if (!behind) return [["Who takes which block now", blocks]];
        const moved = new Set(behind.filter((block) => block.moved).map((block) => `${block.owner} ${block.radio}`));
        return [["Before the plan", behind.map((block) => ({ ...block, moved: false }))],
            ["After the plan: now", blocks.map((block) => ({ ...block, moved: block.own && moved.has(`${block.owner} ${block.radio}`) }))]];
    }

    async function ask() {
        list_agents();
        const asked = band;
        const to = Math.round(context.now());
        const wanted = Number(length.value) ? { from: to - Number(length.value), to } : {};
        const [history, air] = await Promise.all([
            context.ask("history", { agent: Number(who.value), band, slots: 120, ...wanted }),
            context.ask("air", { band })]);
        if (asked !== band || !element.isConnected) return;
        const known = history.ok && history.load.some((loads) => loads?.some((load) => load !== null));
        set_hidden(nothing, known);
        set_hidden(heat.element, !known);
        if (known) heat.set(history);
        draw_blocks(air.ok ? air.bss : []);
    }

    function draw_blocks(bss) {
        const blocks = blocks_of(bss, name);
        const own = blocks.filter((block) => block.own).length;
        const [first, second] = sides(blocks);
        set_text(summary, `${count(own, "radio")} of ours, ${count(blocks.length - own, "foreign network")}`);
        set_text(now_title, first[0]);
        set_hidden(then, !second);
        legend_place.replaceChildren(spectrum_legend(Boolean(second)));
        now_blocks.set(band, first[1]);
        if (second) then_blocks.set(band, second[1]);
        if (second) set_text(then_title, second[0]);
        const columns = ["Whose", "BSSID", "SSID", "Channel", "Width", "Heard", "Listeners"];
        listed.lastChild.replaceChildren(table(`Networks heard at ${band_name(band)}`, columns, h("tbody", {}, bss.slice(0, 300).map((one) =>
            row([one.owner === undefined ? "foreign" : name(one.owner), { text: one.bssid, class: "mac" }, one.ssid ?? "", one.channel, `${one.bandwidth} MHz`, dbm(one.rssi), one.listeners ?? 0], columns)))));
    }

    const ask_soon = soon(refresh, ask);
    return {
        element,
        update(changes) {
            if (changes.all) ask();
            else if (changes.reports.size || changes.agents.size || changes.plan) ask_soon();
        },
    };
}
