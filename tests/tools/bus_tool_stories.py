"""ravd-bus against modules that ravd-bus itself plays."""
import asyncio
import os

from lab.processes import Build, Place, check, until

SOURCE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../..")
LIMIT = 16 << 20


class Bench(Place):
    """Modules on a bus of their own, and shell commands in which $BUS is the program."""

    async def shell(self, command, data="", status=0):
        path = self.write("input", data)
        ended = await self.run("sh", "-c", f"BUS={Build.program('ravd-bus')}; ({command}) <{path}")
        check(ended[0] == status, command, "ended with", ended[0], ended[1][:1000])
        return ended[1]

    async def module(self, number, reply=None):
        """Keeps what it gets and answers each message by what `reply` makes of it."""
        def answer(line):
            tag, text = line.split(" ", 1)
            program.process.stdin.write(f"{tag} {reply(text)}\n".encode())
        program = await self.start(["ravd-bus", "--tags", "attach", str(number)], show=reply and answer)
        await until(lambda: os.path.exists(self.path(f"/run/ravd-bus/{number}.sock")), f"module {number}")
        return program


async def attach_moves_lines_both_ways():
    async with Bench() as bench:
        await bench.module(41, lambda text: f"<{text}>")
        asking = await bench.start(["ravd-bus", "attach", "42"])
        # The longest message each way; one byte more is refused.
        for line in ("41 one two", "nonsense", "99 x", "41#77 x", "41 last", "41 " + "x" * (LIMIT - 2),
                     "41 " + "x" * (LIMIT + 1)):
            await asking.say(line)
        for pattern in ("^41 <one two>$", "^41 <last>$", "nobody serves module 99$", "nonsense",
                        "connection 77 of module 41 is gone", "message longer than 16 MiB dropped$"):
            await asking.line(pattern)
        longest = await asking.line("^41 <x")
        check(longest.string == "41 <" + "x" * (LIMIT - 2) + ">", len(longest.string))
        asking.process.stdin.close()
        check(await asking.ended() == 0)


async def answers_over_the_named_connection():
    async with Bench() as bench:
        asked = await bench.module(41)
        answering = await bench.module(42, lambda text: "answer to " + text)
        await asked.say("42 question")
        await asked.line("^42#1 answer to question$")
        check(answering.lines == ["41#1 question"], answering.lines)
        await asked.stop()


def configuration(request):
    return '{"command":"get-response",' + ('"value":"yes"}' if '"/a"' in request else '"reason":"not known"}')


async def single_commands_and_statuses():
    example = f"sed -n '/^```python/,/^```$/{{/^```/d;p}}' {SOURCE}/docs/simulation.md | /usr/bin/python3"
    async with Bench() as bench:
        taken = await bench.module(43)
        await bench.module(1, configuration)
        seen = await bench.start(["ravd-bus", "monitor", "43", "99"])
        await seen.line("module 99 is not there")
        for command, status, output in (
                ("$BUS get /a", 0, "yes\n"),
                ("$BUS get /b", 1, "no value at /b: not known\n"),
                ("$BUS call 1 '{\"command\":\"get\",\"path\":\"/a\"}'", 0, '\n  "value": "yes"\n'),
                ("$BUS call 1 /a", 2, "call wants a JSON object"),
                ("$BUS list", 0, "\n43 exchanges "),
                (example, 0, "known"),
                ("$BUS send 43 hello", 0, ""),
                ("echo hello | $BUS --as 44 send 43 -", 0, ""),
                ("$BUS send 99 hello", 1, "nobody serves module 99\n"),
                ("$BUS attach 43", 1, "module 43 is already registered\n"),
                ("$BUS --help", 0, "Usage:"),
                ("$BUS", 2, "a command is missing"),
                ("$BUS attach x", 2, "attach wants"),
                ("$BUS send -1 x", 2, "unknown option"),
                ("$BUS --idle soon attach 3", 2, "--idle takes"),
                ("$BUS --stay attach 3 </dev/null & sleep 0.1; kill $!; wait $!", 0, "")):
            said = await bench.shell(command, status=status)
            check(output in said, command, said)
        check(taken.lines[0].endswith(" hello"), taken.lines)
        await taken.line(r"^44#3 hello\\n$")
        await seen.line(r"^44 > 43 hello\\n$")


STORIES = [attach_moves_lines_both_ways, answers_over_the_named_connection, single_commands_and_statuses]
