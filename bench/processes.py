"""Whole processes, measured in this run: the roaming bridge beside a Node script, what a filling of the table of radios and
VAPs asks of a simulated access point, an idle agent beside a bare client.

    processes.py --build DIRECTORY [--all]      --all adds the slow ones
"""

import argparse
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Place:
    """A directory of its own, and what runs in it."""

    def __init__(self, build):
        self.build = build
        self.directory = tempfile.mkdtemp(prefix="ravd-bench-")
        self.running = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in reversed(self.running):
            process.terminate()
        for process in self.running:
            try:
                process.wait(5)
            except subprocess.TimeoutExpired:
                process.kill()
        shutil.rmtree(self.directory, ignore_errors=True)

    def start(self, arguments, **options):
        if os.path.exists(os.path.join(self.build, arguments[0])):
            arguments = [os.path.join(self.build, arguments[0])] + arguments[1:]
        options.setdefault("stdout", subprocess.DEVNULL)
        options.setdefault("stderr", subprocess.DEVNULL)
        environment = {**os.environ, "RAVD_SIM_DIR": self.directory}
        process = subprocess.Popen(arguments, env=environment, text=True, **options)
        self.running.append(process)
        return process

    def write(self, name, text):
        path = os.path.join(self.directory, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path


def measure_bridge(build, kind):
    with Place(build) as place:
        port = free_port()
        bus = os.path.join(place.directory, "run/ravd-bus")
        load = place.start(["bridge_load", str(port), bus], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=None)
        load.stdout.readline()
        if kind == "node":
            bridge = place.start(["node", os.path.join(HERE, "node_bridge.js"), f"ws://127.0.0.1:{port}/roam", bus])
        else:
            config = place.write("ravd.conf", f"roam_service_url=ws://127.0.0.1:{port}/roam\nlog_level=0\n")
            bridge = place.start(["ravd-sim", "-f", config])
        out, _ = load.communicate(f"{bridge.pid}\n", timeout=300)
        if load.returncode != 0:
            sys.exit(f"the load on the {kind} bridge failed")
        return {name: float(value) for name, value in (line.split() for line in out.splitlines())}


def bridge():
    ours = measure_bridge(ARGUMENTS.build, "ravd")
    if not shutil.which("node") or not os.path.isdir(os.path.join(HERE, "node_modules/ws")):
        print("  (no Node with the ws package here: the daemon's figures only)")
        node = {}
    else:
        node = measure_bridge(ARGUMENTS.build, "node")
    print(f"  {'roaming bridge':22} {'ravd':>12} {'Node + ws':>12} {'ratio':>8}")
    for name, value in ours.items():
        other = node.get(name)
        ratio = f"{value / other:8.2f}" if other else ""
        print(f"  {name:22} {value:12.2f} {other if other is not None else float('nan'):12.2f} {ratio}")


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


def context(rounds=100):
    print(f"\n  {'filling of the table':22} {'requests':>9} {'described':>9} {'ioctls':>7} {'commands':>9} {'median ms':>10} "
          f"{'slowest ms':>11}")
    for name in ("small-office", "wds", "one-radio-down", "wifi6"):
        path = os.path.join(HERE, f"../sim/ap/scenarios/{name}.json")
        with open(path, encoding="utf-8") as file:
            described = list(described_settings(json.load(file)))
        with Place(ARGUMENTS.build) as place:
            place.start(["ravd-sim-ap", path, "--dir", place.directory], stdin=subprocess.PIPE)
            deadline = time.monotonic() + 10
            while not os.path.exists(os.path.join(place.directory, "run/ravd-bus/1.sock")):
                if time.monotonic() > deadline:
                    sys.exit("the access point did not start")
                time.sleep(0.05)
            load = place.start(["context_load", str(rounds)], stdout=subprocess.PIPE, stderr=None)
            out, _ = load.communicate(timeout=300)
        if load.returncode != 0:
            sys.exit(f"no filling on {name}")
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


def memory_kb(pid):
    wanted = {"Rss": 0, "Pss": 0, "Private_Dirty": 0}
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as file:
        for line in file:
            name = line.split(":")[0]
            if name in wanted:
                wanted[name] = int(line.split()[1])
    return wanted


def cpu_s(pid):
    with open(f"/proc/{pid}/stat", encoding="ascii") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def switches(pid):
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{task}/status", encoding="ascii") as file:
            total += sum(int(line.split()[1]) for line in file if line.startswith("voluntary_ctxt_switches"))
    return total


def idle(seconds=60):
    with Place(ARGUMENTS.build) as place:
        service = place.start(["ravd-sim-service", "--quiet"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        port = service.stdout.readline().rsplit(":", 1)[1].strip()
        columns = {}
        bare = place.start(["bare_client", "127.0.0.1", port])
        conf = place.write("roam.conf", f"roam_service_url=ws://127.0.0.1:{port}/roam\nlog_level=0\n")
        roaming = place.start(["ravd-sim", "-f", conf])
        with Place(ARGUMENTS.build) as home:
            scenario = os.path.join(HERE, "../sim/ap/scenarios/small-office.json")
            home.start(["ravd-sim-ap", scenario, "--dir", home.directory], stdin=subprocess.PIPE)
            time.sleep(2)
            conf = home.write("ravd.conf", f"corvane_service_url=ws://127.0.0.1:{port}/agent\nlog_level=0\n")
            agent = home.start(["ravd-sim", "-f", conf])
            deadline = time.monotonic() + 60
            while not os.path.exists(os.path.join(home.directory, "tmp/.corvane-connected")):
                if time.monotonic() > deadline:
                    sys.exit("the agent did not subscribe")
                time.sleep(0.1)
            before = {name: (cpu_s(p.pid), switches(p.pid))
                      for name, p in (("bare client", bare), ("roaming", roaming), ("agent", agent))}
            time.sleep(seconds)
            for name, process in (("bare client", bare), ("roaming", roaming), ("agent", agent)):
                figures = memory_kb(process.pid)
                figures["CPU %"] = (cpu_s(process.pid) - before[name][0]) / seconds * 100
                figures["wake-ups/s"] = (switches(process.pid) - before[name][1]) / seconds
                columns[name] = figures
        print(f"  {f'idle for {seconds} s':16}" + "".join(f"{name:>14}" for name in columns) + "   over bare")
        for key in columns["bare client"]:
            row = [columns[name][key] for name in columns]
            ratios = " ".join(f"{value / row[0]:6.2f}" for value in row[1:]) if row[0] else ""
            print(f"  {key:16}" + "".join(f"{value:14.2f}" for value in row) + "   " + ratios)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--all", action="store_true")
    ARGUMENTS = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    bridge()
    context()
    if ARGUMENTS.all:
        idle()
