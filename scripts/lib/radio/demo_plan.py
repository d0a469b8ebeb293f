"""Subscriptions, scans, and a plan that is carried out on the air."""
import asyncio
import json

from lab.processes import until
from radio import air
from radio.namespace import POLL
from radio.neighbourhood import FOREIGN, HOST
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


async def plan_at_rest(place):
    """The planner's account of its plan, once nothing of it is on its way."""
    async def rests():
        plan = json.loads((await place.service.tell("plan json")).splitlines()[0])
        return plan if plan["state"] in ("proposed", "applied", "undone", "failed") else None
    return await until(rests, "the plan comes to a rest", 180, pause=2 * POLL)


def changes(place, plan):
    """(access point, number of the radio, now, planned) of each that the plan changes."""
    aps = {ap.mac.upper(): ap for ap in place.aps}
    return [(aps[one["ap-mac"].upper()], one["radio"], one["now"], one["plan"]) for one in plan["radios"] if "plan" in one]


async def move(stage, place):
    stage.step("Channels 6 and 36 carry a foreign network each, too: the service's planner chooses others from what was "
               "heard, brings them out one access point after the other, and verifies them by new scans.")
    mover = place.stations["mover"]
    await place.service.tell(f"plan propose power=0 channels={','.join(LOUD)}")
    plan = await plan_at_rest(place)
    for ap, number, now, planned in changes(place, plan):
        print(f"    planned: {ap.name}'s radio {number} goes from channel {now['channel']}, {now['bandwidth']} MHz, to "
              f"{planned['channel']}, {planned['bandwidth']} MHz", flush=True)
    stage.verify("the planner wants both radios of the first access point off the channels of the foreign networks",
                 [(now["channel"], planned["channel"] in FOREIGN.values())
                  for ap, _, now, planned in changes(place, plan) if ap is place.aps[0]] == [(6, False), (36, False)])
    traffic = await Traffic(mover, HOST).begin()
    await place.service.tell("plan apply")
    plan = await plan_at_rest(place)
    stage.verify(f"it was brought out: {plan['text']}",
                 plan["state"] == "applied" and plan["measured"]["total"] < plan["before"]["total"])
    for ap, number, _, planned in changes(place, plan):
        seen = await air.interface(ap, f"wlan{number}-va0")
        stage.verify(f"iw shows {ap.name}'s radio {number} there: channel {seen['channel']}, {seen['width']} MHz",
                     (seen["channel"], seen["width"]) == (planned["channel"], planned["bandwidth"]))
        place.channels[ap.name][number] = seen["channel"]
        for station in place.at.get((ap.name, number), ()):
            await ap.has_station(number, station.address)
            status = await station.connected(await ap.bssid(number))
            stage.verify(f"{station.name} followed to {status['freq']} MHz", status["freq"] == str(seen["frequency"]))
    await traffic.program.line("bytes from", since=traffic.program.mark())
    lost, sent, silence = await traffic.end()
    stage.verify(f"{mover.name}'s traffic went on: {lost} of {sent} pings lost, {silence:.2f} s without an answer", lost <= LOST)


async def power(stage, place):
    stage.step("That radio's power is lowered to 12 dBm; the other access point listens.")
    ap1, ap2 = place.aps
    bssid = await ap1.bssid(0)
    frequency = (await air.interface(ap1, "wlan0-va0"))["frequency"]
    loud = (await air.scan(ap2, "wlan0", frequency))[bssid]
    await place.service.order(ap1.mac, "config radio=0 power=12")

    async def lowered():
        return (await air.interface(ap1, "wlan0-va0")).get("power") == 12
    await until(lowered, "iw shows 12 dBm", 60, pause=POLL)
    quiet = (await air.scan(ap2, "wlan0", frequency))[bssid]
    stage.verify(f"iw shows 12 dBm, and the other access point hears it with {quiet:.0f} instead of {loud:.0f} dBm",
                 quiet < loud - 5)
    mark = place.service.mark()
    await place.service.order(ap2.mac, "rrm-scan " + ",".join(str(channel) for channel in place.channels["ap1"]))
    report = await place.service.message(ap2.mac, "rrm-response", mark, seconds=120)
    heard = [entry["rssi"] for entries in report["rf-environment"] for entry in entries if entry["bssid"] == bssid]
    stage.verify(f"its agent reports it with {heard} dBm", heard and abs(heard[-1] - quiet) <= 2)
