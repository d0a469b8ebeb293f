// What a reader without eyes, mouse or good light would stumble over on the page as it is: a list of sentences.
const seen = (element) => element.checkVisibility?.({ checkOpacity: true, checkVisibilityCSS: true }) ?? element.getClientRects().length > 0;
const short = (element) => `<${element.tagName.toLowerCase()} class="${element.getAttribute("class") ?? ""}"> "${(element.textContent ?? "").trim().slice(0, 40)}"`;
const faults = [];

// Names
for (const element of document.querySelectorAll("a[href], button, input, select, textarea, [role=img], [role=region], section, nav, progress, canvas, fieldset, form")) {
    if (!seen(element)) continue;
    const labelled = (element.labels?.[0]?.textContent ?? "").trim();
    const own = element.matches("a, button") ? element.textContent.trim() : element.querySelector(":scope > legend")?.textContent ?? "";
    if (!(element.getAttribute("aria-label") || labelled || own)) faults.push(`without a name: ${short(element)}`);
}
const ids = [...document.querySelectorAll("[id]")].map((element) => element.id);
for (const id of ids) if (ids.indexOf(id) !== ids.lastIndexOf(id)) faults.push(`twice on the page: id ${id}`);

// Structure
if (document.querySelectorAll("h1").length !== 1) faults.push("not one heading of the first order");
if (!document.documentElement.lang) faults.push("no language");
for (const table of document.querySelectorAll("table")) {
    if (!table.caption) faults.push(`a table without a caption: ${short(table)}`);
    if (table.querySelector("thead th:not([scope])")) faults.push(`a head without a scope: ${short(table)}`);
}
for (const element of document.querySelectorAll("[onclick], [tabindex]"))
    if (element.tabIndex > 0) faults.push(`out of the order of the keyboard: ${short(element)}`);
for (const element of document.querySelectorAll(".scroll"))
    if (seen(element) && element.scrollWidth > element.clientWidth + 1 && element.tabIndex < 0 && !element.closest("details")) faults.push(`scrolls only with a mouse: ${short(element)}`);
if (document.documentElement.scrollWidth > window.innerWidth + 1) faults.push(`wider than the window: ${document.documentElement.scrollWidth} of ${window.innerWidth}`);

// Contrast of every text with what is painted beneath it
const pen = document.createElement("canvas").getContext("2d", { willReadFrequently: true });
function colour(text) {
    pen.clearRect(0, 0, 1, 1);
    pen.fillStyle = text;
    pen.fillRect(0, 0, 1, 1);
    const [r, g, b, a] = pen.getImageData(0, 0, 1, 1).data;
    return [r, g, b, a / 255];
}
const over = ([r, g, b, a], below) => [r, g, b].map((value, index) => value * a + below[index] * (1 - a)).concat(1);
function beneath(element) {
    const layers = [];
    for (let at = element; at; at = at.parentElement) {
        layers.push(colour(getComputedStyle(at).backgroundColor));
        if (layers.at(-1)[3] === 1) break;
    }
    return layers.reverse().reduce((below, layer) => over(layer, below), [255, 255, 255, 1]);
}
function light([r, g, b]) {
    const [x, y, z] = [r, g, b].map((value) => (value / 255 <= 0.03928 ? value / 255 / 12.92 : ((value / 255 + 0.055) / 1.055) ** 2.4));
    return 0.2126 * x + 0.7152 * y + 0.0722 * z;
}
let texts = 0;
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (walker.nextNode()) {
    const element = walker.currentNode.parentElement;
    if (!walker.currentNode.data.trim() || !seen(element) || element.closest("option, optgroup, .unseen, script, noscript, title, button:disabled, datalist")) continue;
    const style = getComputedStyle(element);
    const drawing = element instanceof SVGElement;
    const circle = drawing && element.matches(".channel") ? element.parentElement.querySelector("circle") : null;
    const below = circle ? colour(getComputedStyle(circle).fill) : beneath(element);
    let strength = 1;
    for (let at = element; at; at = at.parentElement) strength *= Number(getComputedStyle(at).opacity);
    const ink = colour(drawing ? style.fill : style.color);
    const [a, b] = [light(over([...ink.slice(0, 3), ink[3] * strength], below)), light(below)];
    const contrast = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
    ++texts;
    if (contrast < 4.5) faults.push(`contrast ${contrast.toFixed(2)}: ${short(element)}`);
}
if (texts < 5) faults.push(`only ${texts} texts on the page`);
return [...new Set(faults)];
