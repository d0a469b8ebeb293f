"""Pings that go on while something happens, and how long they stayed without an answer."""
import re

from lab.processes import check


class Traffic:
    """From a namespace to an address, one ping each `interval` seconds."""

    def __init__(self, namespace, address, interval=0.1):
        self.namespace = namespace
        self.address = address
        self.interval = interval
        self.program = None

    async def begin(self):
        self.program = await self.namespace.start("ping", "ping", "-D", "-i", str(self.interval), self.address)
        await self.program.line(r"icmp_seq=\d+ ttl", seconds=30)
        return self

    def answers(self):
        """(time of the answer, number of the ping) of each."""
        shown = (re.search(r"^\[([\d.]+)\].*icmp_seq=(\d+) ttl", line) for line in self.program.lines)
        return [(float(one[1]), int(one[2])) for one in shown if one]

    async def end(self):
        """(lost, sent, the longest silence in seconds) until the last answer."""
        await self.program.kill()
        answers = self.answers()
        check(len(answers) > 1, f"pings of {self.namespace.name} were not answered")
        silences = [later - earlier for (earlier, _), (later, _) in zip(answers, answers[1:])]
        sent = answers[-1][1] - answers[0][1] + 1
        return sent - len(answers), sent, max(silences)
