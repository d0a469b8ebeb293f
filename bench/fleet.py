"""Many agents on one machine: what each costs, and how a restarted service gets them back.

    fleet.py --build DIRECTORY [--agents N] [--seconds N] [--delays INITIAL MOST] [--tls]

Starts N simulated access points, then their agents in the same moment against one service, lets them rest, kills the
service, starts it again on the same port and shows when they came back and what that cost. With --tls the service and each
agent show each other a certificate.
"""
import argparse
import asyncio
import os
import re
import resource
import time

from processes import HERE, SCENARIOS, Build, Place, check, free_port, until, usage
from processes import AccessPoint, Daemon

LIMIT_S = 300


class Service:
    """The lab service, and when each agent was accepted, in seconds since its start. `lab`: its certificates, or None."""

    def __init__(self, place, lab):
        self.place = place
        self.tls = ["--tls-cert", lab + "/server.pem", "--tls-key", lab + "/server.key",
                    "--tls-client-ca", lab + "/ca.pem"] if lab else []
        self.port = free_port()
        self.arrivals = []
        self.begin = 0

    async def start(self):
        self.arrivals = []
        self.program = await self.place.start(["ravd-sim-service", "--port", str(self.port), "--no-input",
                                               "--max-agents", "100000", *self.tls], show=self.hear)
        await self.program.line("listening on")
        self.begin = time.monotonic()

    def hear(self, line):
        if re.search(r"<- .*subscribe-response", line):
            self.arrivals.append(time.monotonic() - self.begin)


def histogram(times):
    """A line for each of some fifteen spans of time, and the busiest second."""
    width = max(1, round(max(times) / 15))
    counts = [sum(begin <= t < begin + width for t in times) for begin in range(0, int(max(times)) + 1, width)]
    scale = max(1, max(counts) / 70)
    for number, count in enumerate(counts):
        print(f"    {number * width:3} .. {(number + 1) * width:3} s {count:4}  {'#' * round(count / scale)}")
    seconds = [int(t) for t in times]
    print(f"    last after {max(times):.1f} s; most in one second: {max(seconds.count(s) for s in set(seconds))} of "
          f"{len(times)}")


def row(name, values, unit):
    ordered = sorted(values)
    print(f"  {name:22} mean {sum(ordered) / len(ordered):9.2f}   least {ordered[0]:9.2f}   most {ordered[-1]:9.2f} {unit}")


async def main(arguments):
    Build.directory = arguments.build
    _, most = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    homes = [Place() for _ in range(arguments.agents)]
    keys = dict(zip(("initial_connection_delay", "max_connection_delay"), arguments.delays))
    async with Place() as place:
        lab = None
        if arguments.tls:
            lab = place.path("lab")
            status, out = await place.run(os.path.join(HERE, "../scripts/lab-certs"), lab)
            check(status == 0, out)
            keys.update(tls_ca_file=lab + "/ca.pem", tls_cert_file=lab + "/client.pem", tls_key_file=lab + "/client.key")
        service = Service(place, lab)
        try:
            await service.start()
            for home in homes:
                home.access_point = home.add(AccessPoint(home.directory))
                await home.access_point.begin(os.path.join(SCENARIOS, "small-office.json"))
            began = time.monotonic()
            agents = [home.add(Daemon(home.directory)) for home in homes]
            for agent in agents:
                await agent.begin(service.port, log_level=1, **keys)
            print(f"  {len(agents)} agents started within {time.monotonic() - began:.2f} s, {'over TLS' if lab else 'plain'}; "
                  f"delays {arguments.delays[0]} s, at most {arguments.delays[1]} s")
            await until(lambda: all(agent.marker() for agent in agents), "every agent subscribes", LIMIT_S)
            print("  subscribed for the first time:")
            histogram(service.arrivals)
            await measure(arguments.seconds, agents, service.program)

            used = sum(usage.cpu_fine_s(agent.process.pid) for agent in agents)
            await service.program.kill()
            await service.start()
            ready = usage.cpu_fine_s(service.program.process.pid)
            await until(lambda: len(service.arrivals) >= len(agents), "every agent comes back", LIMIT_S)
            print("  subscribed again after a restart of the service:")
            histogram(service.arrivals)
            used = sum(usage.cpu_fine_s(agent.process.pid) for agent in agents) - used
            ready = usage.cpu_fine_s(service.program.process.pid) - ready
            print(f"    CPU for each return: service {ready * 1000 / len(agents):.2f} ms, that is "
                  f"{len(agents) / ready:.0f} a second of one core; agent {used * 1000 / len(agents):.2f} ms")
            check(all(agent.runs() for agent in agents), "an agent ended")
        finally:
            await asyncio.gather(*(home.__aexit__() for home in homes))


async def measure(seconds, agents, service):
    await asyncio.sleep(5)
    pids = [agent.process.pid for agent in agents]
    everybody = pids + [service.process.pid]
    before = {pid: (usage.cpu_fine_s(pid), usage.wake_ups(pid)) for pid in everybody}
    await asyncio.sleep(seconds)
    for program in [*agents, service]:
        check(program.runs(), f"{program.name} ended:", program.process.returncode, program.lines[-5:])
    cpu = {pid: (usage.cpu_fine_s(pid) - before[pid][0]) * 60000 / seconds for pid in everybody}
    print(f"  each agent, subscribed and idle for {seconds} s:")
    row("CPU", [cpu[pid] for pid in pids], "ms/min")
    row("wake-ups", [(usage.wake_ups(pid) - before[pid][1]) * 60 / seconds for pid in pids], "/min")
    memory = [usage.memory_kb(pid) for pid in pids]
    for name in memory[0]:
        row(name, [figures[name] for figures in memory], "kB")
    own = usage.memory_kb(service.process.pid)
    print(f"  the service: {cpu[service.process.pid]:.0f} ms/min, {own['Rss']} kB resident")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--agents", type=int, default=30)
    parser.add_argument("--seconds", type=int, default=30)
    parser.add_argument("--delays", type=int, nargs=2, default=[10, 60], metavar=("INITIAL", "MOST"))
    parser.add_argument("--tls", action="store_true")
    asyncio.run(main(parser.parse_args()))
