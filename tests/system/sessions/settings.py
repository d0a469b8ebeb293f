"""What the service sets: channels, power, neighbours, steering, fast transition; and the clients' events."""
import json

from programs import check, until
from service import message, same
from subscription import own

STATIONS = ["06:00:00:00:00:01", "06:00:00:00:00:02", "06:00:00:00:00:03"]


def neighbour(number, channel, priority, *vaps):
    return {"neighbour-mac": f"02:00:5E:77:00:{number:02}", "channel": channel, "priority": priority,
            "vaps": [{"ssid": ssid, "mac": mac} for ssid, mac in vaps]}


async def channel_and_power_are_applied(session):
    link = await session.subscribed()
    await link.send(message("rrm-info", use_tpc=1, use_dca=1, use_80211v=1, radios=[
        {"id": 0, "channel": 11, "bandwidth": 40, "primary-channel": "upper", "power": 12},
        {"id": 7, "channel": 1},
        {"id": 1, "channel": 44, "power": 20, "quarn-roam-attempt-timeout": 30}]))
    changed = await link.skip_to("rrm-config-changed", lambda m: m["radios"][1]["power"] == 20)
    first, second = changed["radios"]
    same([first[key] for key in ("power", "channel", "band", "bandwidth", "primary-channel")], [12, 11, 2, 40, "upper"])
    same([second[key] for key in ("power", "channel", "band", "bandwidth", "primary-channel")], [20, 44, 5, 20, "none"])
    check("assoclist" in first and "assoclist" in second, "no clients with 802.11v on")
    for number, expected in ((0, (11, 40, "upper", 12)), (1, (44, 20, "none", 20))):
        radio = await session.ap.radio(number)
        same([radio[key] for key in ("channel", "bandwidth", "sideband", "power")], list(expected))
    await session.ap.line("wlan1: MIB roam_attempt_timeout=30")

    # Without the switches nothing changes; a 40 MHz channel without a side is the lower one of its pair.
    await link.send(message("rrm-info", radios=[{"id": 0, "channel": 1, "power": 9}]))
    check("assoclist" not in (await link.alive())["radios"][0], "802.11v is on")
    same([(await session.ap.radio(0))[key] for key in ("channel", "power")], [11, 12])
    await link.send(message("rrm-info", use_dca=1, use_tpc=0,
                            radios=[{"id": 0, "channel": 1, "bandwidth": 40, "power": 9}]))
    await link.skip_to("rrm-config-changed", lambda m: m["radios"][0]["primary-channel"] == "lower")
    same([(await session.ap.radio(0))[key] for key in ("channel", "sideband", "power")], [1, "lower", 12])

    # What porterd refuses changes nothing, and the agent goes on.
    await link.send(message("rrm-info", use_dca=1, use_tpc=1, radios=[{"id": 0, "channel": 99, "power": 99}]))
    await link.alive()
    same([(await session.ap.radio(0))[key] for key in ("channel", "power")], [1, 12])


async def neighbours_and_steering(session):
    link = await session.subscribed(config={"use-80211v": 1})
    await link.send(message("rrm-info", use_80211v=1, **{"802dot11k": [
        neighbour(10, 11, 200, ("office", "02:00:5e:77:00:11"), ("elsewhere", "02:00:5e:77:00:12")),
        neighbour(20, 44, 100, ("office", "02:00:5e:77:00:21")),
        {"channel": 1, "vaps": [{"ssid": "office", "mac": "02:00:5e:77:00:99"}]}]}))
    ap = session.ap
    wanted = [["02:00:5e:77:00:11", 11]]
    await until(lambda: has(ap, "wlan0-va0", "standard", wanted), "the neighbour of 2.4 GHz")
    await until(lambda: has(ap, "wlan1-va0", "standard", [["02:00:5e:77:00:21", 44]]), "the neighbour of 5 GHz")
    same(await ap.neighbours("wlan0-va1", "standard"), [])

    # Too many clients: the weakest that can are asked, in this order; what was asked before is not asked again.
    mark = ap.mark()
    overload = message("rrm-sta-overload", radios=[{"id": 5, "roam-count": 9}, {"id": 0, "roam-count": 1}],
                       **{"802dot11k": [neighbour(10, 1, 250, ("office", "02:00:5e:77:00:31"))]})
    await link.send(overload)
    await ap.line("station 06:00:00:00:00:03 asked to roam", mark)
    same([list(entry) for entry in await ap.neighbours("wlan0-va0", "custom")], [["02:00:5e:77:00:31", 1]])
    same([list(entry) for entry in await ap.neighbours("wlan0-va0", "standard")], wanted)
    roamed = await link.skip_to("rrm-sta-roam")
    same(roamed, own("rrm-sta-roam", "lab", radio=0, sta_mac="06:00:00:00:00:03", ssid="office",
                     target_mac="02:00:5e:77:00:31"))
    await ap.tell("station join 06:00:00:00:00:04 wlan0-va0 -80 stays")
    await link.next("rrm-client-assoc")
    await link.send(overload)
    await ap.line("station 06:00:00:00:00:04 asked to roam", mark)
    await link.send(overload)
    await ap.line("station 06:00:00:00:00:01 asked to roam", mark)
    asked = [station for station in STATIONS + ["06:00:00:00:00:04"]
             if sum(station + " asked to roam" in line for line in ap.lines)]
    same(asked, [STATIONS[0], STATIONS[2], "06:00:00:00:00:04"])

    # An order without a list takes all back.
    await link.send(message("rrm-info"))
    await until(lambda: has(ap, "wlan0-va0", "standard", []), "no neighbours any more")


async def has(ap, vap, kind, wanted):
    return [list(entry) for entry in await ap.neighbours(vap, kind)] == wanted


async def client_events(session):
    """Told only with 802.11v, and only while hostapd runs."""
    link = await session.subscribed()
    ap = session.ap
    await ap.tell("station join 06:00:00:00:00:05 wlan1-va0 -61")
    await link.silent(1)
    await link.send(message("rrm-info", use_80211v=1))
    await link.mode()
    client = {"radio": 1, "sta_mac": "06:00:00:00:00:05"}
    await ap.tell("station leave 06:00:00:00:00:05 recv-deauth")
    same(await link.next("rrm-client-disassoc"), own("rrm-client-disassoc", "lab", **client, ssid="office"))
    for v, flag in (("", 0), (" no-v", 1)):
        await ap.tell("station join 06:00:00:00:00:05 wlan1-va0 -61" + v)
        same(await link.next("rrm-client-assoc"),
             own("rrm-client-assoc", "lab", **client, rssi=-61, ssid="office", no_balance=flag))
    for event in ("reassoc", "send-deauth", "send-disassoc", "recv-disassoc", "auth-fail", "8021x-fail"):
        await ap.tell("station leave 06:00:00:00:00:05 " + event)
        await link.next("rrm-client-disassoc")
        await ap.tell("station join 06:00:00:00:00:05 wlan1-va0 -61")
        await link.next("rrm-client-assoc")
    await ap.tell("station roam 06:00:00:00:00:05 06:aa:00:00:00:03")
    same(await link.next("rrm-sta-roam"),
         own("rrm-sta-roam", "lab", **client, ssid="office", target_mac="06:aa:00:00:00:03"))
    await link.send(message("rrm-info"))
    await link.mode()
    await ap.tell("station join 06:00:00:00:00:05 wlan1-va0 -61")
    await link.silent(1)


def ft_entry(vap, radio, **changes):
    return {"vap_id": vap, "radio_id": radio, "mobility-domain": 4660, "r0-key-holder-id": "ap1.lab/x",
            "r1-key-holder-id": "02005e110011", "fbt-rrb-key": "00112233445566778899aabbccddeeff",
            "remotes": [{"remote-r1-kh-id": "02005e770011", "remote-r0-kh-id": "ap2", "remote-r1-kh-key": "ffee"},
                        {"remote-r0-kh-id": "nameless", "remote-r1-kh-key": "00"},
                        {"remote-r1-kh-id": "02005e770013", "remote-r0-kh-id": "ap3", "remote-r1-kh-key": "ddcc"}],
            **changes}


async def fast_transition(session):
    link = await session.subscribed(config={"use-80211r": 1})
    ap = session.ap
    order = message("fbt-info", fbt_reassoc_deadline=1000, fbt_over_ds=1,
                    vaps=[ft_entry(0, 0), ft_entry(6, 1), ft_entry(0, 1, remotes=[])])
    await link.send(order)
    await ap.line("wlan0-va0: fast transition, mobility domain 4660, 2 remote key holders")
    changed = await link.next("rrm-config-changed")
    same([vap["802dot11r"] for vap in changed["radios"][0]["vaps"]], [1, 0])
    holder = {"r0-kh-key": "00112233445566778899aabbccddeeff"}
    expected = {"enabled": "true", "ft-over-ds": "true", "ft-psk-generate-local": "false",
                "reassociation-deadline": "1000", "mobility-domain": "4660", "r0-key-holder-id": "ap1.lab/x",
                "r1-key-holder-id": "02005e110011", "mac": {
                    "02005e770011": {"name": "02005e770011", "index": "0", "r0-kh-id": "ap2",
                                     "r1-kh-id": "02005e770011", **holder, "r1-kh-key": "ffee"},
                    "02005e770013": {"name": "02005e770013", "index": "2", "r0-kh-id": "ap3",
                                     "r1-kh-id": "02005e770013", **holder, "r1-kh-key": "ddcc"}}}
    same(json.loads(await ap.tell("config get /interface/wlan0-va0/vap/ft-config")), expected)
    other = json.loads(await ap.tell("config get /interface/wlan1-va0/vap/ft-config"))
    same(other, {**expected, "mac": {}})

    # One entry without key holders: all is refused and taken back.
    mark = ap.mark()
    del order["vaps"][2]["r1-key-holder-id"]
    await link.send(order)
    await ap.line("fast-transition settings of the service dropped", mark)
    same([vap["802dot11r"] for vap in (await link.next("rrm-config-changed"))["radios"][0]["vaps"]], [0, 0])
    # A key that is left out changes nothing, a switch that is off takes all back.
    await link.send(message("rrm-info"))
    await link.send(message("fbt-info", vaps=[ft_entry(0, 0)]))
    await link.next("rrm-config-changed")
    mark = ap.mark()
    await link.send(message("rrm-info", use_80211r=0))
    await link.send(message("fbt-info", vaps=[ft_entry(0, 0)]))
    await ap.line("fast-transition settings of the service dropped", mark)
    # On, and the link is lost.
    await link.send(message("rrm-info", use_80211r=1))
    await link.send(message("fbt-info", vaps=[ft_entry(0, 0)]))
    await ap.line("fast transition, mobility domain 4660", mark)
    mark = ap.mark()
    link.abort()
    await ap.line("fast-transition settings of the service dropped", mark)


SESSIONS = [channel_and_power_are_applied, neighbours_and_steering, client_events, fast_transition]
