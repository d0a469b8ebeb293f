// The bar over a recorded log: where it is, how fast it plays, and a slider for the time.
import { h, set_text, set_attribute } from "./dom.js";
import { date_and_time, span } from "./format.js";

const speeds = [1, 10, 60, 600, 3600];

export function replay_bar(context, bar) {
    let held = false; // the slider is in somebody's hand
    const play = h("button", { class: "main", onclick: () => set_speed(context.state.clock?.playing ? 0 : Number(speed.value)) });
    const speed = h("select", { "aria-label": "Speed", onchange: () => context.state.clock?.playing && set_speed(Number(speed.value)) },
        speeds.map((times) => h("option", { value: times, text: `${times} ×` })));
    speed.value = "60";
    const slider = h("input", { type: "range", min: 0, max: 1000, step: "any", "aria-label": "Time in the log" });
    const where = h("time", { class: "number" });
    const length = h("span", { class: "quiet" });

    slider.addEventListener("input", () => {
        held = true;
        const clock = context.state.clock;
        if (clock) set_text(where, date_and_time(clock.from + Number(slider.value)));
    });
    slider.addEventListener("change", async () => {
        const reply = await context.ask("seek", { time: Math.round(context.state.clock.from + Number(slider.value)) });
        held = false;
        if (!reply.ok) context.notify(reply.error, "bad");
    });

    async function set_speed(times) {
        const reply = await context.ask("play", { speed: times });
        if (!reply.ok) context.notify(reply.error, "bad");
    }

    function update() {
        const clock = context.state.clock;
        if (!clock) return;
        set_text(play, clock.playing ? "Pause" : "Play");
        if (clock.playing && speeds.includes(clock.speed)) speed.value = String(clock.speed);
        const all = Math.max(clock.to - clock.from, 1);
        set_attribute(slider, "max", all);
        if (!held) {
            slider.value = clock.time - clock.from;
            set_text(where, date_and_time(clock.time));
        }
        set_attribute(slider, "aria-valuetext", where.textContent);
        const read = clock.loaded < 1 ? `, ${Math.round(clock.loaded * 100)} % read` : "";
        set_text(length, `${context.state.name} · ${span(all)}${read}`);
    }

    bar.append(play, speed, slider, where, length);
    return { update };
}
