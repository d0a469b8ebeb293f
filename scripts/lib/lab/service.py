"""A radio service for tests: a websocket server of another make, that holds every message against the protocol."""
import asyncio
import collections
import json
import os

import websockets

from lab.orders import message
from lab.processes import PATIENCE, Wrong, check


def without_duplicates(pairs):
    members = dict(pairs)
    check(len(members) == len(pairs), "a member stands twice:", pairs)
    return members


def read(text):
    """A message of the agent: JSON without white space, the envelope first."""
    check(isinstance(text, str), "not a text message:", text)
    received = json.loads(text, object_pairs_hook=without_duplicates)
    plain = json.dumps(received, separators=(",", ":"), ensure_ascii=False).replace("/", "\\/")
    check(len(plain) == len(text), "not in compact form:", text[:500])
    check(list(received)[:5] == ["version", "service", "cmd", "ap-mac", "domain"], "no envelope:", text[:500])
    check((received["version"], received["service"]) == ("2.4", "rrm"), "wrong envelope:", text[:500])
    return received


def same(received, expected):
    """The same members in the same order with the same values."""
    left, right = json.dumps(received), json.dumps(expected)
    at = max(len(os.path.commonprefix([left, right])) - 60, 0)
    check(left == right, f"differs\n    received ...{left[at:at + 300]}\n    expected ...{right[at:at + 300]}")


class Link:
    """One connection of the agent; its messages are taken in their order."""

    def __init__(self, socket):
        self.socket = socket
        self.subscribed = False  # for whoever keeps account of it
        self.history = collections.deque(maxlen=40)  # what was sent and received last, for reports
        self.waiting = asyncio.Queue()

    async def serve(self):
        try:
            async for text in self.socket:
                self.history.append("<- " + text[:400])
                self.waiting.put_nowait(text)
        except websockets.ConnectionClosed:
            pass
        self.history.append("link closed")
        self.waiting.put_nowait(None)

    async def send(self, what):
        """A message, or text or bytes as they are."""
        text = what if isinstance(what, (str, bytes)) else json.dumps(what)
        self.history.append(f"-> {str(text[:400])}")
        await self.socket.send(text)

    async def next(self, cmd, seconds=PATIENCE):
        """The next message, which has to be a `cmd`."""
        try:
            text = await asyncio.wait_for(self.waiting.get(), seconds)
        except asyncio.TimeoutError:
            raise Wrong(f"no {cmd} within {seconds} s") from None
        check(text is not None, f"the link closed instead of {cmd}")
        received = read(text)
        check(received["cmd"] == cmd, f"instead of {cmd} came {text[:400]}")
        return received

    async def skip_to(self, cmd, condition=lambda received: True, seconds=PATIENCE):
        """The next `cmd` that meets the condition, whatever comes before it."""
        async def search():
            while True:
                text = await self.waiting.get()
                check(text is not None, f"the link closed instead of {cmd}")
                received = read(text)
                if received["cmd"] == cmd and condition(received):
                    return received
        try:
            return await asyncio.wait_for(search(), seconds)
        except asyncio.TimeoutError:
            raise Wrong(f"no such {cmd} within {seconds} s") from None

    async def silent(self, seconds):
        """Nothing comes."""
        await asyncio.sleep(seconds)
        check(self.waiting.empty(), "unexpected:", list(self.history)[-3:])

    async def closed(self, seconds=PATIENCE):
        """The link ends without a further message."""
        try:
            text = await asyncio.wait_for(self.waiting.get(), seconds)
        except asyncio.TimeoutError:
            raise Wrong(f"the link did not end within {seconds} s") from None
        check(text is None, "the link should end, but:", str(text)[:400])

    async def mode(self, seconds=PATIENCE):
        """Asks for the radios."""
        await self.send(message("rrm-request-mode"))
        return await self.next("rrm-mode-response", seconds)

    async def alive(self, seconds=PATIENCE):
        """The agent answers still, to a ping and to a request."""
        await asyncio.wait_for(await self.socket.ping(), seconds)
        await self.send(message("rrm-request-mode"))
        return await self.skip_to("rrm-mode-response", seconds=seconds)

    def abort(self):
        """Ends the connection without a word."""
        self.socket.transport.abort()


class Service:
    """Listens on a free port."""

    def __init__(self):
        self.links = []
        self.fresh = asyncio.Queue()
        self.server = None
        self.port = 0

    async def start(self, port=0):
        self.server = await websockets.serve(self.take, "127.0.0.1", port, subprotocols=["websock-rrm"], max_size=None,
                                             max_queue=None, ping_interval=None, compression=None)
        self.port = self.server.sockets[0].getsockname()[1]

    async def take(self, socket, path):
        link = Link(socket)
        self.links.append(link)
        check(path == "/agent" and socket.subprotocol == "websock-rrm", "handshake:", path, socket.subprotocol)
        self.fresh.put_nowait(link)
        await link.serve()

    async def link(self, seconds=PATIENCE):
        """The next connection of the agent."""
        try:
            return await asyncio.wait_for(self.fresh.get(), seconds)
        except asyncio.TimeoutError:
            raise Wrong(f"the agent did not connect within {seconds} s") from None

    async def stop(self):
        """Ends all links, too."""
        if self.server:
            self.server.close()
            await self.server.wait_closed()
