"""What costs most to read, from the service and from the neighbours on the bus: the daemon answers on, within bounds."""
import asyncio
import json
import os
import struct

from lab.bus import FalseService, Peer
from lab.orders import accept, event, holders, message, scan
from lab.processes import Build, check, until

MEGABYTE = 1 << 20
BOUND_MB = 96  # resident, whatever one peer sends


def within_memory(session, bound_mb=BOUND_MB):
    peak = session.daemon.memory_mb()
    session.notes.append(f"peak {peak:.0f} MB")
    check(Build.sanitized or peak < bound_mb, f"the daemon took {peak:.0f} MB")


def envelope(rest):
    """A request to describe the radios with `rest` as further members."""
    return json.dumps(message("rrm-request-mode"))[:-1] + "," + rest + "}"


async def large_messages(session):
    """Beyond what is taken, and what costs most to read. The debug log is off."""
    link = await session.subscribed(config={"use-80211v": 1, "use-80211r": 1})
    key = "k" * 512
    control = "\x01" * (MEGABYTE * 8 // 6 - 200)  # six bytes each in JSON
    async with Peer(session) as peer:
        for mac in (control, "m" * (15 * MEGABYTE)):
            mark = session.daemon.mark()
            peer.send(event("auth", mac=mac))
            await session.daemon.line('A "mac" of [0-9]+ bytes or more is too long', mark)
        peer.send(event("auth", mac="\x01" * 131072))
        await link.next("rrm-client-assoc")
    for text in (
            message("rrm-sta-overload", radios=[{"id": 9}] * 60000),
            message("rrm-info", radios=[0] * 100000, **{"802dot11k": [None] * 100000}),
            message("fbt-info", vaps=[0] * 100000),
            message("fbt-info", vaps=[holders(0, 0, remotes=["x"] * 100000)]),
            scan(" ".join(map(str, range(100000))), delay=1000000), scan(" " * 4 * MEGABYTE, delay=1000000),
            message("fbt-info", vaps=[holders(0, 0, **{"r0-key-holder-id": control})]),
            message("fbt-info", vaps=[holders(vap, radio, **{"fbt-rrb-key": key, "remotes": [
                {"remote-r1-kh-id": f"{n:012x}", "remote-r0-kh-id": key, "remote-r1-kh-key": key}
                for n in range(350)]}) for radio in (0, 1) for vap in range(7)]),
            accept(domain=control),
            '{"a":"' + "x" * (16 * MEGABYTE) + '"}', "[" + "{}," * (8 * MEGABYTE // 3), "[" + "1," * (4 * MEGABYTE - 1),
            "[" * (8 * MEGABYTE), '{"a":' * MEGABYTE, "[" + ",".join(["{}"] * 65535) + "]",
            "{" + ",".join(f'"{n:x}":{n}' for n in range(262000)) + "}",
            "[" + ",".join(f'{{"{n}":{n}}}' for n in range(65000)) + "]", '"' + "\\u0041" * (MEGABYTE * 4 // 3) + '"',
            envelope('"x":"' + "\\" * (4 * MEGABYTE) + '"'), envelope('"x":' + "9" * (4 * MEGABYTE)),
            envelope('"radios":[' + ",".join(['{"id":1,"channel":40}'] * 60000) + "]")):
        await link.send(text)
        try:
            await link.alive(60)
        except AssertionError as fault:
            raise AssertionError(f"{fault} after {str(text)[:300]}") from fault
    within_memory(session)


def odd_answers(service, command):
    """The first ones are answers, if strange ones; behind the others the request waits until its limit."""
    name = b'{"command":"' + command.encode() + b'-response"'
    texts = [name + b',"status":"ok","value":null}', name + b',"status":7,"value":7}',
             name + b',"value":[[],{}],"reason":{}}', name + b',"value":"' + b"v" * (10 * MEGABYTE) + b'"}',
             name + b',"value":"\xff\xfe%s%n"}', name + b',"status":"error","reason":"%s%s%s%n"}',
             name + b"," + b",".join(b'"m%d":{"x":1}' % n for n in range(60000)) + b"}"]
    answers = [service.frame(text) for text in texts]
    answers.append([service.frame(b"{}"), service.frame(b'{"command":"other-response","value":"x"}'),
                    service.frame(name + b',"status":"ok","value":"true"}') * 3])
    answers += [b"", [b"\xff", b"\xff" * 16], os.urandom(100000)]
    answers.append(struct.pack("<IIBI4s", service.module, 0xFFFFFFFF, 0, 28, b"RVB1"))
    return answers + [service.frame(b"[" * 100000), service.frame(b" " * (16 * MEGABYTE - 1))]


async def false_neighbours(session):
    """A configuration service and a network daemon that answer what no neighbour should."""
    link = await session.subscribed()
    power = message("rrm-info", use_tpc=1, radios=[{"id": 0, "power": 9}])
    for module, name, command, order in ((1, "config", "get", "{}"), (6, "porterd", "update-corvane", power)):
        await session.ap.tell(f"fault {name} dead")
        async with FalseService(session, module) as service:
            for number, answer in enumerate(odd_answers(service, command)):
                service.answers = [answer]
                await link.send(order)
                radios = (await link.alive())["radios"]
                check(not service.answers, "answer", number, "was not asked for")
                check([radio["status"] for radio in radios] == [1, 1], radios)
        await session.ap.tell("fault clear")
    await link.send(power)
    await link.skip_to("rrm-config-changed", lambda told: told["radios"][0]["power"] == 9)
    within_memory(session)


async def one_large_text(session):
    """What a message of 5 MB takes while it is read, and what is kept of it."""
    link = await session.subscribed()
    await asyncio.sleep(2)  # what it does once is over
    before = session.daemon.memory_mb("VmRSS")
    with open(f"/proc/{session.daemon.process.pid}/clear_refs", "w", encoding="ascii") as file:
        file.write("5")  # the peak is told from here on
    await link.send(envelope('"x":"' + "x" * 5000000 + '"'))
    await link.next("rrm-mode-response")
    peak = session.daemon.memory_mb() - before
    session.notes.append(f"peak {peak * MEGABYTE / 5e6:.2f} times the message")
    if not Build.sanitized:
        check(peak * MEGABYTE < 2.2 * 5e6, f"5 MB took {peak:.1f} MB")
        await until(lambda: session.daemon.memory_mb("VmRSS") < before + 1, "the memory of the message is given back", 60)


async def full_reports(session):
    """Reports of five full rounds, as a reply filled with garbage gives them, and what is kept of them."""
    link = await session.subscribed()
    await session.ap.tell("fault results garbage")
    for _ in range(2):
        await link.send(scan("6 36"))
        report = await link.next("rrm-response", 60)
        check([len(heard) for heard in report["rf-environment"]] == [9360] * 5, "rounds of another size")
    within_memory(session, 48)
    if not Build.sanitized:
        await until(lambda: session.daemon.memory_mb("VmRSS") < 8, "the memory of the reports is given back", 60)


STORIES = [large_messages, one_large_text, false_neighbours, full_reports]
