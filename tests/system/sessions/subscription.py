"""Subscribing, being refused, and what the agent tells about its radios."""
import asyncio
import json
import os

from programs import check, until
from service import FACTORY, accept, message, same

VAPS_0 = [{"id": 0, "ssid": "office", "mac": "02:00:5e:11:00:11", "802dot11k": 1, "802dot11r": 0},
          {"id": 1, "ssid": "guest/1", "mac": "02:00:5e:11:00:12", "802dot11k": 0, "802dot11r": 0}]
VAPS_1 = [{"id": 0, "ssid": "office", "mac": "02:00:5e:11:00:19", "802dot11k": 1, "802dot11r": 1}]


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


def own(cmd, domain, **members):
    """A message of the agent."""
    return {**message(cmd), "domain": domain, **{name.replace("_", "-"): value for name, value in members.items()}}


async def subscribes_and_describes_radios(session):
    link = await session.start()
    request = still(await link.next("subscribe-request"))
    same(request, own("subscribe-request", "lab", ap_mac_count=16, use_wildcard_80211r=0, factory=FACTORY,
                      radios=radios(clients=True)))
    check(not session.daemon.marker(), "the marker is there before the subscription")
    await link.send(accept(domain="plant \u00e9/7", config={"use-tpc": 1, "use-dca": 1, "use-80211v": 0}))
    same(await link.mode(), own("rrm-mode-response", "plant \u00e9/7", radios=radios(clients=False)))
    check(session.daemon.marker(), "no marker after the subscription")

    await link.send(message("rrm-info", use_80211v=1))
    same(still(await link.mode()), own("rrm-mode-response", "plant \u00e9/7", radios=radios(clients=True)))
    session.touch("_config_updated", "")
    same(still(await link.next("rrm-config-changed")),
         own("rrm-config-changed", "plant \u00e9/7", radios=radios(clients=True)))

    # A switch counts at once, a radio that went down when hostapd starts the next time.
    await session.ap.tell("config set /corvane/tpc false")
    await link.next("rrm-config-changed")
    await session.ap.tell("radio 1 down")
    same(await session.restart_hostapd(link), own("rrm-disassoc-all-clients", "plant \u00e9/7", factory=FACTORY))
    first, second = (await link.skip_to("rrm-config-changed"))["radios"]
    check((first["locked-for-tpc"], first["locked-for-dca"]) == (1, 0), "locks:", first)
    same(second, {"id": 1, "status": 0, "mac-offset": 8, "radio-mac-count": 8, "locked-for-dca": 1,
                  "locked-for-tpc": 1, "locked-for-balancer": 1, "locked-for-80211v": 1, "power": 16, "power-max": 16,
                  "power-min": 11, "channel": 36, "band": 5, "bandwidth": 80, "primary-channel": "none"})

    # Without effect, and without an answer. (No 802.11v any more: clients that return are not told about.)
    await link.send(message("rrm-info"))
    await link.alive()
    for cmd in ("rrm-blacklist", "rrm-probe-request", "rrm-disassoc-request", "rrm-client-assoc-ack", "unknown"):
        await link.send(message(cmd))
    await link.send({"version": "3.0", "service": "rrm", "cmd": "rrm-request-mode"})
    await link.next("rrm-mode-response")
    text = json.dumps(message("rrm-request-mode"))
    await link.socket.send([text[:1], text[1:40], "", text[40:]])  # in fragments
    await link.next("rrm-mode-response")


async def refused_as_busy_asks_later(session):
    """The next request is due after a minute (see patience.py): here only that nothing comes before."""
    link = await session.start()
    await link.next("subscribe-request")
    await link.send(message("subscribe-response", status="failure", code=503))
    await link.silent(5)
    check(not session.daemon.marker(), "a marker without a subscription")
    await link.mode()  # alive, and answers without a subscription
    await session.ap.tell("hostapd restart 300")  # asks at once when hostapd starts anew
    await session.accept(link)
    check(session.daemon.marker(), "no marker")


async def refused_for_good_stays_silent(session):
    link = await session.start()
    await link.next("subscribe-request")
    await link.send(message("subscribe-response", status="failure", code=403))
    await link.mode()
    await session.ap.tell("hostapd restart 300")
    await link.silent(3)
    link.abort()
    await session.accept(await session.service.link())


async def old_service_is_left_for_good(session):
    """Each version is too old, or none: a last message, the end of the link, and no further one."""
    first = True
    for version in ({"version": "2.3"}, {"version": "2"}, {"version": None}, {}):
        if first:
            link = await session.subscribed(domain="plant")
            first = False
        else:
            await session.ap.tell("notify hostapd_started")  # a daemon that starts later is told again
            await session.daemon.begin(session.service.port)
            link = await session.service.link()
            await session.accept(link, domain="plant")
        check(session.daemon.marker(), "no marker")
        await link.send({**version, "service": "rrm", "cmd": "rrm-request-mode"})
        same(await link.next("unsubscribe-request"), own("unsubscribe-request", "plant", factory=FACTORY))
        await link.closed()
        await until(lambda: not session.daemon.marker(), "the marker goes")
        links = len(session.service.links)
        await asyncio.sleep(5 if "version" not in version else 0.3)
        check(session.daemon.runs() and len(session.service.links) == links, "it connected again after", version)
        await session.daemon.stop(limit=3)
        check(not os.path.exists(session.device("/run/ravd-bus/31.sock")), "it left a socket behind")


SESSIONS = [subscribes_and_describes_radios, refused_as_busy_asks_later, refused_for_good_stays_silent,
            old_service_is_left_for_good]
