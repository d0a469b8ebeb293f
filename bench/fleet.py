"""Many agents on one machine: what each costs, and how a restarted service gets them back.

    fleet.py --build DIRECTORY [--agents N] [--seconds N]

Starts N simulated access points and their agents in the same second against one service, lets them rest, then kills the
service, starts it again on the same port and shows when they came back.
"""

import argparse
import os
import signal
import subprocess
import sys
import threading
import time

from processes import HERE, Place, cpu_s, free_port, memory_kb

START_LIMIT_S = 120
RETURN_LIMIT_S = 120


class Service:
    """The lab service, and when agents connected to it, in seconds since its start."""

    def __init__(self, place, port):
        self.arrivals = []
        self.lock = threading.Lock()
        self.process = place.start(["ravd-sim-service", "--port", str(port), "--no-input"], stdout=subprocess.PIPE)
        self.process.stdout.readline()
        self.begin = time.monotonic()
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        for line in self.process.stdout:
            if " connected from " in line:
                with self.lock:
                    self.arrivals.append(time.monotonic() - self.begin)

    def count(self):
        with self.lock:
            return len(self.arrivals)


def wait_until(condition, limit_s, complaint):
    deadline = time.monotonic() + limit_s
    while not condition():
        if time.monotonic() > deadline:
            sys.exit(complaint)
        time.sleep(0.05)


def histogram(times, width=5):
    for begin in range(0, int(max(times)) + 1, width):
        count = sum(begin <= t < begin + width for t in times)
        print(f"    {begin:3} .. {begin + width:3} s  {count:3}  {'#' * count}")
    seconds = [int(t) for t in times]
    print(f"    most in one second: {max(seconds.count(s) for s in seconds)} of {len(times)}")


def row(name, values, unit):
    ordered = sorted(values)
    print(f"  {name:22} mean {sum(ordered) / len(ordered):9.2f}   least {ordered[0]:9.2f}   most {ordered[-1]:9.2f} {unit}")


def main(arguments):
    port = free_port()
    scenario = os.path.join(HERE, "../sim/ap/scenarios/small-office.json")
    homes = []
    with Place(arguments.build) as place:
        service = Service(place, port)
        try:
            for _ in range(arguments.agents):
                home = Place(arguments.build)
                homes.append(home)
                home.start(["ravd-sim-ap", scenario, "--dir", home.directory], stdin=subprocess.PIPE)
                home.write("ravd.conf", f"corvane_service_url=ws://127.0.0.1:{port}/agent\nlog_level=0\n"
                                        "initial_connection_delay=10\nmax_connection_delay=60\n")
            time.sleep(3)
            begin = time.monotonic()
            agents = [home.start(["ravd-sim", "-f", os.path.join(home.directory, "ravd.conf")]) for home in homes]
            print(f"  {arguments.agents} agents started within {time.monotonic() - begin:.2f} s; "
                  "delays 10 s, at most 60 s")
            marks = [os.path.join(home.directory, "tmp/.corvane-connected") for home in homes]
            wait_until(lambda: all(map(os.path.exists, marks)), START_LIMIT_S, "not every agent subscribed")

            before = [cpu_s(agent.pid) for agent in agents]
            time.sleep(arguments.seconds)
            memory = [memory_kb(agent.pid) for agent in agents]
            row("CPU", [(cpu_s(agent.pid) - was) * 100 / arguments.seconds
                        for agent, was in zip(agents, before)], "%")
            for name in memory[0]:
                row(name, [figures[name] for figures in memory], "kB")

            service.process.send_signal(signal.SIGKILL)
            service.process.wait()
            service = Service(place, port)
            wait_until(lambda: service.count() >= arguments.agents, RETURN_LIMIT_S, "not every agent came back")
            print("  back after a restart of the service:")
            histogram(service.arrivals)
        finally:
            for home in homes:
                home.__exit__()


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--agents", type=int, default=30)
    parser.add_argument("--seconds", type=int, default=30)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    main(parser.parse_args())
