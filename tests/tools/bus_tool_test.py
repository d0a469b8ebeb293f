#!/usr/bin/env python3
"""Drives ravd-bus against modules that ravd-bus itself plays: usage bus_tool_test.py PROGRAM SOURCE_DIR"""
import os
import subprocess
import sys
import tempfile
import threading
import time

PROGRAM, SOURCE = sys.argv[1:3]
LIMIT = 16 << 20
directory = tempfile.TemporaryDirectory()
os.environ["RAVD_SIM_DIR"] = directory.name
os.environ["BUS"] = PROGRAM


def run(command, data=b"", status=0):
    """Runs a shell command in which $BUS is the program; standard output and error."""
    ended = subprocess.run(command, shell=True, input=data, cwd=directory.name, stdout=subprocess.PIPE,
                           stderr=subprocess.STDOUT, timeout=30)
    assert ended.returncode == status, (command, ended.returncode, ended.stdout[:1000])
    return ended.stdout


class Module:
    """A module that keeps what it gets and answers each message by what `reply` makes of it."""

    def __init__(self, number, reply=None):
        self.process = subprocess.Popen([PROGRAM, "--tags", "attach", str(number)], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE)
        self.heard = []
        self.reply = reply
        threading.Thread(target=self.answer, daemon=True).start()
        while not os.path.exists(f"{directory.name}/run/ravd-bus/{number}.sock"):
            time.sleep(0.01)

    def answer(self):
        for line in self.process.stdout:
            tag, text = line[:-1].split(b" ", 1)
            self.heard.append((tag, text))
            if self.reply:
                self.say(tag + b" " + self.reply(text))

    def say(self, line):
        self.process.stdin.write(line + b"\n")
        self.process.stdin.flush()

    def hears(self, count):
        end = time.monotonic() + 10
        while len(self.heard) < count and time.monotonic() < end:
            time.sleep(0.01)
        assert len(self.heard) == count, self.heard
        return self.heard

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        assert self.process.wait(10) == 0


def attach_moves_lines_both_ways():
    with Module(41, lambda text: b"<" + text + b">"):
        few = run("$BUS attach 42", b"41 one two\nnonsense\n99 x\n41#77 x\n41 last")
        for line in (b"41 <one two>\n", b"41 <last>\n", b"nobody serves module 99\n", b"nonsense",
                     b"connection 77 of module 41 is gone"):
            assert line in few, (line, few)
        # The longest message each way; one byte more is refused.
        longest = run("$BUS --idle 3000 attach 42", b"41 " + bytes(LIMIT - 2) + b"\n41 " + bytes(LIMIT + 1))
        assert b"message longer than 16 MiB dropped\n" in longest
        assert b"41 <" + bytes(LIMIT - 2) + b">\n" in longest


def answers_over_the_named_connection():
    with Module(41) as asked, Module(42, lambda text: b"answer to " + text) as answering:
        asked.say(b"42 question")
        assert answering.hears(1) == [(b"41#1", b"question")]
        assert asked.hears(1) == [(b"42#1", b"answer to question")]


def configuration(request):
    return b'{"command":"get-response",' + (b'"value":"yes"}' if b'"/a"' in request else b'"reason":"not known"}')


def single_commands_and_statuses():
    example = f"sed -n '/^```python/,/^```$/{{/^```/d;p}}' {SOURCE}/docs/simulation.md | /usr/bin/python3"
    with Module(43) as taken, Module(1, configuration):
        for command, status, output in (
                ("$BUS get /a", 0, b"yes\n"),
                ("$BUS get /b", 1, b"no value at /b: not known\n"),
                (example, 0, b"known"),
                ("$BUS send 43 hello", 0, b""),
                ("echo hello | $BUS --as 44 send 43 -", 0, b""),
                ("$BUS send 99 hello", 1, b"nobody serves module 99\n"),
                ("$BUS attach 43", 1, b"module 43 is already registered\n"),
                ("$BUS --help", 0, b"Usage:"),
                ("$BUS", 2, b"a command is missing"),
                ("$BUS attach x", 2, b"attach wants"),
                ("$BUS send -1 x", 2, b"unknown option"),
                ("$BUS --idle soon attach 3", 2, b"--idle wants"),
                ("$BUS --stay attach 3 </dev/null & sleep 0.1; kill $!; wait $!", 0, b"")):
            said = run(command, status=status)
            assert output in said, (command, said)
        first, second = taken.hears(2)
        assert first[1] == b"hello" and second == (b"44#2", b"hello\\n"), taken.heard


attach_moves_lines_both_ways()
answers_over_the_named_connection()
single_commands_and_statuses()
print("passed")
