"""What being asked for its status does to a subscribed agent.

    asked.py --build DIRECTORY [--seconds N] [--rate N]

The same scans and pings once with nobody asking and once with N questions a second over one connection to its control
socket.
"""
import argparse
import asyncio
import time

import websockets

from processes import Build, check, until, usage
from lab.orders import accept, scan
from lab.service import Service
from lab.session import Session


HANDFUL = 20  # questions between two rests, which last milliseconds here


class NotingService(Service):
    """Notes when each ping came."""

    def __init__(self):
        super().__init__()
        self.pings = []

    async def start(self, port=0):
        pings = self.pings

        class Protocol(websockets.WebSocketServerProtocol):
            async def pong(self, data=b""):
                pings.append(time.monotonic())
                await super().pong(data)

        self.server = await websockets.serve(self.take, "127.0.0.1", port, subprotocols=["websock-rrm"], max_size=None,
                                             ping_interval=None, compression=None, create_protocol=Protocol)
        self.port = self.server.sockets[0].getsockname()[1]


class Asker:
    """So many questions a second, each answered before the next; what was missed is made up for."""

    def __init__(self, path, rate):
        self.path = path
        self.rate = rate
        self.delays = []

    async def ask(self):
        reader, writer = await asyncio.open_unix_connection(self.path)
        due = time.monotonic()
        while True:
            due += HANDFUL / self.rate
            await asyncio.sleep(due - time.monotonic())
            for _ in range(HANDFUL):
                began = time.monotonic()
                writer.write(b"status\n")
                check(await reader.readline(), "nobody answers")
                self.delays.append(time.monotonic() - began)


def spread(values, unit=1000):
    ordered = sorted(values)
    return f"{ordered[len(ordered) // 2] * unit:9.2f} {ordered[-1] * unit:9.2f}"


async def measure(seconds, rate):
    async with Session() as session:
        session.service = NotingService()
        link = await session.start()
        await link.next("subscribe-request")
        await link.send(accept())
        await until(session.daemon.marker, "the agent subscribes")
        asker = Asker(session.path("run/ravd/control.sock"), rate)
        task = asyncio.create_task(asker.ask()) if rate else None
        pid = session.daemon.process.pid
        cpu, wakes, began = usage.cpu_fine_s(pid), usage.wake_ups(pid), time.monotonic()
        reports = []
        while time.monotonic() - began < seconds:
            at = time.monotonic()
            await link.send(scan(rrm=1))
            await link.skip_to("rrm-response", seconds=60)
            reports.append(time.monotonic() - at)
        took = time.monotonic() - began
        cpu, wakes = usage.cpu_fine_s(pid) - cpu, usage.wake_ups(pid) - wakes
        check(not (task and task.done()), "asking ended")
        if task:
            task.cancel()
        gaps = [later - earlier for earlier, later in zip(session.service.pings, session.service.pings[1:])]
        print(f"  {len(asker.delays) / took:9.0f} {len(reports):8} {spread(reports, 1)} {spread(gaps, 1)} "
              f"{spread(asker.delays) if asker.delays else ' ' * 19} {cpu * 100 / took:8.2f} {wakes / took:9.1f}")


async def main(arguments):
    Build.directory = arguments.build
    print(f"  {'asked/s':>9} {'reports':>8} {'median s':>9} {'most s':>9} {'ping s':>9} {'most s':>9} {'answer ms':>9} "
          f"{'most ms':>9} {'CPU %':>8} {'wakes/s':>9}")
    await measure(arguments.seconds, 0)
    await measure(arguments.seconds, arguments.rate)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--seconds", type=int, default=100)
    parser.add_argument("--rate", type=int, default=1000)
    asyncio.run(main(parser.parse_args()))
