"""Programs of a demonstration: started, spoken to, listened to, and checked, all with time limits."""

import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time


class Failed(Exception):
    """A step did not show what it had to."""


class Program:
    """A running program; its lines are kept and can be waited for."""

    def __init__(self, stage, name, arguments, show=None, environment=None):
        self.name = name
        self.show = show  # line -> what to print of it, or None
        self.lines = []
        self.changed = threading.Condition()
        self.process = subprocess.Popen(
            arguments, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            env={**os.environ, **(environment or {})}, text=True, errors="replace", bufsize=1)
        self.stage = stage
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            line = line.rstrip("\n")
            with self.changed:
                self.lines.append(line)
                self.changed.notify_all()
            text = self.show(line) if self.show else None
            if text:
                self.stage.say(f"    {self.name}: {text}")
        with self.changed:
            self.changed.notify_all()

    def send(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def mark(self):
        with self.changed:
            return len(self.lines)

    def wait_for(self, pattern, seconds=10, since=0):
        """The first line from `since` on that matches; Failed when none comes."""
        expression = re.compile(pattern)
        deadline = time.monotonic() + seconds
        at = since
        with self.changed:
            while True:
                while at < len(self.lines):
                    found = expression.search(self.lines[at])
                    if found:
                        return found
                    at += 1
                left = deadline - time.monotonic()
                if left <= 0:
                    raise Failed(f"{self.name} did not print /{pattern}/ within {seconds} s")
                self.changed.wait(left)

    def stop(self, number=signal.SIGTERM, seconds=5):
        """Signals the program and returns (exit status, seconds it took)."""
        started = time.monotonic()
        if self.process.poll() is None:
            self.process.send_signal(number)
        try:
            status = self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            self.process.kill()
            raise Failed(f"{self.name} did not end within {seconds} s") from None
        return status, time.monotonic() - started


class Stage:
    """Directory, programs, announcements and the list of what was verified."""

    def __init__(self, build):
        self.build = build
        self.directory = tempfile.mkdtemp(prefix="ravd-demo-")
        self.programs = []
        self.verified = []
        self.started = time.monotonic()
        self.step_name = "start"
        self.printing = threading.Lock()

    def say(self, text):
        with self.printing:
            print(text[:200], flush=True)

    def step(self, text):
        self.step_name = text
        self.say(f"\n[{time.monotonic() - self.started:5.1f} s] {text}")

    def verify(self, text, holds=True):
        if not holds:
            raise Failed(f"not so: {text}")
        self.verified.append(text)
        self.say(f"    verified: {text}")

    def start(self, name, arguments, show=None, environment=None):
        arguments = [os.path.join(self.build, arguments[0])] + arguments[1:]
        program = Program(self, name, arguments, show, environment)
        self.programs.append(program)
        return program

    def path(self, *parts):
        return os.path.join(self.directory, *parts)

    def end(self):
        for program in reversed(self.programs):
            if program.process.poll() is None:
                program.process.terminate()
                try:
                    program.process.wait(3)
                except subprocess.TimeoutExpired:
                    program.process.kill()
        shutil.rmtree(self.directory, ignore_errors=True)


def play(build, story):
    """Runs a story on a stage. The exit status of the demonstration."""
    stage = Stage(build)
    try:
        story(stage)
    except (Failed, OSError, BrokenPipeError) as reason:
        stage.say(f"\nFAILED in the step \"{stage.step_name}\": {reason}")
        for program in stage.programs:
            for line in program.lines[-5:]:
                stage.say(f"    last of {program.name}: {line}")
        return 1
    finally:
        stage.end()
    print(f"\nAll {len(stage.verified)} points hold, in {time.monotonic() - stage.started:.0f} s:")
    for text in stage.verified:
        print(f"  - {text}")
    sys.stdout.flush()
    return 0
