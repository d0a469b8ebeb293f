// A heat map of channels against time on a canvas, with a legend, a readout beneath the pointer and a table for whoever
// does not see it.
import { h, row, set_attribute, set_text, table } from "./dom.js";
import { decimal, hour_minute, time_of_day } from "./format.js";

const full = 4; // BSSs at full strength: as dark as it gets
const ramps = {
    light: [[233, 241, 243], [168, 213, 214], [86, 163, 181], [47, 105, 148], [58, 45, 98]],
    dark: [[27, 37, 45], [27, 72, 88], [34, 122, 128], [120, 178, 110], [240, 219, 110]],
};
const dark_scheme = matchMedia("(prefers-color-scheme: dark)");

export function heat_colour(load) {
    const ramp = ramps[dark_scheme.matches ? "dark" : "light"];
    const at = Math.min(Math.max(load / full, 0), 1) * (ramp.length - 1);
    const low = Math.min(Math.floor(at), ramp.length - 2);
    const mixed = ramp[low].map((value, index) => Math.round(value + (ramp[low + 1][index] - value) * (at - low)));
    return `rgb(${mixed.join(",")})`;
}

function legend() {
    const steps = [0, 1, 2, 3, 4].map((load) => {
        const swatch = h("span", { class: "swatch" });
        swatch.style.background = heat_colour(load);
        return h("li", {}, swatch, load === full ? "4 and more" : String(load));
    });
    return h("ul", { class: "legend", "aria-label": "Load" }, h("li", { text: "Load" }), steps,
        h("li", { text: "paler: no new report" }), h("li", {}, h("span", { class: "swatch none" }), "not scanned"));
}

export function heat_map(title) {
    const canvas = h("canvas", { role: "img", tabindex: 0, "aria-label": title });
    const readout = h("output", { class: "readout number" });
    const scale = h("div", {});
    const numbers = h("details", {}, h("summary", { text: "As a table" }), h("div", { class: "scroll" }));
    const element = h("div", { class: "heat" }, h("div", { class: "canvas" }, canvas), h("div", { class: "beneath" }, scale, readout), numbers);
    let shown = null;
    let marked = null; // [slot, row] beneath the pointer or chosen by the arrow keys

    const left = 44;
    const bottom = 22;
    const cell_size = () => [(canvas.clientWidth - left) / Math.max(shown.load.length, 1),
        (canvas.clientHeight - bottom) / Math.max(shown.channels.length, 1)];
    const slot_time = (slot) => shown.from + ((shown.to - shown.from) * (slot + 0.5)) / Math.max(shown.load.length, 1);

    function draw() {
        if (!shown || canvas.clientWidth === 0) return;
        const style = getComputedStyle(element);
        const ink = style.getPropertyValue("--quiet");
        const ratio = window.devicePixelRatio || 1;
        canvas.style.height = `${bottom + Math.max(shown.channels.length * (shown.channels.length > 16 ? 15 : 20), 60)}px`;
        canvas.width = Math.round(canvas.clientWidth * ratio);
        canvas.height = Math.round(canvas.clientHeight * ratio);
        const pen = canvas.getContext("2d");
        pen.scale(ratio, ratio);
        const [width, height] = cell_size();
        pen.font = `12px ${style.fontFamily}`;
        pen.textBaseline = "middle";
        pen.textAlign = "right";
        pen.fillStyle = ink;
        shown.channels.forEach((channel, index) => pen.fillText(channel, left - 8, (index + 0.5) * height));
        // What was reported holds until the next report, paler; a hairline where nothing is known.
        shown.channels.forEach((_, index) => {
            let held = null;
            shown.load.forEach((loads, slot) => {
                const load = loads?.[index] ?? null;
                held = load ?? held;
                const inset = held === null ? height * 0.46 : 0.5;
                pen.globalAlpha = held !== null && load === null ? 0.55 : 1;
                pen.fillStyle = held === null ? style.getPropertyValue("--line") : heat_colour(held);
                pen.fillRect(left + slot * width, index * height + inset, width + 0.3, height - 2 * inset);
            });
        });
        pen.globalAlpha = 1;
        pen.fillStyle = ink;
        pen.textAlign = "center";
        const ticks = Math.max(Math.floor((canvas.clientWidth - left) / 110), 1);
        for (let tick = 0; tick <= ticks; ++tick) {
            const x = left + ((canvas.clientWidth - left) * tick) / ticks;
            pen.textAlign = tick === 0 ? "left" : tick === ticks ? "right" : "center";
            const write = shown.to - shown.from < 600000 ? time_of_day : hour_minute;
            pen.fillText(write(shown.from + ((shown.to - shown.from) * tick) / ticks), x, canvas.clientHeight - bottom / 2);
        }
        if (!marked) return;
        pen.strokeStyle = style.getPropertyValue("--ink");
        pen.lineWidth = 2;
        pen.strokeRect(left + marked[0] * width, marked[1] * height, Math.max(width, 3), height);
    }

    function point_at(slot, index) {
        const inside = shown && slot >= 0 && slot < shown.load.length && index >= 0 && index < shown.channels.length;
        marked = inside ? [slot, index] : null;
        const load = inside ? shown.load[slot]?.[index] : undefined;
        set_text(readout, inside ? `${time_of_day(slot_time(slot))} · channel ${shown.channels[index]} · load ${decimal(load)}` : "");
        draw();
    }

    canvas.addEventListener("pointermove", (event) => {
        if (!shown) return;
        const [width, height] = cell_size();
        point_at(Math.floor((event.offsetX - left) / width), Math.floor(event.offsetY / height));
    });
    canvas.addEventListener("pointerleave", () => point_at(-1, -1));
    canvas.addEventListener("keydown", (event) => {
        const step = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] }[event.key];
        if (!step || !shown) return;
        event.preventDefault();
        const [slot, index] = marked ?? [shown.load.length - 1 - step[0], -step[1]];
        point_at(Math.min(Math.max(slot + step[0], 0), shown.load.length - 1), Math.min(Math.max(index + step[1], 0), shown.channels.length - 1));
    });
    new ResizeObserver(draw).observe(element);
    dark_scheme.addEventListener("change", () => draw(scale.replaceChildren(legend())));
    scale.append(legend());

    return {
        element,
        // As the service answers "history".
        set(history) {
            shown = history;
            const means = history.channels.map((channel, index) => {
                const known = history.load.map((loads) => loads?.[index]).filter((load) => load !== null && load !== undefined);
                const mean = known.reduce((sum, load) => sum + load, 0) / Math.max(known.length, 1);
                return [channel, known.length ? mean : null, known.length ? Math.max(...known) : null, known.at(-1)];
            });
            const busiest = [...means].sort((a, b) => (b[1] ?? 0) - (a[1] ?? 0))[0];
            set_attribute(canvas, "aria-label", busiest ? `${title}: busiest is channel ${busiest[0]} with a mean load of ${decimal(busiest[1])}` : `${title}: no report yet`);
            numbers.lastChild.replaceChildren(table(title, ["Channel", "Mean load", "Most", "Last"],
                h("tbody", {}, means.map(([channel, ...loads]) => row([channel, ...loads.map(decimal)])))));
            draw();
        },
    };
}
