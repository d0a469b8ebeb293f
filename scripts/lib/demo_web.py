"""The console: eight access points in one air beside a service that shows them in a browser."""
import asyncio
import json
import urllib.request

import websockets

import stage
from lab.building import Building
from lab.processes import check, until

ROOMS = 8
# Not every radio has them all: the check would refuse the list.
CHANNELS = "1,6,11,36,40,44,48,52,56,60,64,100,104,108,112,116,120,124,128"
PAUSE = 60  # seconds between two scans, as long as it is kept running


class House(stage.Stage, Building):
    """A stage with access points in one air."""


class Viewer:
    """What a page sees: the newest state of every agent, and the reports."""

    def __init__(self, socket):
        self.socket = socket
        self.agents = {}
        self.reports = {}
        self.replies = {}
        self.plan = {}

    async def follow(self):
        async for text in self.socket:
            message = json.loads(text)
            if message["type"] == "agent":
                self.agents[message["agent"]["id"]] = message["agent"]
            elif message["type"] == "report":
                self.reports[message["agent"]] = message
            elif message["type"] == "plan":
                self.plan = message
            elif message["type"] == "reply":
                self.replies[message["id"]] = message

    async def ask(self, number, kind, **members):
        await self.socket.send(json.dumps({"id": number, "type": kind, **members}))
        reply = await until(lambda: self.replies.get(number), f"an answer to {kind}", 60)
        check(reply.get("ok"), kind, "is refused:", reply.get("error"))
        return reply


def fetch(address):
    with urllib.request.urlopen(address, timeout=30) as answer:
        return answer.read().decode()


async def story(house, keep=False):
    house.step("A service starts, with a console for browsers.")
    await house.serve("--quiet", "--config", '{"use-80211v":1}')
    page = await asyncio.to_thread(fetch, house.page)
    house.verify("the page is served", "lab console" in page and "app.js" in page)

    house.step(f"{ROOMS} access points start in one office and one air, each with its daemon. Look at {house.page}")
    address = house.page.replace("http", "ws") + "live"
    async with websockets.connect(address, subprotocols=["ravd-console"], origin=house.page.rstrip("/"), max_size=None) as socket:
        viewer = Viewer(socket)
        following = asyncio.create_task(viewer.follow())
        await house.rooms(await house.scenarios(f"office:{ROOMS}"), speed=1, log_level=1)
        await until(lambda: sum(agent["subscribed"] for agent in viewer.agents.values()) == ROOMS, "all subscribed", 60)
        house.verify(f"{ROOMS} access points are subscribed, and the page is told")

        house.step("The page orders a scan of all of them: five rounds, in real time.")
        await viewer.ask(1, "order", line=f"scan channels={CHANNELS}", agents="all", unchecked=True)
        await until(lambda: len(viewer.reports) == ROOMS, "all reports", 150)
        heard = sum(len(report["hears"]) for report in viewer.reports.values())
        house.verify(f"they hear each other: {heard} times one of the others' radios", heard > ROOMS)
        air = (await viewer.ask(2, "air", band=2))["bss"] + (await viewer.ask(3, "air", band=5))["bss"]
        house.verify("every radio of theirs is in the picture of the air", len({(bss["owner"], bss["radio"]) for bss in air if "owner" in bss}) == 2 * ROOMS)
        if keep:
            await go_on(house, viewer)
        following.cancel()


async def go_on(house, viewer):
    house.step(f"It goes on until you end it (Ctrl-C), with a scan every {PAUSE} s: {house.page}")
    number = 100
    while True:
        await asyncio.sleep(PAUSE)
        number += 1
        await viewer.ask(number, "order", line=f"scan channels={CHANNELS}", agents="all", unchecked=True)
