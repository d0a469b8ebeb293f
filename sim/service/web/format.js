// How numbers, times and names are written. Times are milliseconds since 1970 and shown in the viewer's own zone.

const clock = new Intl.DateTimeFormat(undefined, { hour: "2-digit", minute: "2-digit", second: "2-digit", hourCycle: "h23" });
const minute = new Intl.DateTimeFormat(undefined, { hour: "2-digit", minute: "2-digit", hourCycle: "h23" });
const day = new Intl.DateTimeFormat(undefined, { dateStyle: "medium", timeStyle: "medium", hourCycle: "h23" });

export const time_of_day = (time) => clock.format(time);
export const hour_minute = (time) => minute.format(time);
export const date_and_time = (time) => day.format(time);
export const precise_time = (time) => `${clock.format(time)}.${String(Math.floor(time) % 1000).padStart(3, "0")}`;

// How long ago, in the largest unit that says it: "12 s", "3 min", "5 h".
export function span(milliseconds) {
    const seconds = Math.max(Math.floor(milliseconds / 1000), 0);
    if (seconds < 120) return `${seconds} s`;
    if (seconds < 7200) return `${Math.floor(seconds / 60)} min`;
    return seconds < 172800 ? `${Math.floor(seconds / 3600)} h` : `${Math.floor(seconds / 86400)} d`;
}

export const dbm = (value) => (value === undefined || value === null || value === 0 ? "–" : `${minus(value)} dBm`);
export const minus = (value) => String(value).replace("-", "−");
export const decimal = (value) => (value === undefined || value === null ? "–" : minus(value.toFixed(2)));
export const count = (number, one, many = `${one}s`) => `${number} ${number === 1 ? one : many}`;
export const bytes = (size) => (size < 10000 ? `${size} B` : `${Math.round(size / 1000)} kB`);

// The end of a MAC address tells the access points of one maker apart.
export const short_mac = (mac) => (mac ? mac.slice(-8) : "");
export const band_name = (band) => (band === 2 ? "2.4 GHz" : "5 GHz");

// Where a radio is: "ch 44 · 80 MHz".
export function place(radio) {
    const side = radio.bandwidth === 40 ? { upper: ", upper", lower: ", lower" }[radio.primary] ?? "" : "";
    return `ch ${radio.channel} · ${radio.bandwidth} MHz${side}`;
}

// A message's text without its envelope, which stands in columns of its own.
export const without_envelope = (text) => text.replace(/^\{("(version|service|cmd|ap-mac)":"[^"]*",?)+/, "{");
