"""Scan orders: rounds, delays, and what waits meanwhile."""
import asyncio
import time

from programs import check
from service import message, same

HEARD = {"06:aa:00:00:00:01": {"channel": 6, "tx-power": 0, "primary-channel": "none", "bandwidth": 20},
         "06:aa:00:00:00:03": {"channel": 36, "tx-power": 0, "primary-channel": "ll", "bandwidth": 80}}


def scan(channels="6 36", delay=0, rrm=0):
    return message("rrm-update", rrm_scan_channels=channels, rrm_scan_delay=delay, quarn_rrm_scanning=rrm)


def check_round(heard, expected):
    """Every neighbour once, with a signal that moves."""
    same(sorted(bss["bssid"] for bss in heard), sorted(expected))
    for bss in heard:
        check(-85 < bss["rssi"] < -35, "rssi:", bss)
        same(bss, {"bssid": bss["bssid"], "rssi": bss["rssi"], **expected[bss["bssid"]]})


async def five_rounds_and_deferred_messages(session):
    link = await session.subscribed(config={"use-dca": 1, "use-tpc": 1})
    began = time.monotonic()
    await link.send(scan())
    await session.ap.line("active scan no. 1,")
    # All of this waits, in its order; pings do not.
    await link.send(message("rrm-request-mode"))
    await link.send(message("rrm-info", use_tpc=1, radios=[{"id": 0, "power": 12}]))
    await link.send(message("rrm-request-mode"))
    await link.send(scan("11 40"))
    await link.send(message("rrm-request-mode"))
    await asyncio.wait_for(await link.socket.ping(), 5)
    await asyncio.sleep(0.5)
    check((await session.ap.radio(0))["power"] == 16, "the power was set during the scan")

    report = await link.next("rrm-response")
    check(4 < time.monotonic() - began < 20, "five rounds took", time.monotonic() - began)
    check(list(report)[4:] == ["domain", "radios", "rf-environment"], "members:", list(report))
    check([radio["power"] for radio in report["radios"]] == [16, 18], "radios:", report["radios"])
    check(len(report["rf-environment"]) == 5, "rounds:", report["rf-environment"])
    for heard in report["rf-environment"]:
        check_round(heard, HEARD)
    check((await link.next("rrm-mode-response"))["radios"][0]["power"] == 16, "the first question came second")
    # The order took effect before the question behind it; its notification may come on either side.
    answer = await link.skip_to("rrm-mode-response", seconds=20)
    check(answer["radios"][0]["power"] == 12, "power:", answer["radios"])
    report = await link.skip_to("rrm-response")
    for heard in report["rf-environment"]:
        check_round(heard, {"06:aa:00:00:00:02": {"channel": 11, "tx-power": 0, "primary-channel": "none",
                                                  "bandwidth": 20}})
    await link.next("rrm-mode-response")
    await link.silent(0.5)


async def one_round_with_delays(session):
    """Delay before, one round of 6 s, delay behind; an order in the second delay leaves the report due.

    Delays count whole seconds of the clock, so each may be up to a second shorter.
    """
    link = await session.subscribed()
    began = time.monotonic()
    await link.send(scan("6 11 36", delay=2, rrm=1))
    await link.mode()  # no scan yet, so nothing waits
    await session.ap.line("wlan1: RRM scan no. 1, channel 36")
    check(time.monotonic() - began > 0.9, "the delay before the scan was", time.monotonic() - began)
    await link.send(message("rrm-request-mode"))
    # Answered when the scan ends, and so before the report: its second delay runs.
    await link.next("rrm-mode-response")
    check(time.monotonic() - began > 6, "the scan took", time.monotonic() - began)
    await link.send(scan("11", delay=600, rrm=0))  # replaces timers 0 and 1, not the report
    report = await link.next("rrm-response")
    check(time.monotonic() - began > 7, "the delay of the report was", time.monotonic() - began)
    # An RRM scan hears the lowest channel of each radio, and the power of its neighbours.
    check(len(report["rf-environment"]) == 1, "rounds:", report["rf-environment"])
    check_round(report["rf-environment"][0], {
        "06:aa:00:00:00:01": {"channel": 6, "tx-power": 17, "primary-channel": "none", "bandwidth": 20},
        "06:aa:00:00:00:03": {"channel": 36, "tx-power": 20, "primary-channel": "ll", "bandwidth": 80}})
    check(not any("active scan" in line for line in session.ap.lines), "the order of the second delay started already")


async def new_order_replaces_a_waiting_one(session):
    link = await session.subscribed()
    await link.send(scan("6 36", delay=2))
    await link.mode()
    await link.send(scan("11 40", delay=0))  # the other one never starts
    report = await link.next("rrm-response")
    check(all(bss["channel"] == 11 for heard in report["rf-environment"] for bss in heard), "heard:", report)
    await link.silent(3)


async def hostapd_stop_ends_a_scan(session):
    link = await session.subscribed()
    await link.send(scan())
    await session.ap.line("active scan no. 1,")
    await link.send(message("rrm-request-mode"))
    await session.restart_hostapd(link)
    await link.next("rrm-config-changed")  # and what waited is handled, since no scan runs
    await link.next("rrm-mode-response")
    await link.silent(2)
    await link.send(scan("1 40"))
    same((await link.next("rrm-response"))["rf-environment"], [])


SESSIONS = [five_rounds_and_deferred_messages, one_round_with_delays, new_order_replaces_a_waiting_one,
            hostapd_stop_ends_a_scan]
