// Who takes which block of a band: every BSS as a shape over the channels it takes, as high as it is heard.
import { h, s, set_attribute } from "./dom.js";
import { axis, centre, taken } from "./channels.js";
import { minus } from "./format.js";

const segments = { 2: [[2398, 2486]], 5: [[5166, 5334], [5486, 5836]] };
const weakest = -95;
const loudest = -25;
const gap = 18;
const margin = { left: 44, right: 12, top: 26, bottom: 26 };
const shape_limit = 500;

function scale_of(band, width) {
    const parts = segments[band];
    const sum = parts.reduce((all, [low, high]) => all + high - low, 0);
    const room = width - margin.left - margin.right - gap * (parts.length - 1);
    return (mhz) => {
        let x = margin.left;
        for (const [low, high] of parts) {
            if (mhz <= high || parts.at(-1)[0] === low) return x + ((Math.max(mhz, low) - low) / sum) * room;
            x += ((high - low) / sum) * room + gap;
        }
        return x;
    };
}

// One entry per radio of ours (its loudest BSS) and per foreign BSS, the weakest first, so that loud ones lie above.
// `name(owner)` is what an own one is called.
export function blocks_of(bss, name) {
    const merged = new Map();
    for (const one of bss) {
        const own = one.owner !== undefined;
        const key = own ? `${one.owner} ${one.radio}` : one.bssid;
        const other = merged.get(key);
        if (other && (other.rssi ?? -200) >= (one.rssi ?? -200)) continue;
        merged.set(key, { ...one, own, label: own ? name(one.owner) : "" });
    }
    const all = [...merged.values()].sort((a, b) => (a.rssi ?? -200) - (b.rssi ?? -200));
    return all.slice(Math.max(all.length - shape_limit, 0));
}

function draw(svg, band, blocks, height) {
    const width = Math.max(svg.parentElement?.clientWidth ?? 0, band === 5 ? 720 : 340);
    const x = scale_of(band, width);
    const base = height - margin.bottom;
    const y = (rssi) => base - ((Math.min(Math.max(rssi, weakest + 4), loudest) - weakest) / (loudest - weakest)) * (base - margin.top);
    set_attribute(svg, "viewBox", `0 0 ${width} ${height}`);
    set_attribute(svg, "width", width);
    set_attribute(svg, "height", height);
    const lines = [];
    for (let rssi = -90; rssi <= -30; rssi += 20)
        lines.push(s("line", { class: "grid", x1: margin.left, x2: width - margin.right, y1: y(rssi), y2: y(rssi) }),
            s("text", { x: margin.left - 8, y: y(rssi) + 4, "text-anchor": "end", text: minus(rssi) }));
    for (const channel of axis[band])
        lines.push(s("line", { class: "tick", x1: x(centre(channel)), x2: x(centre(channel)), y1: base, y2: base + 4 }),
            s("text", { x: x(centre(channel)), y: base + 18, "text-anchor": "middle", text: channel }));
    const shapes = [];
    const labels = [];
    const free = []; // [left, right, y] of labels that stand already
    for (const block of blocks) {
        const [low, high] = taken(block.channel, block.bandwidth, block.primary);
        const [from, to] = [x(low), x(high)];
        const heard = block.rssi !== undefined && block.rssi !== null;
        const top = heard ? y(block.rssi) : y(weakest + 12);
        const slope = Math.min((to - from) * 0.09, 9);
        const kind = `${block.own ? "own" : "foreign"}${heard ? "" : " unheard"}${block.moved ? " moved" : ""}`;
        const said = `${block.own ? `${block.label}, radio ${block.radio}` : block.bssid}: channel ${block.channel}, ${block.bandwidth} MHz, ` +
            `${heard ? `${minus(block.rssi)} dBm` : "heard by nobody"}${block.ssid ? `, ${block.ssid}` : ""}`;
        shapes.push(s("path", { class: `block ${kind}`, d: `M${from} ${base}L${from + slope} ${top + 4}Q${from + slope + 1} ${top} ${from + slope + 5} ${top}` +
            `L${to - slope - 5} ${top}Q${to - slope - 1} ${top} ${to - slope} ${top + 4}L${to} ${base}Z` }, s("title", { text: said })));
        if (block.own) labels.push({ text: block.label, at: (from + to) / 2, top, moved: block.moved });
    }
    const texts = labels.reverse().map(({ text, at, top, moved }) => {
        const half = text.length * 3.6 + 4;
        const clash = (height_at) => free.some(([a, b, c]) => at - half < b && at + half > a && Math.abs(c - height_at) < 14);
        let place = top - 6;
        for (let tries = 0; tries < 6 && clash(place); ++tries) place += 15;
        if (clash(place) || place > base - 4) return null;
        free.push([at - half, at + half, place]);
        return s("text", { class: moved ? "label moved" : "label", x: at, y: place, "text-anchor": "middle", text });
    });
    svg.replaceChildren(...lines, ...shapes, ...texts.filter(Boolean), s("line", { class: "base", x1: margin.left, x2: width - margin.right, y1: base, y2: base }));
    const own = blocks.filter((block) => block.own).length;
    set_attribute(svg, "aria-label", `${own} radios of ours and ${blocks.length - own} foreign networks over the channels of the band`);
}

export function spectrum(height = 250) {
    const svg = s("svg", { class: "spectrum", role: "img", "aria-label": "Nothing is known of the band yet" });
    const element = h("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": "Blocks over the channels" }, svg);
    let last = null;
    const redraw = () => last && element.clientWidth && draw(svg, last.band, last.blocks, height);
    new ResizeObserver(redraw).observe(element);
    return {
        element,
        set(band, blocks) {
            last = { band, blocks };
            redraw();
        },
    };
}

export function spectrum_legend(planned) {
    const entry = (kind, text) => h("li", {}, h("span", { class: `swatch block ${kind}` }), text);
    return h("ul", { class: "legend" }, entry("own", "ours"), entry("foreign", "foreign"), entry("unheard", "ours, heard by nobody"),
        planned && entry("moved", "changed by the plan"), h("li", { text: "as high as the loudest hears it, in dBm" }));
}
