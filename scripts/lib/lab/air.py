"""Many simulated access points in one air, each with its agent."""
import asyncio
import glob
import json
import os

from lab.processes import Place, Wrong, until
from lab.programs import AccessPoint, Daemon


def disturbance(own, heard):
    """What a radio hears of one BSS on its own channels: 0 (-95 dBm or less) to 1 (-35 dBm or more), by the part of them
    that is covered."""
    shared = min(own["high_mhz"], heard["high_mhz"]) - max(own["low_mhz"], heard["low_mhz"])
    part = max(shared, 0) / (own["high_mhz"] - own["low_mhz"])
    return part * min(max((heard["rssi"] + 95) / 60, 0), 1)


async def generate(place, what, seed):
    """The scenarios of a building, as ravd-sim-ap makes them, to be changed before the start."""
    status, printed = await place.run("ravd-sim-ap", "--generate", what, "--seed", str(seed), place.path("s"))
    if status != 0:
        raise Wrong(printed)
    scenarios = []
    for path in sorted(glob.glob(place.path("s") + "/ap-*.json")):
        with open(path, encoding="utf-8") as file:
            scenarios.append(json.load(file))
    return scenarios


class Air(Place):
    """The access points of a generated building, as an asynchronous context: `points` and, where agents were asked for,
    `daemons`, in the order of the scenarios. Each has a directory of its own below this one."""

    def __init__(self, what="building:8", seed=1):
        super().__init__()
        self.what = what
        self.seed = seed
        self.scenarios = []
        self.points = []
        self.daemons = []
        self.air = self.path("air")

    def change(self, scenario, number):
        """For a subclass: what is to differ from the generated scenario of one access point."""

    async def begin(self, *options):
        """Generates the scenarios and starts all access points. `options` are ravd-sim-ap's."""
        for number, scenario in enumerate(await generate(self, self.what, self.seed)):
            self.change(scenario, number)
            self.scenarios.append(scenario)
            directory = self.path(f"{number:03}")
            os.mkdir(directory)
            self.points.append(self.add(AccessPoint(directory)))
        # A few at a time: each forks, and reads all that were there before it.
        for at in range(0, len(self.points), 10):
            await asyncio.gather(*(self.begin_point(number, *options)
                                   for number in range(at, min(at + 10, len(self.points)))))

    async def begin_point(self, number, *options):
        """Starts an access point, or starts one again that ended."""
        await self.points[number].begin(self.scenarios[number], "--air", self.air, *options)

    async def begin_agents(self, port, **keys):
        """An agent for each access point, for the service on this port of the machine. `keys` go into their
        configuration."""
        for number in range(len(self.daemons), len(self.points)):
            self.daemons.append(self.add(Daemon(self.points[number].directory)))
        keys = {"initial_connection_delay": 0, "max_connection_delay": 1, "ap_location": self.what.split(":")[0], **keys}
        await asyncio.gather(*(daemon.begin(port, **keys) for daemon in self.daemons if not daemon.runs()))

    async def subscribed(self, seconds=60):
        """All agents have been accepted by their service."""
        await until(lambda: all(daemon.marker() for daemon in self.daemons), "all agents subscribed", seconds)

    async def air_of(self, number):
        """What an access point sends and hears now: "own", "access_points" and "strangers"."""
        return json.loads(await self.points[number].tell("show air --json"))

    async def heard_by(self, number):
        """The other access points as one hears them: base address -> its radios, each with channel, power, rssi ..."""
        return {one["base"]: one["radios"] for one in (await self.air_of(number))["access_points"]}

    async def interference(self):
        """The sum over every radio of what disturbs it now: (of access points, of strangers)."""
        sums = [0.0, 0.0]
        for number in range(len(self.points)):
            air = await self.air_of(number)
            others = [radio for one in air["access_points"] for radio in one["radios"]]
            for own in air["own"]:
                for kind, heard in enumerate((others, air["strangers"])):
                    sums[kind] += sum(disturbance(own, one) for one in heard)
        return tuple(sums)

    async def all_hear(self, seconds=60):
        """Everybody knows of everybody who runs."""
        running = [number for number, point in enumerate(self.points) if point.runs()]

        async def complete():
            for number in running:
                if len(await self.heard_by(number)) != len(running) - 1:
                    return False
            return True
        await until(complete, "all access points hear each other", seconds)

    async def stations(self, number):
        """MAC -> VAP of the stations that are associated to an access point now."""
        return {one["mac"]: one["vap"] for one in json.loads(await self.points[number].tell("show stations --json"))}

    def base(self, number):
        """The base address of an access point."""
        return self.scenarios[number]["factory"]["mac"]
