// What the page knows, built from the messages of the service and nothing else: no drawing, no network.

const message_limit = 1000; // of one frame; a view asks for what it missed

export function new_state() {
    return {
        mode: "live", version: "", name: "", commands: [],
        agents: new Map(), // by connection
        reports: new Map(), // the last scan of each connection
        plan: null,
        clock: null, // of a replay
        skew: 0, // the service's clock minus ours, ms
        ready: false,
    };
}

export const no_changes = () => ({ all: false, agents: new Set(), reports: new Set(), messages: [], plan: false, clock: false });

// Applies one message of the service; notes in `changes` what a view may have to draw again. `now`: our clock.
export function apply(state, message, changes, now) {
    switch (message.type) {
        case "hello":
            Object.assign(state, new_state(), {
                mode: message.mode, version: message.version, name: message.name ?? "", commands: message.commands ?? [],
                skew: message.time - now,
            });
            changes.all = true;
            break;
        case "reset":
            state.agents.clear();
            state.reports.clear();
            state.plan = null;
            state.ready = false;
            changes.all = true;
            break;
        case "ready":
            state.ready = true;
            changes.all = true;
            break;
        case "agent":
            state.agents.set(message.agent.id, message.agent);
            changes.agents.add(message.agent.id);
            forget_gone(state);
            break;
        case "report":
            state.reports.set(message.agent, message);
            changes.reports.add(message.agent);
            break;
        case "message":
            changes.messages.push(message);
            if (changes.messages.length > 2 * message_limit) changes.messages.splice(0, message_limit);
            break;
        case "plan":
            state.plan = message;
            changes.plan = true;
            break;
        case "clock":
            state.clock = { ...message, at: now };
            changes.clock = true;
            break;
    }
}

// The service keeps the last 200 connections that are gone; so does the page.
function forget_gone(state) {
    if (state.agents.size < 1200) return;
    const gone = [...state.agents.values()].filter((agent) => agent.closed).sort((a, b) => a.closed - b.closed);
    for (const agent of gone.slice(0, Math.max(gone.length - 200, 0))) {
        state.agents.delete(agent.id);
        state.reports.delete(agent.id);
    }
}

// The time where the service is: the wall clock's, or the replay's, which goes on between two of its messages.
export function service_time(state, now) {
    if (!state.clock) return now + state.skew;
    const { time, playing, speed, to, at } = state.clock;
    return playing ? Math.min(time + (now - at) * speed, to) : time;
}

// One entry per access point: its newest connection. Connections that never said who they are stand for themselves.
export function access_points(state) {
    const newest = new Map();
    for (const agent of state.agents.values()) {
        const key = agent_key(agent);
        const other = newest.get(key);
        if (!other || other.id < agent.id) newest.set(key, agent);
    }
    return [...newest.values()];
}

export const agent_key = (agent) => agent.mac || `#${agent.id}`;

export function find_agent(state, key) {
    return access_points(state).find((agent) => agent_key(agent) === key || String(agent.id) === key);
}

// How an agent is: [kind, word]; the kind chooses symbol and colour.
export function condition(agent) {
    if (agent.closed) return ["gone", "lost"];
    if (agent.subscribed) return agent.mute || agent.reading === false ? ["wait", "silenced"] : ["good", "subscribed"];
    return ["wait", "connected"];
}

// {part (0 to 1), text} of an ordered scan; null without one. The agent tells only of its end: this goes by the clock.
export function scan_progress(scan, time) {
    if (!scan) return null;
    const rounds = scan.rounds * scan["round-length"];
    const since = (time - scan.begun) / 1000 - scan.delay;
    const due = rounds + scan["report-delay"];
    const waiting = scan.waiting ? `, ${scan.waiting} waiting` : "";
    if (since < 0) return { part: 0, text: `in ${Math.ceil(-since)} s${waiting}` };
    if (since >= due + 10) return { part: 1, text: `report missing${waiting}`, late: true };
    if (since >= rounds) return { part: 1, text: `report due${waiting}` };
    const round = Math.min(Math.floor(since / Math.max(scan["round-length"], 1)) + 1, scan.rounds);
    return { part: due > 0 ? since / due : 1, text: `round ${round} of ${scan.rounds}${waiting}` };
}

export const clients_of = (agent) => (agent.radios ?? []).reduce((sum, radio) => sum + (radio.clients ?? []).length, 0);
export const radio_of_band = (agent, band) => (agent.radios ?? []).find((radio) => radio.band === band);
