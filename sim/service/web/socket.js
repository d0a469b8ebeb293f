// The connection to the service: messages in, requests out, and another try when it is gone.

const longest_wait = 8000; // ms between two tries
const patience = 20000; // ms for a reply

export class service_link {
    // `receive(message)` for every message that is no reply; `changed(open)` when the connection comes or goes.
    constructor(receive, changed) {
        this.receive = receive;
        this.changed = changed;
        this.waiting = new Map();
        this.next_id = 1;
        this.delay = 250;
    }

    open() {
        const address = new URL("live", document.baseURI);
        address.protocol = address.protocol === "https:" ? "wss:" : "ws:";
        address.hash = "";
        this.socket = new WebSocket(address, "ravd-console");
        this.socket.onopen = () => {
            this.delay = 250;
            this.changed(true);
        };
        this.socket.onmessage = (event) => this.take(JSON.parse(event.data));
        this.socket.onclose = () => this.lost();
    }

    take(message) {
        if (message.type !== "reply") return this.receive(message);
        const request = this.waiting.get(message.id);
        this.waiting.delete(message.id);
        if (request) request(message);
    }

    lost() {
        for (const request of this.waiting.values()) request({ ok: false, error: "The connection to the service is lost." });
        this.waiting.clear();
        this.changed(false);
        setTimeout(() => this.open(), this.delay);
        this.delay = Math.min(this.delay * 2, longest_wait);
    }

    // The reply, always: one that is not `ok` has its reason in `error`.
    ask(type, members = {}) {
        const id = this.next_id++;
        if (this.socket?.readyState !== WebSocket.OPEN)
            return Promise.resolve({ ok: false, error: "There is no connection to the service." });
        return new Promise((resolve) => {
            const timer = setTimeout(() => this.take({ type: "reply", id, ok: false, error: "The service does not answer." }), patience);
            this.waiting.set(id, (reply) => {
                clearTimeout(timer);
                resolve(reply);
            });
            this.socket.send(JSON.stringify({ id, type, ...members }));
        });
    }
}
