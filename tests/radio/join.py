"""The least that everything else stands on: two radios, one network, one station, the daemon and its service."""
import asyncio
import sys

from lab.processes import check, until
from radio.access_point import AccessPoint, radio
from radio.namespace import must, radios_begin, run, wire_begin
from radio.service import Service
from radio.station import Station

RADIOS = 3


async def main():
    await radios_begin(RADIOS)
    await wire_begin("10.0.0.1/24")
    ap = AccessPoint("ap1", "02:00:5E:00:01:00", "10.0.0.2/24", [("phy0", radio(0, "office", 6)),
                                                                 ("phy1", radio(1, "office", 36))])
    station = Station("sta1", "phy2")
    service = Service("10.0.0.1")
    try:
        await ap.begin()
        await ap.start_hostapd()
        print("hostapd runs:", (await ap.status(0))["channel"], (await ap.status(1))["channel"])
        await station.begin()
        await station.join("office", "scan_freq=2437")
        await station.must("ip", "addr", "add", "10.0.0.10/24", "dev", "sta0")
        await ap.has_station(0, station.address)
        check(await station.ping("10.0.0.1", 5) >= 4, "the station's traffic does not pass")
        print("a station joined and its traffic passes")
        await service.begin()
        await ap.start_agent(service.address)
        await service.program.line("connected", seconds=60)
        print("the daemon connected to its service")
        print(f"the daemon ended within {await ap.agent.stop(10):.1f} s")
        await ap.stop_hostapd()
    finally:
        await station.end()
        await ap.end()
        await service.end()


asyncio.run(main())
