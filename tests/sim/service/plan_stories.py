"""A house of access points in one air, planned as a whole by ravd-sim-service."""
import json
import os
import signal

from lab.air import Air
from lab.processes import check, until
from service_stories import Service

SLOW = 100  # seconds, for a stage or a scan of all on a busy machine


CHANNELS = [1, 6, 11], [36, 40, 44, 48]
SCANNED = ",".join(str(channel) for band in CHANNELS for channel in band)  # all channels would take 75 s


class House(Air):
    """A building whose radios have few channels."""

    def change(self, scenario, number):
        for radio, channels in zip(scenario["radios"], CHANNELS):
            radio.update(channels=channels, bandwidth=20, sideband="none")
            if radio["channel"] not in channels:
                radio["channel"] = channels[0]


class Planned:
    """The service of a house that is planned."""

    def __init__(self, service, air):
        self.service = service
        self.air = air

    async def plan(self):
        return json.loads((await self.service.command("plan json")).splitlines()[0])

    async def reach(self, *states):
        async def reached():
            plan = await self.plan()
            return plan if plan["state"] in states else None
        return await until(reached, f"the plan is {states}", SLOW)

    async def settings(self):
        """(access point, radio) -> channel, bandwidth and power, as the simulated device has them."""
        found = {}
        for number, point in enumerate(self.air.points):
            for radio, one in enumerate(json.loads(await point.tell("show state --json"))["radios"]):
                found[self.air.base(number).upper(), radio] = (one["channel"], one["bandwidth"], one["power"])
        return found


def planned_settings(plan):
    return {(one["ap-mac"].upper(), one["radio"]): tuple(one["plan"][key] for key in ("channel", "bandwidth", "power"))
            for one in plan["radios"] if "plan" in one}


def orders_in_progress(log, hears):
    """Goes through the service's log: how many orders with settings went out, none of them while an access point that
    hears the other, or is heard by it, had not yet described what it was ordered."""
    waiting = {}
    count = 0
    for line in log:
        entry = json.loads(line)
        message, mac = entry.get("message", {}), entry.get("ap-mac", "").upper()
        if entry.get("direction") == "sent" and message.get("cmd") == "rrm-info" and message.get("radios"):
            check(not [other for other in waiting if other in hears[mac]], mac, waiting)
            waiting[mac] = message["radios"]
            count += 1
        if entry.get("direction") == "received" and mac in waiting and "radios" in message:
            shown = {radio["id"]: radio for radio in message["radios"]}
            if all(shown[one["id"]]["status"] == 1 and shown[one["id"]][key] == one[key]
                   for one in waiting[mac] for key in ("channel", "bandwidth", "power") if key in one):
                del waiting[mac]
    return count


async def a_house_is_planned_verified_and_taken_back():
    async with Service("--strict", "--quiet") as service, House("building:8", 3) as air:
        await air.begin("--speed", "1000")
        await air.begin_agents(service.port)
        await air.subscribed()
        await air.all_hear()
        house = Planned(service, air)
        before = await house.settings()
        hears = {air.base(number).upper(): {mac.upper() for mac in await air.heard_by(number)} for number in range(8)}
        await service.command(f"plan scan channels={SCANNED} settle=0")
        plan = await house.reach("proposed", "failed")
        check(plan["state"] == "proposed" and not plan["silent"] and len(plan["radios"]) == 16, plan)
        check(plan["after"]["total"] < 0.75 * plan["before"]["total"], plan["before"], plan["after"])
        check(await house.settings() == before, "a proposal changes nothing")
        disturbed = sum(await air.interference())
        await service.command("plan apply")
        plan = await house.reach("applied", "undone", "failed")
        check(plan["state"] == "applied" and plan["why"].startswith("verified"), plan["text"])
        check(await house.settings() == {**before, **planned_settings(plan)}, await house.settings(), plan)
        # Not by the service's own account: what the air itself holds.
        check(sum(await air.interference()) < 0.75 * disturbed, disturbed, await air.interference())
        # Who hears others has been told of them.
        check(await air.points[0].neighbours("wlan0-va0", "standard"), "no 802.11k list")
        await service.command("plan undo")
        plan = await house.reach("undone", "failed")
        check(plan["state"] == "undone" and await house.settings() == before, plan["text"], await house.settings())
        with open(service.path("log"), encoding="utf-8") as log:
            check(orders_in_progress(log, hears) == 2 * sum(len(stage) for stage in plan["stages"]))


async def an_agent_that_does_not_answer_stops_the_plan():
    async with Service("--quiet") as service, House("building:3", 5) as air:
        await air.begin("--speed", "1000")
        await air.begin_agents(service.port)
        await air.subscribed()
        await air.all_hear()
        house = Planned(service, air)
        before = await house.settings()
        await service.command(f"plan scan channels={SCANNED} settle=0 apply-timeout=5")
        plan = await house.reach("proposed")
        silent = next(daemon for number, daemon in enumerate(air.daemons)
                      if air.base(number).upper() == plan["stages"][-1][0].upper())
        os.kill(silent.process.pid, signal.SIGSTOP)
        await service.command("plan apply")
        plan = await house.reach("undone", "failed")
        check(plan["state"] == "failed" and "not taken back as a whole" in plan["why"], plan["text"])
        check(await house.settings() == before, plan["text"])
        # Another process takes over, and with it the rest of what has to be taken back.
        await silent.kill()
        await air.begin_agents(service.port)
        await service.command("plan undo apply-timeout=60")
        plan = await house.reach("undone", "failed")
        check(plan["state"] == "undone" and await house.settings() == before, plan["text"])


STORIES = [a_house_is_planned_verified_and_taken_back, an_agent_that_does_not_answer_stops_the_plan]
