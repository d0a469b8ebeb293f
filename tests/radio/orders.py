"""The service's orders on real radios: scans, neighbour lists, transitions, and what happens when the radios fail."""
import asyncio
import json
import os
import signal
import time

from lab.processes import check, until
from radio.access_point import AccessPoint, radio
from radio.namespace import LOGS, radios_begin, wire_begin
from radio.network import Network, vap
from radio.service import Service
from radio.station import Station


class Domain(Service):
    """The service of one agent."""

    def __init__(self, host, ap):
        super().__init__(host)
        self.mac = ap.mac

    async def send(self, cmd, **members):
        message = {"version": "2.4", "service": "rrm", "cmd": cmd, "ap-mac": self.mac, **members}
        await self.program.say(json.dumps(message))

    async def scan(self, channels, active=True):
        """Rounds of {bssid: entry}, and how long they took."""
        mark, began = self.mark(), time.monotonic()
        await self.send("rrm-update", **{"rrm-scan-channels": channels, "rrm-scan-delay": 0,
                                         "quarn-rrm-scanning": int(not active)})
        answer = await self.message(self.mac, "rrm-response", mark, seconds=90)
        return [{bss["bssid"]: bss for bss in heard} for heard in answer["rf-environment"]], time.monotonic() - began


class Office(AccessPoint):
    async def begin_all(self, service):
        await self.begin()
        await self.start_hostapd()
        if service:
            await self.start_hostd()
            await self.start_agent(service.address)
            await self.subscribed()

    async def neighbours(self, number):
        return [line.split()[0] for line in (await self.hostapd_cli(number, "show_neighbor")).splitlines()]


def neighbour(bssid, channel):
    return {"neighbour-mac": bssid, "channel": channel, "priority": 255, "vaps": [{"ssid": "office", "mac": bssid}]}


async def scans(ap, service, foreign, other, station):
    mark = ap.agent.mark()
    rounds, seconds = await service.scan("1 6 11 36 149")
    check(len(rounds) == 5, "rounds", rounds)
    expected = {await foreign.bssid(0): (11, 20, "none"), await foreign.bssid(1): (149, 80, "ll"),
                await other.bssid(0): (1, 20, "none"), await other.bssid(1): (149, 80, "ll")}
    for heard in rounds:
        check({bssid: (one["channel"], one["bandwidth"], one["primary-channel"]) for bssid, one in heard.items()}
              == expected, "heard", heard)
        check(all(-60 < one["rssi"] < 0 for one in heard.values()), "strengths", heard)
    await ap.agent.line(r"wlan0: 3 channels scanned", since=mark)
    print(f"five rounds of five channels heard {len(expected)} BSSs each and took {seconds:.1f} s")
    rounds, _ = await service.scan("11")
    check([list(heard) for heard in rounds] == [[await foreign.bssid(0)]] * 5, "channel 11", rounds)
    rounds, seconds = await service.scan("149", active=False)
    there = sorted([await foreign.bssid(1), await other.bssid(1)])
    check([sorted(heard) for heard in rounds] == [there], "RRM scan", rounds)
    check("AP-STA-DISCONNECTED" not in "".join(ap.hostapd.lines), "no client was lost")
    check(await station.ping("10.0.0.1", 5) >= 4, "traffic after the scans")
    print(f"an RRM scan took {seconds:.1f} s; no client was lost")


async def lists_and_transition(ap, service, other, station):
    own, target = await ap.bssid(0), await other.bssid(0)
    for entries in ([target], [], [target]):
        await service.send("rrm-info", **{"domain": "d", "802dot11k": [neighbour(bssid, 1) for bssid in entries]})

        async def listed():
            return sorted(await ap.neighbours(0)) == sorted([own, *entries])
        await until(listed, f"hostapd lists {entries}", 30)
    print("neighbour lists were filled, emptied and filled; hostapd's own entry stayed")
    await service.send("rrm-sta-overload", radios=[{"id": 0, "roam-count": 1}],
                        **{"802dot11k": [neighbour(target, 1)]})
    began = time.monotonic()
    await station.connected(target)
    await other.has_station(0, station.address)
    print(f"the station was asked and went to the other access point within {time.monotonic() - began:.1f} s")
    await station.wpa_cli("roam", own)
    await station.connected(own)


async def fails(service, ap, what, text):
    """A scan while the first radio fails: it is answered with what the other heard, and the log has the reason."""
    mark = ap.agent.mark()
    rounds, seconds = await service.scan("11 149")
    await ap.agent.line(text, since=mark)
    check(len(rounds) == 5 and all(len(heard) == 2 for heard in rounds), "the other radio's results", rounds)
    print(f"{what}: the other radio's results within {seconds:.1f} s")


async def works(service, what):
    rounds, seconds = await service.scan("11 149")
    check(len(rounds) == 5 and all(len(heard) == 3 for heard in rounds), what, rounds)


async def faults(ap, service):
    # Somebody else scans all the time.
    loop = await ap.start("scans", "sh", "-c", "while iw dev wlan0 scan >/dev/null; do :; done")
    rounds, seconds = await service.scan("11 149")
    check(len(rounds) == 5 and all(len(heard) >= 2 for heard in rounds), "the other radio's results", rounds)
    print(f"a radio that others scan as well: {sum(len(heard) == 3 for heard in rounds)} of 5 rounds whole, answered "
          f"within {seconds:.1f} s")
    await loop.kill()

    await ap.must("ip", "link", "set", "wlan0", "down")
    await fails(service, ap, "the radio's interface down", "wlan0: cannot begin a scan: Network is down")
    await ap.must("ip", "link", "set", "wlan0", "up")

    await ap.must("iw", "dev", "wlan0", "del")
    await fails(service, ap, "the radio's interface gone", "wlan0: cannot find the interface: No such device")
    await ap.must("iw", "phy", ap.radios[0][0], "interface", "add", "wlan0", "type", "managed")
    await ap.must("ip", "link", "set", "wlan0", "up")
    await works(service, "after the interface came back")

    switch = "for one in /sys/class/ieee80211/%s/rfkill*/soft; do echo %d >$one; done"
    await ap.must("sh", "-c", switch % (ap.radios[0][0], 1))
    await fails(service, ap, "the radio blocked", "wlan0: cannot begin a scan: ")
    await ap.must("sh", "-c", switch % (ap.radios[0][0], 0))
    await ap.must("ip", "link", "set", "wlan0", "up")
    await works(service, "after the radio was unblocked")

    # A silent hostapd: the list costs its time limit, and the agent stays.
    os.kill(ap.hostapd.process.pid, signal.SIGSTOP)
    mark, began = ap.agent.mark(), time.monotonic()
    await service.send("rrm-info", **{"domain": "d", "802dot11k": [neighbour(f"02:00:00:00:00:{n:02}", 1)
                                                                 for n in range(30)]})
    await ap.agent.line("hostapd cannot list neighbours", since=mark)
    await works(service, "scans while hostapd is silent")
    os.kill(ap.hostapd.process.pid, signal.SIGCONT)
    print(f"a silent hostapd held the agent for less than {time.monotonic() - began:.1f} s")
    check("Terminating" not in "".join(ap.agent.lines) and ap.agent.runs(), "the agent went on")


async def main():
    await radios_begin(7)
    await wire_begin("10.0.0.1/24")
    ap, other = [Office(f"ap{n}", f"02:00:5E:00:0{n}:00", f"10.0.0.{n + 1}/24",
                        [(f"phy{2 * n - 2}", radio(0, "office", 6 if n == 1 else 1)),
                         (f"phy{2 * n - 1}", radio(1, "office", 36 if n == 1 else 149))]) for n in (1, 2)]
    foreign = Network("foreign", [("phy4", vap("wlan0-va0", "cafe", 11, "country_code=US")),
                                  ("phy5", vap("wlan1-va0", "cafe", 149, "country_code=US"))])
    station, service = Station("sta1", "phy6"), Domain("10.0.0.1", ap)
    try:
        await service.begin()
        await foreign.begin()
        await foreign.start_hostapd()
        await other.begin_all(None)
        await ap.begin_all(service)
        await station.begin()
        await station.join("office", f"bssid={await ap.bssid(0)}")
        await station.must("ip", "addr", "add", "10.0.0.10/24", "dev", "sta0")
        await station.wpa_cli("set_network", "0", "bssid", "any")
        await ap.has_station(0, station.address)
        await scans(ap, service, foreign, other, station)
        await lists_and_transition(ap, service, other, station)
        await faults(ap, service)
        check("VIOLATION" not in "".join(service.program.lines), "the service saw a violation of the protocol")
        await ap.agent.stop(10)
    finally:
        for one in (station, ap, other, foreign, service):
            await one.end()


asyncio.run(main())
