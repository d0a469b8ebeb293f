"""A session: access point, daemon and service in a directory of their own."""
import copy

from lab.orders import OFFICE, accept
from lab.processes import Place
from lab.programs import AccessPoint, Daemon
from lab.service import Service


class Session(Place):
    def __init__(self):
        super().__init__()
        self.ap = self.add(AccessPoint(self.directory))
        self.daemon = self.add(Daemon(self.directory))
        self.service = Service()
        self.notes = []  # measured on the way
        self.office = copy.deepcopy(OFFICE)  # to be changed before the start

    async def start(self):
        """Access point, service and daemon run; the link is up."""
        await self.service.start()
        await self.ap.begin(self.office, "--speed", "1000")
        await self.start_daemon()
        return await self.service.link()

    async def start_daemon(self):
        await self.daemon.begin(self.service.port, initial_connection_delay=0, max_connection_delay=0,
                                ap_location="lab")

    async def subscribed(self, **members):
        """... and the agent has been accepted. `members` go into the answer."""
        link = await self.start()
        await self.accept(link, **members)
        return link

    async def accept(self, link, **members):
        request = await link.next("subscribe-request")
        await link.send(accept(**members))
        await link.alive()  # the answer has been taken
        return request

    async def __aexit__(self, *_):
        await super().__aexit__()
        await self.service.stop()

    def report(self):
        """What happened last, for a failure."""
        lines = []
        for number, link in enumerate(self.service.links[-3:], max(len(self.service.links) - 3, 0)):
            lines += [f"  link {number}: {entry}" for entry in list(link.history)[-12:]]
        for program in (self.ap, self.daemon):
            lines += [f"  {program.name}: {line[:300]}" for line in program.lines[-12:]]
            if program.process and program.process.returncode is not None:
                lines.append(f"  {program.name} ended with status {program.process.returncode}")
        return "\n".join(lines)
