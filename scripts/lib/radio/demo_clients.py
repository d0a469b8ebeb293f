"""Neighbour lists, transition requests and fast transition, with stations that obey the standards and nobody else."""
import json

from lab.processes import until
from radio.namespace import POLL
from radio.neighbourhood import HOST, SSID

KEY = "00112233445566778899aabbccddeeff"
DOMAIN = 0x1234
ROAMS = 3


async def neighbours_file(place, name, *entries):
    """The path of a list as the service hands it out. `entries`: access point and number of a radio."""
    listed = []
    for ap, number in entries:
        status = await ap.status(number)
        listed.append({"neighbour-mac": ap.mac, "channel": int(status["channel"]), "priority": 200,
                       "vaps": [{"ssid": SSID, "mac": status["bssid[0]"]}]})
    path = f"/tmp/{name}.json"
    with open(path, "w", encoding="utf-8") as file:
        json.dump(listed, file)
    return path


async def neighbour_list(stage, place):
    stage.step("Neighbour lists are handed out, and 802.11v and 802.11r are switched on.")
    ap1, ap2 = place.aps
    neighbour = await ap2.bssid(0)
    for ap, other in ((ap1, ap2), (ap2, ap1)):
        path = await neighbours_file(place, ap.name, (other, 0), (other, 1))
        await place.service.order(ap.mac, f"config use-80211v=1 use-80211r=1 neighbours={path}")

    async def listed():
        return neighbour in await ap1.hostapd_cli(0, "show_neighbor")
    await until(listed, "hostapd has the neighbour", 60, pause=POLL)
    own = await ap1.bssid(0)
    shown = await ap1.hostapd_cli(0, "show_neighbor")
    stage.verify("hostapd has the neighbour of the radio's band beside its own entry, and not that of the other band",
                 own in shown and await ap2.bssid(1) not in shown)
    mover = place.stations["mover"]
    mark = mover.supplicant.mark()
    await mover.wpa_cli("neighbor_rep_request")
    await mover.supplicant.line(rf"RRM-NEIGHBOR-REP-RECEIVED bssid={neighbour} .*chan={place.channels['ap2'][0]}", since=mark)
    stage.verify("a station asks for neighbours and gets it with its channel")


async def overload(stage, place):
    stage.step("The service finds the radio overloaded: its weakest station is asked to go.")
    ap1, ap2 = place.aps
    mover, weak = place.stations["mover"], place.stations["weak"]
    await weak.must("iw", "dev", "sta0", "set", "txpower", "fixed", "500")
    for station in (weak, mover):
        await station.wpa_cli("set_network", "0", "scan_freq", "2412 2437 2462")
        await station.ping(HOST, 10)  # so that the signal of both is fresh
    mark = place.service.mark()
    target = await ap2.bssid(0)
    path = await neighbours_file(place, "target", (ap2, 0))
    await place.service.order(ap1.mac, f"overload 0 1 neighbours={path}")
    await weak.connected(target)
    await ap2.has_station(0, weak.address)
    stage.verify("it is connected to the other access point, as both it and hostapd say")
    stage.verify("the stronger one stayed", mover.address in await ap1.stations(0))
    await place.service.message(ap2.mac, "rrm-client-assoc", mark, lambda message: message["sta-mac"] == weak.address)
    stage.verify("the other access point reported it")
    # hostapd learns by silence alone that a station is elsewhere.
    await place.service.message(ap1.mac, "rrm-sta-roam", mark, lambda message: message["sta-mac"] == weak.address)
    stage.verify("and its own that it roamed")


async def fast_transition(stage, place):
    stage.step("Key holders are handed out; a station roams between the two by fast transition.")
    ap1, ap2 = place.aps
    roamer = place.stations["roamer"]
    for ap, other in ((ap1, ap2), (ap2, ap1)):
        own, far = await ap.bssid(1), await other.bssid(1)
        before = await ap.stations(1)
        mark = ap.hostd.mark()
        await place.service.order(
            ap.mac, f"fbt deadline=20000 over-ds=0 vap=1,0 domain={DOMAIN} r0={ap.name}-1.lab r1={own.replace(':', '')} "
            f"key={KEY} remote={far.replace(':', '')},{other.name}-1.lab,{KEY}")
        await ap.hostd.line("key holder", since=mark, seconds=60)
        stage.verify(f"{ap.name} has them and lost no station by it", await ap.stations(1) == before)
    target = await ap2.bssid(1)
    frequency = (await ap2.status(1))["freq"]
    await roamer.hear(target, frequency)
    # The first time the other side fetches its key while the station waits. On a slow processor its kernel may ask once more
    # meanwhile, after 0.2 s, and both end with different nonces: then it comes without. It may go back and try again.
    for _ in range(ROAMS):
        mark = ap2.hostapd.mark()
        status = await roamer.roam(target)
        if status["key_mgmt"] == "FT-PSK" and not any("4WAY-HS" in line for line in ap2.hostapd.lines[mark:]):
            break
        await roamer.roam(await ap1.bssid(1))
    await ap2.hostapd.line(rf"STA {roamer.address} .*authentication OK \(FT\)", since=mark)
    stage.verify("it is connected to the other access point, and both sides say that it came by fast transition",
                 status["key_mgmt"] == "FT-PSK" and not any("4WAY-HS" in line for line in ap2.hostapd.lines[mark:]))
    stage.verify("its traffic passes there", await roamer.ping(HOST) > 0)
