"""What the soak does to a world: accidents, of which it has to recover, and drills, of which each outcome is known."""
import asyncio
import copy
import os
import signal
import time

from lab.bus import Peer, frame
from lab.orders import accept, event, holders, message, neighbour, scan
from lab.processes import PATIENCE, Wrong, check, until

MEGABYTE = 1 << 20
LATE_S = 120  # until an order shows that came behind all that accidents left
SILENCE_S = 180  # until a link on which nothing comes back is given up, and the next one is there
ABSENT = object()
WRONG = [ABSENT, None, True, -1, 0, 2**31, -2**63, 2**80, 1e300, "", "-1", "%s%n" * 100, "\0", "\ud800", "A" * 70000,
         [[]], {"id": {"id": 1}}]
LISTS = {"802dot11k": [neighbour(n, 6, n, ("office", f"02:00:5e:77:00:{n:02}")) for n in range(1, 4)]}
INFO = message("rrm-info", use_tpc=1, use_dca=1, use_80211v=1, use_80211r=1, radios=[
    {"id": 0, "channel": 6, "bandwidth": 20, "power": 16, "quarn-roam-attempt-timeout": 30, "primary-channel": "lower"}],
    **LISTS)
OVERLOAD = message("rrm-sta-overload", radios=[{"id": 0, "roam-count": 1}], **LISTS)
FBT = message("fbt-info", fbt_reassoc_deadline=1000, fbt_over_ds=1, vaps=[holders(0, 0), holders(0, 1)])
GARBAGE = ["", "null", '"text"', "[{}]", "{", '{"a":', "\0", "[" * 10000, '{"a":' * 10000 + "1" + "}" * 10000, "/*" * 5000,
           "'" * 9999, '{"a":"\\ud800\\udc"}', '{"service":"rrm","cmd":null}', '{"service":{"rrm":1},"cmd":["x"]}',
           '{"command":7,"event":{}}', '{"service":"internal-ipc"}', '{"service":"internal-ipc","cmd":"disconnected"}',
           '{"service":"internal-ipc","cmd":"unlink"}', "NaN", "1e999999", "9" * 100000, "[" + " " * 4 * MEGABYTE + "]",
           "{}," * MEGABYTE, "[" + "1," * MEGABYTE, '{"a":"' + "x" * 9 * MEGABYTE + '"}']
FRAMES = [b"\xf1\x02{}", b"\x83\x02{}", b"\x80\x02{}", b"\x81\x82abcd\x1a\x1f", b"\x09\x00", b"\x89\x7e\x00\x80" + b"x" * 128,
          b"\x01\x01{\x81\x02{}", b"\x8a\x7d" + b"x" * 125, b"\x88\x01\x03", b"\x88\x7d" + b"\xff" * 125,
          b"\x81\x04\xff\xfe{}", b"\x81\x7f" + b"\xff" * 8, b"\x01\x05{\"ser"]
FAULTS = ["any garbage", "stations count 4294967295", "channels count 65535", "get-mib length 65535", "get-mib length 0",
          "any fail EIO", "set-mib fail EPERM", "any late 300", "results count 4294967295", "any silent",
          "iwpriv hang times 1", "wpa_cli hang times 1", "iwpriv garbage", "wpa_cli fail", "iwpriv empty"]
NEIGHBOURS = ["config dead", "config hang times 2", "config garbage", "config fail", "config late 500", "porterd dead",
              "porterd hang times 1", "porterd garbage", "porterd fail"]


def places(value, path=()):
    """The paths of all members and elements."""
    items = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ()
    for key, inner in items:
        yield path + (key,)
        yield from places(inner, path + (key,))


def spoiled(world, original):
    """A copy with one place absent or wrong. A version ends the link for good and a domain is the model's: both stay."""
    copied = place = copy.deepcopy(original)
    path = world.dice.choice([path for path in places(original) if path[-1] not in ("version", "domain", "status", "cmd")])
    for key in path[:-1]:
        place = place[key]
    value = world.dice.choice(WRONG)
    if value is ABSENT:
        del place[path[-1]]
    else:
        place[path[-1]] = value
    return copied


async def orders_in_disorder(world):
    dice = world.dice
    for _ in range(dice.randrange(3, 15)):
        await world.order(dice.choice([
            scan(dice.choice(["6 36", "1 44", "11 40"]), dice.choice([0, 0, 1]), dice.choice([0, 0, 1])), OVERLOAD, FBT,
            message("rrm-request-mode"), INFO,
            message("rrm-info", use_tpc=1, use_dca=dice.randrange(2), radios=[
                {"id": dice.randrange(3), "channel": dice.choice([1, 6, 11, 36, 40]), "power": dice.randrange(8, 21)}])]))
        await asyncio.sleep(dice.choice([0, 0, 0.1, 0.5]))


async def spoiled_orders(world):
    for _ in range(60):
        original = world.dice.choice([INFO, OVERLOAD, FBT, accept(config={"use-80211v": 1, "use-80211r": 1})])
        await world.order(spoiled(world, original))
    await world.order({**message("rrm-info"), "use-80211v": 1, "use-80211r": 1})


async def garbage(world):
    for _ in range(8):
        await world.order(world.dice.choice(GARBAGE))


async def broken_frames(world):
    link = world.link
    if world.linked():
        link.socket.transport.write(world.dice.choice(FRAMES))
        await asyncio.sleep(0.3)
        link.abort()  # it may wait for more of it


async def link_ends(world):
    if world.linked():
        if world.dice.randrange(2):
            await world.link.socket.close(1001)
        else:
            world.link.abort()
        await asyncio.sleep(world.dice.choice([0, 0.5, 2]))


async def link_ends_in_a_scan(world):
    """What waits for the scan is void with its link."""
    await world.order(scan("1 36"), message("rrm-request-mode"), scan("6 40"))
    await asyncio.sleep(world.dice.choice([0.1, 1.5]))
    await link_ends(world)


async def service_away(world):
    """Nobody listens, or somebody who is no websocket server."""
    port = world.service.port
    await world.service.stop()

    async def stranger(reader, writer):
        await reader.readline()
        writer.write(world.dice.choice([b"", b"HTTP/1.1 302 Found\r\nLocation: ws://127.0.0.1:1/\r\n\r\n", os.urandom(9999)]))
        writer.close()
    server = await asyncio.start_server(stranger, "127.0.0.1", port) if world.dice.randrange(2) else None
    await asyncio.sleep(world.dice.choice([1, 3, 5]))
    if server:
        server.close()
        await server.wait_closed()
    await world.service.start(port)


async def deaf_service(world):
    """What waits for a service that does not read is bounded."""
    transport = world.link.socket.transport
    transport.pause_reading()
    await world.order(*[message("rrm-request-mode")] * 300)
    await asyncio.sleep(world.dice.choice([1, 4]))
    transport.resume_reading()


async def silent_service(world):
    """The network swallows everything: three pings without an answer end the link."""
    if not world.patient or world.dice.randrange(2):
        return
    link = world.link
    link.socket.transport.pause_reading()
    await until(lambda: world.link is not link, "the agent gives a silent link up", SILENCE_S)
    link.abort()


async def flood_of_orders(world):
    await world.order(*[message("rrm-blacklist")] * 5000, *["[" + " " * MEGABYTE + "]"] * 10)
    await asyncio.wait_for(await world.link.socket.ping(), PATIENCE)


async def client_events(world):
    dice = world.dice
    async with Peer(world) as peer:
        for _ in range(dice.choice([5, 5, 3000])):
            one = event(dice.choice(["auth", "reassoc", "80211v-roam"]))
            peer.send(spoiled(world, one) if dice.randrange(2) else one)
            await peer.writer.drain()


async def broken_bus(world):
    """Frames that end their connection, and connections that stay silent."""
    for raw in (b"GET / HTTP/1.1\r\n\r\n" * 10, frame(1) * 3, frame(7, b"{}"), frame(0, b"{}", magic=b"RVB2"),
                frame(0, b"{}", source=0xFFFFFFFF), os.urandom(100000), frame(0, b"\xff" * 1000), frame(0, b"[" * 100000)):
        async with Peer(world) as peer:
            peer.writer.write(raw)
    silent = [Peer(world) for _ in range(40)]
    for peer in silent:
        await peer.__aenter__()
    await asyncio.sleep(1)
    for peer in silent:
        peer.writer.close()


async def hostapd_away(world):
    await world.tell("hostapd stop")
    await world.order(message("rrm-info", use_dca=1, radios=[{"id": 0, "channel": 11}]), scan())
    await asyncio.sleep(world.dice.choice([0.05, 0.4, 3]))
    await world.tell("hostapd start")


async def hostapd_flickers(world):
    path = world.path("/var/run/hostapd.pid")
    for _ in range(20):
        os.rename(path, path + ".aside")
        await asyncio.sleep(0.03)
        os.rename(path + ".aside", path)
        await world.tell(world.dice.choice(["notify hostapd_started", "notify config_updated"]))


async def radio_down(world):
    radio = world.dice.randrange(2)
    await world.tell(f"radio {radio} down", "notify hostapd_started")
    await world.order(scan("1 36"), INFO)
    await asyncio.sleep(1)
    await world.tell(f"radio {radio} up")


async def stations_move(world):
    for _ in range(20):
        mac = f"06:00:00:00:00:{world.dice.randrange(1, 9):02x}"
        await world.tell(world.dice.choice([f"station join {mac} wlan0-va0 -61", f"station leave {mac}",
                                            f"station roam {mac} 02:00:5e:11:00:19"]))


async def driver_faults(world):
    for fault in world.dice.sample(FAULTS, 3):
        await world.tell("fault " + fault, "notify hostapd_started")
        await world.order(INFO, OVERLOAD, scan("1 36", rrm=world.dice.randrange(2)))
        await asyncio.sleep(1)
        await world.tell("fault clear")


async def neighbour_faults(world):
    for fault in world.dice.sample(NEIGHBOURS, 2):
        await world.tell("fault " + fault, "notify hostapd_started")
        await world.order(INFO, FBT, message("rrm-request-mode"))
        await asyncio.sleep(1)
        await world.tell("fault clear")


async def files_vanish(world):
    names = ["/sys/class/net/wlan0", "/sys/class/net/wlan0-va0", "/sys/class/net/wlan0/flags", "/etc/ravd/factory"]
    for name in names:
        path = world.path(name)
        os.rename(path, path + ".aside")
        if world.dice.randrange(2):
            os.symlink(world.dice.choice(["/dev/zero", "/dev/null", "/dev", "/nowhere"]), path)
        await world.tell("notify hostapd_started")
        await world.order(INFO)
        await asyncio.sleep(0.3)
        if os.path.islink(path):
            os.remove(path)
        os.rename(path + ".aside", path)


async def stopped_for_a_while(world):
    """SIGSTOP for less than the watchdog grants."""
    world.daemon.process.send_signal(signal.SIGSTOP)
    await world.order(message("rrm-request-mode"), INFO)
    await asyncio.sleep(world.dice.choice([0.5, 5]))
    world.daemon.process.send_signal(signal.SIGCONT)


async def ended_and_started_again(world):
    """In whatever it is doing: SIGKILL, or an orderly end within its bound that leaves nothing behind."""
    if world.long_lived:
        return
    await world.order(scan("1 36"), INFO)
    await world.tell(world.dice.choice(["fault config hang", "fault config late 400", "fault iwpriv hang", "fault list"]))
    await asyncio.sleep(world.dice.choice([0, 0.3, 2]))
    if world.dice.randrange(2):
        await world.daemon.kill()
    else:
        await world.daemon.stop(3, world.dice.choice([signal.SIGTERM, signal.SIGINT]))
        check(not world.daemon.marker(), "the marker stays behind")
        left = [name for name in os.listdir(world.path("/run/ravd-bus")) if name in ("28.sock", "31.sock")]
        check(not left, "sockets stay behind:", left)
    await world.tell("fault clear")
    await world.restart()


async def requests_are_answered(world):
    """Each once, and no other."""
    await world.quiet()
    link = world.link
    for count in (1, world.dice.randrange(2, 300)):
        await world.ask(count)
        await asyncio.sleep(0.3)
        check(link.answered == link.asked, link.answered, "answers to", link.asked, "requests")


async def order_until(world, orders, holds, what):
    """Orders until it shows: again over a new link, for a link's end takes its orders along, and every 20 s, for what an
    accident ordered and a scan kept waiting may be carried out behind it."""
    over, again = None, 0

    async def shows():
        nonlocal over, again
        link = world.link
        if over is not link or time.monotonic() > again:
            over, again = link, time.monotonic() + 20
            await world.order(*orders, link=link)
        try:
            return await holds()
        except Wrong:
            if world.fault or not link.socket.closed:
                raise
    await until(shows, what, LATE_S)


async def settings_are_applied(world):
    await world.tell("config set /corvane/dca true", "config set /corvane/tpc true")
    channel, power = world.dice.choice([1, 6, 11]), world.dice.randrange(8, 21)
    wanted = [entry["vaps"][0]["mac"] for entry in LISTS["802dot11k"]]

    async def applied():
        radio = (await world.ask())[0]
        listed = [bssid for bssid, _ in await world.ap.neighbours("wlan0-va0", "standard")]
        return (radio["channel"], radio["power"], listed) == (channel, power, wanted)
    await order_until(world, [message("rrm-info", use_dca=1, use_tpc=1, use_80211v=1, use_80211r=1,
                                      radios=[{"id": 0, "channel": channel, "power": power}], **LISTS)],
                      applied, f"channel {channel}, power {power} and the neighbour list")


async def key_holders_are_given(world):
    mark = world.ap.mark()

    async def given():
        await world.ask()
        return any("wlan0-va0: fast transition, mobility domain" in line for line in world.ap.lines[mark:])
    domain = {"mobility-domain": world.dice.randrange(1, 1 << 16)}
    await order_until(world, [message("rrm-info", use_80211r=1, use_80211v=1),
                              FBT if world.dice.randrange(2) else {**FBT, "vaps": [holders(0, 1)]},
                              message("fbt-info", vaps=[holders(0, 0, **domain)])], given, "key holders")


async def scans_overlap(world):
    """Of two orders each leads to one report, but for a first one that still waits for its time when the next comes."""
    link, dice = world.link, world.dice
    await world.order(scan("1 36"))  # replaces what accidents left waiting
    await world.quiet()
    late = dice.randrange(2)
    await world.order(scan(dice.choice(["6 44", "6 36"]), 6 if late else 0, dice.randrange(2)))
    await asyncio.sleep(dice.choice([0.5, 1.5, 2.5]) if late else dice.choice([1, 3, 7]))
    await world.order(scan("1 40", rrm=dice.randrange(2)))
    due = 1 if late else 2
    await world.reach(lambda: link.reported == link.ordered - 2 + due, f"{due} reports", LATE_S)
    await world.ask(3)
    await asyncio.sleep(2)
    check(link.reported == link.ordered - 2 + due, link.reported - link.ordered + 2, "reports instead of", due)


ACCIDENTS = [orders_in_disorder, spoiled_orders, garbage, broken_frames, link_ends, link_ends_in_a_scan, service_away,
             deaf_service, silent_service, flood_of_orders, client_events, broken_bus, hostapd_away, hostapd_flickers,
             radio_down, stations_move, driver_faults, neighbour_faults, files_vanish, stopped_for_a_while,
             ended_and_started_again]
DRILLS = [requests_are_answered, settings_are_applied, key_holders_are_given, scans_overlap]
