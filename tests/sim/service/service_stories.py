"""ravd-sim-service with real websocket clients."""
import asyncio
import json
import os
import pty
import re
import ssl
import time

from lab.processes import Build, PATIENCE, Place, Wrong, check
import websockets

MAC = "00:1A:2B:3C:4D:5E"


def radio(number, channel, power):
    return {"id": number, "status": 1, "mac-offset": 8 * number, "radio-mac-count": 8, "locked-for-dca": 0,
            "locked-for-tpc": 0, "locked-for-balancer": 1, "locked-for-80211v": 0, "power": power, "power-max": 20,
            "power-min": 8, "channel": channel, "band": 2 if channel < 30 else 5, "bandwidth": 20,
            "primary-channel": "none", "available-channels": "1 6 11 " if channel < 30 else "36 ", "vaps": []}


def message(cmd, **members):
    return {"version": "2.4", "service": "rrm", "cmd": cmd, "ap-mac": MAC, "domain": "lab", **members}


def subscription():
    return message("subscribe-request", **{"ap-mac-count": 16, "use-wildcard-80211r": 0,
                                           "factory": {"board": "b", "hw": "1", "serial": "s", "mac": MAC},
                                           "radios": [radio(0, 6, 20)]})


class Service(Place):
    """The program under test with its control socket, as a context that ends it."""

    before = []  # a command that starts it

    def __init__(self, *arguments, status=0):
        super().__init__()
        self.control = self.path("control")
        self.arguments = ["--no-input", "--control", self.control, "--log", self.path("log"), *arguments]
        self.status = status  # how it has to end
        self.program = None
        self.port = 0

    async def __aenter__(self):
        self.program = await self.start([*self.before, Build.program("ravd-sim-service"), *self.arguments])
        self.port = int((await self.program.line(r"listening on 127\.0\.0\.1:(\d+)"))[1])
        return self

    async def __aexit__(self, kind, *_):
        if kind is None and self.program.runs():
            await self.end()
        await super().__aexit__()

    async def end(self):
        """Ends it; all that it printed behind its first line."""
        if self.program.runs():
            await self.command("quit")
        status = await self.program.ended()
        output = "\n".join(self.program.lines[1:])
        check(status == self.status, f"ended with status {status}\n{output}")
        return output

    async def command(self, line):
        reader, writer = await asyncio.open_unix_connection(self.control, limit=1 << 26)
        writer.write(line.encode() + b"\n")
        writer.write_eof()
        reply = (await asyncio.wait_for(reader.read(), PATIENCE)).decode()
        writer.close()
        check(reply.endswith("ok\n"), line, reply)
        return reply

    async def connect(self, protocol="websock-rrm"):
        return await websockets.connect(f"ws://127.0.0.1:{self.port}/path", max_size=1 << 25, ping_interval=None,
                                        subprotocols=[protocol] if protocol else None)


async def subscribed(service):
    agent = await service.connect()
    await agent.send(json.dumps(subscription()))
    assert json.loads(await agent.recv())["status"] == "success"
    return agent


async def closed(agent):
    try:
        while True:
            await asyncio.wait_for(agent.recv(), PATIENCE)
    except websockets.ConnectionClosed as end:
        return end


async def orders_and_link():
    async with Service("--domain", "plan", "--strict", status=1) as service:
        await service.command("refuse 503")
        first = await service.connect()
        await first.send(json.dumps(subscription()))
        assert json.loads(await first.recv()) == {"version": "2.4", "service": "rrm", "cmd": "subscribe-response",
                                                 "ap-mac": MAC, "status": "failure", "code": 503}
        agent = await subscribed(service)
        await service.command("wait subscribed 30")
        await service.command("all scan channels=1,6 delay=2")
        for each in (first, agent):
            order = json.loads(await each.recv())
            assert order["cmd"] == "rrm-update" and order["rrm-scan-channels"] == "1 6" and order["rrm-scan-delay"] == 2
        await service.command('fragments 3 {"a":"bcd"}')
        assert await agent.recv() == '{"a":"bcd"}'
        await service.command("raw 89 00 81 02 68 69")  # a ping, and a text of two letters
        assert await agent.recv() == "hi"

        # Large messages, both ways.
        await service.command("send-many 2 5000000")
        for number in range(2):
            assert json.loads(await agent.recv())["number"] == number
        await agent.send(json.dumps(message("rrm-mode-response", radios=[radio(0, 6, 20)])) + " " * 5_000_000)
        await service.command("wait rrm-mode-response 30")

        # Pings: answered, not answered, answered again.
        await asyncio.wait_for(await agent.ping(), PATIENCE)
        await service.command("agent 2 mute")
        lost = await agent.ping()
        await agent.send(json.dumps(message("rrm-config-changed", radios=[radio(0, 11, 20)])))
        await service.command("wait rrm-config-changed 30")
        assert not lost.done()
        await service.command("agent 2 resume")
        await asyncio.wait_for(await agent.ping(), PATIENCE)
        assert " pings 3," in await service.command("agent 2 stats")

        # A peer that stops reading takes nothing more.
        await service.command("agent 2 stop-reading")
        filler = asyncio.create_task(agent.send("[" + " " * 12_000_000 + "]"))
        await asyncio.sleep(0.3)
        assert not filler.done()
        await service.command("agent 2 resume")
        await asyncio.wait_for(filler, PATIENCE)
        await service.command("wait violation 30")  # the array is no message

        # An answer typed by hand subscribes as well.
        await service.command("silent")
        by_hand = await service.connect()
        await by_hand.send(json.dumps(subscription()))
        await service.command("wait subscribe-request 30")
        await service.command("subscribe-response domain=typed")
        assert json.loads(await by_hand.recv())["domain"] == "typed"
        await by_hand.send(json.dumps(message("rrm-config-changed", radios=[])))
        await service.command("wait rrm-config-changed 30")
        await by_hand.close()

        # The three ways to end a link.
        await service.command("agent 1 close 1001 bye")
        assert (await closed(first)).code == 1001
        await service.command("agent 2 drop")
        assert (await closed(agent)).code == 1006
        agent = await service.connect("websock-roaming")
        await agent.send("not checked")
        await service.command("wait message 30")
        log = [json.loads(line) for line in open(service.path("log"), encoding="utf-8")]
        assert {line.get("direction") for line in log} == {"received", "sent", None}
        await agent.close()
        output = await service.end()
        assert output.count("VIOLATION") == 1, output


async def garbage():
    async with Service("--quiet") as service:
        for bytes_sent in (b"", b"\r\n\r\n", b"GET / HTTP/1.1\r\n\r\n", b"\xff" * 5000, os.urandom(100_000)):
            reader, writer = await asyncio.open_connection("127.0.0.1", service.port)
            writer.write(bytes_sent)
            writer.write_eof()
            try:
                await asyncio.wait_for(reader.read(), PATIENCE)
            except ConnectionError:
                pass
            writer.close()
        try:
            await service.connect("unknown")
            raise AssertionError("an unknown sub-protocol was accepted")
        except (websockets.InvalidHandshake, ConnectionError, EOFError):
            pass
        agent = await service.connect(None)
        odd = '{"cmd":"rrm-response","radios":[{"vaps":[7],"assoclist":[7]},null,[]],"rf-environment":[[{},1],2]}'
        for text in ("", "nonsense", odd, "{" * 70000, '{"cmd":7}', '{"version":"2.4","service":"rrm","cmd":"x","ap-mac":"\\u001b[2J"}'):
            await agent.send(text)
        await agent.send(b"\x00\xff")
        agent.transport.write(b"\xf1\x85abcdefghi")  # reserved bits
        assert (await closed(agent)).code in (1002, 1006)
        await subscribed(service)  # still alive
        output = await service.end()
        assert "\x1b" not in output, output


async def automatic(lying):
    async with Service("--exit-when-verified", "--auto-channels", "1,6,11", "--auto-apply-timeout", "1",
                       status=1 if lying else 0) as service:
        agent = await subscribed(service)
        assert json.loads(await agent.recv())["rrm-scan-channels"] == "1 6 11"
        heard = [{"bssid": "00:00:00:00:00:0%d" % n, "rssi": -40, "channel": c, "tx-power": 0, "primary-channel": "none",
                  "bandwidth": 20} for n, c in enumerate((1, 6, 6))]
        await agent.send(json.dumps(message("rrm-response", radios=[radio(0, 6, 20)], **{"rf-environment": [heard]})))
        order = json.loads(await agent.recv())
        assert order["cmd"] == "rrm-info" and order["use-dca"] == 1 and order["use-tpc"] == 1
        chosen = order["radios"][0]
        assert chosen["channel"] == 11 and chosen["bandwidth"] == 20 and chosen["power"] == 20, chosen
        for channel, power in ((6, chosen["power"]), (6 if lying else 11, chosen["power"])):
            await agent.send(json.dumps(message("rrm-config-changed", radios=[radio(0, channel, power)])))
        await service.program.ended()
        output = await service.end()
        assert ("FAIL radio 0" if lying else "PASS radio 0") in output, output
        assert "VIOLATION" not in output, output


async def progress():
    """A scan is told of by the clock; an order that comes during one waits for its report."""
    async with Service() as service:
        agent = await subscribed(service)
        await service.command("scan channels=1,36 delay=1")
        await service.program.line("round [2-5] of 5")
        await service.command("unchecked scan channels=1,2,3,4,36")
        await agent.send(json.dumps(message("rrm-response", radios=[radio(0, 6, 20)], **{"rf-environment": []})))
        await service.command("wait rrm-response 30")
        await service.program.line("round 1 of 5, 3 s each")
        factory = {"board": "b", "hw": "1", "serial": "s", "mac": MAC}
        await agent.send(json.dumps(message("rrm-disassoc-all-clients", factory=factory)))
        await service.command("wait rrm-disassoc-all-clients 30")
        await service.command("rrm-scan 6")
        await service.program.line("round 1 of 1")
        told = "\n".join(re.findall(r"scan: (.*)", await service.end()))
        # On a busy machine a scan gets further before the next step, or its clock is looked at late.
        check(re.match(r"begins in 1 s\n(round \d of 5, 1 s each; the report is due in \d s\n)+reported after \d+ s\n"
                       r"(round \d of 5, 3 s each; the report is due in \d+ s\n)+ended with hostapd\n"
                       r"round 1 of 1, 6 s each; the report is due in 6 s", told), told)
        for number, length, due in re.findall(r"round (\d) of 5, (\d) s each; the report is due in (\d+) s", told):
            check(int(due) == (6 - int(number)) * int(length), told)


class Client:
    """One connection of the control socket, line by line."""

    async def connect(self, service):
        self.reader, self.writer = await asyncio.open_unix_connection(service.control)
        return self

    def say(self, lines):
        self.writer.write(lines.encode())

    async def hears(self, expected):
        for wanted in expected.splitlines():
            line = (await asyncio.wait_for(self.reader.readline(), PATIENCE)).decode().rstrip("\n")
            check(line == wanted, "heard", line, "instead of", wanted)

    async def hears_nothing(self):
        try:
            raise Wrong(f"heard {await asyncio.wait_for(self.reader.readline(), 0.2)}")
        except asyncio.TimeoutError:
            pass


async def console():
    async with Service(status=-9) as service:
        client = await Client().connect(service)
        client.say("violations\n\n \nbogus\nviol")
        await client.hears("0 violations\nok\nerror: unknown command bogus; try help\n")
        client.say("ations\n")
        await client.hears("0 violations\nok\n")

        # A wait holds back the lines behind it, and ends by its event alone.
        client.say("wait closed 30\nviolations\n")
        agent = await service.connect()
        await client.hears_nothing()
        await agent.close()
        await client.hears("ok\n0 violations\nok\n")
        client.say("wait closed 1\nsleep 300\nviolations\n")  # that event is spent
        start = time.monotonic()
        await client.hears("error: no closed within the time\nok\n0 violations\nok\n")
        assert time.monotonic() - start > 1.2
        agent = await subscribed(service)
        client.say("wait subscribed 30\nwait subscribed 1\n")
        await client.hears("ok\nok\n")  # is so already

        # What happens between two clients is not lost; one that leaves while it waits harms nobody.
        client.writer.close()
        await agent.send(json.dumps(message("rrm-config-changed", radios=[])))
        await service.command("wait rrm-config-changed 30")
        client = await Client().connect(service)
        client.say("wait rrm-config-changed 1\n")
        await client.hears_nothing()
        client.writer.close()

        # A line without an end is cut off.
        reader, writer = await asyncio.open_unix_connection(service.control)
        answer = asyncio.create_task(reader.read())
        try:
            for _ in range(50):
                writer.write(b"x" * (1 << 20))
                await writer.drain()
        except ConnectionError:
            pass
        try:
            assert await asyncio.wait_for(answer, PATIENCE) == b"error: the line is too long\n"
        except ConnectionError:
            pass  # reset, as bytes were left unread
        writer.close()
        await service.command("violations")

        # The socket of a living service is refused, that of a dead one is replaced.
        await refused(["--control", service.control], "cannot listen on " + service.control)
        await service.program.kill()
        async with Service("--control", service.control) as again:
            again.control = service.control


async def refused(arguments, reason):
    async with Place() as place:
        status, printed = await place.run("ravd-sim-service", *arguments)
        check(status == 2 and reason in printed, arguments, status, printed)


async def options():
    for arguments, reason in (("--port 65536", "--port takes a number from 0 to 65535"), ("--port -1", "--port takes"),
                              ("--port 9x", "--port takes"), ("--port", "--port needs a value"),
                              ("--bogus", "unknown option --bogus"), ("-x", "unknown option -x"),
                              ("more", "unexpected argument more"), ("--config /nonexistent", "cannot read"),
                              ("--config {", "--config: "), ("--auto-channels 1,six", "--auto-channels takes channel"),
                              ("--auto-rounds 0", "--auto-rounds takes a number from 1"),
                              ("--control " + "x" * 200, "too long")):
        await refused(arguments.split(), reason)
    async with Place() as place:
        status, printed = await place.run("ravd-sim-service", "--help")
        check(status == 0 and "Usage:" in printed, printed)


async def limits():
    async with Service("-q", "-b", "127.0.0.1", "--max-agents", "1", "--protocol", "other", "--config",
                       '{"use-dca":1}') as service:
        agent = await service.connect("other")
        await agent.send(json.dumps(subscription()))
        assert json.loads(await agent.recv())["config"] == {"use-dca": 1}
        reader, writer = await asyncio.open_connection("127.0.0.1", service.port)
        writer.write(b"GET / HTTP/1.1\r\n\r\n")
        try:
            assert False, await asyncio.wait_for(reader.read(), 0.3)  # a second one is not served
        except (asyncio.TimeoutError, ConnectionError):
            pass
        writer.close()
        assert len((await service.command("agents")).splitlines()) == 2  # the agent and "ok"
        assert await service.end() == ""


async def typing():
    """A person at a terminal completes words and brings back lines; it needs the library for it."""
    program = Build.program("ravd-sim-service")
    with open(program, "rb") as file:
        if b"libedit" not in file.read():
            return
    child, terminal = pty.fork()
    if child == 0:
        os.execve(program, [program], {"TERM": "vt100"})
    answer = b"\n0 violations"
    for keys, wanted in (("", b"> "), ("viol\t\r", answer), ("\x1b[A\r", answer), ("wait viola\t0\r", b"no violation within"), ("quit 7\r", b"7")):
        os.write(terminal, keys.encode())
        seen = b""
        while wanted not in seen.replace(b"\r\x1b[K", b"\n"):
            seen += await asyncio.wait_for(asyncio.to_thread(os.read, terminal, 4096), PATIENCE)
        check(b"^" not in seen, "the terminal itself showed a key:", seen)
    check(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 7, "it ended otherwise")


async def automatic_and_true():
    await automatic(lying=False)


async def automatic_and_lying():
    await automatic(lying=True)


class Cramped(Service):
    """The shell it comes from allows few descriptors at first."""

    before = ["sh", "-c", "ulimit -Sn 64; exec \"$@\"", "sh"]


async def more_agents_than_descriptors():
    async with Cramped() as service:
        links = [await service.connect() for _ in range(60)]
        for link in links:
            await link.send(json.dumps(subscription()))
        for link in links:
            check("subscribe-response" in await asyncio.wait_for(link.recv(), PATIENCE))


async def mute_handshake():
    """Who never begins a TLS handshake is not kept for ever."""
    place = Place()
    async with place:
        status, said = await place.run(os.path.join(os.path.dirname(__file__), "../../../scripts/lab-certs"), place.path("lab"))
        check(status == 0, said)
        async with Service("--tls-cert", place.path("lab/server.pem"), "--tls-key", place.path("lab/server.key")) as service:
            reader, writer = await asyncio.open_connection("127.0.0.1", service.port)
            context = ssl.create_default_context(cafile=place.path("lab/ca.pem"))
            context.check_hostname = False
            async with websockets.connect(f"wss://127.0.0.1:{service.port}/", ssl=context, subprotocols=["websock-rrm"]) as link:
                await link.send(json.dumps(subscription()))
                check("subscribe-response" in await asyncio.wait_for(link.recv(), PATIENCE))
            check(await asyncio.wait_for(reader.read(), PATIENCE) == b"")
            writer.close()


STORIES = [options, console, typing, limits, more_agents_than_descriptors, mute_handshake,
           progress, orders_and_link, garbage, automatic_and_true, automatic_and_lying]
