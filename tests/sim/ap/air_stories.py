"""Access points in one air: what they hear of each other, and the stations that move between them."""
import fcntl
import json
import os
import re

from device import TRANSITION, Device, same
from lab.air import Air
from lab.processes import check, until


class Member(Device):
    """An access point of an air, asked as a device."""

    def __init__(self, air, number):  # in the air's place, not in one of its own
        self.directory = air.points[number].directory
        self.programs = air.programs
        self.scenario = air.scenarios[number]
        self.ap = air.points[number]
        self.tell = self.ap.tell


async def what_changes_is_heard():
    async with Air("building:4", 7) as air:
        await air.begin("--speed", "1000")
        await air.all_hear()
        first, last = Member(air, 0), Member(air, 3)
        before = (await air.heard_by(3))[air.base(0)][0]
        check(await first.update("wlan0", channel=4, bandwidth=20, tx_power=12))

        async def heard():
            now = (await air.heard_by(3))[air.base(0)][0]
            return now if now["channel"] == 4 else None
        now = await until(heard, "the new channel")
        same((now["power"], now["rssi"]), (12, before["rssi"] - 8))
        # A scan hears it on that channel and no other, as loud as the air says.
        bssid = air.base(0)[:-2] + f"{int(air.base(0)[-2:], 16) + 1:02x}"
        _, printed = await last.probe("--scan", "--wait", "1")
        found = re.findall(rf"bss {bssid} rssi (-\d+) channel (\d+)", printed)
        same([channel for _, channel in found], ["4"])
        check(abs(int(found[0][0]) - now["rssi"]) <= 4, found, now)
        await first.tell("radio 0 down")

        async def off_the_air():
            return len((await air.heard_by(3))[air.base(0)]) == 1
        await until(off_the_air, "the radio is off the air")
        # One that is killed vanishes; its file, which stays behind, counts for nothing.
        await air.points[0].kill()

        async def gone():
            return air.base(0) not in await air.heard_by(3)
        await until(gone, "the killed one is gone")
        check(os.path.exists(f"{air.air}/{air.base(0).replace(':', '')}.json"))
        await air.begin_point(0, "--speed", "1000")
        await air.all_hear()
        status, printed = await air.run("ravd-sim-ap", air.path("s/ap-02.json"), "--air", air.air, "--dir",
                                        air.path("twin"))
        check(status == 1 and "another access point with the address" in printed, printed)


async def garbage_in_the_directory():
    async with Air("office:2", 3) as air:
        await air.begin("--speed", "1000")
        await air.all_hear()
        name = air.base(1).replace(":", "")
        with open(f"{air.air}/{name}.json", encoding="utf-8") as file:
            real = json.load(file)
        locks = []

        def put(number, text):
            """A file of somebody who lives."""
            path = f"{air.air}/0200000000{number:02x}"
            locks.append(open(path + ".lock", "w", encoding="utf-8"))
            fcntl.lockf(locks[-1], fcntl.LOCK_EX)
            with open(path + ".new", "wb") as file:
                file.write(text)
            os.rename(path + ".new", path + ".json")
        station = real["stations"][0] if real["stations"] else {"mac": "06:00:00:00:00:01", "position": [0, 0, 0]}
        wrong = ({"base": 3}, {"position": [0, 0]}, {"position": ["a", 0, 0]}, {"position": [1e300, 0, 0]},
                 {"radios": {}}, {"radios": 3 * real["radios"]}, {"radios": [{**real["radios"][0], "channel": 37}]},
                 {"radios": [{**real["radios"][0], "power": 4000}]}, {"stations": 1001 * [station]},
                 {"stations": [{**station, "at": "here"}]}, {"wishes": [{"station": station["mac"], "number": -1}]})
        texts = [b"", b"\xff\xfe", b"{", b"[" * 100000, b"null", 600000 * b" "]
        texts += [json.dumps({**real, "base": f"02:00:00:00:00:{len(texts) + n:02x}", **one}).encode()
                  for n, one in enumerate(wrong)]
        for number, text in enumerate(texts):
            put(number, text)
        os.mkfifo(f"{air.air}/0200000000f0.json")
        os.symlink("/dev/zero", f"{air.air}/0200000000f1.json")
        os.mkdir(f"{air.air}/0200000000f2.json")
        # A good one behind them shows that all were looked at.
        put(0xff, json.dumps({**real, "base": "02:00:00:00:00:ff", "stations": [], "name": "late"}).encode())
        for number in (0, 1):
            async def heard(listener=number):
                return "02:00:00:00:00:ff" in await air.heard_by(listener)
            await until(heard, "the good one is heard")
            same(set(await air.heard_by(number)), {air.base(1 - number), "02:00:00:00:00:ff"})
        for lock in locks:
            lock.close()
        await air.all_hear()
        for point in air.points:
            await point.stop()


async def stations_choose():
    async with Air("building:3", 7) as air:
        await air.begin("--speed", "1000")
        await air.all_hear()
        total = sum(len(one["vaps"][0]["stations"]) for scenario in air.scenarios for one in scenario["radios"])

        async def at(number, mac):
            return (await air.stations(number)).get(mac)

        async def everybody():
            return sum([len(await air.stations(number)) for number in range(3)]) == total
        await until(everybody, "all stations are somewhere")
        # One that is carried to another access point goes over to it, and is told there and here.
        mover = next(one for one in air.scenarios[0]["radios"][1]["vaps"][0]["stations"]
                     if one.get("v", True) and one.get("obeys", True))["mac"]
        x, y, floor = air.scenarios[2]["position"]
        await air.points[0].tell(f"station move {mover} {round(x)} {round(y)} {floor}")
        vap = await until(lambda: at(2, mover), "it has moved")
        await until(everybody, "nobody is lost")
        await air.points[2].line(f"station: {mover}: auth at {vap}")
        # Asked to leave, it takes the BSS that it is offered, and stays there for a while.
        third = Member(air, 2)
        other = "wlan1-va0" if vap == "wlan0-va0" else "wlan0-va0"
        bssids = {one["name"]: one["bssid"] for radio in (0, 1) for one in (await third.ap.radio(radio))["vaps"]}
        third.write(f"/proc/{vap}/rm_neighbor_report_custom",
                    f'add {bssids[other].replace(":", "")} 0x0867 255 6 7 ssid "lab-building" bssload 0 0')
        await until(lambda: third.ap.neighbours(vap, "custom"), "the list is taken")
        result, *_ = await third.ioctl(TRANSITION["rtl8192cd"], vap, bytes.fromhex(mover.replace(":", "")))
        same(result, 0)

        async def went():
            return await at(2, mover) == other
        await until(went, "it has gone where it was sent")
        await air.points[2].line(f"station: {mover}: 80211v-roam at {vap} to {bssids[other]}")
        # Without hostapd all go elsewhere, guests and its own.
        await third.tell("hostapd stop")
        await until(everybody, "all have found another access point")
        same(await air.stations(2), {})
        await third.tell("hostapd start")
        await until(lambda: air.stations(2), "some have come back")


STORIES = [what_changes_is_heard, garbage_in_the_directory, stations_choose]
