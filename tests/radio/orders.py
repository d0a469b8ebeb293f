"""The service's orders on real radios: scans, neighbour lists, transitions."""
import asyncio
import time

from lab.processes import check, until
from radio.access_point import AccessPoint, radio
from radio.domain import Domain, neighbour
from radio.namespace import radios_begin, wire_begin
from radio.network import Network, vap
from radio.station import Station


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
        check("VIOLATION" not in "".join(service.program.lines), "the service saw a violation of the protocol")
        await ap.agent.stop(10)
    finally:
        for one in (station, ap, other, foreign, service):
            await one.end()


asyncio.run(main())
