"""One access point with its agent, two foreign networks and a station of the first radio, for scenarios of faults."""
import asyncio
import sys
import time

from lab.processes import check, until
from radio.access_point import AccessPoint, radio
from radio.domain import Domain, neighbour
from radio.namespace import POLL, radios_begin, wire_begin
from radio.network import Network, vap
from radio.station import Station

RADIOS = 5
NOBODY = "02:00:00:77:00:01"  # a BSS that is not there
NOTICES = ("/tmp/.corvane_notify_hostapd_started", "/tmp/.corvane_notify")


class Place:
    def __init__(self):
        self.ap = AccessPoint("ap1", "02:00:5E:00:01:00", "10.0.0.2/24", [("phy0", radio(0, "office", 6)),
                                                                         ("phy1", radio(1, "office", 36))])
        self.foreign = Network("foreign", [("phy2", vap("wlan0-va0", "cafe", 11, "country_code=US")),
                                           ("phy3", vap("wlan1-va0", "cafe", 149, "country_code=US"))])
        self.station = Station("sta1", "phy4")
        self.service = Domain("10.0.0.1", self.ap)
        self.logs = []  # the agent's, ravd-hostd's and hostapd's, and how long they were before the part
        self.pid = 0

    async def begin(self):
        await self.service.begin()
        await self.foreign.begin()
        await self.foreign.start_hostapd()
        await self.ap.begin()
        await self.ap.start_hostapd()
        await self.ap.start_hostd()
        await self.start_agent()
        await self.station.begin()
        await self.station.join("office", f"bssid={await self.ap.bssid(0)}")
        await self.station.must("ip", "addr", "add", "10.0.0.10/24", "dev", "sta0")
        await self.ap.has_station(0, self.station.address)

    async def start_agent(self, environment=None):
        for notice in NOTICES:  # as its unit does: hostapd may run already
            self.ap.write(notice, "")
        await self.ap.start_agent(self.service.address, environment, log_level=15)
        await self.ap.subscribed()
        self.pid = self.ap.agent.process.pid

    async def end(self):
        for one in (self.station, self.ap, self.foreign, self.service):
            await one.end()

    def part_begins(self):
        self.logs = [(one, one.mark()) for one in (self.ap.agent, self.ap.hostd, self.ap.hostapd)]

    async def says(self, text, program=0, seconds=60):
        """A line since the part began: of the agent (0), ravd-hostd (1), hostapd (2)."""
        log, mark = self.logs[program]
        return (await log.line(text, since=mark, seconds=seconds)).group(0)

    async def answers(self):
        """The radios, of the same agent over the same or a new link."""
        radios = await self.service.radios(self.ap.mac, 60)
        check(self.ap.agent.runs() and self.ap.agent.process.pid == self.pid, "the agent went on")
        return radios

    async def kept(self):
        """By hostapd and iw: the station was there all the time; its traffic passes (again)."""
        log, mark = self.logs[2]
        check("AP-STA-DISCONNECTED" not in "".join(log.lines[mark:]), "the station was lost")
        check(self.station.address in await self.ap.must("iw", "dev", "wlan0-va0", "station", "dump"), "iw shows it")

        async def traffic():
            return await self.station.ping("10.0.0.1", 5) >= 4
        await until(traffic, "its traffic passes", 60)

    async def works(self, each=2):
        """A scan hears all foreign networks again, in each of its rounds. How long it took."""
        async def whole():
            rounds, seconds = await self.service.scan("11 149")
            return seconds if [len(heard) for heard in rounds] == [each] * 5 else 0
        return await until(whole, "a whole scan", 60, pause=POLL)

    async def fails(self, text):
        """A scan while the first radio fails: answered with what the other heard, and the log has the reason."""
        rounds, seconds = await self.service.scan("11 149")
        check(sum(len(heard) for heard in rounds) >= 4, "the other radio's results", rounds)
        check(all(one["channel"] == 149 for heard in rounds for one in heard.values()), "only the other's", rounds)
        print(f"  answered within {seconds:.1f} s; the agent says:", await self.says(text))
        check(len(await self.answers()) == 2, "both radios are described")

    async def foreign_is(self, change=lambda number, text: text):
        """The foreign networks with changed files of hostapd; as they were without a change."""
        await self.foreign.stop_hostapd()
        for number, (_, text) in enumerate(self.foreign.radios):
            self.foreign.write(f"/etc/hostapd/wlan{number}.conf", change(number, text))
        await self.foreign.start_hostapd()

    async def asks_to_go(self, bssid, channel):
        """The service finds the first radio overloaded, and names where its stations may go."""
        await self.service.send("rrm-sta-overload", radios=[{"id": 0, "roam-count": 1}],
                                **{"802dot11k": [neighbour(bssid, channel)]})

    async def joins_anew(self):
        """The station associates once more; the logs count from there."""
        await asyncio.sleep(3)  # the kernel counts an association's time in seconds
        mark = self.ap.hostapd.mark()
        await self.station.wpa_cli("reassociate")
        await self.ap.hostapd.line("AP-STA-CONNECTED", since=mark)
        await self.station_is_back()
        self.part_begins()

    async def station_is_back(self, seconds=90):
        await self.station.connected(await self.ap.bssid(0), seconds)
        await self.ap.has_station(0, self.station.address)


async def show(parts):
    """Shows the parts that the command line names, or all. The agent has to live through each of them."""
    wanted = [part for part in parts if part.__name__ in (sys.argv[1:] or [one.__name__ for one in parts])]
    check(wanted, "there are", *(one.__name__ for one in parts))
    await radios_begin(RADIOS)
    await wire_begin("10.0.0.1/24")
    place = Place()
    try:
        await place.begin()
        for part in wanted:
            print(f"{part.__name__}:", flush=True)
            began = time.monotonic()
            place.part_begins()
            await part(place)
            radios = await place.answers()
            await until(lambda: place.ap.exists("/tmp/.corvane-connected"), "the agent is subscribed", 60, pause=POLL)
            print(f"  passed after {time.monotonic() - began:.1f} s; {len(radios)} radios described", flush=True)
        check("VIOLATION" not in "".join(place.service.program.lines), "the service saw a violation of the protocol")
        await place.ap.agent.stop(30)
    finally:
        await place.end()
