// Channels, blocks and their place in the band, in MHz; and the colour that stands for a channel.

export const bands = [2, 5];
export const bounds = { 2: [2400, 2484], 5: [5160, 5835] };
export const axis = {
    2: [1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13],
    5: [36, 40, 44, 48, 52, 56, 60, 64, 100, 104, 108, 112, 116, 120, 124, 128, 132, 136, 140, 144, 149, 153, 157, 161, 165],
};

export const centre = (channel) => (channel === 14 ? 2484 : channel < 30 ? 2407 + 5 * channel : 5000 + 5 * channel);

// The first channel of the fixed block of 40 or 80 MHz that holds a 5 GHz channel; 0 where there is none.
function block_start(channel, bandwidth) {
    for (const [first, last] of [[36, 64], [100, 144], [149, 161]])
        if (channel >= first && channel <= last && (channel - first) % 4 === 0)
            return first + Math.floor((channel - first) / (bandwidth / 5)) * (bandwidth / 5);
    return 0;
}

// [low, high] of what a BSS takes. `primary`: "lower", "upper", at 80 MHz "ll" to "uu", else anything.
export function taken(channel, bandwidth, primary) {
    const low = centre(channel) - 10;
    let offset = 0;
    if (bandwidth === 40 && primary === "upper") offset = 20;
    else if (bandwidth === 80 && /^[lu]{2}$/.test(primary)) offset = (primary[0] === "u" ? 40 : 0) + (primary[1] === "u" ? 20 : 0);
    else if (bandwidth > 20 && primary !== "lower" && channel > 30) {
        const start = block_start(channel, bandwidth);
        offset = start ? (channel - start) * 5 : 0;
    }
    return [low - offset, low - offset + (bandwidth || 20)];
}

export function overlap(a, b) {
    const [a_low, a_high] = taken(a.channel, a.bandwidth, a.primary);
    const [b_low, b_high] = taken(b.channel, b.bandwidth, b.primary);
    return Math.max(Math.min(a_high, b_high) - Math.max(a_low, b_low), 0);
}

// Neighbouring channels have neighbouring hues; far ones look different.
export function hue(channel) {
    if (channel < 30) return Math.round(215 - (channel - 1) * 17.5 + 360) % 360;
    const first = [36, 52, 100, 116, 132, 149];
    const hues = [208, 172, 100, 48, 18, 318];
    const block = first.filter((start) => start <= channel).length - 1;
    return block < 0 ? 0 : hues[block] + ((channel - first[block]) / 4) * 8;
}
