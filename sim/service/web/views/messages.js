// The log: what agents and service said, newest first. The service keeps it; the page holds what it shows.
import { h, set_attribute, set_hidden, set_text, empty, keep_children, soon } from "../dom.js";
import { bytes, date_and_time, precise_time, without_envelope } from "../format.js";
import { access_points, agent_key } from "../state.js";
import { json_text } from "./json.js";

const page_size = 150;
const shown_limit = 600;
// A service that was started anew counts from 1 again.
const key_of = (entry) => `${entry.seq} ${entry.time}`;
const ways = { received: ["→", "from the agent"], sent: ["←", "to the agent"], event: ["•", "event"] };

export function messages_view(context) {
    let entries = []; // newest first
    let more = false;
    let looked_at; // the oldest entry that the service went through for these
    let asking = 0;
    const violated = new Set(); // numbers of messages that broke the protocol
    const rows = new Map();
    const opened = new Map(); // key of an entry -> its element with the message

    const who = h("select", { "aria-label": "Agent", onchange: reload });
    const way = h("select", { "aria-label": "Direction", onchange: reload }, h("option", { value: "", text: "Both ways" }),
        Object.entries(ways).map(([value, [sign, text]]) => h("option", { value, text: `${sign} ${text}` })));
    const cmd = h("input", { type: "search", placeholder: "Command", "aria-label": "Command", list: "commands", oninput: soon(250, reload) });
    const text = h("input", { type: "search", placeholder: "Text in it", "aria-label": "Text in the message", oninput: soon(250, reload) });
    const broken = h("input", { type: "checkbox", onchange: reload });
    const live = h("input", { type: "checkbox", checked: true, onchange: () => live.checked && reload() });
    const names = h("datalist", { id: "commands" }, ["subscribe-request", "subscribe-response", "rrm-config-changed", "rrm-mode-response", "rrm-response",
        "rrm-client-assoc", "rrm-client-disassoc", "rrm-sta-roam", "rrm-info", "rrm-update", "rrm-request-mode", "rrm-sta-overload", "connected", "closed", "violation"]
        .map((value) => h("option", { value })));
    const list = h("ol", { class: "log", "aria-label": "Messages, newest first" });
    const nothing = empty("Nothing has been said yet.");
    const older = h("button", { text: "Show older ones", hidden: true, onclick: load_older });
    const element = h("section", { class: "view", "aria-label": "Messages" },
        h("div", { class: "head" }, h("h1", { text: "Messages" }), h("div", { class: "tools" }, who, way, cmd, text, names,
            h("label", { class: "check" }, broken, "violations only"), h("label", { class: "check" }, live, "live"),
            h("a", { class: "button", href: "log.jsonl", download: "log.jsonl", text: "Download" }))),
        h("div", { class: "sheet flat" }, list, nothing), older);

    function filter() {
        const wanted = {};
        if (who.value) wanted.agent = Number(who.value);
        if (way.value) wanted.direction = way.value;
        if (cmd.value) wanted.cmd = cmd.value;
        if (text.value) wanted.text = text.value;
        if (broken.checked) wanted.violations = true;
        return wanted;
    }

    function list_agents() {
        const wanted = [...context.state.agents.values()].sort((a, b) => a.id - b.id);
        const signature = wanted.map((agent) => agent.id + agent_key(agent)).join();
        if (who.dataset.signature === signature) return;
        who.dataset.signature = signature;
        const kept = who.value;
        who.replaceChildren(h("option", { value: "", text: "Every agent" }), ...wanted.map((agent) =>
            h("option", { value: agent.id, text: `${agent.id} · ${agent.mac || "unnamed"}${agent.closed ? " (gone)" : ""}` })));
        who.value = kept;
        if (who.selectedIndex < 0) who.value = "";
    }

    async function reload() {
        const number = ++asking;
        const reply = await context.ask("entries", { ...filter(), limit: page_size });
        if (number !== asking) return;
        if (!reply.ok) return context.notify(reply.error, "bad");
        entries = reply.entries;
        more = reply.more;
        looked_at = reply["looked-at"];
        note_violations(entries);
        redraw();
    }

    async function load_older() {
        const reply = await context.ask("entries", { ...filter(), before: looked_at, limit: page_size });
        if (!reply.ok) return context.notify(reply.error, "bad");
        live.checked = false; // or the new ones would push these out again
        entries = entries.concat(reply.entries);
        more = reply.more;
        looked_at = reply["looked-at"];
        note_violations(reply.entries);
        redraw();
    }

    function note_violations(some) {
        for (const entry of some) {
            if (entry.of !== undefined) violated.add(entry.of);
            if (entry.violates) violated.add(entry.seq);
        }
        if (violated.size > 5000) violated.clear();
    }

    function make_row(entry) {
        const [sign, said] = ways[entry.direction] ?? ways.event;
        const body = h("div", { class: "opened", hidden: true });
        const mark = h("span", { class: "badge", text: "violation", hidden: true });
        const button = h("button", { class: "line", "aria-expanded": "false", onclick: () => toggle(entry, button, body) },
            h("time", { class: "number", text: precise_time(entry.time), title: date_and_time(entry.time) }),
            h("span", { class: "way", "data-way": entry.direction, role: "img", "aria-label": said, text: sign }),
            h("span", { class: "who", text: `${entry.agent} ${entry.mac ?? ""}` }),
            h("b", { class: "cmd", text: entry.cmd || "–" }), mark,
            h("span", { class: "said", text: without_envelope(entry.text ?? "") }),
            h("span", { class: "number quiet", text: entry.size ? bytes(entry.size) : "" }));
        return { element: h("li", { "data-seq": entry.seq }, button, body), button, mark };
    }

    async function toggle(entry, button, body) {
        const open = button.getAttribute("aria-expanded") !== "true";
        set_attribute(button, "aria-expanded", String(open));
        set_hidden(body, !open);
        if (!open || opened.has(key_of(entry))) return;
        opened.set(key_of(entry), body);
        body.replaceChildren(h("p", { class: "quiet", text: "…" }));
        const reply = await context.ask("entry", { seq: entry.seq });
        body.replaceChildren(reply.ok ? json_text(reply.line.message ?? reply.line) : empty(reply.error));
        if (!reply.ok) opened.delete(key_of(entry));
    }

    function redraw() {
        list_agents();
        keep_children(list, rows, entries, key_of, make_row, (part, entry) => {
            const bad = entry.cmd === "violation" || violated.has(entry.seq);
            set_attribute(part.element, "data-bad", bad);
            set_hidden(part.mark, !bad || entry.cmd === "violation");
        });
        for (const key of opened.keys()) if (!rows.has(key)) opened.delete(key);
        set_hidden(nothing, entries.length > 0);
        set_text(nothing, more ? "No message is like that among those looked through so far." : Object.keys(filter()).length ? "No message is like that." : "Nothing has been said yet.");
        set_hidden(older, !more);
    }

    function fits(entry) {
        const wanted = filter();
        return (wanted.agent === undefined || entry.agent === wanted.agent) && (!wanted.direction || entry.direction === wanted.direction) &&
            (!wanted.cmd || entry.cmd === wanted.cmd);
    }

    const reload_soon = soon(400, reload);
    return {
        element,
        show(parameter) {
            list_agents();
            const agent = parameter && access_points(context.state).find((one) => agent_key(one) === parameter);
            if (agent) who.value = String(agent.id);
        },
        update(changes) {
            if (changes.all) {
                violated.clear();
                return reload();
            }
            note_violations(changes.messages);
            // A replay that runs fast does not tell of single messages.
            if (changes.clock && live.checked && context.state.clock?.playing) return reload_soon();
            if (changes.messages.length === 0 || !live.checked) return changes.messages.length ? redraw() : undefined;
            // Only the service sees whole texts, and which messages broke the protocol.
            if (text.value || broken.checked) return reload_soon();
            const newest = entries[0]?.seq ?? -1;
            const fresh = changes.messages.filter((entry) => entry.seq > newest && fits(entry)).reverse();
            entries = fresh.concat(entries);
            if (entries.length > shown_limit) {
                entries = entries.slice(0, shown_limit);
                more = true;
                looked_at = entries.at(-1).seq;
            }
            redraw();
        },
    };
}
