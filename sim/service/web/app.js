// The page's frame: connection, tabs, and one view at a time, which is told once per frame what has changed.
import { h, set_text, set_attribute, set_hidden } from "./dom.js";
import { date_and_time, time_of_day } from "./format.js";
import { apply, new_state, no_changes, service_time } from "./state.js";
import { service_link } from "./socket.js";
import { replay_bar } from "./replay.js";
import { domain_view } from "./views/domain.js";
import { air_view } from "./views/air.js";
import { agent_view } from "./views/agent.js";
import { map_view } from "./views/map.js";
import { messages_view } from "./views/messages.js";
import { orders_view } from "./views/orders.js";

const views = [
    ["domain", "Domain", domain_view],
    ["air", "Air", air_view],
    ["agent", "Agent", agent_view],
    ["map", "Map", map_view],
    ["messages", "Messages", messages_view],
    ["orders", "Orders", orders_view],
];

const state = new_state();
const made = new Map();
const by_id = (id) => document.getElementById(id);
let current = null;
let changes = no_changes();
let frame = 0;

const link = new service_link((message) => {
    apply(state, message, changes, Date.now());
    draw_soon();
}, (open) => {
    by_id("link").dataset.kind = open ? "good" : "bad";
    set_text(by_id("link"), open ? "connected" : "no service");
});

const context = {
    state,
    ask: (type, members) => link.ask(type, members),
    now: () => service_time(state, Date.now()),
    notify,
    link_to: (view, parameter) => `#${view}${parameter ? `/${encodeURIComponent(parameter)}` : ""}`,
};
const replay = replay_bar(context, by_id("replay"));

let notice_timer = 0;
function notify(text, kind = "good") {
    const box = by_id("notice");
    set_text(box, text);
    box.dataset.kind = kind;
    box.hidden = false;
    clearTimeout(notice_timer);
    notice_timer = setTimeout(() => (box.hidden = true), 8000);
}

function draw_soon() {
    if (!frame) frame = requestAnimationFrame(draw);
}

function draw() {
    frame = 0;
    const what = changes;
    changes = no_changes();
    if (what.all || what.clock) replay.update();
    if (!state.ready) return;
    if (what.all) set_hidden(by_id("replay"), state.mode !== "replay");
    current?.update(what);
}

function tick() {
    const now = context.now();
    set_text(by_id("clock"), state.mode === "replay" ? date_and_time(now) : time_of_day(now));
    if (state.ready) current?.tick?.();
}

function decoded(text) {
    try {
        return decodeURIComponent(text);
    } catch {
        return ""; // somebody typed it
    }
}

function show() {
    const [name, ...rest] = location.hash.slice(1).split("/");
    const view = views.find(([key]) => key === name) ?? views[0];
    const parameter = decoded(rest.join("/"));
    if (!made.has(view[0])) made.set(view[0], view[2](context));
    const next = made.get(view[0]);
    for (const tab of by_id("tabs").querySelectorAll("a"))
        set_attribute(tab, "aria-current", tab.dataset.view === view[0] ? "page" : null);
    if (next !== current) {
        current?.hide?.();
        by_id("main").replaceChildren(next.element);
        window.scrollTo(0, 0);
        document.title = `${view[1]} – ravd lab console`;
    }
    current = next;
    current.show?.(parameter);
    changes.all = true;
    draw_soon();
}

for (const [name, title] of views)
    by_id("tabs").append(h("li", {}, h("a", { href: `#${name}`, "data-view": name, text: title })));
window.addEventListener("hashchange", () => {
    show();
    by_id("main").focus({ preventScroll: true });
});
document.querySelector(".skip").addEventListener("click", (event) => {
    event.preventDefault(); // the address names views
    by_id("main").focus();
});
setInterval(tick, 1000);
link.open();
show();
