"""A building: simulated access points in one air, each with its daemon, beside one service with the console."""
import asyncio
import os

from lab.air import generate
from lab.processes import Place
from lab.programs import AccessPoint, Daemon


class Building(Place):
    async def serve(self, *options, show=None):
        """The service with its console; afterwards `port` is for agents and `page` the address for a browser."""
        self.service = await self.start(["ravd-sim-service", "--web", "0", *options], "service", show)
        self.port = int((await self.service.line(r"listening on 127\.0\.0\.1:(\d+)"))[1])
        self.page = (await self.service.line(r"console at (http://\S+)"))[1]

    async def replay(self, log):
        """A service that shows a log."""
        self.service = await self.start(["ravd-sim-service", "--replay", log, "--web", "0"], "service")
        self.page = (await self.service.line(r"console at (http://\S+)"))[1]

    async def scenarios(self, kind, seed=7):
        """What "office:8" and the like generate, to be changed before the start."""
        return await generate(self, kind, seed)

    async def room(self, number, scenario, speed=20, **keys):
        """An access point and its daemon, which has the access point as `ap`."""
        directory = self.path(f"ap{number}")
        os.mkdir(directory)
        os.makedirs(self.path("air"), mode=0o700, exist_ok=True)
        ap = self.add(AccessPoint(directory))
        await ap.begin(scenario, "--air", self.path("air"), "--speed", str(speed))
        daemon = self.add(Daemon(directory))
        daemon.ap = ap
        await daemon.begin(self.port, initial_connection_delay=0, max_connection_delay=0, ap_location="building-3", **keys)
        return daemon

    async def rooms(self, scenarios, **options):
        return await asyncio.gather(*(self.room(number, one, **options) for number, one in enumerate(scenarios)))
