"""What the daemon takes on a device; see scripts/footprint, which builds what is measured here.

    footprint.py --build DIRECTORY --images DIRECTORY [--seconds N]
"""
import argparse
import asyncio
import os
import re
import shutil
import subprocess
import time

from processes import AccessPoint, Build, Daemon, Place, SCENARIOS, check, until, usage

IMAGES = (("x86_64", "release", ""), ("mipsel", "mipsel", "mipsel-linux-gnu-"))
SECTIONS = (".text", ".rodata", ".eh_frame", ".gcc_except_table", ".dynsym", ".dynstr", ".rela.dyn", ".rel.dyn", ".data",
            ".data.rel.ro", ".bss")


def output_of(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, check=True, text=True).stdout


def read_image(directory, prefix):
    """Sizes in bytes: stripped, of sections, of archives in the link map, of symbols."""
    program = os.path.join(directory, "ravd")
    stripped = program + ".stripped"
    subprocess.run([prefix + "strip", "-o", stripped, program], check=True)
    sections = dict(re.findall(r"^(\.\S+)\s+(\d+)", output_of(prefix + "size", "-A", stripped), re.M))
    archives = {}
    with open(os.path.join(directory, "ravd.map"), encoding="utf-8") as file:
        linked = file.read().split("Linker script and memory map")[1]
    # A long section name has its address, size and origin on the next line. What was thrown away lies at address 0.
    for address, size, origin in re.findall(r"^ \.(?:text|rodata|data|bss|gcc_except_table)\S*\s+"
                                            r"0x([0-9a-f]+)\s+0x([0-9a-f]+)\s+(\S+)$", linked, re.M):
        if int(address, 16):
            archive = re.search(r"([^/]+)\.a(?:\(|$)", origin)
            name = archive[1] if archive else "ravd" if "ltrans" in origin or ".cpp.o" in origin else os.path.basename(origin)
            name = "ravd" if name.startswith("libravd") else name
            archives[name] = archives.get(name, 0) + int(size, 16)
    symbols = [(int(size), name) for size, name in
               re.findall(r"^\S+ (\d+) \S (.*)$", output_of(prefix + "nm", "-S", "-C", "-t", "d", "--size-sort", program), re.M)]
    return {"stripped": os.path.getsize(stripped), "sections": sections, "archives": archives, "symbols": symbols[::-1]}


def table(title, columns, rows):
    """`rows`: name -> values in the order of `columns`, None where there is none."""
    width = max([len(title)] + [len(name) for name in rows]) + 2
    print(f"\n{title:{width}}" + "".join(f"{column:>20}" for column in columns))
    for name, values in rows.items():
        shown = ["-" if value is None else f"{value:.0f}" if value >= 100 or value == int(value) else f"{value:.1f}"
                 for value in values]
        print(f"{name:{width}}" + "".join(f"{value:>20}" for value in shown))


def images(directory):
    read = {}
    for machine, preset, prefix in IMAGES:
        for runtime in ("shared", "linked-in"):
            read[f"{machine} {runtime}"] = read_image(os.path.join(directory, f"{preset}-{runtime}"), prefix)
    rows = {"stripped": [image["stripped"] for image in read.values()]}
    for name in SECTIONS:
        rows[name] = [int(image["sections"][name]) if name in image["sections"] else None for image in read.values()]
    table("bytes", read, rows)
    rows = {}
    for name in sorted({name for image in read.values() for name in image["archives"]}):
        values = [image["archives"].get(name) for image in read.values()]
        if max(value or 0 for value in values) >= 1024:
            rows["from " + name] = values
    table("largest contributors, bytes", read, rows)
    for column, image in read.items():
        if column.endswith("linked-in"):
            print(f"\nlargest of {column}: " + ", ".join(f"{name[:60]} {size}" for size, name in image["symbols"][:10]))


class Listener:
    """Notes when the first byte of a connection comes, and answers nothing."""

    def __init__(self):
        self.first = None

    async def __aenter__(self):
        self.server = await asyncio.start_server(self.serve, "127.0.0.1", 0)
        self.port = self.server.sockets[0].getsockname()[1]
        return self

    async def serve(self, reader, writer):
        if await reader.read(1):
            self.first = self.first or time.monotonic()
        writer.close()

    async def __aexit__(self, *_):
        self.server.close()
        await self.server.wait_closed()


async def first_byte_ms(rounds=5):
    """From start to the first byte to the service: bare client, daemon (without the delay that it draws)."""
    bare, ours = [], []
    for _ in range(rounds):
        async with Place() as place, Listener() as listener:
            began = time.monotonic()
            await place.start(["bare_client", "127.0.0.1", str(listener.port)])
            await until(lambda: listener.first, "the bare client connects")
            bare.append((listener.first - began) * 1000)
        async with Place() as place, Listener() as listener:
            times = {}

            def note(line, times=times):
                for event in ("Delay before connection", "Try to establish connect"):
                    if event in line:
                        times.setdefault(event, time.monotonic())

            daemon = place.add(Daemon(place.directory, note))
            began = time.monotonic()
            await daemon.begin(listener.port, log_level=15)
            await until(lambda: listener.first and len(times) == 2, "the daemon connects")
            drawn, tried = times.values()
            ours.append((drawn - began + listener.first - tried) * 1000)
    return sorted(bare)[rounds // 2], sorted(ours)[rounds // 2]


async def hostapd_in(place):
    path = place.write("hostapd.conf", f"interface=lo\ndriver=none\nctrl_interface={place.path('control')}\nssid=none\n")
    program = await place.start([shutil.which("hostapd", path="/usr/sbin:/usr/bin:" + os.environ["PATH"]), path])
    await program.line("AP-ENABLED")
    return program


def write_back(*paths):
    """Until its file is on the disk, the pages of a program just built count as changed by the process that runs it."""
    for path in paths:
        descriptor = os.open(path, os.O_RDONLY)
        os.fsync(descriptor)
        os.close(descriptor)


async def running(seconds):
    write_back(*(os.path.join(Build.directory, name) for name in ("bare_client", "ravd-sim")))
    bare_ms, ours_ms = await first_byte_ms()
    async with Place() as place, Place() as home:
        service = await place.start(["ravd-sim-service", "--quiet", "--no-input"])
        port = (await service.line(r"listening on .*:(\d+)"))[1]
        programs = {"bare client": await place.start(["bare_client", "127.0.0.1", port]),
                    "hostapd, no radio": await hostapd_in(place)}
        bridge = programs["ravd, bridge"] = place.add(Daemon(place.directory))
        await bridge.begin(port, mode="roam", log_level=0)
        await home.add(AccessPoint(home.directory)).begin(os.path.join(SCENARIOS, "small-office.json"))
        agent = programs["ravd, agent"] = home.add(Daemon(home.directory))
        await agent.begin(port, log_level=0)
        await until(agent.marker, "the agent subscribes", 60)
        await asyncio.sleep(5)  # what it does once is over
        pids = [program.process.pid for program in programs.values()]
        before = [(usage.cpu_fine_s(pid), usage.wake_ups(pid)) for pid in pids]
        await asyncio.sleep(seconds)
        check(all(program.runs() for program in programs.values()), "one of them ended")
        rows = {f"{name}, kB": [usage.memory_kb(pid)[name] for pid in pids] for name in ("Rss", "Pss", "Private_Dirty")}
        rows["threads"] = [usage.status(pid, "Threads") for pid in pids]
        rows["descriptors"] = [usage.descriptors(pid) for pid in pids]
        rows["wake-ups an idle minute"] = [(usage.wake_ups(pid) - was[1]) * 60 / seconds for pid, was in zip(pids, before)]
        rows["CPU ms an idle minute"] = [(usage.cpu_fine_s(pid) - was[0]) * 60000 / seconds for pid, was in zip(pids, before)]
        rows["start to first byte, ms"] = [bare_ms, None, None, ours_ms]
        table(f"idle for {seconds} s", programs, rows)


def main(arguments):
    Build.directory = arguments.build
    images(arguments.images)
    asyncio.run(running(arguments.seconds))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--images", required=True)
    parser.add_argument("--seconds", type=int, default=60)
    main(parser.parse_args())
