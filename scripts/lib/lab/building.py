"""Several simulated access points with their daemons beside one service with the console."""
import asyncio
import json
import math
import os

from lab.processes import Place, check
from lab.programs import AccessPoint, Daemon

CHANNELS = {2: [1, 6, 11], 5: [36, 40, 44, 48, 52, 56, 60, 64]}
SHOPS = ["bakery", "Café Öller", "upstairs", "printer-7", "guest", "tv"]


def mac(number, offset=0):
    return f"02:00:5e:{number >> 8:02x}:{number & 255:02x}:{0x10 + offset:02x}"


def place(number):
    """Metres: rooms along two corridors, none where one would expect it."""
    return 11.0 * (number // 2) + (number * 7 % 5), 14.0 * (number % 2) + (number * 3 % 4)


def heard(a, b, power, band):
    """dBm over the distance of two places, with a light wall every few metres."""
    metres = max(math.hypot(a[0] - b[0], a[1] - b[1]), 1)
    return round(power - (40 if band == 2 else 46) - 28 * math.log10(metres) - 0.3 * metres)


def start_of(number):
    """(channel at 2.4 GHz, channel at 5 GHz): as careless as installers are."""
    return CHANNELS[2][0 if number % 3 else 1], CHANNELS[5][0 if number % 4 else 4]


def scenario(number, count, stations=4):
    here = place(number)
    low, high = start_of(number)
    neighbours = []
    for other in range(count):
        if other == number:
            continue
        channels = start_of(other)
        neighbours.append({"bssid": mac(other, 1), "ssid": "office", "channel": channels[0], "rssi": heard(here, place(other), 18, 2), "power": 18})
        neighbours.append({"bssid": mac(other, 9), "ssid": "office", "channel": channels[1], "bandwidth": 80, "rssi": heard(here, place(other), 20, 5), "power": 20})
    for shop, name in enumerate(SHOPS):
        at = (9.0 * shop, -6.0)
        band = 2 if shop % 3 else 5
        neighbours.append({"bssid": f"06:aa:00:00:00:{shop:02x}", "ssid": name, "channel": (1, 6, 11)[shop % 3] if band == 2 else 44,
                           **({} if band == 2 else {"bandwidth": 40}), "rssi": heard(here, at, 17, band)})
    neighbours = [one for one in neighbours if one["rssi"] > -92]
    clients = [{"mac": f"06:00:00:00:{number:02x}:{i:02x}", "rssi": -46 - 6 * i - number % 5} for i in range(stations + number % 4)]
    return {
        "name": f"room {number}", "seed": number + 1,
        "factory": {"board": "sim-ap", "hw": "1", "serial": f"SIM{number:07}", "mac": mac(number)},
        "radios": [
            {"channel": low, "power": 18, "power_min": 8, "power_max": 20, "channels": list(range(1, 14)),
             "vaps": [{"ssid": "office", "kv": True, "stations": clients[::2]}, {"ssid": "guests", "kv": True}]},
            {"channel": high, "bandwidth": 80, "power": 20, "power_min": 8, "power_max": 23, "limit_channels": CHANNELS[5],
             "vaps": [{"ssid": "office", "kv": True, "ft": True, "stations": clients[1::2]}]}],
        "neighbours": neighbours}


class Building(Place):
    """Rooms, each with an access point and a daemon in a directory of its own, and one service."""

    async def serve(self, *options, show=None):
        """The service with its console; (port for agents, address of the page)."""
        self.service = await self.start(["ravd-sim-service", "--web", "0", *options], "service", show)
        self.port = int((await self.service.line(r"listening on 127\.0\.0\.1:(\d+)"))[1])
        self.page = (await self.service.line(r"console at (http://\S+)"))[1]

    async def replay(self, log):
        self.service = await self.start(["ravd-sim-service", "--replay", log, "--web", "0"], "service")
        self.page = (await self.service.line(r"console at (http://\S+)"))[1]

    async def room(self, number, count, speed=20, **keys):
        """One access point and its daemon. The daemon."""
        directory = self.path(f"ap{number}")
        os.mkdir(directory)
        ap = self.add(AccessPoint(directory))
        await ap.begin(scenario(number, count), "--speed", str(speed))
        daemon = self.add(Daemon(directory))
        daemon.ap = ap
        await daemon.begin(self.port, initial_connection_delay=0, max_connection_delay=0, ap_location="building-3", **keys)
        return daemon

    async def rooms(self, count, **options):
        return await asyncio.gather(*(self.room(number, count, **options) for number in range(count)))

    async def tell(self, line):
        """A command for the service, as at its terminal."""
        await self.service.say(line)


def recorded(count, minutes, report_every=60):
    """Lines of a log: `count` access points that report every minute, as --log writes them."""
    for minute in range(minutes):
        for number in range(count):
            at = minute * 60 + number * report_every // count
            stamp = f"2026-03-02T{8 + at // 3600:02}:{at // 60 % 60:02}:{at % 60:02}.{number % 1000:03}Z"
            yield from entries(number, count, minute, stamp)


def entries(number, count, minute, stamp):
    start = {"time": stamp, "agent": number + 1}
    base = mac(number).upper()

    def message(direction, cmd, **members):
        body = {"version": "2.4", "service": "rrm", "cmd": cmd, "ap-mac": base, **members}
        return json.dumps({**start, "ap-mac": base, "direction": direction, "size": len(json.dumps(body)), "message": body})

    if minute == 0:
        yield json.dumps({**start, "event": "connected from 127.0.0.1:4000 websock-rrm /"})
        yield message("received", "subscribe-request", domain="building-3", **{"ap-mac-count": 16, "use-wildcard-80211r": 0,
                      "factory": {"board": "sim-ap", "hw": "1", "serial": f"SIM{number:07}", "mac": base}}, radios=radios(number, minute, True))
        yield message("sent", "subscribe-response", status="success")
    yield message("received", "rrm-response", domain="building-3", radios=radios(number, minute, False), **{"rf-environment": environment(number, count, minute)})
    yield message("received", "rrm-mode-response", domain="building-3", radios=radios(number, minute, True))


def radios(number, minute, stations):
    made = []
    for radio, channel in enumerate(start_of(number)):
        one = {"id": radio, "status": 1, "mac-offset": 8 * radio, "radio-mac-count": 8, "locked-for-dca": 0, "locked-for-tpc": 0,
               "locked-for-balancer": 1, "locked-for-80211v": 0, "power": 18, "power-max": 20, "power-min": 8, "channel": channel,
               "band": (2, 5)[radio], "bandwidth": (20, 80)[radio], "primary-channel": "none",
               "available-channels": "".join(f"{free} " for free in CHANNELS[(2, 5)[radio]]),
               "vaps": [{"id": 0, "ssid": "office", "mac": mac(number, 1 + 8 * radio), "802dot11k": 1, "802dot11r": 0}]}
        if stations:
            one["assoclist"] = [{"mac": f"06:00:00:{radio:02x}:{number & 255:02x}:{i:02x}", "ssid": "office", "rssi": -45 - 6 * i - (minute + i) % 5}
                                for i in range((number + minute // 7) % 6)]
        made.append(one)
    return made


def environment(number, count, minute):
    here = place(number)
    found = []
    for other in range(max(number - 9, 0), min(number + 10, count)):
        if other == number:
            continue
        for radio, channel in enumerate(start_of(other)):
            rssi = heard(here, place(other), 18, (2, 5)[radio]) + (minute + other) % 3
            if rssi > -92:
                found.append({"bssid": mac(other, 1 + 8 * radio), "rssi": rssi, "channel": channel, "tx-power": 18,
                              "primary-channel": "none" if radio == 0 else "ll", "bandwidth": (20, 80)[radio]})
    for shop in range((number + minute) % 5):
        found.append({"bssid": f"06:aa:00:00:{number & 255:02x}:{shop:02x}", "rssi": -60 - 5 * shop - minute % 4,
                      "channel": (1, 6, 11)[(shop + minute // 9) % 3], "tx-power": 0, "primary-channel": "none", "bandwidth": 20})
    return [found]


def write_log(path, count, minutes):
    with open(path, "w", encoding="utf-8") as file:
        for line in recorded(count, minutes):
            file.write(line + "\n")
    check(os.path.getsize(path) > 0, "nothing written to", path)
    return path
