"""One access point of the soak with its daemon and service, and the model of what must hold between them."""
import asyncio
import os
import random
import time

import websockets

from lab import usage
from lab.orders import accept, message
from lab.processes import Build, Wrong, check, until
from lab.service import read
from lab.session import Session

BACK_S = 20  # a link that ended is back, and the subscription asked for over it, within this time
ANSWER_S = 60  # whatever waits for a running scan and its slowest requests
PEAK_MB = 96
SWITCHES = {"use-80211v": 1, "use-80211r": 1, "use-dca": 1, "use-tpc": 1}


class World(Session):
    """The service's side accepts every subscription under a new domain and counts what was asked and answered."""

    def __init__(self, seed, long_lived, patient):
        super().__init__()
        self.seed = seed
        self.dice = random.Random(seed)
        self.long_lived = long_lived  # its daemon is never ended, so that growth shows
        self.patient = patient  # there is time for what takes minutes
        for radio in self.office["radios"]:
            radio["kind"] = self.dice.choice(["rtl8192cd", "rtk_wifi6"])
        self.done = []  # names of what was played
        self.domains = {"lab": 0}  # in the order in which they were given
        self.newest = 0  # of them, heard of the running daemon
        self.fault = None  # what a message showed
        self.samples = []  # (kB, descriptors, threads) of the running daemon, at peace
        self.slowest_return_s = 0.0

    async def begin(self):
        await self.service.start()
        await self.ap.begin(self.office, "--speed", "1000")
        self.watching = asyncio.create_task(self.watch())
        await self.start_daemon()
        await self.peace()

    async def __aexit__(self, *_):
        if hasattr(self, "watching"):
            self.watching.cancel()
        await super().__aexit__()

    @property
    def link(self):
        return self.service.links[-1]

    def linked(self):
        return bool(self.service.links) and not self.link.socket.closed

    async def watch(self):
        while True:
            link = await self.service.fresh.get()
            link.asked = link.answered = link.ordered = link.reported = 0
            link.radios = []
            link.domain = ""
            link.told = []  # kinds of the messages, the last ones
            del self.service.links[:-3]
            asyncio.create_task(self.attend(link))

    async def attend(self, link):
        try:
            while True:
                text = await link.waiting.get()
                if text is None:
                    return
                await self.hear(link, read(text))
        except AssertionError as fault:
            self.fault = self.fault or fault

    async def hear(self, link, received):
        cmd = received["cmd"]
        check(link.told or cmd == "subscribe-request", f"the first message of a link is {cmd}")
        link.told = link.told[-200:] + [cmd]
        number = self.domains.get(received["domain"])
        check(number is not None and number >= self.newest, "stale domain", received["domain"], "of a", cmd)
        self.newest = number
        if cmd == "subscribe-request":
            await asyncio.sleep(self.dice.choice([0, 0, 0.3]))
            await self.accept_over(link, config=SWITCHES)
            link.subscribed = True
        elif cmd == "rrm-mode-response":
            link.answered += 1
            link.radios, link.domain = received["radios"], received["domain"]
            check(link.answered <= link.asked, link.answered, "answers to", link.asked, "requests")
        elif cmd == "rrm-response":
            link.reported += 1
            check(link.reported <= link.ordered, link.reported, "reports of", link.ordered, "orders")

    async def accept_over(self, link, **members):
        """The new domain."""
        domain = f"d{len(self.domains)}"
        self.domains[domain] = len(self.domains)
        await self.order(accept(domain=domain, **members), link=link)
        return domain

    async def order(self, *orders, link=None):
        """Over the newest link, counted; one that has gone loses them."""
        link = link or self.link
        for one in orders:
            if isinstance(one, dict):
                link.asked += one.get("cmd") == "rrm-request-mode"
                link.ordered += one.get("cmd") == "rrm-update"
            try:
                await link.send(one)
            except websockets.ConnectionClosed:
                return

    async def reach(self, condition, what, seconds=ANSWER_S):
        """Waits for it over the newest link, which must not end meanwhile. A fault of the model ends the wait."""
        link = self.link
        await until(lambda: condition() or link.socket.closed or self.fault, what, seconds)
        if self.fault:
            raise self.fault
        check(not link.socket.closed, f"the link ended before {what}")

    async def ask(self, count=1, seconds=ANSWER_S):
        """So many requests are answered. (Earlier ones that waited for a scan may count for these.) The radios."""
        link = self.link
        due = link.answered + count
        await self.order(*[message("rrm-request-mode")] * count)
        await self.reach(lambda: link.answered >= due, f"{count} answers", seconds)
        return link.radios

    async def quiet(self):
        """Until no report has come for longer than any round or delay of the mix lasts: then nothing waits any more, and
        what was lost while hostapd was away is known to be lost."""
        link = self.link
        seen = None
        while seen != (link.reported, link.answered):
            await self.ask()
            seen = (link.reported, link.answered)
            await asyncio.sleep(10)  # a delay of 1 s before and behind a round of 6 s
        link.asked, link.ordered = link.answered, link.reported

    async def tell(self, *commands):
        """Commands to the access point; one that does not fit the moment counts for nothing."""
        for command in commands:
            await self.ap.answer(command)

    async def restart(self):
        """A new process: nothing of the last one is known to it."""
        await self.judge_growth()
        self.newest = 0
        await self.start_daemon()
        await until(lambda: os.path.exists(self.path("/run/ravd-bus/31.sock")), "the daemon runs")
        await asyncio.sleep(0.2)
        await self.tell("notify hostapd_started")

    async def answers_again(self):
        """Or the newest link has ended. hostapd's return may not have been noticed yet: then a request is lost."""
        link, began = self.link, time.monotonic()
        while not link.socket.closed:
            try:
                await self.ask(seconds=3)
                return True
            except Wrong:
                if self.fault:
                    raise
                check(link.socket.closed or time.monotonic() < began + ANSWER_S, "no answer to any request")
        return False

    async def peace(self):
        """Nothing is wrong any more: link and subscription are back in time, a request is answered, nothing else comes."""
        await self.tell("fault clear", "radio 0 up", "radio 1 up", "hostapd start", "notify hostapd_started")
        check(self.daemon.runs(), "the daemon ended with status", self.daemon.process.returncode)
        began = time.monotonic()
        allowed = BACK_S * (3 if Build.sanitized else 1)
        while True:  # a connection of before may end meanwhile
            left = began + allowed - time.monotonic()
            await until(lambda: self.fault or (self.linked() and self.link.subscribed), "link and subscription are back",
                        left)
            if await self.answers_again():
                break
        answered = -1
        while answered != self.link.answered:  # what an accident left in the queues is worked off
            answered = self.link.answered
            await asyncio.sleep(0.5)
        self.slowest_return_s = max(self.slowest_return_s, time.monotonic() - began)
        check(self.daemon.marker(), "no marker of the subscription")
        pid = self.daemon.process.pid
        check(Build.sanitized or self.daemon.memory_mb() < PEAK_MB, f"{self.daemon.memory_mb():.0f} MB")
        self.samples.append((usage.memory_kb(pid)["Private_Dirty"], usage.descriptors(pid), usage.status(pid, "Threads")))
        for program in (self.ap, self.daemon):
            del program.lines[:-300]

    async def judge_growth(self):
        """Of the daemon that ends now: the least of the last third of its samples against that of the one before. A
        connection to a neighbour or a look-up may be there at one time and not at the other."""
        samples, self.samples = self.samples, []
        third = len(samples) // 3
        if third < 4:
            return
        for number, what, allowed in ((0, "kB of memory", 1024), (1, "descriptors", 3), (2, "threads", 1)):
            early = min(sample[number] for sample in samples[third:-third])
            late = min(sample[number] for sample in samples[-third:])
            if number or not Build.sanitized:
                check(late <= early + allowed, f"from {early} to {late} {what} over {len(samples)} samples")
        self.notes.append(f"{samples[0]} -> {samples[-1]}")
