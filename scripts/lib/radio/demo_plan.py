"""Subscriptions, scans, and a plan that is carried out on the air."""
import asyncio

from lab.processes import until
from radio import air
from radio.namespace import POLL
from radio.neighbourhood import HOST
from radio.traffic import Traffic

LOUD = ("1", "6", "11", "36", "40", "44", "48", "149", "153", "157", "161")
LOST = 20  # pings, ten a second, that a change of channel may cost


async def begin(stage, place):
    stage.step("Two access points with two radios each, two foreign networks and four stations come on the air: hostapd "
               "and wpa_supplicant on simulated radios of the kernel.")
    await place.begin()
    ap1, ap2 = place.aps
    await asyncio.gather(place.join("mover", ap1, 0), place.join("weak", ap1, 0),
                         place.join("roamer", ap1, 1, key_mgmt="FT-PSK"), place.join("guest", ap2, 1))
    stage.verify("four stations are connected and their traffic passes")

    stage.step("The radio service and both agents start.")
    await place.service.begin("--strict")
    for ap in place.aps:
        await ap.start_hostd()
        await ap.start_agent(place.service.address)
    for ap in place.aps:
        request = await place.service.message(ap.mac, "subscribe-request")
        await ap.subscribed()
        for number, radio in enumerate(request["radios"]):
            seen = await air.interface(ap, f"wlan{number}-va0")
            stage.verify(f"{ap.name} described radio {number} as iw shows it: channel {seen['channel']}, {seen['width']} "
                         f"MHz, {seen['power']:.0f} dBm",
                         (radio["status"], radio["channel"], radio["bandwidth"], radio["power"], radio["vaps"][0]["mac"])
                         == (1, seen["channel"], seen["width"], round(seen["power"]), await ap.bssid(number)))
            stage.verify(f"and its clients as hostapd has them: {len(radio['assoclist'])}",
                         sorted(one["mac"] for one in radio["assoclist"]) == sorted(await ap.stations(number)))


async def scan(stage, place):
    stage.step(f"Both scan channels {', '.join(LOUD)} in five rounds while their stations stay; one after the other, for a "
               "radio that listens elsewhere sends no beacons.")
    ap1, ap2 = place.aps
    traffic = await Traffic(place.stations["mover"], HOST).begin()
    foreign = [await network.bssid(0) for network in place.foreign]
    for ap, other in ((ap1, ap2), (ap2, ap1)):
        mark = place.service.mark()
        await place.service.order(ap.mac, f"scan channels={','.join(LOUD)}")
        report = await place.service.message(ap.mac, "rrm-response", mark, seconds=180)
        heard = {entry["bssid"]: entry for entries in report["rf-environment"] for entry in entries}
        others = [await other.bssid(number) for number in (0, 1)]
        stage.verify(f"{ap.name} heard the other access point and both foreign networks, in {len(report['rf-environment'])} "
                     "rounds", set(foreign) | set(others) <= set(heard) and len(report["rf-environment"]) == 5)
        stage.verify("and not itself", not {await ap.bssid(0), await ap.bssid(1)} & set(heard))
        at = [(heard[bssid]["channel"], heard[bssid]["bandwidth"]) for bssid in others]
        seen = [await air.interface(other, f"wlan{number}-va0") for number in (0, 1)]
        stage.verify(f"with the channels and widths that they have: {at}",
                     at == [(one["channel"], one["width"]) for one in seen])
    lost, sent, silence = await traffic.end()
    stage.verify(f"a station's traffic went on: {lost} of {sent} pings lost, {silence:.2f} s without an answer", lost < sent / 4)


async def move(stage, place):
    stage.step("Channel 6 carries a foreign network, too: the service moves that radio to channel 1, and the busy one at 5 "
               "GHz to 40 MHz at channel 149.")
    ap1 = place.aps[0]
    mover, roamer = place.stations["mover"], place.stations["roamer"]
    traffic = await Traffic(mover, HOST).begin()
    mark = place.service.mark()
    await place.service.order(ap1.mac, "config radio=0 channel=1 radio=1 channel=149 bandwidth=40 primary=lower")
    await air.on_channel(ap1, "wlan0-va0", 1, 60)
    await air.on_channel(ap1, "wlan1-va0", 149, 60)
    changed = await place.service.message(
        ap1.mac, "rrm-config-changed", mark,
        lambda message: [radio["channel"] for radio in message["radios"]] == [1, 149])
    stage.verify("iw and the agent show both where they were ordered",
                 (await air.interface(ap1, "wlan1-va0"))["width"] == 40 and changed["radios"][1]["bandwidth"] == 40)
    for station, number, frequency in ((mover, 0, "2412"), (roamer, 1, "5745")):
        await ap1.has_station(number, station.address)
        status = await station.connected(await ap1.bssid(number))
        stage.verify(f"{station.name} followed to {status['freq']} MHz", status["freq"] == frequency)
    await traffic.program.line("bytes from", since=traffic.program.mark())
    lost, sent, silence = await traffic.end()
    stage.verify(f"its traffic went on: {lost} of {sent} pings lost, {silence:.2f} s without an answer", lost <= LOST)


async def power(stage, place):
    stage.step("That radio's power is lowered to 12 dBm; the other access point listens.")
    ap1, ap2 = place.aps
    bssid = await ap1.bssid(0)
    loud = (await air.scan(ap2, "wlan0", 2412))[bssid]
    await place.service.order(ap1.mac, "config radio=0 power=12")

    async def lowered():
        return (await air.interface(ap1, "wlan0-va0")).get("power") == 12
    await until(lowered, "iw shows 12 dBm", 60, pause=POLL)
    quiet = (await air.scan(ap2, "wlan0", 2412))[bssid]
    stage.verify(f"iw shows 12 dBm, and the other access point hears it with {quiet:.0f} instead of {loud:.0f} dBm",
                 quiet < loud - 5)
    mark = place.service.mark()
    await place.service.order(ap2.mac, "rrm-scan 1,149")
    report = await place.service.message(ap2.mac, "rrm-response", mark, seconds=120)
    heard = [entry["rssi"] for entries in report["rf-environment"] for entry in entries if entry["bssid"] == bssid]
    stage.verify(f"its agent reports it with {heard} dBm", heard and abs(heard[-1] - quiet) <= 2)
