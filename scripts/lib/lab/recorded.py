"""A recorded domain: the log of many access points that report every minute, as --log writes it."""
import json
import math

CHANNELS = {2: [1, 6, 11], 5: [36, 40, 44, 48, 52, 56, 60, 64]}


def mac(number, offset=0):
    return f"02:00:5e:{number >> 8:02x}:{number & 255:02x}:{0x10 + offset:02x}"


ROW = 24  # rooms


def place(number):
    """Metres: rooms in rows, none where one would expect it."""
    return 11.0 * (number % ROW) + (number * 7 % 5), 13.0 * (number // ROW) + (number * 3 % 4)


def around(number, count):
    """Those in the rooms nearby."""
    for row in (-1, 0, 1):
        for step in range(-4, 5):
            other = number + row * ROW + step
            if other != number and 0 <= other < count and abs(other % ROW - number % ROW) <= 4:
                yield other


def heard(a, b, power, band):
    """dBm over the distance of two places, with a light wall every few metres."""
    metres = max(math.hypot(a[0] - b[0], a[1] - b[1]), 1)
    return round(power - (40 if band == 2 else 46) - 28 * math.log10(metres) - 0.3 * metres)


def start_of(number):
    """(channel at 2.4 GHz, channel at 5 GHz): as careless as installers are."""
    return CHANNELS[2][0 if number % 3 else 1], CHANNELS[5][0 if number % 4 else 4]


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
    for other in around(number, count):
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
    return path
