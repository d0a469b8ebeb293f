// A command's form, made from what the service says of its arguments, and the command line it stands for.
import { h, set_attribute, set_text } from "./dom.js";

const verbatim = new Set(["text", "binary", "fragments", "raw"]); // their last argument is taken as typed

// A value as the command line takes it: in quotes where blanks or quotes would end it.
function quoted(value, kind) {
    if (kind === "json" || kind === "channels" || !/[\s"\\]|^$/.test(value)) return value;
    return `"${value.replace(/[\\"]/g, "\\$&")}"`;
}

// `values`: [{argument, value}] in their order; empty ones are left out.
export function command_line(command, values) {
    const words = values.filter(({ value }) => value !== "").map(({ argument, value }) => {
        const flat = argument.kind === "json" ? JSON.stringify(JSON.parse(value)) : value.trim();
        if (verbatim.has(command.word)) return flat;
        const word = quoted(flat, argument.kind);
        return argument.position ? word : `${argument.name}=${word}`;
    });
    return [command.word, ...words].join(" ");
}

// Why a value cannot be right; empty when it may be.
export function value_fault(argument, value) {
    if (value === "") return argument.required ? "is needed" : "";
    switch (argument.kind) {
        case "number": {
            if (!/^-?\d+$/.test(value)) return "has to be a whole number";
            const number = Number(value);
            if (argument.min !== undefined && number < argument.min) return `is at least ${argument.min}`;
            return argument.max !== undefined && number > argument.max ? `is at most ${argument.max}` : "";
        }
        case "channels":
            return /^\d+(\s*,\s*\d+)*$/.test(value.trim()) ? "" : "are numbers with commas, as in 1,6,11";
        case "hex":
            return /^(\s*[0-9a-fA-F]{2})*\s*$/.test(value) ? "" : "are pairs of hexadecimal digits";
        case "json":
            try {
                JSON.parse(value);
                return "";
            } catch {
                return "is no JSON yet";
            }
        default:
            return "";
    }
}

function input_for(argument, changed) {
    const shared = { name: argument.name, oninput: changed };
    if (argument.kind === "choice")
        return h("select", { ...shared, onchange: changed }, h("option", { value: "", text: "–" }), argument.choices.map((value) => h("option", { value, text: value })));
    if (argument.kind === "json") return h("textarea", { ...shared, rows: 4, spellcheck: "false" });
    return h("input", { ...shared, type: "text", inputmode: argument.kind === "number" ? "numeric" : null, spellcheck: "false", autocomplete: "off" });
}

let next_id = 1;

function field(argument, changed) {
    const input = input_for(argument, changed);
    const id = `field-${next_id++}`;
    const fault = h("span", { class: "fault", id: `${id}-fault` });
    set_attribute(input, "id", id);
    set_attribute(input, "aria-describedby", fault.id);
    const element = h("div", { class: argument.kind === "json" ? "field wide" : "field" },
        h("label", { for: id, text: argument.name + (argument.required ? " *" : "") }), input,
        h("span", { class: "quiet", text: argument.help ?? (argument.kind === "channels" ? "1,6,11" : "") }), fault);
    // An empty one is no fault before somebody was there.
    input.addEventListener("blur", () => set_text(fault, value_fault(argument, input.value)));
    input.addEventListener("input", () => {
        const text = value_fault(argument, input.value);
        set_text(fault, text);
        set_attribute(input, "aria-invalid", text ? "true" : null);
    });
    return { element, argument, input };
}

// The arguments of a command as fields: {element, line(), fault()}. Those of a group may be given several times.
export function command_form(command, changed) {
    const element = h("div", { class: "form" });
    const fields = [];
    const groups = [...new Set(command.arguments.map((argument) => argument.group ?? ""))];
    for (const name of groups) {
        const members = command.arguments.filter((argument) => (argument.group ?? "") === name);
        const box = h(name ? "fieldset" : "div", { class: "group" }, name && h("legend", { text: name }));
        const set_of_fields = () => {
            const made = members.map((argument) => field(argument, changed));
            fields.push(...made.map((one) => ({ ...one, order: groups.indexOf(name) })));
            return h("div", { class: "fields" }, made.map((one) => one.element));
        };
        box.append(set_of_fields());
        if (name) {
            const more = h("button", { type: "button", class: "quiet", text: `another ${name}`, onclick: () => {
                box.insertBefore(set_of_fields(), more);
                changed();
            } });
            box.append(more);
        }
        element.append(box);
    }
    if (command.arguments.length === 0) element.append(h("p", { class: "quiet", text: "It takes no arguments." }));
    const values = () => [...fields].sort((a, b) => a.order - b.order).map(({ argument, input }) => ({ argument, value: input.value }));
    return {
        element,
        fault() {
            const wrong = values().find(({ argument, value }) => value_fault(argument, value));
            return wrong ? `${wrong.argument.name} ${value_fault(wrong.argument, wrong.value)}` : "";
        },
        line: () => command_line(command, values()),
    };
}
