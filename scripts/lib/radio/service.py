"""The lab service of the machine, outside of all namespaces."""
import json
import os

from lab.processes import Program, check, until
from radio.namespace import LOGS, run

MESSAGES = f"{LOGS}/messages.jsonl"
CONTROL = "/run/service.sock"
SERVICE = "/ravd/bin/ravd-sim-service"


class Service:
    """Listens on `host`. Agents are named by the base address of their access point."""

    def __init__(self, host):
        self.host = host
        self.program = None
        self.port = 0

    async def begin(self, *options):
        log = open(f"{LOGS}/service.log", "a", encoding="utf-8", buffering=1)
        self.program = Program("service", lambda line: log.write(line + "\n"))
        await self.program.start([SERVICE, "--bind", self.host, "--port", str(self.port), "--log", MESSAGES,
                                  "--control", CONTROL, *options])
        self.port = int((await self.program.line(r"listening on [\d.]+:(\d+)"))[1])

    @property
    def address(self):
        return f"{self.host}:{self.port}"

    async def tell(self, command):
        """The answer to a command that has to be taken."""
        status, output = await run(SERVICE, "--control", CONTROL, "--tell", *command.split())
        check(status == 0, f"service to {command!r}:", output)
        return output

    async def order(self, mac, command):
        return await self.tell(f"agent {mac} {command}")

    def mark(self):
        """A place in the record of messages."""
        return os.path.getsize(MESSAGES) if os.path.exists(MESSAGES) else 0

    def received(self, mac, cmd, since=0, accept=lambda message: True):
        """The newest message of that name that an agent sent behind the mark and that `accept` takes, or None."""
        if not os.path.exists(MESSAGES):
            return None
        newest = None
        with open(MESSAGES, encoding="utf-8") as file:
            file.seek(since)
            for line in file:
                if not line.endswith("\n"):
                    break  # still being written
                entry = json.loads(line)
                message = entry.get("message", {})
                if (entry.get("direction") == "received" and message.get("cmd") == cmd
                        and message.get("ap-mac") == mac and accept(message)):
                    newest = message
        return newest

    async def message(self, mac, cmd, since=0, accept=lambda message: True, seconds=60):
        """Waits for such a message."""
        return await until(lambda: self.received(mac, cmd, since, accept), f"{cmd} of {mac}", seconds)

    async def radios(self, mac, seconds=30):
        """The radios as an agent describes them now."""
        mark = self.mark()
        await self.order(mac, "mode")
        return (await self.message(mac, "rrm-mode-response", mark, seconds=seconds))["radios"]

    async def end(self):
        if self.program:
            await self.program.kill()
