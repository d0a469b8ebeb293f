"""The console of ravd-sim-service as its page uses it: one websocket, a running service, and then its log."""
import asyncio
import json
import os
import re
import sys
import urllib.request

from lab.processes import PATIENCE, Place, check
import websockets

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../service"))
from service_stories import MAC, Service, message, radio  # noqa: E402

OTHER = "00:1A:2B:3C:4D:60"


def radios(mac, channel):
    return [{**radio(0, channel, 20), "vaps": [{"id": 0, "ssid": "<b>", "mac": mac.lower()[:-1] + "1", "802dot11k": 1,
                                                "802dot11r": 0}]}]


def heard(mac, rssi):
    return {"bssid": mac.lower()[:-1] + "1", "rssi": rssi, "channel": 6, "tx-power": 0, "primary-channel": "none",
            "bandwidth": 20}


class Page(Place):
    """A viewer: `all` keeps every frame it was sent."""

    async def open(self, program):
        self.url = (await program.line(r"console at (http://\S+)"))[1]
        self.socket = await websockets.connect(self.url.replace("http", "ws") + "live", subprotocols=["ravd-console"],
                                               origin=self.url.rstrip("/"), max_size=1 << 25)
        self.all = []
        self.number = 0
        return self

    async def frame(self, wanted):
        """The next frame for which `wanted` holds."""
        while True:
            self.all.append(json.loads(await asyncio.wait_for(self.socket.recv(), PATIENCE)))
            if wanted(self.all[-1]):
                return self.all[-1]

    async def ready(self):
        return await self.frame(lambda frame: frame["type"] == "ready")

    async def ask(self, kind, good=True, /, **members):
        self.number += 1
        await self.socket.send(json.dumps({"type": kind, "id": self.number, **members}))
        reply = await self.frame(lambda frame: frame["type"] == "reply" and frame["id"] == self.number)
        check(reply["ok"] == good, kind, members, reply)
        return reply

    def agents(self):
        """The last state of each agent."""
        return {frame["agent"]["id"]: frame["agent"] for frame in self.all if frame["type"] == "agent"}


async def connected(service, mac):
    agent = await service.connect()
    await agent.send(json.dumps(message("subscribe-request", **{
        "ap-mac": mac, "ap-mac-count": 16, "use-wildcard-80211r": 0,
        "factory": {"board": "b", "hw": "1", "serial": "s", "mac": mac}, "radios": radios(mac, 6)})))
    assert json.loads(await agent.recv())["status"] == "success"
    return agent


async def report(agent, mac, other, channel=6):
    await agent.send(json.dumps(message("rrm-response", **{
        "ap-mac": mac, "radios": radios(mac, channel), "rf-environment": [[heard(other, -40)]]})))


async def orders(service, page, first):
    await page.frame(lambda frame: frame["type"] == "report" and frame["hears"] == [[2, 0, -40]])
    await page.ask("order", line="scan channels=1,6", agents=[1])
    assert json.loads(await first.recv())["rrm-scan-channels"] == "1 6"
    await page.frame(lambda frame: frame["type"] == "agent" and frame["agent"].get("scan", {}).get("rounds") == 5)
    preview = (await page.ask("preview", line="config radio=0 channel=11 power=12", agents="all"))["messages"]
    assert [one["agent"] for one in preview] == [1, 2] and "fault" not in preview[0]
    bad = await page.ask("preview", line="config radio=0 channel=13", agents=[1])
    assert "does not offer channel 13" in bad["messages"][0]["fault"]
    await page.ask("order", False, line="config radio=0 channel=13", agents=[1, 2])
    for line in ("quit", "wait closed", "neighbours /etc/passwd", "config-object /etc/passwd", "agent 2 scan", "nonsense",
                 ""):
        await page.ask("order", False, line=line, agents=[1])
    await page.ask("order", False, line="scan", agents=[77])
    await page.ask("order", line="config radio=0 channel=11 power=12", agents=[1])
    assert json.loads(await first.recv()) == preview[0]["message"]
    await page.ask("raw", agents=[1], text='{"as": "it is"}')
    assert await first.recv() == '{"as": "it is"}'
    assert "lab" in (await page.ask("order", line="overview"))["text"]
    for rude in ("x", "[]", "{}", "[" * 100, '{"id":"x","type":7}', '{"type":"entries","limit":-1,"before":-5}'):
        await page.socket.send(rude)
    await page.ask("entries")


async def plan(page, first, second):
    await page.ask("plan", False, do="apply")
    await page.ask("plan", False, do="explode")
    await page.ask("plan", do="propose", options="power=0")
    proposed = await page.frame(lambda frame: frame["type"] == "plan" and frame["state"] == "proposed")
    assert "apply" in proposed["may"] and proposed["after"] < proposed["before"], proposed
    await page.ask("plan", do="apply", options="verify=0 settle=0")
    moved = proposed["changes"][0]
    agent, mac = ((first, MAC), (second, OTHER))[moved["agent"] - 1]
    check(moved["state"] == "open", moved)
    order = json.loads(await agent.recv())
    check(order["radios"][0]["channel"] == moved["to"]["channel"], order, moved)
    await agent.send(json.dumps(message("rrm-config-changed", **{"ap-mac": mac,
                                                                 "radios": radios(mac, moved["to"]["channel"])})))
    await page.frame(lambda frame: frame["type"] == "plan" and frame["state"] == "done" and
                     frame["changes"][0]["state"] == "done")


async def a_page_from_the_first_agent_to_the_replay():
    async with Service("--web", "0") as service:
        async with Page() as page:
            await page.open(service.program)
            first = await connected(service, MAC)
            second = await connected(service, OTHER)
            await report(first, MAC, OTHER)
            await report(second, OTHER, MAC)
            await orders(service, page, first)
            await plan(page, first, second)
            await second.send("no JSON")
            marked = await page.frame(lambda frame: frame["type"] == "message" and frame["cmd"] == "violation")
            assert (await page.ask("entry", seq=marked["of"]))["line"]["text"] == "no JSON"
            await page.ask("fault", kind="refuse503", agents=[2])
            await page.frame(lambda frame: frame["type"] == "agent" and "closed" in frame["agent"])
            again = await service.connect()
            await again.send(json.dumps(message("subscribe-request", radios=radios(OTHER, 6))))
            assert json.loads(await again.recv())["code"] == 503
            await again.close()
            await page.frame(lambda frame: frame["type"] == "agent" and frame["agent"]["id"] == 3 and
                             "closed" in frame["agent"])

            # Whoever comes later, or again, is told the same; and so is who looks at the log.
            async with Page() as late:
                await late.open(service.program)
                await late.ready()
                live = late.agents()
            log = await asyncio.to_thread(lambda: urllib.request.urlopen(page.url + "log.jsonl").read().decode())
            check(log == open(service.path("log"), encoding="utf-8").read(), "the download differs from the log")
            await replayed(service, service.path("log"), live)
            await first.close()


async def replayed(place, log, live):
    program = await place.start(["ravd-sim-service", "--replay", log, "--web", "0"])
    await program.line(r"(\d+) entries read, 0 lines")
    async with Page() as page:
        await page.open(program)
        await page.ready()
        check(page.agents() == live, page.agents(), live)
        clock = next(frame for frame in page.all if frame["type"] == "clock")
        await page.ask("order", False, line="scan", agents=[1])
        await page.ask("seek", time=clock["from"])
        await page.frame(lambda frame: frame["type"] == "reset")
        page.all.clear()
        await page.ready()
        assert len(page.agents()) < len(live) and (await page.ask("entries"))["entries"][0]["seq"] < 5
        await page.ask("play", speed=100)
        await page.frame(lambda frame: frame["type"] == "clock" and frame["time"] == clock["to"] and not frame["playing"])
        await page.frame(lambda frame: frame["type"] == "agent" and page.agents() == live)
    await program.stop()


STORIES = [a_page_from_the_first_agent_to_the_replay]
