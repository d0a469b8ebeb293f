// Orders: any command as a form with its preview, raw JSON, faults on purpose, and the plan of the domain.
import { h, keep_children, set_attribute, set_hidden, set_text, soon } from "../dom.js";
import { access_points, agent_key, condition } from "../state.js";
import { command_form } from "../form.js";
import { json_text } from "./json.js";
import { plan_panel } from "./plan.js";

const groups = { order: "Messages of the protocol", link: "The link", service: "The service" };
const faults = [
    ["close", "Close", "an orderly end; the agent comes back"],
    ["drop", "Drop", "a reset; what is on its way is lost"],
    ["silence", "Silence", "reads nothing, answers no ping"],
    ["resume", "Resume", "ends the silence"],
    ["refuse503", "Refuse 503", "the next subscription is refused; the agent asks again later"],
];

// Who is meant: every agent, or those that are ticked.
function agent_choice(context, changed) {
    const parts = new Map();
    const ticked = new Set();
    const all = h("input", { type: "checkbox", onchange: () => {
        set_hidden(list, all.checked);
        changed();
    } });
    const list = h("ul", { class: "targets" });
    const heading = h("span", { class: "quiet" });
    const element = h("fieldset", { class: "group" }, h("legend", { text: "To" }), h("label", { class: "check" }, all, "all agents"), heading, list);
    const present = () => access_points(context.state).filter((agent) => !agent.closed).sort((a, b) => (agent_key(a) < agent_key(b) ? -1 : 1));
    const chosen = () => present().filter((agent) => ticked.has(agent_key(agent))).map((agent) => agent.id);
    return {
        element,
        chosen: () => (all.checked ? "all" : chosen()),
        tick(key) {
            ticked.add(key);
        },
        update() {
            const agents = present();
            if (agents.length === 1) ticked.add(agent_key(agents[0]));
            keep_children(list, parts, agents, agent_key, (agent) => {
                const key = agent_key(agent);
                const box = h("input", { type: "checkbox", checked: ticked.has(key), onchange: () => {
                    if (box.checked) ticked.add(key);
                    else ticked.delete(key);
                    changed();
                } });
                const state = h("span", { class: "state" });
                return { element: h("li", {}, h("label", { class: "check" }, box, h("span", { class: "mac", text: key }), state)), state, box };
            }, ({ state, box }, agent) => {
                const [kind, word] = condition(agent);
                set_attribute(state, "data-kind", kind);
                set_text(state, word);
                box.checked = ticked.has(agent_key(agent));
            });
            set_text(heading, agents.length ? "" : "No agent is connected.");
        },
    };
}

export function orders_view(context) {
    let form = null;
    let command = null;
    let previewed = 0;
    const targets = agent_choice(context, () => preview_soon());
    const choice = h("select", { id: "command", onchange: () => choose(choice.value) });
    const help = h("p", { class: "quiet" });
    const place = h("div");
    const preview = h("div", { class: "preview", "aria-live": "polite" });
    const unchecked = h("input", { type: "checkbox" });
    const send = h("button", { class: "main", text: "Send", type: "submit" });
    const answer = h("pre", { class: "answer", role: "status" });
    const order_panel = h("form", { class: "sheet", "aria-label": "Order", onsubmit: (event) => {
        event.preventDefault();
        give_order();
    } },
        h("h2", { text: "Order" }), targets.element, h("div", { class: "field wide" }, h("label", { for: "command", text: "Command" }), choice, help), place, preview,
        h("div", { class: "buttons" }, send, h("label", { class: "check" }, unchecked, "send it even if the check refuses it")), answer);

    const raw = h("textarea", { id: "raw", rows: 6, spellcheck: "false", "aria-describedby": "raw-fault" });
    raw.value = '{"version": "2.4", "service": "rrm", "cmd": "rrm-request-mode"}';
    const raw_fault = h("span", { class: "fault", id: "raw-fault" });
    raw.addEventListener("input", () => set_text(raw_fault, is_json(raw.value) ? "" : "this is no JSON; it is sent as it is all the same"));
    const raw_panel = h("form", { class: "sheet", "aria-label": "Raw JSON", onsubmit: (event) => {
        event.preventDefault();
        ask_agents("raw", { text: raw.value }, "Sent as it is.");
    } }, h("h2", { text: "Raw JSON" }), h("label", { for: "raw", text: "Message, to the agents ticked under Order" }), raw, raw_fault, h("div", { class: "buttons" }, h("button", { class: "main", text: "Send as it is" })));

    const fault_panel = h("section", { class: "sheet", "aria-label": "Faults" }, h("h2", { text: "Faults" }), h("p", { class: "quiet", text: "To the agents ticked under Order, to see how they take it." }),
        h("div", { class: "faults" }, faults.map(([kind, text, what]) => h("div", {}, h("button", { text, "data-fault": kind, onclick: () => ask_agents("fault", { kind }, `${text}: done.`) }), h("span", { class: "quiet", text: what })))));

    const plan = plan_panel(context);
    const element = h("section", { class: "view", "aria-label": "Orders" }, h("div", { class: "head" }, h("h1", { text: "Orders" })),
        h("p", { class: "empty", hidden: true, text: "A replay takes no orders." }),
        h("div", { class: "two" }, h("div", {}, order_panel), h("div", {}, plan.element, fault_panel, raw_panel)));

    function is_json(text) {
        try {
            return JSON.parse(text) !== undefined;
        } catch {
            return false;
        }
    }

    function nobody(agents) {
        if (agents === "all" || agents.length > 0) return false;
        context.notify("Choose the agents first.", "bad");
        return true;
    }

    async function ask_agents(type, members, done) {
        const agents = targets.chosen();
        if (nobody(agents)) return;
        const reply = await context.ask(type, { agents, ...members });
        context.notify(reply.ok ? done : reply.error, reply.ok ? "good" : "bad");
    }

    function list_commands() {
        const wanted = context.state.commands;
        if (choice.dataset.signature === wanted.map((one) => one.word).join()) return;
        choice.dataset.signature = wanted.map((one) => one.word).join();
        choice.replaceChildren(...Object.entries(groups).map(([group, label]) => h("optgroup", { label }, wanted.filter((one) => one.group === group).map((one) => h("option", { value: one.word, text: one.word })))));
        choose("scan");
    }

    function choose(word) {
        command = context.state.commands.find((one) => one.word === word) ?? context.state.commands[0];
        if (!command) return;
        choice.value = command.word;
        set_text(help, command.help);
        form = command_form(command, () => preview_soon());
        place.replaceChildren(form.element);
        set_hidden(targets.element, !command.agent);
        set_text(answer, "");
        preview_soon();
    }

    async function show_preview() {
        const number = ++previewed;
        const fault = form?.fault();
        const agents = targets.chosen();
        if (!form || command.group !== "order") return preview.replaceChildren(h("code", { class: "line", text: fault ? "" : form?.line() ?? "" }));
        if (fault) return preview.replaceChildren(h("p", { class: "fault", text: fault }));
        if (agents !== "all" && agents.length === 0) return preview.replaceChildren(h("p", { class: "quiet", text: "Choose the agents to see what they would get." }));
        const reply = await context.ask("preview", { line: form.line(), agents });
        if (number !== previewed) return;
        if (!reply.ok) return preview.replaceChildren(h("p", { class: "fault", text: reply.error }));
        const [first, ...others] = reply.messages;
        const refused = reply.messages.filter((one) => one.fault);
        preview.replaceChildren(...[
            refused.length > 0 && h("p", { class: "fault", text: refused[0].fault }),
            ...(first?.warnings ?? []).map((text) => h("p", { class: "warning", text })),
            first && json_text(first.message),
            others.length > 0 && h("p", { class: "quiet", text: `and the same to ${others.length} more, each with its own address` }),
        ].filter(Boolean));
    }
    const preview_soon = soon(200, show_preview);

    async function give_order() {
        const agents = targets.chosen();
        if (form.fault()) return context.notify(form.fault(), "bad");
        if (command.agent && nobody(agents)) return;
        const reply = await context.ask("order", { line: form.line(), ...(command.agent ? { agents } : {}), unchecked: unchecked.checked });
        set_text(answer, reply.ok ? reply.text || "" : reply.error);
        set_attribute(answer, "data-kind", reply.ok ? "good" : "bad");
        context.notify(reply.ok ? `${command.word}: sent` : reply.error, reply.ok ? "good" : "bad");
    }

    return {
        element,
        show: (parameter) => parameter && targets.tick(parameter),
        update(changes) {
            if (changes.all) {
                set_hidden(element.querySelector(".empty"), context.state.mode !== "replay");
                list_commands();
            }
            if (changes.all || changes.agents.size) targets.update();
            if (changes.all || changes.plan) plan.update();
        },
    };
}
