"""A device whose neighbours on the bus, files and driver misbehave."""
import asyncio
import os
import struct
import time

import programs
from bus import Peer, event, frame
from hostile_service import ABSENT, WRONG, changed, places, within_memory
from programs import check, until
from service import FACTORY, accept, message, same
from subscription import own


def wrong_events(kind):
    async def story(session):
        link = await session.subscribed(config={"use-80211v": 1})
        original = event(kind)
        async with Peer(session) as peer:
            for path in places(original):
                for value in [ABSENT] + WRONG:
                    peer.send(changed(original, path, value))
            peer.send(event("auth", mac="last"))
        # Each message on the way is held against the protocol.
        await link.skip_to("rrm-client-assoc", lambda told: told.get("sta-mac") == "last", seconds=60)
        await link.alive()
        within_memory(session, 64)
    story.__name__ = "wrong_events_" + kind.replace("-", "_")
    return story


async def odd_events(session):
    """What is told of them: what they lack is left out, what cannot be read is marked."""
    link = await session.subscribed(config={"use-80211v": 1})
    async with Peer(session) as peer:
        for text in (b"", b"\0", b"null", b"[]", b"{}", b"\xff" * 1000, b"[" * 100000, b'{"command":"wifi-client-trap"}',
                     b'{"command":"wifi-client-trap","event":{}}', b'{"service":"internal-ipc","cmd":"unlink"}',
                     b"x" * 1000000):
            peer.send(text)
        peer.send({"command": "wifi-client-trap", "event": {"type": "auth"}})
        same(await link.next("rrm-client-assoc"), own("rrm-client-assoc", "lab", rssi=0, no_balance=1))
        peer.send({"command": "wifi-client-trap", "event": {"type": "80211v-roam", "dev": "wlan0"}})
        same(await link.next("rrm-sta-roam"), own("rrm-sta-roam", "lab"))
        peer.send(b'{"command":"wifi-client-trap","event":{"type":"reassoc","dev":"wlan1-va6","ssid":"caf\xe9 \xc3\xa9"}}')
        same(await link.next("rrm-client-disassoc"), own("rrm-client-disassoc", "lab", radio=1, ssid="caf\ufffd \u00e9"))
        peer.send(event("auth", dev="wlan0-va0; reboot", ssid="S" * 100000))
        check(len((await link.next("rrm-client-assoc"))["ssid"]) == 100000, "the SSID was cut")


async def broken_bus(session):
    """Frames that end their connection, connections that stay silent, and more of them than there is room for."""
    link = await session.subscribed(config={"use-80211v": 1})
    header = struct.pack("<IIBI4s", 50, 0xFFFFFFFF, 0, 31, b"RVB1")
    for raw in (b"GET / HTTP/1.1\r\n\r\n" * 10, frame(1) * 3, frame(0, b"{}", destination=6), frame(7, b"{}"), header,
                frame(0, b"{}", magic=b"RVB2"), frame(1, b"payload"), frame(0, b"{}", source=0xFFFFFFFF),
                struct.pack("<IIBI4s", 50, 16 << 20, 0, 31, b"RVB1") + b"{", os.urandom(100000)):
        async with Peer(session) as peer:
            peer.writer.write(raw)
    idle = []
    for _ in range(200):
        peer = Peer(session)
        try:
            await peer.__aenter__()
        except OSError:
            continue  # no room in the queue of the socket
        idle.append(peer)
    await asyncio.sleep(0.5)
    await link.alive()
    for peer in idle:
        peer.writer.close()
    await asyncio.sleep(0.5)
    async with Peer(session) as peer:
        peer.send(event("auth"))
        await link.next("rrm-client-assoc")
    within_memory(session, 64)


async def flood_of_events(session):
    """Ten thousand a second for three seconds. About ten a second are worked on; the service is not kept waiting."""
    link = await session.subscribed(config={"use-80211v": 1})
    text = event("auth")
    start = time.monotonic()
    async with Peer(session) as peer:
        for turn in range(30):
            began = time.monotonic()
            for _ in range(1000):
                peer.send(text)
            await peer.writer.drain()
            if turn % 10 == 5:
                await link.alive()
            await asyncio.sleep(max(0.0, 0.1 - (time.monotonic() - began)))
    check(time.monotonic() - start < 20, "the bus took only 30000 events in", time.monotonic() - start)
    for _ in range(5):
        began = time.monotonic()
        await link.alive()
        check(time.monotonic() - began < 5, "an answer took", time.monotonic() - began)
    now = session.daemon.memory_mb("VmRSS")
    check(programs.SANITIZED or now < 64, f"the daemon takes {now:.0f} MB")
    within_memory(session, 64)
    await session.daemon.stop(limit=3)


def victim(session):
    path = session.device("/victim")
    with open(path, "w", encoding="utf-8") as file:
        file.write("precious")
    return path


def intact(path):
    with open(path, encoding="utf-8") as file:
        return file.read() == "precious"


async def files_that_are_none(session):
    """Links and directories in the place of the files that the agent takes and leaves."""
    tmp = session.device("/tmp/")
    os.makedirs(tmp)
    path = victim(session)
    marker = tmp + ".corvane-connected"
    os.symlink(path, marker)
    link = await session.subscribed()
    check(intact(path) and not os.path.islink(marker) and os.path.isfile(marker), "the marker went through a link")
    os.remove(marker)
    os.symlink(path, marker)
    await link.send(accept())
    await link.mode()
    check(intact(path) and not os.path.islink(marker) and os.path.isfile(marker), "the marker went through a link")
    os.remove(marker)
    os.mkdir(marker)
    await link.send(accept())
    await link.mode()

    # Links count as notifications, and go themselves; directories do not count.
    os.symlink(path, tmp + ".corvane_notify_config_updated")
    os.symlink(path, tmp + ".corvane_notify")
    await link.next("rrm-config-changed")
    check(intact(path) and not os.path.islink(tmp + ".corvane_notify"), "the link or its file")
    os.mkdir(tmp + ".corvane_notify_config_updated")
    session.touch("")
    await until(lambda: not os.path.exists(tmp + ".corvane_notify"), "the notification is taken")
    await link.silent(0.5)
    os.mkdir(tmp + ".corvane_notify")
    session.touch("_hostapd_started", "_timezone_changed")
    await link.silent(0.5)
    await link.mode()
    os.rmdir(tmp + ".corvane_notify")
    session.touch("")
    await link.next("rrm-config-changed")  # hostapd was started
    os.rmdir(marker)
    os.symlink("/nowhere/at/all", marker)
    await session.daemon.stop(limit=3)
    check(not os.path.lexists(marker), "the marker stays behind")


async def pid_file_flickers(session):
    link = await session.subscribed()
    path = session.device("/var/run/hostapd.pid")
    for _ in range(30):
        os.remove(path)
        await asyncio.sleep(0.05)
        with open(path, "w", encoding="utf-8"):
            pass
        await asyncio.sleep(0.05)
    same(await link.next("rrm-disassoc-all-clients"), own("rrm-disassoc-all-clients", "lab", factory=FACTORY))
    await link.silent(0.5)  # told once
    await session.ap.tell("notify hostapd_started")
    await link.next("rrm-config-changed")
    # The same with the notification of a start each time, the last one after the last change.
    for _ in range(30):
        os.remove(path)
        await asyncio.sleep(0.05)
        with open(path, "w", encoding="utf-8"):
            pass
        session.touch("_hostapd_started", "")
        await asyncio.sleep(0.05)
    await link.skip_to("rrm-config-changed")
    await asyncio.sleep(1)
    await link.alive()


async def lying_driver(session):
    """Counts and lengths that are not true, errors, and no sense at all."""
    link = await session.subscribed(config={"use-80211v": 1})
    for fault in ("any garbage", "stations count 4294967295", "channels count 65535", "get-mib length 65535",
                  "get-mib length 0", "any fail EIO", "set-mib fail EPERM", "any late 300"):
        await session.ap.tell("fault " + fault)
        await link.send(message("rrm-info", use_80211v=1, radios=[{"id": 0, "quarn-roam-attempt-timeout": 5}]))
        await link.send(message("rrm-sta-overload", radios=[{"id": 0, "roam-count": 3}]))
        await session.ap.tell("notify config_updated")
        await link.skip_to("rrm-config-changed", seconds=30)
        await link.alive(30)
        await session.ap.tell("fault clear")
    await session.ap.tell("fault results count 4294967295")
    await link.send(message("rrm-update", rrm_scan_channels="1 40"))
    await link.skip_to("rrm-response")
    await session.ap.tell("fault clear")
    # A call that never returns: the watchdog would end the process later, SIGTERM does so in time.
    await session.ap.tell("fault stations hang")
    await link.send(message("rrm-request-mode"))
    await asyncio.sleep(0.5)
    session.notes.append(f"status {await session.daemon.stop_somehow(3)} after a stop in a hanging call")


SESSIONS = [wrong_events("auth"), wrong_events("reassoc"), wrong_events("80211v-roam"), odd_events, broken_bus,
            flood_of_events, files_that_are_none, pid_file_flickers, lying_driver]
