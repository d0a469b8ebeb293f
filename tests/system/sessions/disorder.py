"""Everything at once, in an order that a seed decides (RAVD_SEED=N repeats one): afterwards all is as ever."""
import asyncio
import os
import random
import time

from bus import Peer, event
from programs import check, until
from scans import scan
from service import accept, message
from settings import ft_entry, neighbour

SECONDS = 12


async def orders(session, dice):
    """One order of the service over the newest link; a link that has gone counts for nothing."""
    choices = [scan(dice.choice(["6 36", "1", "11 40"]), dice.choice([0, 0, 1, 2]), dice.choice([0, 0, 1])),
               message("rrm-request-mode"),
               message("rrm-info", use_tpc=1, use_dca=1, use_80211v=dice.choice([0, 1]), use_80211r=dice.choice([0, 1]),
                       radios=[{"id": dice.randrange(3), "channel": dice.choice([1, 6, 11, 36, 40]),
                                "power": dice.randrange(8, 21)}],
                       **{"802dot11k": [neighbour(n, 6, n, ("office", f"02:00:5e:77:00:{n:02}")) for n in range(1, 4)]}),
               message("rrm-sta-overload", radios=[{"id": 0, "roam-count": 1}]),
               message("fbt-info", vaps=[ft_entry(0, 0), ft_entry(0, 1)]),
               accept(domain=dice.choice("ab")), message("subscribe-response", status="failure", code=503),
               message("subscribe-response", status="failure", code=404)]
    if session.service.links:
        await session.service.links[-1].send(dice.choice(choices))


async def events(session, dice):
    async with Peer(session) as peer:
        for _ in range(dice.randrange(1, 5)):
            peer.send(event(dice.choice(["auth", "reassoc", "80211v-roam"])))


async def accidents(session, dice):
    what = dice.choice(["hostapd restart 50", "hostapd restart 400", "hostapd stop", "hostapd start", "abort", "abort",
                        "notify config_updated", "notify hostapd_started", "radio 0 down", "radio 0 up",
                        "fault config hang times 1", "fault porterd garbage times 1", "fault any fail EIO times 3",
                        "fault config dead", "fault clear", "config set /interface/wlan0/wlan/radio/channel 6"])
    if what != "abort":
        try:
            await session.ap.tell(what)
        except AssertionError:
            pass  # "hostapd runs already" and the like
    elif session.service.links:
        session.service.links[-1].abort()


async def answer_requests(session):
    """Accepts every subscription of every link, until it is cancelled."""
    seen = 0
    while True:
        for link in session.service.links[seen:]:
            seen += 1
            await link.send(accept(config={"use-80211v": 1}))
        await asyncio.sleep(0.3)


def disorder(number):
    async def story(session):
        seed = int(os.environ.get("RAVD_SEED", number))
        session.notes.append(f"seed {seed}")
        dice = random.Random(seed)
        await session.start()
        answering = asyncio.create_task(answer_requests(session))
        end = time.monotonic() + SECONDS
        while time.monotonic() < end:
            try:
                await dice.choice([orders, orders, events, accidents])(session, dice)
            except (OSError, asyncio.TimeoutError):
                pass
            except Exception as fault:  # the link or the bus has just gone
                check("Closed" in type(fault).__name__, "unexpected:", repr(fault))
            check(session.daemon.runs(), "the daemon ended")
            await asyncio.sleep(dice.choice([0, 0.02, 0.1, 0.5]))
        answering.cancel()
        await restored(session)
    story.__name__ = f"disorder_{number}"
    return story


async def restored(session):
    """Peace: a new link, a subscription, an answer, a scan."""
    for command in ("fault clear", "radio 0 up", "hostapd stop", "hostapd start"):
        try:
            await session.ap.tell(command)
        except AssertionError:
            pass
    marks = len(session.service.links)
    if marks and not session.service.links[-1].socket.closed:
        session.service.links[-1].abort()
    await until(lambda: len(session.service.links) > marks, "a new link", 30)
    link = session.service.links[-1]
    await link.skip_to("subscribe-request", seconds=40)
    await link.send(accept(domain="peace"))
    await link.send(message("rrm-request-mode"))
    answer = await link.skip_to("rrm-mode-response", lambda told: told["domain"] == "peace")
    check([radio["status"] for radio in answer["radios"]] == [1, 1], "radios:", answer["radios"])
    await link.send(scan("1 40"))
    await link.skip_to("rrm-response", seconds=30)
    check(session.daemon.marker(), "no marker")


async def slow_reader(session):
    """A service that does not read: what waits for it is bounded, and what it reads later is whole and in order."""
    link = await session.subscribed(domain="d" * (1 << 20))
    transport = link.socket.transport
    transport.pause_reading()
    for number in range(60):
        await link.send(accept(domain=f"{number:03}" + "d" * (1 << 20)))
        await link.send(message("rrm-request-mode"))
    await asyncio.sleep(14)
    peak = session.daemon.memory_mb("VmHWM")
    session.notes.append(f"peak {peak:.0f} MB")
    transport.resume_reading()
    await link.send(accept(domain="short"))
    await link.send(message("rrm-request-mode"))
    numbers = []
    while True:
        domain = (await link.next("rrm-mode-response"))["domain"]
        if domain == "short":
            break
        numbers.append(int(domain[:3]))
    check(numbers == sorted(numbers) and len(numbers) > 10, "order:", numbers)
    await link.alive()


SESSIONS = [disorder(1), disorder(2), disorder(3), slow_reader]
