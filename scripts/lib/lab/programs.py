"""The programs of a device on a laptop: simulated access point and daemon."""
import asyncio
import json
import os

from lab import usage
from lab.processes import LINE_LIMIT, PATIENCE, Program, check

LOG_LEVEL = os.environ.get("RAVD_SESSION_LOG", "3")


class AccessPoint(Program):
    """ravd-sim-ap with its control socket."""

    def __init__(self, directory, show=None):
        super().__init__("access point", show)
        self.directory = directory

    async def begin(self, scenario, *options):
        """`scenario`: a path, or what its file holds."""
        if not isinstance(scenario, str):
            path = os.path.join(self.directory, "scenario.json")
            with open(path, "w", encoding="utf-8") as file:
                json.dump(scenario, file)
            scenario = path
        since = self.mark()
        await self.start(["ravd-sim-ap", scenario, "--dir", self.directory, *options])
        await self.line("is ready in", since)

    async def answer(self, command):
        """The whole answer to a command, error or not."""
        reader, writer = await asyncio.open_unix_connection(self.directory + "/control.sock", limit=LINE_LIMIT)
        try:
            writer.write(command.encode() + b"\n")
            return (await asyncio.wait_for(reader.readline(), PATIENCE)).decode().rstrip("\n")
        finally:
            writer.close()

    async def tell(self, command):
        """The text of an answer "ok TEXT"."""
        answer = await self.answer(command)
        check(answer.split(" ")[0] == "ok", f"access point to {command!r}: {answer}")
        return answer[3:]

    async def radio(self, number):
        return json.loads(await self.tell("show state --json"))["radios"][number]

    async def neighbours(self, vap, kind):
        """(BSSID, channel) of a VAP's list: "standard", "custom" or "hostapd"."""
        return [(one["bssid"], one["channel"]) for one in json.loads(await self.tell("show neighbours --json"))[vap][kind]]


class Daemon(Program):
    """ravd-sim."""

    def __init__(self, directory, show=None):
        super().__init__("daemon", show)
        self.directory = directory
        self.conf = os.path.join(directory, "ravd.conf")

    async def begin(self, port, mode="corvane", **keys):
        """In agent mode, or mode="roam"; `keys` go into its configuration."""
        lines = [f"{mode}_service_url=ws://127.0.0.1:{port}/agent"]
        lines += [f"{key}={value}" for key, value in {"log_level": LOG_LEVEL, **keys}.items()]
        with open(self.conf, "w", encoding="utf-8") as file:
            file.write("\n".join(lines) + "\n")
        await self.start(["ravd-sim", "-f", self.conf], {"RAVD_SIM_DIR": self.directory})

    def marker(self):
        """Whether the marker of a subscribed agent is there."""
        return os.path.exists(self.directory + "/tmp/.corvane-connected")

    def memory_mb(self, row="VmHWM"):
        return usage.status(self.process.pid, row) / 1024
