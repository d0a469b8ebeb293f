"""ravd-ctl beside a running daemon: status, changes, orders, and what it says when nobody answers."""
import asyncio
import json
import signal

from lab.orders import message, scan
from lab.processes import Place, check, until


async def start(session, *words):
    return await Place.start(session, ["ravd-ctl", "--socket", session.path("run/ravd/control.sock"), *words])


async def control(session, *words):
    """(status, output)"""
    program = await start(session, *words)
    return await program.ended(), "".join(line + "\n" for line in program.lines)


async def status(session):
    code, text = await control(session, "status", "--json")
    check(code == 0, text)
    return json.loads(text)


async def tells_how_the_daemon_is_and_obeys(session):
    link = await session.subscribed(domain="lab\x1b[2J")
    told = await status(session)
    check(told["subscription"]["state"] == "subscribed" and told["hostapd"]["state"] == "running", told)
    check(told["link"]["state"] == "up" and told["link"]["port"] == session.service.port, told["link"])
    check(all(worker["answers"] for worker in told["workers"].values()) and len(told["workers"]) == 3, told["workers"])
    lines = (await control(session, "status"))[1].splitlines()
    check("subscription.state=subscribed" in lines and "subscription.domain=lab?[2J" in lines, lines)

    watcher = await start(session, "watch")
    await watcher.line("daemon=runs$")

    # An order that the radio does not follow: the network daemon is gone before it comes.
    await session.ap.tell("fault porterd dead")
    await link.send(message("rrm-info", **{"use-dca": 1, "radios": [{"id": 0, "channel": 11}]}))
    radio = (await until(lambda: found_radio(session), "the order is read back"))
    check(radio == {"ordered": {"channel": 11, "width": 20}, "found": {"channel": 6, "width": 20}}, radio)
    check(any("channel 11 with 20 MHz was ordered, it is on 6" in line for line in session.daemon.lines),
          "no warning of it")

    # Whoever watches sees both.
    await watcher.line(r"radios\.wlan0\.ordered\.channel=11$")
    await watcher.line(r"radios\.wlan0\.found\.channel=6$")

    before = len(session.service.links)
    check((await control(session, "reconnect"))[0] == 0, "reconnect")
    await until(lambda: len(session.service.links) > before, "a new link")
    await watcher.line(r"^\d\d:\d\d:\d\d link\.last_failure=a reconnection was asked for$")
    await watcher.kill()
    check((await control(session, "log-level", "0xb"))[0] == 0 and (await status(session))["log_level"] == 11, "mask")
    code, text = await control(session, "log-level", "debug")
    check(code == 1 and text == "ravd-ctl: refused: not a mask\n", code, text)
    check((await control(session, "status", "now"))[0] == 2, "wrong use")

    session.daemon.process.send_signal(signal.SIGSTOP)
    for code, text in await asyncio.gather(*(control(session, "status") for _ in range(30))):
        check(code == 5 and "does not answer" in text, code, text)
    session.daemon.process.send_signal(signal.SIGCONT)
    await session.daemon.stop()
    code, text = await control(session, "status")
    check(code == 3 and text.startswith("ravd-ctl: no daemon runs"), code, text)


async def found_radio(session):
    radio = (await status(session))["radios"].get("wlan0", {})
    return radio if "found" in radio else None


async def many_asks_disturb_nothing(session):
    """Scans and the link go on while the status is asked for over and over."""
    link = await session.subscribed()
    answers = []

    async def ask():
        reader, writer = await asyncio.open_unix_connection(session.path("run/ravd/control.sock"))
        while True:
            writer.write(b"status\n" * 2)
            for _ in range(2):
                answers.append(json.loads(await reader.readline()))

    asking = [asyncio.create_task(ask()) for _ in range(4)]
    await link.send(scan(rrm=1))
    await link.next("rrm-response")
    await until(lambda: len(answers) >= 1000, "answers")
    await link.alive()
    check(all(worker["answers"] for told in answers for worker in told["workers"].values()), "a worker was late")
    check(not any(task.done() for task in asking), "nobody answers")
    for task in asking:
        task.cancel()


STORIES = [many_asks_disturb_nothing, tells_how_the_daemon_is_and_obeys]
