"""A neighbour on the local bus, speaking its framing over a bare socket."""
import asyncio
import json
import struct

AGENT = 31
PEER = 50  # a number that nobody registers


def frame(kind, payload=b"", source=PEER, destination=AGENT, magic=b"RVB1"):
    return struct.pack("<IIBI4s", source, len(payload), kind, destination, magic) + payload


class Peer:
    """A connection to a module, as a context."""

    def __init__(self, session, module=AGENT):
        self.path = session.device(f"/run/ravd-bus/{module}.sock")

    async def __aenter__(self):
        self.reader, self.writer = await asyncio.open_unix_connection(self.path)
        self.writer.write(frame(1))
        return self

    async def __aexit__(self, *unused):
        try:
            await self.writer.drain()
        except ConnectionError:
            pass  # the other end had enough
        self.writer.close()

    def send(self, what):
        payload = what if isinstance(what, bytes) else json.dumps(what).encode()
        self.writer.write(frame(0, payload))


def event(kind, **members):
    """A client's event as hostapd's side reports it; underscores of member names stand for hyphens."""
    return {"command": "wifi-client-trap", "event": {
        "type": kind, "dev": "wlan0-va0", "mac": "06:00:00:00:00:42", "ssid": "office", "rssi": -61,
        "client-info": {"using-802.11v": "yes"}, "target-mac": "06:00:00:00:00:99",
        **{name.replace("_", "-"): value for name, value in members.items()}}}
