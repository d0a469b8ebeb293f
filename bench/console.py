"""The lab service's console: what it costs the service, and how fast a recorded log is moved through.

    console.py --build DIRECTORY [--agents N] [--viewers N] [--seconds N] [--minutes N]

N agents that report a scan of five rounds every minute, first without and then with viewers; then the log of so many
minutes of them is replayed.
"""
import argparse
import asyncio
import json
import os
import random
import time

from processes import Build, Place, usage
from lab.recorded import entries, write_log
import websockets

PERIOD_S = 60
ROUNDS = 5


def messages(number, count, minute):
    """What an access point sends in that minute, by name; its report as of five rounds."""
    lines = (json.loads(line) for line in entries(number, count, minute, "2026-03-02T08:00:00.000Z"))
    found = {line["message"]["cmd"]: line["message"] for line in lines if line.get("direction") == "received"}
    found["rrm-response"]["rf-environment"] *= ROUNDS
    return {cmd: json.dumps(message) for cmd, message in found.items()}


async def agent(port, number, count):
    socket = await websockets.connect(f"ws://127.0.0.1:{port}/", subprotocols=["websock-rrm"], ping_interval=None,
                                      compression=None)
    await socket.send(messages(number, count, 0)["subscribe-request"])
    await asyncio.sleep(random.random() * PERIOD_S)
    minute = 0
    while True:
        minute += 1
        for text in list(messages(number, count, minute).values())[-2:]:
            await socket.send(text)
        await asyncio.sleep(PERIOD_S)


def open_viewer(url):
    return websockets.connect(url.replace("http", "ws") + "live", subprotocols=["ravd-console"], origin=url.rstrip("/"),
                              max_size=None, compression=None)


async def look(url, seen):
    async with open_viewer(url) as socket:
        async for text in socket:
            seen[0] += 1
            seen[1] += len(text)


async def live(arguments, viewers):
    async with Place() as place:
        service = await place.start(["ravd-sim-service", "--no-input", "--quiet", "--web", "0"])
        port = int((await service.line(r"listening on \S+:(\d+)"))[1])
        url = (await service.line(r"console at (\S+)"))[1]
        seen = [0, 0]
        tasks = [asyncio.create_task(look(url, seen)) for _ in range(viewers)]
        for number in range(arguments.agents):
            tasks.append(asyncio.create_task(agent(port, number, arguments.agents)))
            await asyncio.sleep(0.01)
        await asyncio.sleep(10)
        pid = service.process.pid
        began, used = time.monotonic(), usage.cpu_s(pid)
        seen[:] = [0, 0]
        await asyncio.sleep(arguments.seconds)
        share = (usage.cpu_s(pid) - used) / (time.monotonic() - began) * 100
        print(f"  {arguments.agents} agents, a report a minute, {viewers} viewers: {share:.1f} % of a core, "
              f"{usage.memory_kb(pid)['Rss'] / 1024:.0f} MiB; to the viewers {seen[0] / arguments.seconds:.0f} frames and "
              f"{seen[1] / 1024 / arguments.seconds:.0f} KiB a second", flush=True)
        for task in tasks:
            task.cancel()
        await asyncio.gather(*tasks, return_exceptions=True)


async def frame(socket, kind):
    while True:
        one = json.loads(await socket.recv())
        if one["type"] == kind:
            return one


async def replay(arguments):
    async with Place() as place:
        log = write_log(place.path("log"), arguments.agents, arguments.minutes)
        service = await place.start(["ravd-sim-service", "--replay", log, "--web", "0"])
        url = (await service.line(r"console at (\S+)"))[1]
        await service.line("entries read", seconds=600)
        pid = service.process.pid
        print(f"  a log of {arguments.minutes} minutes, {os.path.getsize(log) / 2**20:.0f} MiB: read with "
              f"{usage.cpu_s(pid):.1f} s of a core, {usage.memory_kb(pid)['Rss'] / 1024:.0f} MiB")
        async with open_viewer(url) as socket:
            clock = await frame(socket, "clock")
            await frame(socket, "ready")
            waits = []
            for part in random.Random(1).sample(range(1000), 20):
                begin = time.monotonic()
                at = clock["from"] + (clock["to"] - clock["from"]) * part // 1000
                await socket.send(json.dumps({"id": 1, "type": "seek", "time": at}))
                await frame(socket, "reset")
                await frame(socket, "ready")
                waits.append((time.monotonic() - begin) * 1000)
        print(f"  20 jumps until all agents were told of: {sum(waits) / len(waits):.0f} ms on average, {max(waits):.0f} ms "
              f"the longest")


async def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--agents", type=int, default=300)
    parser.add_argument("--viewers", type=int, default=1)
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--minutes", type=int, default=60)
    arguments = parser.parse_args()
    Build.directory = arguments.build
    for viewers in (0, arguments.viewers):
        await live(arguments, viewers)
    await replay(arguments)


asyncio.run(main())
