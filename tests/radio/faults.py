"""What may happen to radios and the kernel while the agent works: it goes on and says what failed.

Arguments: the parts to show (busy, endless, forbidden, interface, blocked, lacking, crowd, reload); all without any."""
import asyncio
import re

from lab.processes import check, until
from radio.namespace import must, radios_begin
from radio.place import NOBODY, RADIOS, show

CROWD = 110  # networks on each of two channels
# Commands of nl80211, what the agent says where the kernel lacks them, and how many
# BSSs that five rounds of a scan of two channels bring all the same.
COMMANDS = {1: ("read the radio's channels", 0), 5: ("find the interface", 0), 17: ("list stations", 10),
            32: ("read scan results", 0), 33: ("begin a scan", 0), 114: ("stop a scan", 5)}


async def busy(place):
    """Somebody else scans all the time; the agent waits for its turn, and gives up when it does not come."""
    loop = await place.ap.start("scans", "sh", "-c", "while :; do iw dev wlan0 scan freq $(seq 2412 5 2462) "
                                "$(seq 5180 20 5320) passive >/dev/null && echo scanned; done 2>&1")
    await loop.line("scanned")
    mark = loop.mark()
    rounds, seconds = await place.service.scan("11 149")
    await loop.line("scanned", since=mark)
    await loop.kill()
    whole = sum(len(heard) == 2 for heard in rounds)
    check(rounds and all(heard for heard in rounds), "the other radio's results", rounds)
    if whole < len(rounds):
        print("  the agent says:", await place.says("wlan0: cannot begin a scan: Device or resource busy"))
    print(f"  {whole} of {len(rounds)} rounds whole, answered within {seconds:.1f} s, the other's scans go on")
    await place.kept()


async def occupied(place):
    """Keeps the first radio on its own channel for other interfaces, one by one: a scan that begins never ends."""
    for name in ("other0", "other1"):
        await place.ap.must("iw", "phy", place.ap.radios[0][0], "interface", "add", name, "type", "managed",
                            "addr", f"02:00:00:00:0a:0{name[-1]}")
        await place.ap.must("ip", "link", "set", name, "up")
    loop = await place.ap.start("occupied", "sh", "-c", "while :; do for name in other0 other1; do "
                                "iw dev $name offchannel 2437 5000 && echo taken; sleep 2; done; done 2>&1")
    await loop.line("taken")
    return loop


async def endless(place):
    """A scan that the kernel begins and never ends is stopped, and the next one begun."""
    loop = await occupied(place)
    await place.fails("wlan0: the scan of 1 channels did not end within .*")
    await place.kept()
    await loop.kill()
    await place.works()
    for name in ("other0", "other1"):
        await place.ap.must("iw", "dev", name, "del")


async def forbidden(place):
    """Channels that the rules of the country do not allow, or only with radar detection."""
    for number, channel, now in ((0, 14, 6), (1, 52, 36)):
        place.part_begins()
        await place.service.order(place.ap.mac, f"unchecked config radio={number} channel={channel}")
        print("  ravd-hostd says:", await place.says("update-corvane: .*", 1))
        check((await place.answers())[number]["channel"] == now, "the radio stays where it was")
        shown = await place.ap.must("iw", "dev", f"wlan{number}-va0", "info")
        check(f"channel {now} (" in shown, "iw shows the channel", shown)
    await place.kept()


async def interface(place):
    await place.ap.must("ip", "link", "set", "wlan0", "down")
    await place.fails("wlan0: cannot begin a scan: Network is down")
    await place.ap.must("iw", "dev", "wlan0", "del")
    await place.fails("wlan0: cannot find the interface: No such device")
    await place.ap.must("iw", "phy", place.ap.radios[0][0], "interface", "add", "wlan0", "type", "managed")
    await place.ap.must("ip", "link", "set", "wlan0", "up")
    await place.works()
    await place.kept()


async def blocked(place):
    switch = "for one in /sys/class/ieee80211/%s/rfkill*/soft; do echo %d >$one; done"
    await place.ap.must("sh", "-c", switch % (place.ap.radios[0][0], 1))
    await place.fails("wlan0: cannot begin a scan: .*")
    await place.ap.must("sh", "-c", switch % (place.ap.radios[0][0], 0))
    await place.ap.must("ip", "link", "set", "wlan0", "up")
    await place.works()
    await place.station_is_back()


async def lacking(place):
    """A kernel that lacks one command after the other: what needs it fails, and nothing else."""
    await place.ap.agent.stop(30)
    await place.start_agent({"LD_PRELOAD": "/ravd/bin/libravd-lacking-kernel.so"})
    place.part_begins()
    for command, (failing, expected) in COMMANDS.items():
        loop = await occupied(place) if command == 114 else None
        place.part_begins()
        place.ap.write("/tmp/lacks", f"{command}\n")
        rounds, seconds = await place.service.scan("11 149")
        await place.asks_to_go(NOBODY, 1)
        check(len(await place.answers()) == 2, "both radios are described")
        print(f"  answered within {seconds:.1f} s; the agent says:",
              await place.says(f"wlan.*: cannot {failing}: Operation not supported"))
        check(sum(len(heard) for heard in rounds) == expected, expected, "BSSs", rounds)
        place.ap.write("/tmp/lacks", "")
        if loop:
            await loop.kill()
        await place.works()
    await place.kept()
    await place.ap.agent.stop(30)
    await place.start_agent()
    place.part_begins()


async def crowd(place):
    """More than two hundred networks on the air. In the time of a scan not all of them answer each of its probes; those
    of a fixed number that one round misses come with another."""
    def crowded(number, text):
        return re.sub("beacon_int=.*", "beacon_int=500", text) + "".join(
            f"bss=many{number}-{one}\nssid=cafe{one}\nbssid=02:00:00:00:{number + 2:02}:{one:02x}\n"
            for one in range(1, CROWD))
    await place.foreign_is(crowded)

    async def heard():
        rounds, seconds = await place.service.scan("11 149")
        counts = [len(one) for one in rounds]
        return (seconds, counts) if len(set().union(*rounds)) == 2 * CROWD and min(counts) > CROWD else None
    seconds, counts = await until(heard, "a scan hears all of them", 60)
    print(f"  {2 * CROWD} networks: five rounds within {seconds:.1f} s heard", *counts)
    await place.answers()
    await place.kept()
    await place.foreign_is()


async def reload(place):
    """The driver's module goes, and every radio with it; new ones come under the old interfaces' names."""
    await must("modprobe", "-r", "mac80211_hwsim")
    await place.answers()
    rounds, _ = await place.service.scan("11 149")
    check(not any(rounds), "nothing is heard without radios", rounds)
    print("  the agent says:", await place.says("wlan0: cannot .*: .*"))
    mark = place.service.mark()
    for one in (place.ap, place.foreign):
        await one.hostapd.kill()
    await place.service.message(place.ap.mac, "rrm-disassoc-all-clients", mark, seconds=90)
    await place.station.supplicant.kill()
    await radios_begin(RADIOS)
    phys = sorted((line.split()[1] for line in (await must("iw", "phy")).splitlines() if line.startswith("Wiphy")),
                  key=lambda name: int(name[3:]))
    for one in (place.ap, place.foreign):
        one.radios = [(phys.pop(0), text) for _, text in one.radios]
        for phy, _ in one.radios:
            await one.take_radio(phy)
        await one.make_interfaces()
        await one.start_hostapd()
    await place.service.message(place.ap.mac, "rrm-config-changed", mark, seconds=90)
    await place.station.take_radio(phys[0])
    await place.station.must("iw", "phy", phys[0], "interface", "add", "sta0", "type", "managed")
    await place.station.join("office", f"bssid={await place.ap.bssid(0)}")
    await place.station_is_back()
    print(f"  new radios, {phys[0]} the last: a scan hears all within {await place.works():.1f} s")


asyncio.run(show((busy, endless, forbidden, interface, blocked, lacking, crowd, reload)))
