"""A scan of 13 + 8 channels: how long it takes and how long clients hear nothing, beside iw's scan of the same channels."""
import asyncio
import re
import sys

from lab.processes import until
from radio import air
from radio.access_point import AccessPoint, radio
from radio.namespace import radios_begin, wire_begin
from radio.service import Service
from radio.station import Station
from radio.traffic import Traffic

HOST = "10.0.0.1"
CHANNELS = (range(1, 14), range(36, 68, 4))
ROUNDS = 5
ALLOWED = 1.1


def frequency(channel):
    return (2407 if channel < 14 else 5000) + 5 * channel


class Watch:
    """Scans of a namespace's radios as iw hears of them."""

    def __init__(self, ap):
        self.ap = ap
        self.program = None

    async def begin(self):
        self.program = await self.ap.start("iw-event", "iw", "event", "-t")

    def durations(self, name, since):
        began, found = None, []
        for line in self.program.lines[since:]:
            event = re.match(rf"([\d.]+): {name} .*scan (started|finished|aborted)", line)
            if event and event[2] == "started":
                began = float(event[1])
            elif event and began is not None:
                found.append(float(event[1]) - began)
                began = None
        return found


async def measured(watch, stations, work, wanted):
    """Of each radio (mean duration of its scans, longest silence of its client), in seconds, while `work` goes on."""
    traffic = [await Traffic(station, HOST, 0.01).begin() for station in stations]
    mark = watch.program.mark()
    await work()
    await until(lambda: all(len(watch.durations(f"wlan{number}", mark)) >= wanted for number in (0, 1)), "scans end", 60)
    silences = [(await one.end())[2] for one in traffic]
    durations = [watch.durations(f"wlan{number}", mark) for number in (0, 1)]
    return [(sum(one) / len(one), silence) for one, silence in zip(durations, silences)]


async def main():
    await radios_begin(4, "DE")
    await wire_begin(HOST + "/24")
    ap = AccessPoint("ap1", "02:00:5E:00:01:00", "10.0.0.2/24",
                     [("phy0", radio(0, "office", 6, country="DE")), ("phy1", radio(1, "office", 36, country="DE"))])
    stations = [Station("sta1", "phy2"), Station("sta2", "phy3")]
    service = Service(HOST)
    await ap.begin()
    await ap.start_hostapd()
    for number, station in enumerate(stations):
        await station.begin()
        await station.join("office", f"scan_freq={(2437, 5180)[number]}")
        await station.must("ip", "addr", "add", f"10.0.0.{number + 10}/24", "dev", "sta0")
    await service.begin()
    await ap.start_hostd()
    await ap.start_agent(service.address)
    await ap.subscribed()
    watch = Watch(ap)
    await watch.begin()

    async def by_iw():
        for _ in range(ROUNDS):
            await asyncio.gather(*(air.scan(ap, f"wlan{number}", *map(frequency, channels))
                                   for number, channels in enumerate(CHANNELS)))

    async def by_agent():
        mark = service.mark()
        await service.order(ap.mac, f"unchecked scan channels={','.join(str(one) for band in CHANNELS for one in band)}")
        await service.message(ap.mac, "rrm-response", mark, seconds=150)

    others = await measured(watch, stations, by_iw, ROUNDS)
    ours = await measured(watch, stations, by_agent, ROUNDS)
    status = 0
    for number, channels in enumerate(CHANNELS):
        (iw_time, iw_silence), (time, silence) = others[number], ours[number]
        print(f"wlan{number}, {len(channels)} channels, mean of {ROUNDS}: agent {time:.2f} s, longest silence "
              f"{silence:.3f} s; iw {iw_time:.2f} s, {iw_silence:.3f} s; ratios {time / iw_time:.2f}, "
              f"{silence / iw_silence:.2f}")
        if time > ALLOWED * iw_time:
            status = 1
    await ap.agent.stop(30)
    return status


sys.exit(asyncio.run(main()))
