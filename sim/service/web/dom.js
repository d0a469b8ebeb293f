// Elements without markup: every text goes through textContent, so that nothing that came from outside is ever parsed.

const svg_space = "http://www.w3.org/2000/svg";

function fill(element, properties, children) {
    for (const [name, value] of Object.entries(properties)) {
        if (value === undefined || value === null || value === false) continue;
        if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
        else if (name === "text") element.textContent = value;
        else if (name === "value" || name === "checked" || name === "disabled") element[name] = value;
        else set_attribute(element, name, value);
    }
    element.append(...children.flat().filter((child) => child !== undefined && child !== null && child !== false));
    return element;
}

// h("button", {class: "quiet", text: "Send", onclick: f}, children...); strings among the children become text nodes.
export function h(tag, properties = {}, ...children) {
    return fill(document.createElement(tag), properties, children);
}

// The same for drawings.
export function s(tag, properties = {}, ...children) {
    return fill(document.createElementNS(svg_space, tag), properties, children);
}

// Writes only what differs, so that rows that stay the same cost no layout.
export function set_text(element, text) {
    const wanted = String(text);
    if (element.textContent !== wanted) element.textContent = wanted;
}

export function set_attribute(element, name, value) {
    const wanted = value === true && !name.startsWith("aria-") ? "" : String(value);
    if (value === undefined || value === null || value === false) element.removeAttribute(name);
    else if (element.getAttribute(name) !== wanted) element.setAttribute(name, wanted);
}

export function set_hidden(element, hidden) {
    if (element.hidden !== hidden) element.hidden = hidden;
}

// Keeps one child per item of `items`, in their order. `make(item)` builds one with its parts, {element, ...};
// `update(parts, item)` writes the item into it. `parts` is a Map the caller keeps: key -> what `make` gave.
export function keep_children(parent, parts, items, key, make, update) {
    const wanted = new Set(items.map(key));
    for (const [name, part] of parts) {
        if (wanted.has(name)) continue;
        part.element.remove();
        parts.delete(name);
    }
    let at = parent.firstElementChild;
    for (const item of items) {
        const name = key(item);
        let part = parts.get(name);
        if (!part) parts.set(name, (part = make(item)));
        update(part, item);
        if (part.element === at) at = at.nextElementSibling;
        else parent.insertBefore(part.element, at);
    }
}

// A table's head from texts; an empty one is announced by `hidden_names`.
export function table(caption, columns, ...bodies) {
    return h("table", {}, h("caption", { class: "unseen", text: caption }),
        h("thead", {}, h("tr", {}, columns.map((text) => h("th", { scope: "col", text })))), bodies);
}

// A row of cells; a cell is a text, an element, or {text, class}.
export function row(cells, labels = []) {
    return h("tr", {}, cells.map((cell, index) => {
        const plain = cell === null || cell === undefined || typeof cell !== "object";
        const properties = { "data-label": labels[index] };
        if (plain) return h("td", { ...properties, text: cell ?? "" });
        if (cell instanceof Node) return h("td", properties, cell);
        return h("td", { ...properties, ...cell });
    }));
}

export const empty = (text) => h("p", { class: "empty", text });

// Calls `work` within `wait` milliseconds of the first of several calls, and once for all of them.
export function soon(wait, work) {
    let timer = 0;
    return () => {
        timer ||= setTimeout(() => {
            timer = 0;
            work();
        }, wait);
    };
}
