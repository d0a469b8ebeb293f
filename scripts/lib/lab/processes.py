"""Processes: start one, wait for a line, tell it something, stop it, judge its end; a time limit on every wait."""
import asyncio
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time

PATIENCE = 60  # seconds that anything may take on a busy machine, unless a step says otherwise
LINE_LIMIT = 1 << 25  # bytes


class Build:
    """Where the programs are, set once by the entry program."""

    directory = ""
    sanitized = False  # slower and larger by sanitizers: memory is not judged, ends may take longer

    @classmethod
    def program(cls, name):
        """The path of a program of ours; any other name as it is."""
        path = os.path.join(cls.directory, name)
        return path if os.path.exists(path) else name


class Wrong(AssertionError):
    """Something did not show what it had to."""


def check(holds, *what):
    if not holds:
        raise Wrong(" ".join(str(part) for part in what))


async def until(condition, what, seconds=PATIENCE, pause=0.02):
    """The first true answer of `condition`, a function or coroutine function, which is asked every `pause` seconds."""
    deadline = time.monotonic() + seconds
    while True:
        answer = condition()
        if asyncio.iscoroutine(answer):
            answer = await answer
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise Wrong(f"not within {seconds} s: {what}")
        await asyncio.sleep(pause)


def run(story):
    """asyncio.run(). SIGTERM and the end of the terminal end it as Ctrl-C does: together with all that was started."""
    ended_by = []

    def end(number, task):
        ended_by.append(number)
        task.cancel()

    async def watched():
        for number in (signal.SIGTERM, signal.SIGHUP):
            if signal.getsignal(number) is signal.SIG_DFL:
                asyncio.get_running_loop().add_signal_handler(number, end, number, asyncio.current_task())
        return await story

    try:
        return asyncio.run(watched())
    except asyncio.CancelledError:
        signal.raise_signal(ended_by[0])  # whoever sent it is told so


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Program:
    """A process whose lines are kept; `show` sees each of them as it comes."""

    def __init__(self, name, show=None):
        self.name = name
        self.lines = []
        self.show = show
        self.process = None

    async def start(self, arguments, environment=None, errors=subprocess.STDOUT):
        self.process = await asyncio.create_subprocess_exec(
            Build.program(arguments[0]), *arguments[1:], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=errors,
            limit=LINE_LIMIT, env={**os.environ, **(environment or {})})
        self.reader = asyncio.create_task(self.read(self.process.stdout))
        return self

    async def read(self, stream):
        async for line in stream:
            text = line.decode(errors="replace").rstrip("\n")
            self.lines.append(text)
            if self.show:
                self.show(text)

    def runs(self):
        return self.process is not None and self.process.returncode is None

    def mark(self):
        return len(self.lines)

    async def line(self, pattern, since=0, seconds=PATIENCE):
        """The match of the first line from `since` on."""
        expression = re.compile(pattern)
        at = since
        deadline = time.monotonic() + seconds
        while True:
            ended = self.reader.done()
            while at < len(self.lines):
                found = expression.search(self.lines[at])
                if found:
                    return found
                at += 1
            check(not ended, f"{self.name} ended without printing /{pattern}/:", *self.lines[-5:])
            check(time.monotonic() < deadline, f"{self.name} did not print /{pattern}/ within {seconds} s")
            await asyncio.sleep(0.02)

    async def say(self, line):
        """A line into its standard input."""
        self.process.stdin.write(line.encode() + b"\n")
        await self.process.stdin.drain()

    async def ended(self, seconds=PATIENCE):
        """The exit status, once it ended and all its lines are read."""
        try:
            status = await asyncio.wait_for(self.process.wait(), seconds)
        except asyncio.TimeoutError:
            raise Wrong(f"{self.name} did not end within {seconds} s") from None
        await self.reader
        return status

    async def stop(self, seconds=3, number=signal.SIGTERM):
        """An orderly end within `seconds` of a signal (thrice that under sanitizers). How long it took."""
        check(self.runs(), f"{self.name} does not run any more")
        began = time.monotonic()
        self.process.send_signal(number)
        status = await self.ended(seconds * (3 if Build.sanitized else 1))
        check(status == 0, f"{self.name} ended with status {status}")
        return time.monotonic() - began

    async def kill(self):
        if self.runs():
            self.process.kill()
        if self.process:
            await self.process.wait()
            await self.reader


class Place:
    """A directory of its own and what was started in it, as an asynchronous context."""

    def __init__(self):
        self.directory = tempfile.mkdtemp(prefix="ravd-")
        self.programs = []

    async def __aenter__(self):
        return self

    async def __aexit__(self, *_):
        for program in reversed(self.programs):
            await program.kill()
        shutil.rmtree(self.directory, ignore_errors=True)

    def path(self, name):
        """Of a file of the directory, or of the device whose root it is."""
        return self.directory + "/" + name.lstrip("/")

    def write(self, name, text):
        """The path of a new file."""
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)
        return self.path(name)

    def add(self, program):
        self.programs.append(program)
        return program

    async def start(self, arguments, name="", show=None, **options):
        """Starts a program that finds its device's files in this directory."""
        program = self.add(Program(name or arguments[0], show))
        return await program.start(arguments, {"RAVD_SIM_DIR": self.directory}, **options)

    async def run(self, *arguments, seconds=PATIENCE, **options):
        """(status, output) of a program that ends by itself."""
        program = await self.start(list(arguments), **options)
        program.process.stdin.close()
        return await program.ended(seconds), "".join(line + "\n" for line in program.lines)
