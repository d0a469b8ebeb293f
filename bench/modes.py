"""Requests for the radios' description (rrm-request-mode), answered by a subscribed agent beside a simulated access point.

    modes.py --build DIRECTORY [--seconds N]

One at a time, and with 64 in flight. Each reading of the radios asks for settings over the bus; requests that wait together
share one.
"""
import argparse
import asyncio
import json
import struct
import time

from processes import Build, usage
from lab.orders import message
from lab.processes import check
from lab.session import Session


def frame(text):
    """A text message of the service, 126 bytes at most."""
    return bytes((0x81, len(text))) + text.encode()


class BareLink:
    """The frames of a link that stands, past the event loop and the websocket library, which take as long as the agent does."""

    def __init__(self, link):
        transport = link.socket.transport
        transport.pause_reading()
        self.socket = transport.get_extra_info("socket").dup()
        self.socket.setblocking(True)
        self.unread = bytearray()

    def answers(self):
        """Waits for at least one message of the agent, and takes all that are there whole; how many."""
        count = 0
        while not count:
            piece = self.socket.recv(1 << 20)
            check(piece, "the agent left")
            self.unread += piece
            while len(self.unread) >= 8:
                check(self.unread[:2] == b"\x81\xfe", "not a masked text message of 126 bytes to 64 KB")
                size = 8 + struct.unpack_from("!H", self.unread, 2)[0]
                if len(self.unread) < size:
                    break
                del self.unread[:size]
                count += 1
        return count


def measure(session, link, in_flight, seconds):
    request = frame(json.dumps(message("rrm-request-mode"), separators=(",", ":")))
    daemon, point = session.daemon.process.pid, session.ap.process.pid
    cpu = usage.cpu_fine_s(daemon), usage.cpu_fine_s(point)
    delays, sent = [], []
    began = now = time.monotonic()
    while now - began < seconds:
        link.socket.sendall(request * (in_flight - len(sent)))
        sent += [now] * (in_flight - len(sent))
        count = link.answers()
        now = time.monotonic()
        delays += [now - at for at in sent[:count]]
        del sent[:count]
    took = now - began
    own, other = usage.cpu_fine_s(daemon) - cpu[0], usage.cpu_fine_s(point) - cpu[1]
    left = len(sent)
    while left:
        left -= link.answers()
    delays.sort()
    count = len(delays)
    print(f"  {in_flight:9} {count / took:10.0f} {delays[count // 2] * 1000:9.2f} {delays[-1 - count // 100] * 1000:9.2f} "
          f"{own * 1e6 / count:12.0f} {other * 1e6 / count:15.0f}")


async def main(arguments):
    Build.directory = arguments.build
    async with Session() as session:
        whole = await session.subscribed()
        link = BareLink(whole)
        time.sleep(1)
        print(f"  {'in flight':>9} {'answers/s':>10} {'p50 ms':>9} {'p99 ms':>9} {'CPU us each':>12} {'access point us':>15}")
        for in_flight in (1, 64):
            measure(session, link, in_flight, arguments.seconds)
        whole.abort()  # the library would wait for an answer to its farewell


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--seconds", type=int, default=5)
    asyncio.run(main(parser.parse_args()))
