// The plan of the domain: asked for, looked at, applied in stages, undone.
import { h, row, set_attribute, set_hidden, set_text, table, empty } from "../dom.js";
import { decimal, minus, place, short_mac } from "../format.js";

const actions = [["start", "Scan and plan"], ["propose", "Plan from last reports"], ["apply", "Apply"], ["undo", "Undo"], ["cancel", "Stop"]];
const further = [["neighbours", "Hand out 802.11k lists"], ["balance", "Who has too many clients?"], ["balance-apply", "Ask those clients to roam"]];
const words = { none: "no plan yet", scanning: "scanning", proposed: "proposal", applying: "being applied", verifying: "verifying by new scans", done: "applied", undoing: "being undone", undone: "undone", failed: "failed" };
const kinds = { scanning: "wait", proposed: "wait", applying: "wait", verifying: "wait", undoing: "wait", done: "good", failed: "bad" };
const steps = { done: "● shown", open: "○ open" };
const setting = (one) => (one?.channel ? `${place(one)}${one.power === undefined ? "" : ` · ${minus(one.power)} dBm`}` : "–");

// Interference before, as planned and as measured, as bars on one scale.
function bars(plan) {
    const entries = [["before", plan.before], ["as planned", plan.after], ["measured", plan.measured]].filter(([, value]) => value !== undefined);
    const most = Math.max(...entries.map(([, value]) => value), 0.001);
    return h("dl", { class: "bars", "aria-label": "Interference of the domain" }, entries.map(([text, value]) => {
        const bar = h("span", { class: "fill" });
        bar.style.setProperty("--part", (value / most).toFixed(3));
        const saved = text === "before" || !plan.before ? "" : ` (${minus(Math.round((value / plan.before - 1) * 100))} %)`;
        return h("div", {}, h("dt", { text }), h("dd", {}, h("span", { class: "load wide" }, bar), h("span", { class: "number", text: decimal(value) + saved })));
    }));
}

export function plan_panel(context) {
    const state = h("span", { class: "state", "data-kind": "gone", text: words.none });
    const said = h("p", { role: "status" });
    const cost = h("div");
    const silent = h("p", { class: "warning" });
    const list = h("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": "Changes of the plan" });
    const button = ([what, text]) => h("button", { type: "button", text, "data-plan": what, onclick: () => act(what) });
    const buttons = new Map(actions.map((action) => [action[0], button(action)]));
    const limit = h("input", { type: "number", min: 0, max: 10000, id: "plan-changes", placeholder: "as many as gain" });
    const options = h("input", { type: "text", id: "plan-options", placeholder: "width=40 min-gain=0.2", spellcheck: "false", autocomplete: "off" });
    const answer = h("pre", { class: "answer", role: "status" });
    const element = h("section", { class: "sheet", "aria-label": "Plan" }, h("div", { class: "title" }, h("h2", { text: "Plan of the domain" }), state),
        h("p", { class: "quiet", text: "Chooses channel, width and power of every radio from all reports together. Nothing is sent before you apply it." }),
        said, cost, silent, h("div", { class: "buttons" }, ...buttons.values()), list,
        h("details", {}, h("summary", { text: "Limits and more" }), h("div", { class: "fields" },
            h("div", { class: "field" }, h("label", { for: "plan-changes", text: "at most so many changes" }), limit),
            h("div", { class: "field" }, h("label", { for: "plan-options", text: "options, as for the command plan" }), options)),
        h("div", { class: "buttons" }, further.map(button))), answer);

    async function act(what) {
        const wanted = options.value.trim() ? { options: options.value.trim() } : {};
        if (limit.value && (what === "start" || what === "propose")) wanted["max-changes"] = Number(limit.value);
        const reply = await context.ask("plan", { do: what, ...wanted });
        // What a step of the plan makes is drawn above already.
        set_text(answer, !reply.ok ? reply.error : buttons.has(what) ? "" : reply.text ?? "");
        set_attribute(answer, "data-kind", reply.ok ? "good" : "bad");
    }

    function changes_table(plan) {
        const columns = ["Access point", "Radio", "From", "To", "Stage", "State"];
        const name = (change) => short_mac(change.mac) || `#${change.agent}`;
        return table("Changes", columns, h("tbody", {}, plan.changes.slice(0, 200).map((change) =>
            row([{ text: name(change), class: "mac" }, change.radio, setting(change.from), { text: setting(change.to), title: change.reason }, change.stage ?? "–", steps[change.state] ?? change.state ?? ""], columns))));
    }

    return {
        element,
        update() {
            const plan = context.state.plan ?? { state: "none", changes: [] };
            set_text(state, words[plan.state] ?? plan.state);
            set_attribute(state, "data-kind", kinds[plan.state] ?? "gone");
            set_text(said, plan.text ?? "");
            const may = plan.may ?? ["start", "propose"];
            const main = may.includes("apply") ? "apply" : may.includes("undo") ? "" : "start";
            for (const [what, one] of buttons) {
                one.disabled = !may.includes(what);
                one.classList.toggle("main", what === main);
            }
            set_hidden(cost, plan.before === undefined);
            if (plan.before !== undefined) cost.replaceChildren(bars(plan));
            set_text(silent, plan.silent?.length ? `Without a report, and left as they are: ${plan.silent.join(", ")}` : "");
            list.replaceChildren(plan.changes?.length ? changes_table(plan) : plan.state === "proposed" ? empty("Nothing would be better than it is.") : "");
        },
    };
}
