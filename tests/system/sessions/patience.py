"""What takes a minute: the second request after a refusal, and a hostapd that stays away for longer than it may."""
import asyncio
import time

from programs import check
from service import FACTORY, accept, message, same
from subscription import own


async def refused_as_busy_asks_again(session):
    """Twice the first distance of 30 s; delays count whole seconds of the clock."""
    link = await session.start()
    await link.next("subscribe-request")
    await link.send(message("subscribe-response", status="failure", code=503))
    began = time.monotonic()
    await link.next("subscribe-request", 70)
    check(time.monotonic() - began > 58.5, "asked again after", time.monotonic() - began)
    await link.send(accept())
    await link.alive()
    check(session.daemon.marker() and len(session.service.links) == 1, "not subscribed over the same link")


async def hostapd_stays_away(session):
    """Its settings are taken back after a minute; the subscription lives, and with a new start all goes on."""
    link = await session.subscribed(config={"use-80211v": 1, "use-80211r": 1})
    await link.send(message("rrm-info", use_dca=1, use_80211v=1, radios=[{"id": 0, "channel": 11}]))
    await link.skip_to("rrm-config-changed", lambda told: told["radios"][0]["channel"] == 11)
    await link.alive()
    mark = session.ap.mark()
    await session.ap.tell("hostapd stop")
    began = time.monotonic()
    same(await link.next("rrm-disassoc-all-clients"), own("rrm-disassoc-all-clients", "lab", factory=FACTORY))
    await session.ap.line("porterd: wlan0: settings of the service dropped", mark, 80)
    check(time.monotonic() - began > 59, "given up after", time.monotonic() - began)
    same((await session.ap.radio(0))["channel"], 6)
    await asyncio.wait_for(await link.socket.ping(), 5)
    await session.ap.tell("hostapd start")
    changed = await link.skip_to("rrm-config-changed", seconds=30)
    same(changed["radios"][0]["channel"], 6)
    await link.alive()
    check(session.daemon.marker() and len(session.service.links) == 1, "the subscription is gone")


SESSIONS = [refused_as_busy_asks_again, hostapd_stays_away]
