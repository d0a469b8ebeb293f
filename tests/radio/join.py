"""The least that everything else stands on: two radios, one network, one station, the daemon and its service."""
import asyncio

from lab.processes import check
from radio import usage
from radio.access_point import AccessPoint, radio
from radio.namespace import radios_begin, wire_begin
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
        await ap.start_hostd()
        await ap.start_agent(service.address)
        await ap.subscribed()
        request = await service.message(ap.mac, "subscribe-request")
        described = [(radio["channel"], radio["bandwidth"], len(radio["assoclist"])) for radio in request["radios"]]
        check(described == [(6, 20, 1), (36, 80, 0)], "described with channels, widths and clients", described)
        print("the agent subscribed and described its radios:", described)
        await asyncio.sleep(10)  # of idle life, to be measured
        usage.show(ap)
        print(f"it ended within {await ap.agent.stop(10):.1f} s")
        await ap.stop_hostapd()
    finally:
        await station.end()
        await ap.end()
        await service.end()


asyncio.run(main())
