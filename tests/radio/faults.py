"""What may happen to radios, hostapd and stations while the agent works: it goes on and says what failed.

Arguments: the parts to show (busy, forbidden, refuses, interface, blocked, stopped, killed, crowd, reload); all without
any."""
import asyncio
import re
import signal
import sys
import time

from lab.processes import check, until
from radio.access_point import AccessPoint, radio
from radio.domain import Domain, neighbour
from radio.namespace import POLL, must, radios_begin, wire_begin
from radio.network import Network, vap
from radio.station import Station

RADIOS = 5
CROWD = 120  # networks on one channel


class Place:
    """One access point, two foreign networks, a station of the first radio."""

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
        await self.ap.start_agent(self.service.address, log_level=15)
        await self.ap.subscribed()
        self.pid = self.ap.agent.process.pid
        await self.station.begin()
        await self.station.join("office", f"bssid={await self.ap.bssid(0)}")
        await self.station.must("ip", "addr", "add", "10.0.0.10/24", "dev", "sta0")
        await self.ap.has_station(0, self.station.address)

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

    async def joins_anew(self):
        """The station associates once more; the logs count from there."""
        await asyncio.sleep(3)  # the kernel counts an association's time in seconds
        mark = self.ap.hostapd.mark()
        await self.station.wpa_cli("reassociate")
        await self.ap.hostapd.line("AP-STA-CONNECTED", since=mark)
        await self.station_is_back()
        self.part_begins()

    async def station_is_back(self):
        await self.station.connected(await self.ap.bssid(0), 90)
        await self.ap.has_station(0, self.station.address)


async def busy(place):
    """Somebody else scans all the time; the agent waits for its turn, and gives up when it does not come."""
    loop = await place.ap.start("scans", "sh", "-c", "while :; do iw dev wlan0 scan freq $(seq 2412 5 2462) "
                                "$(seq 5180 20 5320) passive >/dev/null && echo scanned; done 2>&1")
    await loop.line("scanned")
    mark = loop.mark()
    rounds, seconds = await place.service.scan("11 149")
    await loop.line("scanned", since=mark)
    await loop.kill()
    whole = sum(len(heard) == 2 for heard in rounds)
    check(rounds and all(heard for heard in rounds), "the other radio's results", rounds)
    if whole < len(rounds):
        print("  the agent says:", await place.says("wlan0: cannot begin a scan: Device or resource busy"))
    print(f"  {whole} of {len(rounds)} rounds whole, answered within {seconds:.1f} s, the other's scans go on")
    await place.kept()


async def forbidden(place):
    """Channels that the rules of the country do not allow, or only with radar detection."""
    for number, channel, now in ((0, 14, 6), (1, 52, 36)):
        place.part_begins()
        await place.service.order(place.ap.mac, f"unchecked config radio={number} channel={channel}")
        print("  ravd-hostd says:", await place.says("update-corvane: .*", 1))
        check((await place.answers())[number]["channel"] == now, "the radio stays where it was")
        shown = await place.ap.must("iw", "dev", f"wlan{number}-va0", "info")
        check(f"channel {now} (" in shown, "iw shows the channel", shown)
    await place.kept()


async def refuses(place):
    """A station that rejects the transition, one that says nothing, one that cannot: none is lost, none asked twice."""
    async def ask():
        await place.service.send("rrm-sta-overload", radios=[{"id": 0, "roam-count": 1}],
                                 **{"802dot11k": [neighbour("02:00:00:77:00:01", 1)]})
    await ask()  # to go where nobody is
    print("  hostapd says:", await place.says(r"BSS-TM-RESP .*status_code=[1-9]\d*", 2))
    await ask()
    await place.says("already been an attempt to roam")
    await place.kept()
    await place.joins_anew()
    await place.station.wpa_cli("set", "disable_btm", "1")  # it said that it could
    await ask()
    await place.says("Sending BSS Trans Request to clients")
    await place.says(f"#1 {place.station.address}")
    await place.answers()
    await place.kept()
    await place.joins_anew()
    await ask()
    await place.says("doesn.t support 802.11v")
    await place.kept()
    await place.station.wpa_cli("set", "disable_btm", "0")
    await place.joins_anew()


async def interface(place):
    await place.ap.must("ip", "link", "set", "wlan0", "down")
    await place.fails("wlan0: cannot begin a scan: Network is down")
    await place.ap.must("iw", "dev", "wlan0", "del")
    await place.fails("wlan0: cannot find the interface: No such device")
    await place.ap.must("iw", "phy", place.ap.radios[0][0], "interface", "add", "wlan0", "type", "managed")
    await place.ap.must("ip", "link", "set", "wlan0", "up")
    await place.works()
    await place.kept()


async def blocked(place):
    switch = "for one in /sys/class/ieee80211/%s/rfkill*/soft; do echo %d >$one; done"
    await place.ap.must("sh", "-c", switch % (place.ap.radios[0][0], 1))
    await place.fails("wlan0: cannot begin a scan: .*")
    await place.ap.must("sh", "-c", switch % (place.ap.radios[0][0], 0))
    await place.ap.must("ip", "link", "set", "wlan0", "up")
    await place.works()
    await place.station_is_back()


async def stopped(place):
    """A hostapd that takes requests and never answers."""
    place.ap.hostapd.process.send_signal(signal.SIGSTOP)
    began = time.monotonic()
    await place.service.send("rrm-info", **{"domain": "d", "802dot11k": [
        neighbour(f"02:00:00:00:00:{number:02}", 1) for number in range(30)]})
    print("  the agent says:", await place.says("hostapd cannot list neighbours.*"))
    await place.answers()
    await place.works()
    place.ap.hostapd.process.send_signal(signal.SIGCONT)
    print(f"  it was held up for less than {time.monotonic() - began:.1f} s")
    await place.kept()


async def killed(place):
    mark = place.service.mark()
    place.ap.hostapd.process.kill()
    await place.ap.hostapd.ended(60)
    await place.service.message(place.ap.mac, "rrm-disassoc-all-clients", mark, seconds=90)
    print("  ravd-hostd says:", await place.says("hostapd, process .* is gone.*", 1))
    await place.ap.start_hostapd()
    await place.service.message(place.ap.mac, "rrm-config-changed", mark, seconds=90)
    await place.station_is_back()
    await place.works()


async def crowd(place):
    """More than a hundred networks on the air; a fixed number of them, all of which a scan has to bring."""
    await place.foreign.stop_hostapd()
    phy, text = place.foreign.radios[0]
    more = "".join(f"bss=many{number}\nssid=cafe{number}\nbssid=02:00:00:00:02:{number:02x}\n"
                   for number in range(1, CROWD))
    text = re.sub("beacon_int=.*", "beacon_int=500", text)
    place.foreign.write("/etc/hostapd/wlan0.conf", text + more)
    await place.foreign.start_hostapd()
    print(f"  {CROWD} networks on channel 11: five rounds within {await place.works(CROWD + 1):.1f} s")
    await place.answers()
    await place.kept()
    await place.foreign.stop_hostapd()
    place.foreign.write("/etc/hostapd/wlan0.conf", place.foreign.radios[0][1])
    await place.foreign.start_hostapd()


async def reload(place):
    """The driver's module goes, and every radio with it; new ones come under the old interfaces' names."""
    await must("modprobe", "-r", "mac80211_hwsim")
    await place.answers()
    rounds, _ = await place.service.scan("11 149")
    check(not any(rounds), "nothing is heard without radios", rounds)
    print("  the agent says:", await place.says("wlan0: cannot .*: .*"))
    mark = place.service.mark()
    for one in (place.ap, place.foreign):
        await one.hostapd.kill()
    await place.service.message(place.ap.mac, "rrm-disassoc-all-clients", mark, seconds=90)
    await place.station.supplicant.kill()
    await radios_begin(RADIOS)
    phys = sorted((line.split()[1] for line in (await must("iw", "phy")).splitlines() if line.startswith("Wiphy")),
                  key=lambda name: int(name[3:]))
    for one in (place.ap, place.foreign):
        one.radios = [(phys.pop(0), text) for _, text in one.radios]
        for phy, _ in one.radios:
            await one.take_radio(phy)
        await one.make_interfaces()
        await one.start_hostapd()
    await place.service.message(place.ap.mac, "rrm-config-changed", mark, seconds=90)
    await place.station.take_radio(phys[0])
    await place.station.must("iw", "phy", phys[0], "interface", "add", "sta0", "type", "managed")
    await place.station.join("office", f"bssid={await place.ap.bssid(0)}")
    await place.station_is_back()
    print(f"  new radios, {phys[0]} the last: a scan hears all within {await place.works():.1f} s")


async def main():
    parts = (busy, forbidden, refuses, interface, blocked, stopped, killed, crowd, reload)
    wanted = [part for part in parts if part.__name__ in (sys.argv[1:] or [one.__name__ for one in parts])]
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


asyncio.run(main())
