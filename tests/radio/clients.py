"""What stations and hostapd may do to the agent: it goes on, says what failed, and loses no client.

Arguments: the parts to show (refuses, late, vanishes, stopped, slow, killed); all without any."""
import asyncio
import signal
import time

from lab.processes import check, until
from radio.domain import neighbour
from radio.namespace import POLL, must
from radio.network import PASSPHRASE, SECURITY
from radio.place import NOBODY, show


async def refuses(place):
    """A station that rejects the transition, one that says nothing, one that cannot: none is lost, none asked twice."""
    await place.asks_to_go(NOBODY, 1)
    print("  hostapd says:", await place.says(r"BSS-TM-RESP .*status_code=[1-9]\d*", 2))
    await place.asks_to_go(NOBODY, 1)
    await place.says("already been an attempt to roam")
    await place.kept()
    await place.joins_anew()
    await place.station.wpa_cli("set", "disable_btm", "1")  # it said that it could
    await place.asks_to_go(NOBODY, 1)
    await place.says("Sending BSS Trans Request to clients")
    await place.says(f"#1 {place.station.address}")
    await place.answers()
    await place.kept()
    await place.joins_anew()
    await place.asks_to_go(NOBODY, 1)
    await place.says("doesn.t support 802.11v")
    await place.kept()
    await place.station.wpa_cli("set", "disable_btm", "0")
    await place.joins_anew()


async def late(place):
    """A station that sleeps over the request: the agent waits for nothing, and it still goes when it wakes."""
    target = "02:00:00:00:02:01"
    await place.foreign_is(lambda number, text: text if number else
                           f"{text}bss=more\nbssid={target}\nssid=office\n{SECURITY.format(passphrase=PASSPHRASE)}")
    await place.station.hear(target, 2462)
    await place.station.wpa_cli("set_network", "0", "freq_list", "2437 2462")
    await place.station.wpa_cli("set_network", "0", "bssid", "any")
    place.station.supplicant.process.send_signal(signal.SIGSTOP)
    await place.asks_to_go(target, 11)
    await place.says(f"#1 {place.station.address}")
    for _ in range(4):
        began = time.monotonic()
        await place.answers()
        check(time.monotonic() - began < 3, "the agent waits for nobody")
        await asyncio.sleep(1)
    check(place.station.address in await place.ap.stations(0), "it is still where it was")
    place.station.supplicant.process.send_signal(signal.SIGCONT)
    print("  after 4 s of sleep hostapd says:", await place.says(r"BSS-TM-RESP .*status_code=\d+.*", 2))
    await place.station.connected(target)
    await place.station.wpa_cli("set_network", "0", "bssid", await place.ap.bssid(0))
    await place.station.wpa_cli("reassociate")
    await place.station_is_back()
    await place.foreign_is()


async def vanishes(place):
    """A station that is out of reach from one moment to the next, asked to go after that."""
    async def in_group(number):  # radios of different groups do not hear each other
        with open(f"/sys/kernel/debug/ieee80211/{place.station.phy}/hwsim/group", "w", encoding="ascii") as file:
            file.write(str(number))
    await must("mount", "-t", "debugfs", "debugfs", "/sys/kernel/debug")
    await place.service.order(place.ap.mac, "config use-80211v=1")  # clients that come and go are told of
    mark = place.service.mark()
    await in_group(2)
    await place.asks_to_go(NOBODY, 1)
    await place.says(f"#1 {place.station.address}")
    await place.answers()
    left = await place.service.message(place.ap.mac, "rrm-client-disassoc", mark, seconds=90)
    check(left["sta-mac"].lower() == place.station.address, "who left", left)

    async def described(count):
        return sum(len(radio["assoclist"]) for radio in await place.answers()) == count
    await until(lambda: described(0), "nobody is described any more", 60, pause=1)  # hostapd tells the kernel a second later
    await in_group(1)
    await must("umount", "/sys/kernel/debug")
    await place.station_is_back(120)
    await place.service.message(place.ap.mac, "rrm-client-assoc", mark, seconds=90)
    await until(lambda: described(1), "it is described again", 60, pause=1)


def list_of(count):
    return {"domain": "d", "802dot11k": [neighbour(f"02:00:00:00:{count:02}:{number:02}", 1) for number in range(count)]}


async def listed(place, count):
    """hostapd's list has these entries beside its own."""
    wanted = sorted([await place.ap.bssid(0), *(one["neighbour-mac"] for one in list_of(count)["802dot11k"])])

    async def there():
        return sorted(line.split()[0] for line in (await place.ap.hostapd_cli(0, "show_neighbor")).splitlines()) == wanted
    await until(there, f"{count} neighbours are listed", 60, pause=POLL)


async def stopped(place):
    """A hostapd that takes requests and never answers."""
    place.ap.hostapd.process.send_signal(signal.SIGSTOP)
    began = time.monotonic()
    await place.service.send("rrm-info", **list_of(30))
    print("  the agent says:", await place.says("hostapd cannot list neighbours.*"))
    await place.answers()
    await place.works()
    place.ap.hostapd.process.send_signal(signal.SIGCONT)
    print(f"  it was held up for less than {time.monotonic() - began:.1f} s")
    await place.kept()
    await place.service.send("rrm-info", **list_of(30))
    await listed(place, 30)


async def slow(place):
    """A hostapd that works for a moment only between two rests of 1 to 4 s, while orders come."""
    async def rests():
        for seconds in (1, 2, 3, 4, 3, 2, 1):
            place.ap.hostapd.process.send_signal(signal.SIGSTOP)
            try:
                await asyncio.sleep(seconds)
            finally:
                place.ap.hostapd.process.send_signal(signal.SIGCONT)
            await asyncio.sleep(0.3)
    resting = asyncio.create_task(rests())
    longest, orders = 0, 0
    while not resting.done():
        began = time.monotonic()
        await place.service.send("rrm-info", **list_of(3 + orders % 5))
        await place.asks_to_go(NOBODY, 1)
        await place.answers()
        longest, orders = max(longest, time.monotonic() - began), orders + 1
    await resting
    check(longest < 10, "an order was answered after", longest)
    print(f"  {orders} times a list, a request to go and a question; answered within {longest:.1f} s at most")
    print("  the agent says:", await place.says("wlan[01]-va0: hostapd cannot .*"))
    await place.works()
    await place.kept()
    await place.service.send("rrm-info", **list_of(4))
    await listed(place, 4)


async def killed(place):
    mark = place.service.mark()
    place.ap.hostapd.process.kill()
    await place.ap.hostapd.ended(60)
    await place.service.message(place.ap.mac, "rrm-disassoc-all-clients", mark, seconds=90)
    print("  ravd-hostd says:", await place.says("hostapd, process .* is gone.*", 1))
    await place.ap.start_hostapd()
    await place.service.message(place.ap.mac, "rrm-config-changed", mark, seconds=90)
    await place.station_is_back()
    await place.works()


asyncio.run(show((refuses, late, vanishes, stopped, slow, killed)))
