// The plan of the domain: asked for, looked at, applied in stages, undone.
import { h, row, set_attribute, set_hidden, set_text, table, empty } from "../dom.js";
import { decimal, minus, place, short_mac } from "../format.js";

const actions = [["start", "Make a plan"], ["apply", "Apply"], ["undo", "Undo"], ["cancel", "Stop"]];
const words = { none: "no plan yet", scanning: "scanning", proposed: "proposal", applying: "being applied", verifying: "verifying by new scans", done: "applied", undoing: "being undone", undone: "undone", failed: "failed", worse: "got worse" };
const kinds = { proposed: "wait", applying: "wait", scanning: "wait", verifying: "wait", undoing: "wait", done: "good", undone: "gone", failed: "bad", worse: "bad" };
const setting = (one) => (one?.channel ? `${place(one)}${one.power === undefined ? "" : ` · ${minus(one.power)} dBm`}` : "–");

// Cost before and after, as two bars on one scale.
function bars(plan) {
    const entries = [["now", plan.before], ["with the plan", plan.after], ["measured", plan.measured]].filter(([, value]) => value !== undefined);
    const most = Math.max(...entries.map(([, value]) => value), 0.001);
    return h("dl", { class: "bars" }, entries.map(([text, value]) => {
        const bar = h("span", { class: "fill" });
        bar.style.setProperty("--part", (value / most).toFixed(3));
        return h("div", {}, h("dt", { text }), h("dd", {}, h("span", { class: "load wide" }, bar), h("span", { class: "number", text: decimal(value) })));
    }));
}

export function plan_panel(context) {
    const state = h("span", { class: "state", "data-kind": "gone", text: words.none });
    const said = h("p", {});
    const cost = h("div");
    const list = h("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": "Changes of the plan" });
    const buttons = new Map(actions.map(([what, text]) => [what, h("button", { type: "button", text, "data-plan": what, onclick: () => act(what) })]));
    const limit = h("input", { type: "number", min: 1, max: 10000, id: "plan-changes", placeholder: "no limit" });
    const element = h("section", { class: "sheet", "aria-label": "Plan" }, h("div", { class: "title" }, h("h2", { text: "Plan of the domain" }), state),
        h("p", { class: "quiet", text: "Chooses channel, width and power of every radio from all reports together; nothing is sent before you apply it." }), said, cost, list,
        h("div", { class: "buttons" }, h("label", { class: "check", for: "plan-changes" }, "at most", limit, "changes"), ...buttons.values()));

    async function act(what) {
        const reply = await context.ask("plan", { do: what, ...(what === "start" && limit.value ? { "max-changes": Number(limit.value) } : {}) });
        if (!reply.ok) context.notify(reply.error, "bad");
    }

    function changes_table(plan) {
        const columns = ["Access point", "Radio", "From", "To", "Stage", ""];
        const name = (change) => short_mac(change.mac ?? context.state.agents.get(change.agent)?.mac) || `#${change.agent}`;
        return table("Changes", columns, h("tbody", {}, plan.changes.slice(0, 200).map((change) =>
            row([{ text: name(change), class: "mac" }, change.radio, setting(change.from), setting(change.to), change.stage ?? "–", change.state ?? ""], columns))));
    }

    return {
        element,
        update() {
            const plan = context.state.plan ?? { state: "none", changes: [] };
            set_text(state, words[plan.state] ?? plan.state);
            set_attribute(state, "data-kind", kinds[plan.state] ?? "gone");
            set_text(said, plan.text ?? "");
            const may = plan.may ?? ["start"];
            for (const [what, button] of buttons) {
                button.disabled = !may.includes(what);
                button.classList.toggle("main", what === (may.includes("apply") ? "apply" : "start"));
            }
            set_hidden(cost, plan.before === undefined);
            if (plan.before !== undefined) cost.replaceChildren(bars(plan));
            list.replaceChildren(plan.changes?.length ? changes_table(plan) : plan.state === "proposed" ? empty("Nothing would be better than it is.") : "");
        },
    };
}
