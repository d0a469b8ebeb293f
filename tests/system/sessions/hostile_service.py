"""A service that sends what no service should: the daemon answers the next request as if nothing had been."""
import asyncio
import copy
import json

import programs
from programs import check
from scans import scan
from service import accept, message
from settings import ft_entry, neighbour

MEGABYTE = 1 << 20
WRONG = [None, True, -1, 0, 2**31, -2**63, 2**80, 1e300, "", "-1", "%s%n" * 100, "\0", "\ud800", "A" * 70000, [[]],
         {"id": {"id": 1}}]
ABSENT = object()

INFO = message("rrm-info", use_tpc=1, use_dca=1, use_80211v=1, use_80211r=1, radios=[
    {"id": 0, "channel": 6, "bandwidth": 20, "power": 16, "quarn-roam-attempt-timeout": 30, "primary-channel": "lower"}],
    **{"802dot11k": [neighbour(1, 6, 200, ("office", "02:00:5e:77:00:11"))]})
UPDATE = message("rrm-update", rrm_scan_channels="6 36", quarn_rrm_scanning=0, rrm_scan_delay=1000000)
OVERLOAD = message("rrm-sta-overload", radios=[{"id": 0, "roam-count": 1}], **{"802dot11k": INFO["802dot11k"]})
FBT = message("fbt-info", fbt_reassoc_deadline=1000, fbt_over_ds=1, vaps=[ft_entry(0, 0)])
RESPONSE = accept(domain="plant", config={"use-80211v": 1, "use-80211r": 1})

# Left as they are: the version ends the link for good, and a scan may start at once.
KEPT = {("version",), ("rrm-scan-delay",)}


def places(value, path=()):
    """The paths of all members and elements."""
    items = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ()
    for key, inner in items:
        yield path + (key,)
        yield from places(inner, path + (key,))


def changed(original, path, value):
    copied = copy.deepcopy(original)
    place = copied
    for key in path[:-1]:
        place = place[key]
    if value is ABSENT:
        del place[path[-1]]
    else:
        place[path[-1]] = value
    return copied


async def survives(session, link, texts, together=10):
    """Some texts, and the answer to a request behind them."""
    for at in range(0, len(texts), together):
        some = texts[at:at + together]
        try:
            for text in some:
                await link.send(text)
            await link.alive()
        except Exception as fault:
            sent = "\n    ".join(str(text)[:300] for text in some)
            raise programs.Wrong(f"{fault!r} after\n    {sent}") from fault
    check(session.daemon.runs(), "the daemon ended")


def wrong_members(original, part=0, parts=1):
    async def story(session):
        link = await session.subscribed(config={"use-80211v": 1, "use-80211r": 1})
        texts = [changed(original, path, value) for path in places(original) if path not in KEPT
                 for value in [ABSENT] + WRONG]
        await survives(session, link, [original] + texts[part::parts] + [original])
        within_memory(session)
    story.__name__ = f"wrong_members_of_{original['cmd']}_{part}".replace("-", "_")
    return story


async def wrong_scan_delays(session):
    """Each starts a scan at once or never; hostapd's restart ends it."""
    link = await session.subscribed()
    for value in (ABSENT, None, -1, -2**63, "", "x", [], 0.9, 2**31, 2**80, "1e9", True):
        mark = session.ap.mark()
        await link.send(changed(UPDATE, ("rrm-scan-delay",), value))
        if value not in (2**31, 2**80, True):
            await session.ap.line("active scan no", mark)
        await session.restart_hostapd(link)
        await link.skip_to("rrm-config-changed")
        await link.alive()


def within_memory(session, limit_mb=128):
    peak = session.daemon.memory_mb("VmHWM")
    session.notes.append(f"peak {peak:.0f} MB")
    check(programs.SANITIZED or peak < limit_mb, f"the daemon took {peak:.0f} MB")


def envelope(rest):
    """A request to describe the radios with `rest` as further members."""
    return json.dumps(message("rrm-request-mode"))[:-1] + "," + rest + "}"


async def odd_texts(session):
    """Texts that are no messages, and messages in odd form."""
    link = await session.subscribed()
    request = json.dumps(message("rrm-request-mode"))
    nothing = ["", " ", "null", "0", '"text"', "[]", "[{}]", "{", "}", "{]", '{"a":', '{"version"', "nul", "tru", "\0",
               "{" * 33 + "}" * 33, "[" * 10000, "[" * 10000 + "]" * 10000, '{"a":' * 10000 + "1" + "}" * 10000,
               "/*" * 5000, "//" + "x" * 5000, "'" * 9999, '"' * 9999, "\\" * 9999, '{"a":"\\ud800\\udc"}',
               json.dumps(message("no-such-command")), '{"service":"rrm"}', '{"service":"rrm","cmd":null}',
               '{"service":null,"cmd":"rrm-request-mode"}', '{"service":{"rrm":1},"cmd":["rrm-request-mode"]}',
               '{"command":"wifi-client-trap"}', '{"command":"wifi-client-trap","event":[]}', '{"command":7,"event":{}}',
               '{"service":"internal-ipc"}', '{"service":"internal-ipc","cmd":"status"}',
               '{"service":"internal-ipc","cmd":"unlink"}', '{"service":"internal-ipc","cmd":9}',
               '{"command":"update-timezone"}', "NaN", "Infinity", "-", "1e999999", "0" * 100000, "9" * 100000]
    await survives(session, link, nothing)
    # These are understood.
    for text in (request + " trailing", " \n\t" + request, request.replace('"rrm"', '"rrm","x":[1,{"y":null}]'),
                 envelope('"cmd":"nothing","cmd":"rrm-request-mode"'), envelope('"version":"2.3","version":"2.4"'),
                 envelope('"n":' + "9" * 400), envelope('"n":1e400,"m":-0.0'), envelope('"s":"' + "x" * 10**6 + '"')):
        await link.send(text)
        await link.next("rrm-mode-response")
    # A text frame that is no UTF-8 may end the link, and does no more than that.
    for number, raw in enumerate((b'{"cmd":"\xff\xfe"}', b"\xc0\x80", b"\xed\xa0\x80")):
        link.socket.transport.write(bytes([0x81, len(raw)]) + raw)
        await link.send(request)
        link = await after_a_possible_end(session, link)


async def after_a_possible_end(session, link):
    """The link itself when it goes on, or the next one, subscribed."""
    try:
        await link.skip_to("rrm-mode-response", seconds=5)
        return link
    except Exception:
        check(link.history[-1] == "link closed", "neither an answer nor the end:", link.history[-3:])
        link = await session.service.link()
        await session.accept(link)
        return link


async def broken_frames(session, frames):
    """What no websocket server sends: the link may end, and comes back."""
    link = await session.subscribed()
    for raw in frames:
        if not link.socket.closed:
            link.socket.transport.write(raw)
            try:
                await link.send(message("rrm-request-mode"))
            except Exception:
                pass
        if raw == b"\x81\x7f" + b"\xff" * 8:
            await asyncio.sleep(0.3)
            link.abort()  # it would wait for 2^64 bytes
        link = await after_a_possible_end(session, link)
        check(session.daemon.runs(), "the daemon ended after", raw)


async def broken_beginnings(session):
    await broken_frames(session, [b"\xf1\x02{}", b"\x83\x02{}", b"\x80\x02{}", b"\x81\x82abcd\x1a\x1f", b"\x09\x00"])


async def broken_lengths(session):
    await broken_frames(session, [b"\x89\x7e\x00\x80" + b"x" * 128, b"\x81\x7f" + b"\xff" * 8, b"\x01\x01{\x81\x02{}",
                                  b"\x8a\x7d" + b"x" * 125, b"\x89\x7d" + b"x" * 125])


async def broken_ends(session):
    await broken_frames(session, [b"\x88\x01\x03", b"\x88\x02\x00\x00", b"\x88\x7d" + b"\xff" * 125])


async def large_messages(session):
    """Beyond what is taken, and what costs most to read. The debug log is off."""
    link = await session.subscribed(config={"use-80211v": 1, "use-80211r": 1})
    hundred_thousand = [
        json.dumps({**message("rrm-sta-overload"), "radios": [{"id": 9}] * 60000}),
        json.dumps({**message("rrm-info"), "radios": [0] * 100000}),
        json.dumps({**message("rrm-info"), "802dot11k": [None] * 100000}),
        json.dumps({**FBT, "vaps": [0] * 100000}),
        json.dumps({**FBT, "vaps": [ft_entry(0, 0, remotes=["x"] * 100000)]}),
        json.dumps({**UPDATE, "rrm-scan-channels": " ".join(map(str, range(100000)))}),
        json.dumps({**UPDATE, "rrm-scan-channels": " " * 4 * MEGABYTE})]
    texts = hundred_thousand + [
        '{"a":"' + "x" * (16 * MEGABYTE) + '"}', "{}," * (8 * MEGABYTE // 3), "[" + "{}," * (8 * MEGABYTE // 3),
        "1," * (4 * MEGABYTE), "[" + "1," * (4 * MEGABYTE - 1), "[" * (8 * MEGABYTE), '{"a":' * MEGABYTE,
        "[" + ",".join(["{}"] * 65535) + "]", "[" + ",".join(["1"] * 262000) + "]",
        "{" + ",".join(f'"{n:x}":{n}' for n in range(262000)) + "}",
        "[" + ",".join(f'{{"{n}":{n}}}' for n in range(65000)) + "]",
        '["' + '","'.join(["x" * 20] * 262000) + '"]', '"' + "\\u0041" * (MEGABYTE * 4 // 3) + '"',
        message("rrm-info", use_80211v=1)]
    await survives(session, link, texts, together=1)
    for text in (envelope('"x":"' + "\\" * (2 * (2 * MEGABYTE)) + '"'), envelope('"x":' + "9" * (4 * MEGABYTE)),
                 envelope('"radios":[' + ",".join(['{"id":1,"channel":40}'] * 60000) + "]")):
        await link.send(text)
        await link.next("rrm-mode-response")
    # A name of a megabyte comes back with every message.
    name = "d" * MEGABYTE
    await link.send(accept(domain=name))
    for _ in range(5):
        check((await link.alive())["domain"] == name, "another domain")
    within_memory(session)


async def floods(session):
    """More than it works on: ten thousand requests, in a scan and without one; then many large messages."""
    link = await session.subscribed()
    await link.send(scan("1 40"))
    for _ in range(10000):
        await link.socket.send('{"version":"2.4","service":"rrm","cmd":"rrm-blacklist"}')
    filler = "[" + " " * (4 * MEGABYTE) + "]"
    for _ in range(20):
        await link.socket.send(filler)
    await asyncio.wait_for(await link.socket.ping(), 20)
    await link.next("rrm-response", 30)
    check(session.daemon.runs(), "the daemon ended")
    within_memory(session)
    # What waits would take minutes; a new link begins anew.
    link.abort()
    link = await session.service.link()
    check(session.daemon.runs(), "the daemon ended")


SESSIONS = [wrong_members(original, part, parts) for original, parts in
            ((INFO, 4), (FBT, 4), (OVERLOAD, 3), (UPDATE, 1), (RESPONSE, 1)) for part in range(parts)] + [
                wrong_scan_delays, odd_texts, broken_beginnings, broken_lengths, broken_ends, large_messages, floods]
