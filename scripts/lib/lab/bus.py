"""A neighbour on the local bus, speaking its framing over a bare socket."""
import asyncio
import json
import os
import struct

from lab.processes import until

AGENT = 31
PEER = 50  # a number that nobody registers


def frame(kind, payload=b"", source=PEER, destination=AGENT, magic=b"RVB1"):
    return struct.pack("<IIBI4s", source, len(payload), kind, destination, magic) + payload


class Peer:
    """A connection to a module, as a context."""

    def __init__(self, place, module=AGENT):
        self.module = module
        self.path = place.path(f"/run/ravd-bus/{module}.sock")

    async def __aenter__(self):
        # The link may be up before the bus: each has a thread of its own.
        await until(lambda: os.path.exists(self.path), f"module {self.module} on the bus")
        self.reader, self.writer = await asyncio.open_unix_connection(self.path)
        self.writer.write(frame(1, destination=self.module))
        return self

    async def __aexit__(self, *unused):
        try:
            await self.writer.drain()
        except ConnectionError:
            pass  # the other end had enough
        self.writer.close()

    def send(self, what):
        payload = what if isinstance(what, bytes) else json.dumps(what).encode()
        self.writer.write(frame(0, payload, destination=self.module))


class FalseService:
    """Takes the place of a module that left the bus; `answers` are bytes to write, the rest is answered properly."""

    def __init__(self, place, module):
        self.path = place.path(f"/run/ravd-bus/{module}.sock")
        self.module = module
        self.answers = []
        self.asked = 0

    async def __aenter__(self):
        self.server = await asyncio.start_unix_server(self.serve, self.path)
        return self

    async def __aexit__(self, *unused):
        self.server.close()
        await self.server.wait_closed()

    def frame(self, payload, requester=28):
        return frame(0, payload, self.module, requester)

    async def serve(self, reader, writer):
        try:
            while True:
                _, length, kind, _, _ = struct.unpack("<IIBI4s", await reader.readexactly(17))
                request = await reader.readexactly(length)
                if kind == 1:
                    continue
                self.asked += 1
                if self.answers:
                    answer = self.answers.pop(0)
                    for piece in answer if isinstance(answer, list) else [answer]:
                        writer.write(piece)
                        await writer.drain()
                        await asyncio.sleep(0.1 if isinstance(answer, list) else 0)
                    if answer == b"":
                        writer.close()  # instead of an answer
                else:
                    writer.write(self.frame(json.dumps({"command": json.loads(request)["command"] + "-response",
                                                        "status": "ok", "value": "true"}).encode()))
        except (asyncio.IncompleteReadError, ConnectionError):
            pass
        writer.close()
