// The two kinds of chart that the library draws for us: lines over time and bars over channels.
import { h, empty } from "./dom.js";
import { hour_minute, time_of_day } from "./format.js";

const colours = ["#0b7285", "#b8570a", "#5f4bb6", "#2b7a3d", "#a83268", "#4a6fa5", "#8a6d00", "#6b6b6b"];
const light_colours = ["#5cc4d6", "#f0a35e", "#ab9cf0", "#7fcf92", "#ec8fb8", "#9bbbe8", "#e0c34f", "#bdbdbd"];
const dashes = [[], [6, 4], [2, 3]];
const dark_scheme = matchMedia("(prefers-color-scheme: dark)");

function shell(label, height) {
    const canvas = h("canvas", { role: "img", "aria-label": label });
    const element = h("div", { class: "chart" }, canvas);
    element.style.height = `${height}px`;
    return { canvas, element };
}

function common(element) {
    const style = getComputedStyle(element);
    const [quiet, line] = ["--quiet", "--line"].map((name) => style.getPropertyValue(name).trim());
    const axis = (more) => ({ grid: { color: line, drawBorder: false }, ticks: { color: quiet, maxRotation: 0, font: { family: style.fontFamily, size: 12 }, ...more.ticks }, ...more.scale });
    const title = (text) => ({ display: true, text, color: quiet, font: { family: style.fontFamily, size: 12 } });
    return { axis, title, options: { animation: false, responsive: true, maintainAspectRatio: false, normalized: true } };
}

// A chart as {element, set(data)}; without the library it says so.
function chart(label, height, configure) {
    if (!globalThis.Chart) return { element: empty("Charts need Debian's libjs-chart.js beside the service."), set() {} };
    const { canvas, element } = shell(label, height);
    let drawn = null;
    let last = null;
    const set = (data) => {
        last = data;
        if (!element.isConnected) return;
        const wanted = configure(data, common(element), dark_scheme.matches ? light_colours : colours);
        if (drawn) {
            Object.assign(drawn.data, wanted.data);
            drawn.options = wanted.options;
            drawn.update("none");
        } else {
            drawn = new globalThis.Chart(canvas, wanted);
        }
    };
    dark_scheme.addEventListener("change", () => last && set(last));
    return { element, set };
}

// `data`: [{name, points: [[time, value], ...]}, ...].
export function line_chart(label, unit) {
    return chart(label, 240, (data, { axis, title, options }, palette) => ({
        type: "line",
        data: { datasets: data.map(({ name, points }, index) => ({
            label: name, data: points.map(([x, y]) => ({ x, y })), borderColor: palette[index % palette.length], backgroundColor: palette[index % palette.length],
            borderDash: dashes[Math.floor(index / palette.length) % dashes.length], borderWidth: 2, pointRadius: points.length < 12 ? 3 : 0, tension: 0.2,
        })) },
        options: { ...options, parsing: false,
            scales: {
                x: axis({ scale: { type: "linear" }, ticks: { maxTicksLimit: 6, callback: (time) => hour_minute(time) } }),
                y: axis({ scale: { title: title(unit), suggestedMin: -90, suggestedMax: -30 }, ticks: {} }),
            },
            plugins: { legend: { position: "bottom", labels: { color: axis({}).ticks.color, boxWidth: 22, boxHeight: 2, font: axis({}).ticks.font } },
                tooltip: { callbacks: { title: (items) => (items[0] ? time_of_day(items[0].parsed.x) : "") } } },
        },
    }));
}

// `data`: [[channel, load, networks, loudest, in use], ...].
export function load_chart(label) {
    return chart(label, 200, (data, { axis, title, options }, palette) => ({
        type: "bar",
        data: { labels: data.map(([channel, , , , used]) => (used ? `${channel} ●` : String(channel))),
            datasets: [{ label: "load", data: data.map(([, load]) => load), backgroundColor: data.map(([, , , , used]) => (used ? palette[0] : `${palette[0]}66`)), borderRadius: 3 }] },
        options: { ...options,
            scales: { x: axis({ scale: { grid: { display: false } }, ticks: { autoSkip: data.length > 26 } }), y: axis({ scale: { title: title("load"), beginAtZero: true, suggestedMax: 2 }, ticks: { maxTicksLimit: 5 } }) },
            plugins: { legend: { display: false } },
        },
    }));
}
