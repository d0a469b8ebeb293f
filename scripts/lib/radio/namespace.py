"""A machine of its own within the machine: network and mount namespace, /run, /tmp, /var and /etc private."""
import asyncio
import os

from lab.processes import Program, check, until

POLL = 0.25  # seconds between two looks that cost a process each, on a slow processor
LOGS = "/out"  # what is written here outlives the virtual machine
PREPARE = """mkdir -p /etc
mount -t sysfs sysfs /sys
for directory in /run /tmp /var /etc; do mount -t tmpfs tmpfs $directory; done
mkdir -p /var/run /var/lib
ip link set lo up
echo prepared
exec sleep 1000000
"""


async def run(*command, seconds=60):
    """(status, output) of a command that ends by itself. Output counts with blanks at its ends cut off."""
    process = await asyncio.create_subprocess_exec(*command, stdin=asyncio.subprocess.DEVNULL,
                                                   stdout=asyncio.subprocess.PIPE, stderr=asyncio.subprocess.STDOUT)
    try:
        output, _ = await asyncio.wait_for(process.communicate(), seconds)
    except asyncio.TimeoutError:
        process.kill()
        await process.wait()
        return -1, f"not within {seconds} s"
    return process.returncode, output.decode(errors="replace").strip()


async def must(*command, seconds=60):
    """The output of a command that has to succeed."""
    status, output = await run(*command, seconds=seconds)
    check(status == 0, " ".join(command), "ended with", status, output)
    return output


def found(program):
    """Its path: busybox prefers its own programs to those of that name in the search path."""
    return next((path for path in (f"/ravd/bin/{program}", f"/bin/{program}") if os.path.exists(path)), program)


def radio_of(interface):
    """The phy of a wireless interface; None for others, and for one that another namespace's radio just lost."""
    try:
        with open(f"/sys/class/net/{interface}/phy80211/name", encoding="ascii") as file:
            return file.read().strip()
    except OSError:
        return None


class Namespace:
    """`begin` before anything else; `end` takes every process in it along."""

    def __init__(self, name):
        self.name = name
        self.programs = []
        self.holder = None

    async def begin(self):
        self.holder = await Program(self.name).start(["unshare", "-n", "-m", "sh", "-c", PREPARE])
        await self.holder.line("^prepared$")

    @property
    def pid(self):
        return self.holder.process.pid

    def within(self, *command):
        return ("nsenter", "-t", str(self.pid), "-n", "-m", "--", found(command[0]), *command[1:])

    async def run(self, *command, seconds=60):
        return await run(*self.within(*command), seconds=seconds)

    async def must(self, *command, seconds=60):
        return await must(*self.within(*command), seconds=seconds)

    def path(self, name):
        """Of a file of the namespace, as seen from outside."""
        return f"/proc/{self.pid}/root{name}"

    def exists(self, name):
        return os.path.exists(self.path(name))

    def write(self, name, text):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)
        return name

    async def start(self, name, *command, environment=None):
        """A program whose lines go into a log named after it and the namespace."""
        log = open(f"{LOGS}/{self.name}-{name}.log", "a", encoding="utf-8", buffering=1)
        program = Program(f"{self.name}'s {name}", lambda line: log.write(line + "\n"))
        self.programs.append(program)
        return await program.start(self.within(*command), environment)

    async def take_radio(self, phy):
        """Moves a radio in, without interfaces."""
        for interface in os.listdir("/sys/class/net"):
            if radio_of(interface) == phy:
                await must("iw", "dev", interface, "del")
        await must("iw", "phy", phy, "set", "netns", str(self.pid))

    async def wire(self, address):
        """An eth0 to the bridge of the machine, with an address unless it is "". """
        outside = f"v-{self.name}"[:15]
        await must("ip", "link", "add", outside, "type", "veth", "peer", "name", "eth0", "netns", str(self.pid))
        await must("ip", "link", "set", outside, "master", "wire", "up")
        await self.must("ip", "link", "set", "eth0", "up")
        if address:
            await self.must("ip", "addr", "add", address, "dev", "eth0")

    async def end(self):
        for program in reversed(self.programs):
            await program.kill()
        if self.holder:
            await self.holder.kill()


async def wire_begin(address):
    """The bridge that namespaces are wired to, with the address of who runs outside of them."""
    await must("ip", "link", "add", "wire", "type", "bridge")
    await must("ip", "addr", "add", address, "dev", "wire")
    await must("ip", "link", "set", "wire", "up")


async def radios_begin(count, country="US"):
    """So many simulated radios, phy0 and up, that all hear each other."""
    await must("modprobe", "mac80211_hwsim", f"radios={count}")
    await must("iw", "reg", "set", country)

    async def set_to():
        return f"country {country}:" in await must("iw", "reg", "get")
    await until(set_to, f"the regulatory domain {country}", 60, pause=POLL)
