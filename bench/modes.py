"""Requests for the radios' description (rrm-request-mode), answered by a subscribed agent beside a simulated access point.

    modes.py --build DIRECTORY [--seconds N]

One at a time, and with 64 in flight. Each answer reads settings over the bus.
"""
import argparse
import asyncio
import json
import time

from processes import Build, usage
from lab.orders import message
from lab.session import Session

REQUEST = json.dumps(message("rrm-request-mode"))


async def measure(session, link, in_flight, seconds):
    daemon, point = session.daemon.process.pid, session.ap.process.pid
    cpu = usage.cpu_fine_s(daemon), usage.cpu_fine_s(point)
    delays, sent = [], []
    began = time.monotonic()
    while time.monotonic() - began < seconds:
        while len(sent) < in_flight:
            sent.append(time.monotonic())
            await link.socket.send(REQUEST)
        await link.waiting.get()
        delays.append(time.monotonic() - sent.pop(0))
    took = time.monotonic() - began
    own, other = usage.cpu_fine_s(daemon) - cpu[0], usage.cpu_fine_s(point) - cpu[1]
    for _ in sent:
        await link.waiting.get()
    delays.sort()
    count = len(delays)
    print(f"  {in_flight:9} {count / took:10.0f} {delays[count // 2] * 1000:9.2f} {delays[-1 - count // 100] * 1000:9.2f} "
          f"{own * 1e6 / count:12.0f} {other * 1e6 / count:15.0f}")


async def main(arguments):
    Build.directory = arguments.build
    async with Session() as session:
        link = await session.subscribed()
        await asyncio.sleep(1)
        print(f"  {'in flight':>9} {'answers/s':>10} {'p50 ms':>9} {'p99 ms':>9} {'CPU us each':>12} {'access point us':>15}")
        for in_flight in (1, 64):
            await measure(session, link, in_flight, arguments.seconds)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--seconds", type=int, default=5)
    asyncio.run(main(parser.parse_args()))
