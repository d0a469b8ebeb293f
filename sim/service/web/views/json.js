// JSON as indented text, its parts told apart; built from text nodes alone.
import { h } from "../dom.js";

const token = /("(?:[^"\\]|\\.)*")(\s*:)?|(-?\d+(?:\.\d+)?(?:[eE][+-]?\d+)?)|\b(?:true|false|null)\b/g;
const plain_above = 200000; // characters: beyond that colours cost more than they tell

export function json_text(value) {
    const text = JSON.stringify(value, null, 2) ?? "";
    const element = h("pre", { class: "json", tabindex: 0 });
    if (text.length > plain_above) {
        element.textContent = text;
        return element;
    }
    let at = 0;
    for (const found of text.matchAll(token)) {
        element.append(text.slice(at, found.index));
        const kind = found[1] ? (found[2] ? "name" : "text") : found[3] ? "number" : "word";
        element.append(h("span", { class: kind, text: found[1] ?? found[0] }), found[2] ?? "");
        at = found.index + found[0].length;
    }
    element.append(text.slice(at));
    return element;
}
