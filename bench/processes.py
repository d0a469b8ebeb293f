"""Whole processes, measured in this run: the roaming bridge beside a Node script, what a filling of the table of radios and
VAPs asks of a simulated access point, an idle agent beside a bare client.

    processes.py --build DIRECTORY [--rounds N] [--only bridge|context|idle] [--all]      --all adds the slow ones
"""

import argparse
import asyncio
import json
import os
import shutil
import statistics
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
SCENARIOS = os.path.join(HERE, "../sim/ap/scenarios")
sys.path.insert(0, os.path.join(HERE, "../scripts/lib"))
from lab import usage  # noqa: E402
from lab.processes import Build, Place, check, free_port, until  # noqa: E402
from lab.programs import AccessPoint, Daemon  # noqa: E402


async def measure_bridge(kind):
    async with Place() as place:
        port = free_port()
        bus = place.path("run/ravd-bus")
        load = await place.start(["bridge_load", str(port), bus], errors=None)
        await load.line("")
        if kind == "node":
            bridging = await place.start(["node", os.path.join(HERE, "node_bridge.js"), f"ws://127.0.0.1:{port}/agent", bus])
        else:
            bridging = place.add(Daemon(place.directory))
            await bridging.begin(port, mode="roam", log_level=0)
        await load.say(str(bridging.process.pid))
        load.process.stdin.close()
        check(await load.ended(300) == 0, f"the load on the {kind} bridge failed")
        return {name: float(value) for name, value in (line.split() for line in load.lines[1:])}


async def bridge(rounds):
    """Medians of `rounds` runs of each kind, in turns, so that what else the machine does hits both alike."""
    kinds = ["ravd", "node"]
    if not shutil.which("node") or not os.path.isdir(os.path.join(HERE, "node_modules/ws")):
        print("  (no Node with the ws package here: the daemon's figures only)")
        kinds.remove("node")
    runs = {kind: [] for kind in kinds}
    for number in range(rounds * len(kinds)):
        kind = kinds[number % len(kinds)]
        runs[kind].append(await measure_bridge(kind))
    medians = {kind: {name: statistics.median(run[name] for run in runs[kind]) for name in runs[kind][0]} for kind in kinds}
    print(f"  {'roaming bridge':24} " + "".join(f"{kind:>12}" for kind in kinds) + f"   ratio, medians of {rounds}")
    for name in medians["ravd"]:
        values = [medians[kind][name] for kind in kinds]
        ratio = f"{values[0] / values[1]:8.2f}" if len(values) > 1 and values[1] else ""
        print(f"  {name:24} " + "".join(f"{value:12.3f}" for value in values) + ratio)


def described_settings(scenario):
    """Paths of the settings that one filling of the table reads, in order."""
    for number, radio in enumerate(scenario["radios"]):
        if not radio.get("up", True):
            continue
        name = f"/interface/wlan{number}"
        yield name + "/wlan/wds/enabled"
        if radio.get("wds", False):
            yield name + "-wds0/common/enabled"  # this one is enabled: no more of them are read
        for key in ("country", "bandwidth", "control-sideband", "tx-power-max", "tx-power-min"):
            if key != "control-sideband" or radio.get("bandwidth", 20) != 80:
                yield f"{name}/wlan/radio/{key}"
        for vap, one in enumerate(radio["vaps"]):
            if one.get("enabled", True):
                for key in ("common/enabled", "vap/ssid", "vap/captive-portal/enabled", "vap/ap-security/mode",
                            "vap/w80211kv-config/enabled"):
                    yield f"{name}-va{vap}/{key}"


async def context(rounds=100):
    print(f"\n  {'filling of the table':22} {'requests':>9} {'described':>9} {'ioctls':>7} {'commands':>9} {'median ms':>10} "
          f"{'slowest ms':>11}")
    for name in ("small-office", "wds", "one-radio-down", "wifi6"):
        path = os.path.join(SCENARIOS, name + ".json")
        with open(path, encoding="utf-8") as file:
            described = list(described_settings(json.load(file)))
        async with Place() as place:
            await place.add(AccessPoint(place.directory)).begin(path)
            status, out = await place.run("context_load", str(rounds), seconds=300, errors=None)
        check(status == 0, f"no filling on {name}")
        requests = []
        figures = {}
        for line in out.splitlines():
            key, value = line.split(" ", 1)
            if key == "request":
                requests.append(json.loads(value)["path"])
            else:
                figures[key] = float(value)
        print(f"  {name:22} {len(requests):9} {len(described):9} {figures['ioctls']:7.0f} {figures['commands']:9.0f} "
              f"{figures['median_ms']:10.3f} {figures['slowest_ms']:11.3f}")
        if requests != described:
            sys.exit(f"other requests than described on {name}: {sorted(set(requests) ^ set(described)) or requests}")


async def idle(seconds=60):
    async with Place() as place, Place() as home:
        service = await place.start(["ravd-sim-service", "--quiet", "--no-input"])
        port = (await service.line(r"listening on .*:(\d+)"))[1]
        bare = await place.start(["bare_client", "127.0.0.1", port])
        roaming = place.add(Daemon(place.directory))
        await roaming.begin(port, mode="roam", log_level=0)
        await home.add(AccessPoint(home.directory)).begin(os.path.join(SCENARIOS, "small-office.json"))
        agent = home.add(Daemon(home.directory))
        await agent.begin(port, log_level=0)
        await until(agent.marker, "the agent subscribes", 60)
        await asyncio.sleep(3)  # what it does once is over
        pids = {"bare client": bare.process.pid, "roaming": roaming.process.pid, "agent": agent.process.pid}
        before = {name: (usage.cpu_fine_s(pid), usage.wake_ups(pid)) for name, pid in pids.items()}
        await asyncio.sleep(seconds)
        columns = {}
        for name, pid in pids.items():
            cpu, wake_ups = usage.cpu_fine_s(pid) - before[name][0], usage.wake_ups(pid) - before[name][1]
            columns[name] = {**usage.memory_kb(pid), "CPU ms/min": cpu * 60000 / seconds,
                             "wake-ups/min": wake_ups * 60 / seconds}
        print(f"  {f'idle for {seconds} s':16}" + "".join(f"{name:>14}" for name in columns) + "   over bare")
        for key in columns["bare client"]:
            row = [columns[name][key] for name in columns]
            ratios = " ".join(f"{value / row[0]:6.2f}" for value in row[1:]) if row[0] else ""
            print(f"  {key:16}" + "".join(f"{value:14.2f}" for value in row) + "   " + ratios)


async def main(arguments):
    Build.directory = arguments.build
    if arguments.only in (None, "bridge"):
        await bridge(arguments.rounds)
    if arguments.only in (None, "context"):
        await context()
    if arguments.only == "idle" or (arguments.all and not arguments.only):
        await idle()


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--rounds", type=int, default=3, help="of the bridge beside Node")
    parser.add_argument("--only", choices=["bridge", "context", "idle"])
    parser.add_argument("--all", action="store_true")
    asyncio.run(main(parser.parse_args()))
