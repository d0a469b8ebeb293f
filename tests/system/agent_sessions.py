"""The agent mode from end to end: real processes, in real time, a websocket server of another make."""
import asyncio
import json
import os
import re
import sys
import time

from lab.orders import BASE_MAC, FACTORY, accept, message, own, scan
from lab.processes import Place, check, free_port
from lab.service import same

PAGE = os.path.join(os.path.dirname(__file__), "../../docs/protocol.md")

VAPS_0 = [{"id": 0, "ssid": "office", "mac": "02:00:5e:11:00:11", "802dot11k": 1, "802dot11r": 0},
          {"id": 1, "ssid": "guest/1", "mac": "02:00:5e:11:00:12", "802dot11k": 0, "802dot11r": 0}]
VAPS_1 = [{"id": 0, "ssid": "office", "mac": "02:00:5e:11:00:19", "802dot11k": 1, "802dot11r": 1}]
HEARD = {"06:aa:00:00:00:01": {"channel": 6, "tx-power": 0, "primary-channel": "none", "bandwidth": 20},
         "06:aa:00:00:00:03": {"channel": 36, "tx-power": 0, "primary-channel": "ll", "bandwidth": 80}}


def radios(clients):
    """The office at its start; `clients`: with the lists of clients, whose signals move."""
    common = {"radio-mac-count": 8, "locked-for-dca": 0, "locked-for-tpc": 0, "locked-for-balancer": 1,
              "locked-for-80211v": 0}
    first = {"id": 0, "status": 1, "mac-offset": 0, **common, "power": 16, "power-max": 20, "power-min": 8,
             "channel": 6, "band": 2, "bandwidth": 20, "primary-channel": "none", "available-channels": "1 6 11 ",
             "vaps": VAPS_0}
    second = {"id": 1, "status": 1, "mac-offset": 8, **common, "power": 18, "power-max": 23, "power-min": 8,
              "channel": 36, "band": 5, "bandwidth": 80, "primary-channel": "none",
              "available-channels": "36 40 44 48 ", "vaps": VAPS_1}
    if clients:
        first["assoclist"] = [{"mac": f"06:00:00:00:00:0{n}", "ssid": "office", "rssi": 0} for n in (1, 2, 3)]
        second["assoclist"] = []
    return [first, second]


def still(received):
    """Takes the moving signals out of the lists of clients."""
    for radio in received["radios"]:
        for client in radio.get("assoclist", []):
            check(list(client) == ["mac", "ssid", "rssi"] and -100 < client["rssi"] < -30, "client:", client)
            client["rssi"] = 0
    return received


async def subscribes_describes_itself_and_leaves(session):
    link = await session.start()
    request = still(await link.next("subscribe-request"))
    same(request, own("subscribe-request", "lab", ap_mac_count=16, use_wildcard_80211r=0, factory=FACTORY,
                      radios=radios(clients=True)))
    check(not session.daemon.marker(), "the marker is there before the subscription")
    domain = "plant \u00e9/7"
    await link.send(accept(domain=domain, config={"use-tpc": 1, "use-dca": 1, "use-80211v": 0}))
    same(await link.mode(), own("rrm-mode-response", domain, radios=radios(clients=False)))
    check(session.daemon.marker(), "no marker after the subscription")
    text = json.dumps(message("rrm-request-mode"))
    await link.socket.send([text[:1], text[1:40], "", text[40:]])  # in fragments
    await link.next("rrm-mode-response")

    # A switch counts at once, a radio that went down when hostapd starts the next time.
    await session.ap.tell("config set /corvane/tpc false")
    await link.next("rrm-config-changed")
    await session.ap.tell("radio 1 down")
    await session.ap.tell("hostapd stop")
    same(await link.skip_to("rrm-disassoc-all-clients"), own("rrm-disassoc-all-clients", domain, factory=FACTORY))
    await session.ap.tell("hostapd start")
    first, second = (await link.skip_to("rrm-config-changed"))["radios"]
    check((first["locked-for-tpc"], first["locked-for-dca"]) == (1, 0), "locks:", first)
    same(second, {"id": 1, "status": 0, "mac-offset": 8, "radio-mac-count": 8, "locked-for-dca": 1,
                  "locked-for-tpc": 1, "locked-for-balancer": 1, "locked-for-80211v": 1, "power": 16, "power-max": 16,
                  "power-min": 11, "channel": 36, "band": 5, "bandwidth": 80, "primary-channel": "none"})

    # An old service is left for good: the process stays, without a link.
    await link.send({"version": "2.3", "service": "rrm", "cmd": "rrm-request-mode"})
    same(await link.next("unsubscribe-request"), own("unsubscribe-request", domain, factory=FACTORY))
    await link.closed()
    await asyncio.sleep(3)
    check(session.daemon.runs() and len(session.service.links) == 1, "it connected again")
    check(not session.daemon.marker(), "the marker stays")
    await session.daemon.stop()
    check(not os.path.exists(session.path("/run/ravd-bus/31.sock")), "it left a socket behind")

    # A new process beneath the running hostapd subscribes.
    await session.start_daemon()
    await (await session.service.link()).next("subscribe-request")


async def scans_and_what_waits_for_them(session):
    link = await session.subscribed(config={"use-dca": 1, "use-tpc": 1})
    began = time.monotonic()
    await link.send(scan())
    await session.ap.line("active scan no. 1,")
    # All of this waits, in its order; pings do not.
    await link.send(message("rrm-info", use_tpc=1, radios=[{"id": 0, "power": 12}]))
    await link.send(scan("6 11 36", rrm=1))
    await link.send(message("rrm-request-mode"))
    await asyncio.wait_for(await link.socket.ping(), 5)
    await asyncio.sleep(0.5)
    check((await session.ap.radio(0))["power"] == 16, "the power was set during the scan")

    report = await link.next("rrm-response")
    check(4 < time.monotonic() - began < 30, "five rounds took", time.monotonic() - began)
    check([radio["power"] for radio in report["radios"]] == [16, 18], "radios:", report["radios"])
    check(len(report["rf-environment"]) == 5, "rounds:", report["rf-environment"])
    for heard in report["rf-environment"]:
        check_round(heard, HEARD)
    # An RRM scan hears the lowest channel of each radio, and the power of its neighbours.
    report = await link.skip_to("rrm-response")
    check(report["radios"][0]["power"] == 12, "power:", report["radios"])
    check(len(report["rf-environment"]) == 1, "rounds:", report["rf-environment"])
    check_round(report["rf-environment"][0], {
        "06:aa:00:00:00:01": {**HEARD["06:aa:00:00:00:01"], "tx-power": 17},
        "06:aa:00:00:00:03": {**HEARD["06:aa:00:00:00:03"], "tx-power": 20}})
    await link.next("rrm-mode-response")


def check_round(heard, expected):
    """Every neighbour once, with a signal that moves."""
    same(sorted(bss["bssid"] for bss in heard), sorted(expected))
    for bss in heard:
        check(-85 < bss["rssi"] < -35, "rssi:", bss)
        same(bss, {"bssid": bss["bssid"], "rssi": bss["rssi"], **expected[bss["bssid"]]})


def examples():
    """The service's examples of docs/protocol.md, by name. The page speaks of another access point."""
    with open(PAGE, encoding="utf-8") as file:
        page = file.read()
    found = {}
    for name, text in re.findall(r"<!-- message: (\S+) service -->\n```json\n(.*?)```", page, re.DOTALL):
        found[name] = {**json.loads(text), "ap-mac": BASE_MAC}
        check(found[name]["cmd"] == name, "another name:", name)
    table = page[page.index("| To the agent |"):]
    named = set(re.findall(r"`([a-z-]+)`", "".join(re.findall(r"^\| (`.*?) \|", table[:table.index("\n\n")], re.MULTILINE))))
    check(named == set(found), "the table names", named, "but there are examples of", set(found))
    return found


async def examples_of_the_page(session):
    """Sent as they stand there: each does what the page says. Then what the agent tells of a client."""
    example = examples()
    session.office["radios"][0]["vaps"][0]["ft"] = True
    session.office["radios"][0]["vaps"][1] = {"ssid": "guests", "kv": True}
    link, ap = await session.start(), session.ap
    await link.next("subscribe-request")

    await link.send(example.pop("subscribe-response"))
    await link.send(example.pop("rrm-request-mode"))
    answer = await link.next("rrm-mode-response")
    check(session.daemon.marker() and answer["domain"] == "building-3", "not subscribed:", answer)
    check("assoclist" in answer["radios"][0], "802.11v is off")

    # Two channels and powers, the roam timeout and the neighbours of radio 0; nothing of 802.11r.
    info = example.pop("rrm-info")
    await link.send(info)
    changed = await link.skip_to("rrm-config-changed", lambda told: told["radios"][1]["power"] == 18 and
                                 told["radios"][1]["bandwidth"] == 40)
    same([[radio[key] for key in ("channel", "bandwidth", "primary-channel", "power")] for radio in changed["radios"]],
         [[11, 20, "none", 14], [40, 40, "upper", 18]])
    await ap.line("wlan0: MIB roam_attempt_timeout=30")
    for vap, bssid in (("wlan0-va0", "00:1a:2b:3c:5e:61"), ("wlan0-va1", "00:1a:2b:3c:5e:62")):
        same(await ap.neighbours(vap, "standard"), [(bssid, 6)])

    # The two weakest that support 802.11v.
    mark = ap.mark()
    await link.send(example.pop("rrm-sta-overload"))
    for station in ("03", "01"):
        await ap.line(f"station 06:00:00:00:00:{station} asked to roam", mark)
    same(await ap.neighbours("wlan0-va0", "custom"), [("00:1a:2b:3c:5e:61", 11)])

    # For a VAP of the second radio; without 802.11r the same message takes it back.
    fbt = example.pop("fbt-info")
    for switch, effect in ((1, "wlan1-va0: fast transition, mobility domain 4660, 1 remote key holders"),
                           (0, "fast-transition settings of the service dropped")):
        mark = ap.mark()
        await link.send({**info, "use-80211r": switch})
        await link.send(fbt)
        await ap.line(effect, mark)

    await link.alive()
    await link.send(example.pop("rrm-update"))
    report = await link.skip_to("rrm-response", seconds=60)
    same(sorted({bss["channel"] for heard in report["rf-environment"] for bss in heard}), [6, 11, 36])

    # The others have no effect.
    await asyncio.sleep(1)
    await link.alive()
    mark = ap.mark()
    for nothing in ("rrm-blacklist", "rrm-probe-request", "rrm-disassoc-request", "rrm-client-assoc-ack"):
        await link.send(example.pop(nothing))
    await link.silent(0.5)
    check(not any("porterd" in line or "scan" in line for line in ap.lines[mark:]), ap.lines[mark:])
    check(not example, "not tried:", example)

    client = {"radio": 1, "sta_mac": "06:00:00:00:00:05", "ssid": "office"}
    await ap.tell("station join 06:00:00:00:00:05 wlan1-va0 -61 no-v")
    told = await link.next("rrm-client-assoc")
    same(told, own("rrm-client-assoc", "building-3", radio=1, sta_mac=client["sta_mac"], rssi=-61, ssid="office",
                   no_balance=1))
    await ap.tell("station leave 06:00:00:00:00:05 recv-deauth")
    same(await link.next("rrm-client-disassoc"), own("rrm-client-disassoc", "building-3", **client))
    # What the service set goes with its link.
    mark = ap.mark()
    link.abort()
    for radio in (0, 1):
        await ap.line(f"porterd: wlan{radio}: settings of the service dropped", mark)
    request = await session.accept(await session.service.link())
    same([request["domain"], request["radios"][0]["channel"]], ["building-3", 6])


async def the_example_service_moves_a_radio(session):
    example = os.path.join(os.path.dirname(PAGE), "example_service.py")
    port = free_port()
    service = await Place.start(session, [sys.executable, "-B", example, str(port)])
    await service.line("listening")
    await session.ap.begin(session.office, "--speed", "1000")
    await session.daemon.begin(port)
    await service.line("radio 0: channel 6 -> 1$", seconds=90)
    await service.line("radio 0 is on 1: good", seconds=60)
    await session.daemon.stop()
    await service.line("is gone")


STORIES = [subscribes_describes_itself_and_leaves, scans_and_what_waits_for_them, examples_of_the_page,
           the_example_service_moves_a_radio]
