"""hostapd, the link, or the process itself goes away."""
import asyncio
import os
import signal
import time

from programs import PATIENCE, check, until
from scans import scan
from service import FACTORY, message, same
from subscription import own


async def hostapd_comes_back(session):
    """Away for less than the minute that it is given; longer ones have a session of their own."""
    link = await session.subscribed(config={"use-80211v": 1})
    await session.ap.tell("hostapd stop")
    same(await link.next("rrm-disassoc-all-clients"), own("rrm-disassoc-all-clients", "lab", factory=FACTORY))
    # Meanwhile orders are dropped, clients are not told about, and the link stays.
    await link.send(message("rrm-request-mode"))
    await link.send(message("rrm-info", use_dca=1, radios=[{"id": 0, "channel": 11}]))
    await link.send(scan())
    await link.silent(2)
    await asyncio.wait_for(await link.socket.ping(), PATIENCE)
    check(session.daemon.marker(), "the marker went with hostapd")
    await session.ap.tell("hostapd start")
    changed = await link.next("rrm-config-changed")
    check(changed["radios"][0]["channel"] == 6, "an order of the meantime was carried out")
    clients = [(await link.next("rrm-client-assoc"))["sta-mac"] for _ in range(3)]
    same(clients, ["06:00:00:00:00:01", "06:00:00:00:00:02", "06:00:00:00:00:03"])
    await link.mode()


async def link_is_lost_and_comes_back(session):
    link = await session.subscribed(domain="plant")
    await link.send(message("rrm-info", use_dca=1, use_tpc=1, radios=[{"id": 0, "channel": 11},
                                                                       {"id": 1, "power": 20}]))
    await link.skip_to("rrm-config-changed", lambda m: m["radios"][1]["power"] == 20)
    link.abort()
    for radio in (0, 1):
        await session.ap.line(f"porterd: wlan{radio}: settings of the service dropped")
    await until(lambda: not session.daemon.marker(), "the marker goes")
    same([(await session.ap.radio(0))["channel"], (await session.ap.radio(1))["power"]], [6, 18])
    request = await session.accept(await session.service.link())
    check(request["domain"] == "plant" and "assoclist" in request["radios"][0], "second request:", request)
    check(session.daemon.marker(), "no marker after the second subscription")

    # In the middle of a scan, of a message, and with a proper close.
    for end in ("scan", "fragment", "close"):
        link = session.service.links[-1]
        if end == "scan":
            mark = session.ap.mark()
            await link.send(scan("6 36"))
            await session.ap.line("active scan no", mark)
            await link.send(scan("1 40"))  # waits, and is void with its link
            await link.silent(1)
            link.abort()
            await until(lambda: not session.daemon.marker(), "the marker goes")
            mark = session.ap.mark()
        elif end == "fragment":
            link.socket.transport.write(b"\x01\x05{\"ser")
            await asyncio.sleep(0.3)
            link.abort()
        else:
            await link.socket.close(1001)
        link = await session.service.link()
        await session.accept(link)
        await link.silent(0.3)
        check(end != "scan" or not any("active scan" in line for line in session.ap.lines[mark:]),
              "an order of the lost link was carried out")


async def link_is_lost_in_a_scan_without_a_subscription(session):
    link = await session.start()
    await link.next("subscribe-request")
    await link.send(scan("6 36"))
    await session.ap.line("active scan no")
    await link.send(scan("1 40"))
    link.abort()
    link = await session.service.link()
    await session.accept(link)
    await link.send(scan("1 40"))
    await link.next("rrm-response")


async def service_is_away_at_first(session):
    """Nobody listens, then somebody hangs up, then somebody who is no websocket server."""
    await session.service.start()
    await session.ap.begin(session.office)
    strangers = []

    async def stranger(reader, writer):
        strangers.append(await reader.readline())
        if len(strangers) == 2:
            writer.write(b"HTTP/1.1 302 Found\r\nLocation: ws://127.0.0.1:1/\r\nContent-Length: 0\r\n\r\n")
        elif len(strangers) > 2:
            writer.write(os.urandom(10000))
        writer.close()

    server = await asyncio.start_server(stranger, "127.0.0.1", 0)
    port = server.sockets[0].getsockname()[1]
    server.close()
    await server.wait_closed()
    await session.daemon.begin(port)
    await asyncio.sleep(3)
    server = await asyncio.start_server(stranger, "127.0.0.1", port)
    await until(lambda: len(strangers) == 3, "three attempts")
    server.close()
    await server.wait_closed()
    check(strangers[0] == b"GET /agent HTTP/1.1\r\n", "request:", strangers)
    session.service.server.close()
    await session.service.server.wait_closed()
    await session.service.start(port)
    await session.accept(await session.service.link())


async def killed_and_started_again(session):
    """What a crash leaves behind does not disturb the next start."""
    link = await session.subscribed()
    await session.daemon.kill()
    await link.closed()
    check(session.daemon.marker(), "a killed process cannot have removed the marker")
    check(os.path.exists(session.device("/run/ravd-bus/31.sock")), "nor its socket")
    await session.daemon.begin(session.service.port)
    link = await session.service.link()
    check(not session.daemon.marker(), "the marker of the last life is there still")
    await link.silent(1)  # nothing is asked before hostapd's start is announced anew
    await session.ap.tell("notify hostapd_started")
    await session.accept(link, config={"use-80211v": 1})
    await session.ap.tell("station leave 06:00:00:00:00:01")
    await link.next("rrm-client-disassoc")  # over the bus


async def stop_and_leave_nothing(session, number=signal.SIGTERM):
    await session.daemon.stop(limit=3, number=number)
    check(not session.daemon.marker(), "the marker stays behind")
    left = [name for name in os.listdir(session.device("/run/ravd-bus")) if name in ("28.sock", "31.sock")]
    check(not left, "sockets stay behind:", left)


async def stop_in_a_scan(session):
    link = await session.subscribed(config={"use-dca": 1, "radios": [{"id": 0, "channel": 11}]})
    check((await session.ap.radio(0))["channel"] == 11, "the answer's configuration was not applied")
    mark = session.ap.mark()
    await link.send(scan("1 40"))
    await session.ap.line("active scan no", mark)
    await stop_and_leave_nothing(session)
    check((await session.ap.radio(0))["channel"] == 11, "a stop must not take the settings back")


async def stop_with_hanging_services(session):
    """Whatever is stuck, SIGTERM and SIGINT end the process in time."""
    link = await session.subscribed()
    await session.ap.tell("fault config hang")
    await link.send(message("rrm-request-mode"))
    await session.ap.line("config does not answer get")
    await asyncio.sleep(0.5)  # in the middle of a wait for an answer
    await stop_and_leave_nothing(session)
    await session.ap.tell("fault clear config")

    # A slow configuration delays the answer, which is whole again once it answers.
    await session.ap.tell("notify hostapd_started")
    await session.daemon.begin(session.service.port)
    link = await session.service.link()
    await session.accept(link)
    await session.ap.tell("fault config hang times 3")
    began = time.monotonic()
    radios = (await link.mode())["radios"]
    check(5 < time.monotonic() - began < 20, "three waits of 2 s took", time.monotonic() - began)
    check([radio["status"] for radio in radios] == [1, 1], "radios:", radios)
    for radio in (await link.mode())["radios"]:
        check(radio["locked-for-dca"] == 0, "locked:", radio)
    for fault in ("config dead", "porterd dead", "config garbage times 1", "porterd garbage times 1",
                  "porterd fail times 2"):
        await session.ap.tell("fault " + fault)
        await link.send(message("rrm-info", use_dca=1, use_tpc=1, radios=[{"id": 0, "channel": 1, "power": 9}]))
        await link.alive()
        await session.ap.tell("fault clear")

    await session.ap.tell("fault config hang")
    mark = session.ap.mark()
    await link.send(message("rrm-request-mode"))
    await session.ap.line("config does not answer get", mark)
    await stop_and_leave_nothing(session, signal.SIGINT)


SESSIONS = [hostapd_comes_back, link_is_lost_and_comes_back, link_is_lost_in_a_scan_without_a_subscription,
            service_is_away_at_first, killed_and_started_again, stop_in_a_scan, stop_with_hanging_services]
