// The roaming bridge as a short Node script, for comparison: a websocket client and module 2 of the local bus, every
// message passed on unchanged.
//   node node_bridge.js ws://HOST:PORT/PATH BUS_DIRECTORY
'use strict';
const net = require('net');
const fs = require('fs');
const WebSocket = require('ws');

const [url, directory] = process.argv.slice(2);
const own = 2, peer = 3, headerSize = 17;

function frame(kind, payload) {
    const out = Buffer.alloc(headerSize + payload.length);
    out.writeUInt32LE(own, 0);
    out.writeUInt32LE(payload.length, 4);
    out.writeUInt8(kind, 8);
    out.writeUInt32LE(peer, 9);
    out.write('RVB1', 13, 'latin1');
    payload.copy(out, headerSize);
    return out;
}

let toPeer = null;
function bus() {
    if (!toPeer || toPeer.destroyed) {
        toPeer = net.connect(`${directory}/${peer}.sock`);
        toPeer.on('error', () => {});
        toPeer.write(frame(1, Buffer.alloc(0)));
        receive(toPeer);
    }
    return toPeer;
}

const link = new WebSocket(url, ['websock-roaming'], {perMessageDeflate: false});
link.on('message', (data) => bus().write(frame(0, data)));
link.on('close', () => process.exit(0));

function receive(socket) {
    let held = [], size = 0;
    socket.on('data', (chunk) => {
        held.push(chunk);
        size += chunk.length;
        if (size < headerSize) return;
        let all = held.length === 1 ? held[0] : Buffer.concat(held), at = 0;
        while (all.length - at >= headerSize) {
            const length = all.readUInt32LE(at + 4);
            if (all.length - at - headerSize < length) break;
            if (all[at + 8] === 0)
                link.send(all.subarray(at + headerSize, at + headerSize + length), {binary: false});
            at += headerSize + length;
        }
        held = at < all.length ? [all.subarray(at)] : [];
        size = all.length - at;
    });
}

const path = `${directory}/${own}.sock`;
fs.rmSync(path, {force: true});
net.createServer(receive).listen(path);
process.on('SIGTERM', () => { fs.rmSync(path, {force: true}); process.exit(0); });
