// Where the points of the map stand: distances that fit how strongly they hear each other. Deterministic, and it starts
// from where the points stood, so that a new report moves them a little and never turns the map over.

const rounds = 80; // from nothing
const rounds_more = 12; // from where the points stood

// Free-space decay, flattened: what is heard at -40 dBm is close, at -90 far.
const distance = (rssi) => 10 ** ((-30 - Math.max(Math.min(rssi, -30), -100)) / 45);

// All distances, along the strongest ways where two do not hear each other.
function distances(count, links) {
    const far = new Float64Array(count * count).fill(Infinity);
    for (let i = 0; i < count; ++i) far[i * count + i] = 0;
    for (const { a, b, rssi } of links) {
        const d = Math.min(far[a * count + b], distance(rssi));
        far[a * count + b] = far[b * count + a] = d;
    }
    const heard = far.slice();
    for (let k = 0; k < count; ++k)
        for (let i = 0; i < count; ++i) {
            const first = far[i * count + k];
            if (first === Infinity) continue;
            for (let j = 0; j < count; ++j)
                if (first + far[k * count + j] < far[i * count + j]) far[i * count + j] = first + far[k * count + j];
        }
    let most = 1;
    for (const d of far) if (d !== Infinity && d > most) most = d;
    for (let i = 0; i < far.length; ++i) if (far[i] === Infinity) far[i] = most * 1.4;
    return { far, heard };
}

// Two axes through points that are far apart.
function first_guess(count, far) {
    const at = (i, j) => far[i * count + j];
    const farthest = (from) => {
        let best = 0;
        for (let i = 0; i < count; ++i) if (at(from, i) > at(from, best)) best = i;
        return best;
    };
    const a = farthest(0);
    const b = farthest(a);
    const base = at(a, b) || 1;
    const along = (i) => (at(a, i) ** 2 + base ** 2 - at(b, i) ** 2) / (2 * base);
    const points = Array.from({ length: count }, (_, i) => {
        const x = along(i);
        const aside = Math.sqrt(Math.max(at(a, i) ** 2 - x * x, 0));
        return [x, aside * (i % 2 ? 1 : -1) + (i % 7) * 0.01];
    });
    // The side of each: away from the one that stands farthest from the axis.
    const apex = points.reduce((best, point, i) => (Math.abs(point[1]) > Math.abs(points[best][1]) ? i : best), 0);
    points[apex][1] = Math.abs(points[apex][1]);
    points.forEach((point, i) => {
        const gap = (side) => Math.abs(Math.hypot(point[0] - points[apex][0], side * Math.abs(point[1]) - points[apex][1]) - at(apex, i));
        point[1] = Math.abs(point[1]) * (gap(1) <= gap(-1) ? 1 : -1);
    });
    return points;
}

// Each round moves every point to the mean of where the others would have it (stress majorisation).
function settle(points, far, heard, times) {
    const count = points.length;
    const weights = far.map((wanted, at) => (heard[at] === Infinity ? 0.3 : 1) / Math.max(wanted * wanted, 1e-4));
    let xs = Float64Array.from(points, (point) => point[0]);
    let ys = Float64Array.from(points, (point) => point[1]);
    for (let round = 0; round < times; ++round) {
        const next_xs = new Float64Array(count);
        const next_ys = new Float64Array(count);
        for (let i = 0; i < count; ++i) {
            let [sum_x, sum_y, sum] = [0, 0, 0];
            for (let j = 0, at = i * count; j < count; ++j, ++at) {
                if (j === i) continue;
                const dx = xs[i] - xs[j];
                const dy = ys[i] - ys[j];
                const stretch = far[at] / (Math.sqrt(dx * dx + dy * dy) || 1e-6);
                sum_x += weights[at] * (xs[j] + dx * stretch);
                sum_y += weights[at] * (ys[j] + dy * stretch);
                sum += weights[at];
            }
            next_xs[i] = sum > 0 ? sum_x / sum : xs[i];
            next_ys[i] = sum > 0 ? sum_y / sum : ys[i];
        }
        [xs, ys] = [next_xs, next_ys];
    }
    return points.map((_, i) => [xs[i], ys[i]]);
}

// The longest extent along x: screens are wide.
function lying(points) {
    const mean = [0, 1].map((axis) => points.reduce((sum, point) => sum + point[axis], 0) / points.length);
    let [xx, xy, yy] = [0, 0, 0];
    for (const point of points) {
        const [x, y] = [point[0] - mean[0], point[1] - mean[1]];
        [xx, xy, yy] = [xx + x * x, xy + x * y, yy + y * y];
    }
    const angle = -0.5 * Math.atan2(2 * xy, xx - yy);
    return points.map(([x, y]) => [x * Math.cos(angle) - y * Math.sin(angle), x * Math.sin(angle) + y * Math.cos(angle)]);
}

// `links`: [{a, b, rssi}] by index; `before`: a [x, y] or undefined for each of the `count` points. [[x, y], ...].
export function lay_out(count, links, before) {
    if (count === 0) return [];
    const { far, heard } = distances(count, links);
    const guess = first_guess(count, far);
    const known = before.filter(Boolean).length;
    let points = guess.map((point, i) => {
        if (known < count / 2) return point;
        if (before[i]) return [...before[i]];
        let nearest = -1;
        for (let j = 0; j < count; ++j) if (before[j] && (nearest < 0 || far[i * count + j] < far[i * count + nearest])) nearest = j;
        const angle = i * 2.4;
        const d = far[i * count + nearest];
        return [before[nearest][0] + d * Math.cos(angle), before[nearest][1] + d * Math.sin(angle)];
    });
    points = settle(points, far, heard, known < count / 2 ? rounds : rounds_more);
    return known < count / 2 ? lying(points) : points;
}
