"""The lab service of the machine, outside of all namespaces."""
from lab.processes import check
from radio.namespace import LOGS
from lab.processes import Program


class Service:
    def __init__(self, host):
        self.host = host
        self.program = None
        self.port = 0

    async def begin(self, *options):
        log = open(f"{LOGS}/service.log", "a", encoding="utf-8", buffering=1)
        self.program = Program("service", lambda line: log.write(line + "\n"))
        await self.program.start(["/ravd/bin/ravd-sim-service", "--bind", self.host, "--strict",
                                  "--log", f"{LOGS}/messages.jsonl", *options])
        self.port = int((await self.program.line(r"listening on [\d.]+:(\d+)"))[1])

    @property
    def address(self):
        return f"{self.host}:{self.port}"

    async def end(self):
        if self.program:
            await self.program.kill()
