"""A session: access point, daemon and service in a directory of their own, told as a coroutine."""
import copy
import os
import shutil
import tempfile

from programs import AccessPoint, Daemon
from service import Service, accept

OFFICE = {
    "name": "session", "seed": 7,
    "factory": {"board": "sim-ap", "hw": "1", "serial": "SIM0000011", "mac": "02:00:5e:11:00:10"},
    "radios": [
        {"channel": 6, "power": 16, "power_min": 8, "power_max": 20, "channels": [1, 6, 11],
         "vaps": [{"ssid": "office", "kv": True, "stations": [{"mac": "06:00:00:00:00:01", "rssi": -48},
                                                              {"mac": "06:00:00:00:00:02", "rssi": -62, "v": False},
                                                              {"mac": "06:00:00:00:00:03", "rssi": -76}]},
                  {"ssid": "guest/1", "kv": False}]},
        {"channel": 36, "bandwidth": 80, "power": 18, "power_min": 8, "power_max": 23, "limit_channels": [36, 40, 44, 48],
         "vaps": [{"ssid": "office", "kv": True, "ft": True}]}],
    "neighbours": [
        {"bssid": "06:aa:00:00:00:01", "ssid": "other", "channel": 6, "rssi": -50, "power": 17},
        {"bssid": "06:aa:00:00:00:02", "ssid": "cafe", "channel": 11, "rssi": -55},
        {"bssid": "06:aa:00:00:00:03", "ssid": "other", "channel": 36, "bandwidth": 80, "rssi": -60, "power": 20}]}


class Session:
    def __init__(self, name):
        self.name = name
        self.directory = tempfile.mkdtemp(prefix="ravd-s-")
        self.ap = AccessPoint(self.directory)
        self.daemon = Daemon(self.directory)
        self.service = Service()
        self.notes = []  # measured on the way
        self.office = copy.deepcopy(OFFICE)  # to be changed before the start

    async def start(self):
        """Access point, service and daemon run; the link is up."""
        await self.service.start()
        await self.ap.begin(self.office)
        await self.daemon.begin(self.service.port)
        return await self.service.link()

    async def subscribed(self, **members):
        """... and the agent has been accepted. `members` go into the answer."""
        link = await self.start()
        await self.accept(link, **members)
        return link

    async def accept(self, link, **members):
        request = await link.next("subscribe-request")
        await link.send(accept(**members))
        await link.alive()  # the answer has been taken
        return request

    async def restart_hostapd(self, link):
        """While subscribed; a shorter pause than this might not be seen. Returns what is told when it stops."""
        await self.ap.tell("hostapd stop")
        gone = await link.skip_to("rrm-disassoc-all-clients")
        await self.ap.tell("hostapd start")
        return gone

    def device(self, path):
        return self.directory + path

    def touch(self, *names):
        """Notifications as a neighbour daemon leaves them; the last one announces the others."""
        for name in names:
            with open(self.device("/tmp/.corvane_notify" + name), "w", encoding="utf-8"):
                pass

    async def end(self):
        await self.daemon.kill()
        await self.ap.kill()
        if hasattr(self.service, "server"):
            await self.service.stop()
        shutil.rmtree(self.directory, ignore_errors=True)

    def report(self):
        """What happened last, for a failure."""
        lines = []
        for number, link in enumerate(self.service.links):
            lines += [f"  link {number}: {entry}" for entry in link.history[-12:]]
        for program in (self.ap, self.daemon):
            lines += [f"  {program.name}: {line[:300]}" for line in program.lines[-12:]]
            if program.process and program.process.returncode is not None:
                lines.append(f"  {program.name} ended with status {program.process.returncode}")
        return "\n".join(lines)
