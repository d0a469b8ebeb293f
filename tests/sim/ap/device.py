"""A simulated access point, asked in bytes on its sockets as a simulator or neighbour of another make would be."""
import asyncio
import contextlib
import errno
import json
import os
import struct

from lab import bus
from lab.processes import PATIENCE, Place, check
from lab.programs import AccessPoint

SCENARIOS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../sim/ap/scenarios")
RECORD = 131070  # bytes of a custom command's record
CUSTOM = {"rtl8192cd": 0x8BBF, "rtk_wifi6": 0x89F4}
TRANSITION = {"rtl8192cd": 0x8BA6, "rtk_wifi6": 0x89F6}
GET_MIB, SET_MIB, RRM_START = 0x89F2, 0x89F1, 0x8B18


def same(got, wanted, what=""):
    check(got == wanted, what, "got", got, "instead of", wanted)


def shipped(name):
    with open(os.path.join(SCENARIOS, name + ".json"), encoding="utf-8") as file:
        return json.load(file)


class Device(Place):
    """ravd-sim-ap with a shipped scenario, in a directory of its own, as an asynchronous context."""

    def __init__(self, name):
        super().__init__()
        self.scenario = shipped(name)
        self.ap = self.add(AccessPoint(self.directory))
        self.tell, self.answer, self.stop = self.ap.tell, self.ap.answer, self.ap.stop
        self.radio, self.neighbours = self.ap.radio, self.ap.neighbours

    async def __aenter__(self):
        await self.ap.begin(self.scenario, "--speed", "1000")
        return self

    def has(self, name):
        return os.path.lexists(self.path(name))

    def kind(self, ifname):
        return self.scenario["radios"][int(ifname[4])].get("kind", "rtl8192cd")

    async def ioctl(self, number, ifname, block=b"", length=None, seconds=PATIENCE):
        """(result, errno, length, memory) of a wireless ioctl; None when it hangs."""
        reader, writer = await asyncio.open_unix_connection(self.path("/radio.sock"))
        length = len(block) if length is None else length
        message = struct.pack("<I16sHH", number, ifname.encode(), length, 7) + block.rstrip(b"\0")
        writer.write(struct.pack("<I", len(message)) + message)
        try:
            size, = struct.unpack("<I", await asyncio.wait_for(reader.readexactly(4), seconds))
            result, error, length, flags = struct.unpack("<iiHH", await reader.readexactly(12))
            same(flags, 7)
            return result, error, length, await reader.readexactly(size - 12)
        except asyncio.TimeoutError:
            return None
        finally:
            writer.close()

    async def custom(self, command, ifname, *words):
        """The record after a custom command that succeeds; `words` of 32 bits follow the command's number."""
        block = struct.pack(f"<{1 + len(words)}I", command, *words)
        result, error, length, reply = await self.ioctl(CUSTOM[self.kind(ifname)], ifname, block, 65534)
        same((result, error, length), (0, 0, 65534), command)
        check(len(reply) <= RECORD, len(reply))
        return (reply or block).ljust(RECORD, b"\0")

    async def entries(self, command, ifname, form, capacity=9360):
        """The entries of 28 bytes of the commands 2 to 4."""
        words, head = ((0, capacity), 12) if command == 4 else ((capacity,), 8)
        record = await self.custom(command, ifname, *words)
        count, = struct.unpack_from("<I", record, head - 4)
        check(count <= 4680, count)
        return [struct.unpack_from(form, record, head + 28 * i) for i in range(count)]

    async def stations(self, vap):
        """MAC -> (was asked to roam, has no 802.11v)."""
        return {address.hex(":"): (asked, no_v)
                for address, *_, asked, no_v in await self.entries(4, vap, "<6s2x4I2B")}

    async def mib(self, name, ifname):
        """A variable as the radio's chip tells it, or None."""
        if self.kind(ifname) == "rtk_wifi6":
            status, text = await self.tool("iwpriv", ifname, "get_mib", name)
            head = ifname.ljust(10) + "get_mib:"
            return int(text[len(head):]) if status == 0 and text.startswith(head) else None
        result, _, length, block = await self.ioctl(GET_MIB, ifname, name.encode(), 2048)
        return int.from_bytes(block[:min(length, 4)], "little") if result == 0 else None

    async def set_mib(self, name, value, ifname):
        if self.kind(ifname) == "rtk_wifi6":
            return (await self.tool("iwpriv", ifname, "set_mib", f"{name}={value}"))[0] == 0
        text = f"{name}={value}".encode() + b"\0"
        return (await self.ioctl(SET_MIB, ifname, text))[0] == 0

    async def tool(self, name, *words, seconds=PATIENCE):
        return await self.run(self.path("/bin/" + name), *words, seconds=seconds)

    async def hostapd(self, vap, *words):
        return await self.tool("wpa_cli", "-g", "/var/run/hostapd/global", "raw", "IFNAME=" + vap, *words)

    async def request(self, module, command, seconds=PATIENCE, **members):
        """The payload of a bus service's answer; None when it has none in time."""
        reader, writer = await asyncio.open_unix_connection(self.path(f"/run/ravd-bus/{module}.sock"))
        text = json.dumps({"command": command, **members}).encode()
        writer.write(bus.frame(1, destination=module) + bus.frame(0, text, destination=module))
        try:
            header = await asyncio.wait_for(reader.readexactly(17), seconds)
            source, length, kind, destination, magic = struct.unpack("<IIBI4s", header)
            same((source, kind, destination, magic), (module, 0, bus.PEER, b"RVB1"))
            return await reader.readexactly(length)
        except asyncio.TimeoutError:
            return None
        finally:
            writer.close()

    async def ok(self, module, command, **members):
        """Whether a service answers with "ok"."""
        answer = json.loads(await self.request(module, command, **members))
        same(answer["command"], command + "-response")
        return answer["status"] == "ok"

    async def update(self, radio, **params):
        params = {name.replace("_", "-"): str(value) for name, value in params.items()}
        return await self.ok(6, "update-corvane", ifname=radio, params=params)

    async def setting(self, path):
        return json.loads(await self.request(1, "get", path=path)).get("value")

    async def probe(self, *options, seconds=60):
        """(status, output) of the probe."""
        return await self.run("ravd-probe-sim", *options, seconds=seconds)

    @contextlib.asynccontextmanager
    async def fault(self, text):
        same(await self.tell("fault " + text), "")
        yield
        await self.tell("fault clear")

    @contextlib.contextmanager
    def without(self, name):
        """A file of the directory is missing for a while."""
        os.rename(self.path(name), self.path("/aside"))
        yield
        os.rename(self.path("/aside"), self.path(name))


def number_of(name):
    return getattr(errno, name)
