"""The real programs of a session: the simulated access point and the daemon, each with a time limit on every wait."""
import asyncio
import json
import os
import re
import signal
import time

BUILD = ""  # directory of the programs, set by run.py
SANITIZED = False  # whether they are slowed down by sanitizers and take more memory, set by run.py
LOG_LEVEL = os.environ.get("RAVD_SESSION_LOG", "3")
PATIENCE = 20  # seconds that anything may take on a busy machine, unless a step says otherwise


class Wrong(AssertionError):
    """A step did not show what it had to."""


def check(holds, *what):
    if not holds:
        raise Wrong(" ".join(str(part) for part in what))


async def until(condition, what, seconds=PATIENCE):
    """The first true answer of `condition`, a function or coroutine function."""
    deadline = time.monotonic() + seconds
    while True:
        answer = condition()
        if asyncio.iscoroutine(answer):
            answer = await answer
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise Wrong(f"not within {seconds} s: {what}")
        await asyncio.sleep(0.05)


class Program:
    """A process whose lines are kept."""

    def __init__(self, name):
        self.name = name
        self.lines = []
        self.process = None

    async def start(self, arguments, environment):
        self.process = await asyncio.create_subprocess_exec(
            os.path.join(BUILD, arguments[0]), *arguments[1:], stdin=asyncio.subprocess.DEVNULL,
            stdout=asyncio.subprocess.PIPE, stderr=asyncio.subprocess.STDOUT, limit=1 << 24,
            env={**os.environ, **environment})
        self.reader = asyncio.create_task(self.read(self.process.stdout))

    async def read(self, stream):
        async for line in stream:
            self.lines.append(line.decode(errors="replace").rstrip("\n"))

    def runs(self):
        return self.process is not None and self.process.returncode is None

    def mark(self):
        return len(self.lines)

    async def line(self, pattern, since=0, seconds=PATIENCE):
        """The first line from `since` on that matches."""
        return await until(lambda: next(filter(None, (re.search(pattern, one) for one in self.lines[since:])), None),
                           f"{self.name} prints /{pattern}/", seconds)

    async def stop_somehow(self, limit, number=signal.SIGTERM):
        """The exit status after a signal, due within `limit` seconds (thrice that under sanitizers)."""
        limit *= 3 if SANITIZED else 1
        check(self.runs(), f"{self.name} does not run any more")
        self.process.send_signal(number)
        try:
            return await asyncio.wait_for(self.process.wait(), limit)
        except asyncio.TimeoutError:
            raise Wrong(f"{self.name} did not end within {limit} s of {number.name}") from None

    async def stop(self, limit, number=signal.SIGTERM):
        """An orderly end."""
        status = await self.stop_somehow(limit, number)
        check(status == 0, f"{self.name} ended with status {status}")

    async def kill(self):
        if self.runs():
            self.process.kill()
        if self.process:
            await self.process.wait()
            await self.reader


class AccessPoint(Program):
    """ravd-sim-ap with its control socket."""

    def __init__(self, directory):
        super().__init__("access point")
        self.directory = directory

    async def begin(self, scenario):
        path = os.path.join(self.directory, "scenario.json")
        with open(path, "w", encoding="utf-8") as file:
            json.dump(scenario, file)
        await self.start(["ravd-sim-ap", path, "--dir", self.directory, "--speed", "1000"], {})
        await self.line("is ready in")

    async def tell(self, command):
        """The text of an answer "ok TEXT"."""
        reader, writer = await asyncio.open_unix_connection(self.directory + "/control.sock", limit=1 << 24)
        writer.write(command.encode() + b"\n")
        answer = (await asyncio.wait_for(reader.readline(), PATIENCE)).decode().rstrip("\n")
        writer.close()
        check(answer.split(" ")[0] == "ok", f"access point to {command!r}: {answer}")
        return answer[3:]

    async def radio(self, number):
        return json.loads(await self.tell("show state"))["radios"][number]

    async def neighbours(self, vap, kind):
        """(BSSID, channel) of a VAP's list: "standard" or "custom"."""
        return [(one["bssid"], one["channel"]) for one in json.loads(await self.tell("show neighbours"))[vap][kind]]


class Daemon(Program):
    """ravd-sim in agent mode."""

    def __init__(self, directory):
        super().__init__("daemon")
        self.directory = directory
        self.conf = os.path.join(directory, "ravd.conf")

    async def begin(self, port, location="lab"):
        with open(self.conf, "w", encoding="utf-8") as file:
            file.write(f"corvane_service_url=ws://127.0.0.1:{port}/agent\ninitial_connection_delay=0\n"
                       f"max_connection_delay=0\nap_location={location}\nlog_level={LOG_LEVEL}\n")
        await self.start(["ravd-sim", "-f", self.conf], {"RAVD_SIM_DIR": self.directory})

    def memory_mb(self, row):
        """VmRSS or VmHWM of the running process."""
        with open(f"/proc/{self.process.pid}/status", encoding="utf-8") as status:
            return next(int(line.split()[1]) for line in status if line.startswith(row + ":")) / 1024

    def marker(self):
        return os.path.exists(self.directory + "/tmp/.corvane-connected")
