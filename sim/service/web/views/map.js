// The map: access points as points, lines by how strongly they hear each other, colours by channel.
import { h, s, keep_children, set_attribute, set_hidden, set_text, empty, soon } from "../dom.js";
import { band_name, count, minus, place, short_mac } from "../format.js";
import { access_points, agent_key, clients_of, condition, radio_of_band } from "../state.js";
import { hue, overlap } from "../channels.js";
import { lay_out } from "../layout.js";

const crowd = 60; // more points than that are drawn small and without names
const rest = 5000; // ms between two layouts of a crowd

export function map_view(context) {
    let band = 5;
    let points = new Map(); // key -> [x, y], as laid out last
    let laid_out = "";
    let laid_out_at = -rest;
    const nodes = new Map();
    const band_buttons = [2, 5].map((value) => h("button", { "aria-pressed": String(value === band), text: band_name(value), onclick: () => {
        band = value;
        band_buttons.forEach((button, index) => set_attribute(button, "aria-pressed", String([2, 5][index] === band)));
        redraw();
    } }));
    const bound = h("input", { type: "range", min: -95, max: -40, value: -85, step: 1, "aria-label": "Weakest line shown", oninput: () => redraw() });
    const bound_text = h("output", { class: "number" });
    const edges = s("g", { class: "edges" });
    const dots = s("g", { class: "dots" });
    const svg = s("svg", { class: "map", role: "group", "aria-label": "Access points by how strongly they hear each other" }, edges, dots);
    const legend = h("ul", { class: "legend", "aria-label": "Channels" });
    const nothing = empty("No access point has reported whom it hears. Order a scan in Orders.");
    const element = h("section", { class: "view", "aria-label": "Map" },
        h("div", { class: "head" }, h("h1", { text: "Map" }), h("div", { class: "tools" }, h("div", { class: "choice", role: "group", "aria-label": "Band" }, band_buttons),
            h("label", { class: "check" }, "lines from", bound, bound_text))),
        h("div", { class: "sheet" }, nothing, svg, legend));

    // The strongest of what either of two hears of the other, whatever the band: walls weaken both.
    function hearing(agents) {
        const index = new Map(agents.map((agent, i) => [agent.id, i]));
        const strongest = new Map();
        for (const agent of agents) {
            for (const [other, radio, rssi] of context.state.reports.get(agent.id)?.hears ?? []) {
                if (!index.has(other) || other === agent.id) continue;
                const [a, b] = [index.get(agent.id), index.get(other)].sort((x, y) => x - y);
                const heard = agents[index.get(other)].radios?.find((one) => one.id === radio);
                const key = `${a} ${b} ${heard?.band ?? 0}`;
                const known = strongest.get(key);
                if (!known || known.rssi < rssi) strongest.set(key, { a, b, rssi, band: heard?.band ?? 0 });
            }
        }
        return [...strongest.values()];
    }

    function fit(agents, size) {
        const placed = agents.map((agent) => points.get(agent_key(agent)) ?? [0, 0]);
        const low = [0, 1].map((axis) => Math.min(...placed.map((point) => point[axis])));
        const high = [0, 1].map((axis) => Math.max(...placed.map((point) => point[axis])));
        const edge = agents.length > crowd ? 26 : 58;
        const scale = Math.min((size[0] - 2 * edge) / Math.max(high[0] - low[0], 0.001), (size[1] - 2 * edge) / Math.max(high[1] - low[1], 0.001), 160);
        return placed.map((point) => [0, 1].map((axis) => size[axis] / 2 + (point[axis] - (low[axis] + high[axis]) / 2) * scale));
    }

    function make_node(agent) {
        const key = agent_key(agent);
        const circle = s("circle", {});
        const channel = s("text", { class: "channel", "text-anchor": "middle", dy: "0.36em" });
        const name = s("text", { class: "name", "text-anchor": "middle" });
        const title = s("title");
        const link = s("a", { href: context.link_to("agent", key) }, title, circle, channel, name);
        return { element: link, circle, channel, name, title };
    }

    function write_node(node, agent, [x, y], small) {
        const radio = radio_of_band(agent, band);
        const up = radio?.active && !agent.closed;
        const [kind, word] = condition(agent);
        const radius = small ? 9 : 17 + Math.min(Math.sqrt(clients_of(agent)) * 2, 9);
        node.element.style.setProperty("transform", `translate(${x.toFixed(1)}px, ${y.toFixed(1)}px)`);
        node.element.style.setProperty("--hue", up ? hue(radio.channel) : 0);
        set_attribute(node.element, "data-kind", up ? kind : kind === "gone" ? "gone" : "down");
        set_attribute(node.element, "data-small", small);
        set_attribute(node.circle, "r", radius.toFixed(1));
        set_text(node.channel, up ? radio.channel : agent.closed ? "×" : "–");
        set_attribute(node.name, "y", (radius + 16).toFixed(1));
        set_text(node.name, small ? "" : short_mac(agent.mac) || `#${agent.id}`);
        const said = `${agent_key(agent)}, ${word}, ${radio ? (radio.active ? `channel ${place(radio)}` : "radio down") : "no radio"}, ${count(clients_of(agent), "client")}`;
        set_text(node.title, said);
        set_attribute(node.element, "aria-label", said);
    }

    function draw_edges(agents, links, at) {
        const weakest = Number(bound.value);
        const radios = agents.map((agent) => radio_of_band(agent, band));
        const drawn = links.filter((link) => link.band === band && link.rssi >= weakest).sort((a, b) => a.rssi - b.rssi).slice(-4000);
        edges.replaceChildren(...drawn.map(({ a, b, rssi }) => {
            const shared = radios[a]?.active && radios[b]?.active && !agents[a].closed && !agents[b].closed && overlap(radios[a], radios[b]) > 0;
            const strength = Math.min(Math.max((rssi + 95) / 60, 0.05), 1);
            const line = s("line", { class: shared ? "shared" : "heard", x1: at[a][0].toFixed(1), y1: at[a][1].toFixed(1), x2: at[b][0].toFixed(1), y2: at[b][1].toFixed(1), "stroke-width": ((0.8 + strength * (shared ? 7 : 3)) * (agents.length > crowd ? 0.4 : 1)).toFixed(2) });
            if (agents.length <= crowd) line.append(s("title", { text: `${minus(rssi)} dBm${shared ? ", and they share air" : ""}` }));
            return line;
        }));
    }

    function draw_legend(agents) {
        const used = new Map();
        for (const agent of agents) {
            const radio = radio_of_band(agent, band);
            if (radio?.active && !agent.closed) used.set(radio.channel, (used.get(radio.channel) ?? 0) + 1);
        }
        legend.replaceChildren(...[...used].sort((a, b) => a[0] - b[0]).map(([channel, number]) => {
            const swatch = h("span", { class: "swatch dot" });
            swatch.style.setProperty("--hue", hue(channel));
            return h("li", {}, swatch, `channel ${channel}: ${number}`);
        }), h("li", {}, h("span", { class: "swatch line shared" }), "hear each other and share air"), h("li", {}, h("span", { class: "swatch line heard" }), "hear each other"));
    }

    function redraw() {
        const agents = access_points(context.state).sort((a, b) => (agent_key(a) < agent_key(b) ? -1 : 1));
        const links = hearing(agents);
        set_hidden(nothing, links.length > 0);
        set_text(bound_text, `${minus(bound.value)} dBm`);
        const signature = agents.map((agent) => agent.id).join() + JSON.stringify(links);
        const strangers = agents.some((agent) => !points.has(agent_key(agent)));
        if (signature !== laid_out && (agents.length <= crowd || strangers || performance.now() > laid_out_at + rest)) {
            laid_out = signature;
            laid_out_at = performance.now();
            const best = new Map();
            for (const link of links) {
                const key = link.a * agents.length + link.b;
                if (!best.has(key) || best.get(key).rssi < link.rssi) best.set(key, link);
            }
            const placed = lay_out(agents.length, [...best.values()], agents.map((agent) => points.get(agent_key(agent))));
            points = new Map(agents.map((agent, i) => [agent_key(agent), placed[i]]));
        }
        const size = [Math.max(svg.clientWidth, 280), Math.max(svg.clientHeight, 320)];
        set_attribute(svg, "viewBox", `0 0 ${size[0]} ${size[1]}`);
        const at = fit(agents, size);
        const small = agents.length > crowd;
        const where = new Map(agents.map((agent, i) => [agent_key(agent), at[i]]));
        keep_children(dots, nodes, agents, agent_key, make_node, (node, agent) => write_node(node, agent, where.get(agent_key(agent)), small));
        draw_edges(agents, links, at);
        draw_legend(agents);
    }

    const redraw_soon = soon(500, () => element.isConnected && redraw());
    new ResizeObserver(redraw_soon).observe(svg);
    return {
        element,
        update(changes) {
            if (changes.all) redraw();
            else if (changes.agents.size || changes.reports.size) redraw_soon();
        },
    };
}
