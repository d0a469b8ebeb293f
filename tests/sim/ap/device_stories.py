"""The simulated access point and the probe as processes, watched from outside."""
import asyncio
import contextlib
import functools
import json
import os
import re
import struct
import time

from device import CUSTOM, RRM_START, SCENARIOS, TRANSITION, Device, number_of, same
from lab.processes import PATIENCE, check, until

USUAL = {2: list(range(1, 14)), 5: [*range(36, 65, 4), *range(100, 141, 4), *range(149, 166, 4)]}


def failures(printed):
    return [line[5:] for line in printed.splitlines() if line.startswith("FAIL ")]


def section(printed, radio):
    """What the probe shows of a radio."""
    return re.search(rf"^radio {radio} .*\n(?:  .*\n)*", printed, re.M)[0]


async def seen_as_described(name):
    """What the daemon's driver sees of a shipped scenario is what the scenario says."""
    async with Device(name) as ap:
        status, printed = await ap.probe("--scan", "--wait", "1")
        same((status, failures(printed)), (0, []))
        factory = ap.scenario["factory"]
        check(f"serial {factory['serial']}, mac {factory['mac'].upper()}" in printed, printed)
        neighbours = {one["bssid"]: one for one in ap.scenario.get("neighbours", [])}
        audible = set()
        stations = 0
        for number, radio in enumerate(ap.scenario["radios"]):
            text = section(printed, f"wlan{number}")
            band = 2 if radio["channel"] < 15 else 5
            if not radio.get("up", True):
                same(text, f"radio wlan{number} down\n")
                continue
            shown = re.match(
                r"radio \S+ up channel (\d+) bandwidth (\d+) sideband (\w+) chanspec \S+ band (\d)\n"
                r"  power (\d+) from (\d+) to (\d+) country (\w+) wds (\w+) coexistence (\w+)", text).groups()
            top, wds, coex = radio.get("power_max", 16), radio.get("wds", False), radio.get("coex", False)
            # Neighbours keep a radio with coexistence on 20 MHz.
            width = 20 if coex else radio.get("bandwidth", 20)
            same(shown[:2] + shown[3:], (str(radio["channel"]), str(width), str(band), str(radio.get("power", top)),
                                         str(radio.get("power_min", 11)), str(top), radio.get("country", "RU"),
                                         "yes" if wds else "no", "yes" if coex else "no"))
            if width == 40 and "sideband" in radio:
                same(shown[2], radio["sideband"])
            channels = [] if wds else radio.get("limit_channels") or radio.get("channels") or USUAL[band]
            same([int(word) for word in re.search(r"  channels(.*)", text)[1].split()], channels)
            vaps = [(f"wlan{number}-va{index}", vap["ssid"], "yes" if vap.get("kv", True) else "no")
                    for index, vap in enumerate(radio["vaps"]) if vap.get("enabled", True) and vap["ssid"]]
            same(re.findall(r'  vap (\S+) ssid "(.*)" bssid \S+ 802.11k/v (\w+)', text), vaps)
            found = re.findall(r"  station (\S+) at (\S+) rssi (-\d+) readings (\S+) (\S+) (\S+) (\S+) ", text)
            check(all(int(one[2]) == max(map(int, one[3:])) for one in found), found)
            stations += len(found)
            for index, vap in enumerate(radio["vaps"]):
                wanted = {one["mac"]: one.get("rssi", -60) for one in vap.get("stations", [])}
                here = {one[0]: int(one[2]) for one in found if one[1] == f"wlan{number}-va{index}"}
                check(here.keys() == wanted.keys() or ("crowd" in ap.scenario and not wanted), here, wanted)
                check(all(abs(here[mac] - rssi) <= 6 for mac, rssi in wanted.items()), here, wanted)
            if not wds:
                audible |= {mac for mac, one in neighbours.items()
                            if (2 if one["channel"] < 15 else 5) == band and one.get("rssi", -70) > -80}
        heard = {mac: (int(channel), int(width), int(rssi)) for mac, rssi, channel, width in
                 re.findall(r"  bss (\S+) rssi (\S+) channel (\d+) bandwidth (\d+)", printed)}
        if "crowd" in ap.scenario:
            same(stations, ap.scenario["crowd"]["stations"])
            check(200 < len(heard) <= ap.scenario["crowd"]["neighbours"], len(heard))
        else:
            check(audible <= heard.keys() <= neighbours.keys(), audible, heard)
        for mac in heard.keys() & neighbours.keys():
            (channel, width, rssi), one = heard[mac], neighbours[mac]
            same((channel, width), (one["channel"], one.get("bandwidth", 20)))
            check(abs(rssi - one.get("rssi", -70)) <= 10, mac, rssi)


async def what_is_set_is_read_back():
    """On both chips: channel, power, variables, fast transition, neighbour lists, scans."""
    async with Device("wifi6-upper-band") as ap:
        check(await ap.update("wlan0", channel=11, bandwidth=40, control_sideband="upper"))
        same(await ap.mib("chanspec", "wlan0"), 0x1909)
        check(ap.has("/tmp/.corvane_notify") and ap.has("/tmp/.corvane_notify_config_updated"))
        check(await ap.update("wlan0", tx_power=12) and await ap.update("wlan1", tx_power=9))
        same((await ap.mib("actual_tx_power", "wlan0"), await ap.mib("power_target", "wlan1")), (12, 9))
        # What the radio cannot do is refused, and nothing of it stays.
        for params in ({"channel": 37}, {"channel": 36, "bandwidth": 40, "control_sideband": "upper"},
                       {"tx_power": 99}):
            check(not await ap.update("wlan1", **params), params)
        same(await ap.mib("chanspec", "wlan1"), 0x222A)
        same(await ap.setting("/interface/wlan1/wlan/radio/channel"), "44")
        for radio in ("wlan0", "wlan1"):
            check(await ap.ok(6, "reset-corvane", ifname=radio))
        same((await ap.mib("chanspec", "wlan0"), await ap.mib("power_target", "wlan1")), (0x1006, 19))

        for radio, foreign in (("wlan0", "power_target"), ("wlan1", "actual_tx_power")):
            for ifname, value in ((radio, 7), (radio + "-va0", 9)):
                check(await ap.set_mib("roam_attempt_timeout", value, ifname))
            same([await ap.mib("roam_attempt_timeout", name) for name in (radio, radio + "-va0")], [7, 9])
            check(not await ap.set_mib("chanspec", 1, radio) and await ap.mib(foreign, radio) is None)
        same([await ap.mib(name, "wlan1") for name in ("use40M", "2ndchoffset")], [2, 1])

        ft_config = {"enabled": "true", "mobility-domain": "7"}
        check(await ap.ok(6, "update-corvane-fbt", **{"wlan0-va0": {"ft-config": ft_config}}))
        same(await ap.setting("/interface/wlan0-va0/vap/ft-config"), ft_config)
        check(await ap.ok(6, "reset-corvane-fbt", **{"wlan0-va0": {}}))
        same(await ap.setting("/interface/wlan0-va0/vap/ft-config/enabled"), "false")

        # Neighbour lists, every order of a quick sequence.
        for i in range(20):
            ap.write("/proc/wlan0-va0/rm_neighbor_report",
                     f'add 06bb000000{i:02x} 0x0867 255 6 7 ssid "a b" bssload 0 0')
        ap.write("/proc/net/rtk_wifi6/wlan1-va0/nb_report_custom", "add 06:bb:00:00:01:01 1728577536 0 36 0 9")
        report = "06bb00000102" + "af590000" + "00" + "24" + "09" + "06030224" + "02"
        same(await ap.hostapd("wlan1-va0", "SET_NEIGHBOR", "06:bb:00:00:01:02", "ssid=61", "nr=" + report), (0, "OK\n"))
        same(await ap.hostapd("wlan1-va0", "SET_NEIGHBOR", "06:bb:00:00:01:02", "ssid=61", "nr=06"), (0, "FAIL\n"))
        await until(functools.partial(lists_are, ap, [20, 0, 0], [0, 1, 1]), "neighbour lists")
        check(("06:bb:00:00:00:13", 6) in await ap.neighbours("wlan0-va0", "standard"))
        same(await ap.neighbours("wlan1-va0", "hostapd"), [("06:bb:00:00:01:02", 36)])
        for name in ("/proc/wlan0-va0/rm_neighbor_report", "/proc/net/rtk_wifi6/wlan1-va0/nb_report_custom"):
            ap.write(name, "delall")
        await ap.hostapd("wlan1-va0", "REMOVE_ALL_NEIGHBOR")
        await until(functools.partial(lists_are, ap, [0, 0, 0], [0, 0, 0]), "empty neighbour lists")

        # An active scan hears its channels, an RRM scan its one channel with the neighbours' power; no more than the
        # request has room for.
        await ap.custom(0, "wlan0", 2, 1 | 6 << 16)
        await asyncio.sleep(0.1)
        await ap.custom(1, "wlan0")
        [(bssid, _, channel, width, sideband)] = await ap.entries(2, "wlan0", "<6s2xiII4xH")
        same((bssid.hex(":"), channel, width, sideband), ("06:aa:00:00:03:01", 1, 20, 0))
        same(await ap.entries(2, "wlan0", "<6s", capacity=0), [])
        check(await ap.set_mib("rrm_scan_chan", 44, "wlan1"))
        same((await ap.ioctl(RRM_START, "wlan1"))[:2], (0, 0))
        await asyncio.sleep(0.1)
        check(await ap.set_mib("rrm_scan_started", 0, "wlan1"))
        [(bssid, power, chanspec)] = await ap.entries(3, "wlan1", "<6s14xiH")
        same((bssid.hex(":"), power, chanspec), ("06:aa:00:00:03:02", 80, 0x222A))
        same((await ap.entries(2, "wlan1", "<6s"), await ap.entries(3, "wlan0", "<6s")), ([], []))
        record = await ap.custom(5, "wlan0", 9)
        same(struct.unpack_from("<10I", record, 4), (9, *range(1, 10)))


async def lists_are(ap, *wanted):
    vaps = [(await ap.radio(number))["vaps"][0] for number in (0, 1)]
    return [[vap[kind + "neighbours"] for kind in ("", "custom_", "hostapd_")] for vap in vaps] == [*wanted]


REFUSED = [
    ("update-corvane", {}, "no such radio"),
    ("update-corvane", {"ifname": "wlan2", "params": {"channel": "1"}}, "no such radio"),
    ("update-corvane", {"ifname": "wlan0-va0", "params": {"channel": "1"}}, "no such radio"),
    ("update-corvane", {"ifname": "wlan0"}, "no parameters"),
    ("update-corvane", {"ifname": "wlan0", "params": {}}, "no parameters"),
    ("update-corvane", {"ifname": "wlan0", "params": {"ssid": "x"}}, "unknown parameter ssid"),
    ("update-corvane", {"ifname": "wlan0", "params": {"channel": 6}}, "channel is not a text"),
    ("update-corvane", {"ifname": "wlan0", "params": {"channel": "36"}}, "channel 36 is not among"),
    ("update-corvane", {"ifname": "wlan0", "params": {"bandwidth": "80"}}, "no width of 80 MHz"),
    ("update-corvane", {"ifname": "wlan0", "params": {"tx-power": "21"}}, "outside the radio's limits"),
    ("update-corvane", {"ifname": "wlan0", "params": {"channel": "1", "tx-power": "x"}}, "outside the radio's limits"),
    ("reset-corvane", {"ifname": "eth0"}, "no such radio"),
    ("update-corvane-fbt", {"wlan0-va0": {"ft-config": {"enabled": "x"}}, "wlan5-va0": {"ft-config": {}}},
     "no such VAP: wlan5-va0"),
    ("update-corvane-fbt", {"wlan0-va0": {}}, "wlan0-va0 has no ft-config"),
    ("restart", {}, "unknown command")]


async def services_answer():
    """The configuration's values, and what the network daemon makes of orders."""
    async with Device("small-office") as ap:
        get = functools.partial(ap.request, 1, "get")
        same(await get(path="/corvane/dca"), b'{"command":"get-response","status":"ok","value":"true"}')
        same(await ap.setting("/interface/wlan0-va0/vap/captive-portal"), {"enabled": "false"})
        for wrong in ({"path": "/nowhere"}, {"path": 7}, {}):
            same(await get(**wrong), b'{"command":"get-response","status":"error","reason":"not found"}')
        check(b"unknown command" in await ap.request(1, "set"))

        def told():
            """Whether a change was told of since the last time."""
            names = [ap.path("/tmp/.corvane_notify" + end) for end in ("_config_updated", "")]
            there = [os.path.exists(name) for name in names]
            for name in names:
                with contextlib.suppress(FileNotFoundError):
                    os.unlink(name)
            return all(there)
        told()
        for command, members, reason in REFUSED:
            answer = json.loads(await ap.request(6, command, **members))
            check(answer["status"] == "error" and reason in answer["reason"], command, members, answer)
        ft_path = "/interface/wlan0-va0/vap/ft-config/"
        same((told(), await ap.mib("chanspec", "wlan0")), (False, 0x1006))
        same(await ap.setting("/interface/wlan0/wlan/radio/channel"), "6")
        same(await ap.setting(ft_path + "enabled"), "true")

        # Told of only when something changed. The settings of the service go, the scenario's come back.
        ft_config = {"enabled": "true", "reassociation-deadline": 1000}
        for first in (True, False):
            check(await ap.ok(6, "update-corvane-fbt", **{"wlan0-va0": {"ft-config": ft_config}}))
            same(told(), first)
        same(await ap.setting(ft_path + "reassociation-deadline"), "1000")
        for first in (True, False):
            check(await ap.ok(6, "reset-corvane-fbt", **{"wlan0-va0": {}, "wlan1-va6": {}}))
            same(told(), first)
        same([await ap.setting(ft_path + name) for name in ("enabled", "reassociation-deadline")], ["true", None])
        check(await ap.ok(6, "reset-corvane", ifname="wlan0") and not told())
        check(await ap.update("wlan0", channel=1) and told())
        check(await ap.update("wlan0", channel=11, tx_power=9) and told())
        same((await ap.mib("chanspec", "wlan0"), (await ap.radio(0))["power"]), (0x100B, 9))
        check(await ap.ok(6, "reset-corvane", ifname="wlan0") and told())
        same((await ap.mib("chanspec", "wlan0"), (await ap.radio(0))["power"]), (0x1006, 16))  # past both updates


async def stations_hostapd_and_radios():
    async with Device("small-office") as ap:
        vaps = [f"wlan1-va{i}" for i, _ in enumerate(ap.scenario["radios"][1]["vaps"])]

        async def upper():
            return {mac: flags for vap in vaps for mac, flags in (await ap.stations(vap)).items()}
        # A steered station leaves after its moment; one that stays is marked.
        check(await ap.set_mib("roam_attempt_timeout", 60, "wlan1"))
        for last in (5, 7):
            same((await ap.ioctl(TRANSITION["rtl8192cd"], "wlan1-va0", bytes([6, 0, 0, 0, 0, last])))[0], 0)
        same({mac[-2:]: asked for mac, (asked, _) in (await upper()).items()}, {"05": 1, "06": 0, "07": 1})
        same((await ap.ioctl(TRANSITION["rtl8192cd"], "wlan1-va0", b"\6\0\0\0\0\x63"))[:2], (-1, number_of("ENOENT")))

        async def steered():
            return (await upper()).keys() == {"06:00:00:00:00:06", "06:00:00:00:00:07"}
        await until(steered, "a station leaves")
        same(await ap.tell("station join 06:00:00:00:00:42 wlan0-va1 -55 no-v"), "")
        same((await ap.stations("wlan0-va1"))["06:00:00:00:00:42"], (0, 1))
        same(await ap.tell("station leave 06:00:00:00:00:42"), "")
        check("06:00:00:00:00:42" not in await ap.stations("wlan0-va1"))
        check((await ap.answer("station leave 06:00:00:00:00:42")).startswith("error "), "left twice")

        await ap.tell("radio 0 down")
        same((await ap.ioctl(CUSTOM["rtl8192cd"], "wlan0-va0", b"\4", 65534))[:2], (-1, number_of("ENETDOWN")))
        same(open(ap.path("/sys/class/net/wlan0/flags"), encoding="ascii").read(), "0x1002\n")
        await ap.tell("radio 0 up")
        await ap.tell("hostapd stop")
        same((ap.has("/var/run/hostapd.pid"), await upper()), (False, {}))
        await ap.tell("hostapd start")
        check(ap.has("/var/run/hostapd.pid") and ap.has("/tmp/.corvane_notify_hostapd_started"))
        await until(steered, "stations return")
        same((await upper())["06:00:00:00:00:07"][0], 0)  # asked before, and forgotten
        # To another VAP of its own, and away for good.
        same(await ap.tell("station roam 06:00:00:00:00:01 02:00:5e:11:00:19"), "")
        check("06:00:00:00:00:01" in await ap.stations("wlan1-va0"))
        check("06:00:00:00:00:01" not in await ap.stations("wlan0-va0"))
        same(await ap.tell("station leave 06:00:00:00:00:01 recv-deauth"), "")
        await ap.tell("radio 1 down")
        await ap.tell("radio 1 up")
        await until(steered, "stations return, but for the one that left")
        await ap.tell("config set /interface/wlan0-va0/vap/ssid two words")
        same(await ap.setting("/interface/wlan0-va0/vap/ssid"), "two words")
        await ap.tell("config set /interface/wlan0/wlan/radio/channel 3")
        same(await ap.mib("chanspec", "wlan0"), 0x1003)
        for wrong in ("", "jump", "station join x wlan0-va0", "station leave 06:00:00:00:00:99", "radio 2 up",
                      "station join 06:00:00:00:00:42 wlan9-va0", "station join 06:00:00:00:00:42 wlan0",
                      "station join 06:00:00:00:00:42 wlan1-va1", "config set nowhere 1", "config set / x",
                      "config set /interface//x 1", "config set /interface/wlan0-va0/vap/ssid/x 1", "show everything",
                      "hostapd start", "notify something", "station leave 06:00:00:00:00:01 dancing",
                      "station join " + 5000 * "a", "fault stations", "quit now"):
            check((await ap.answer(wrong)).startswith("error "), wrong)


async def faults_strike():
    async with Device("wifi6-upper-band") as ap:
        custom = functools.partial(ap.ioctl, CUSTOM["rtk_wifi6"], "wlan1-va0", struct.pack("<III", 4, 0, 9360), 65534)
        same(len(await ap.stations("wlan1-va0")), 2)
        for target in ("stations", "0x89F4", "any"):
            await ap.tell(f"fault {target} fail EIO on wlan1-va0 times 1")
            same(len(await ap.stations("wlan0-va0")), 1)
            same((await custom())[:2], (-1, number_of("EIO")), target)
            same((await custom())[:2], (0, 0), target)
        async with ap.fault("stations count 4294967295"):
            same((await custom())[3][8:12], b"\xff\xff\xff\xff")
        async with ap.fault("stations garbage"):
            same(len((await custom())[3]), 131070)
        async with ap.fault("stations silent"):
            same(await custom(), (0, 0, 65534, b""))
        async with ap.fault("stations late 400"):
            began = time.monotonic()
            await custom()
            check(time.monotonic() - began >= 0.4)
        async with ap.fault("any hang on wlan1-va0"):
            same(await custom(seconds=0.3), None)
        # The bytes that a short variable leaves out are 0, a long one is cut by its reader.
        for length, value in ((1, 0x06), (65535, 0x1006)):
            async with ap.fault(f"get-mib:chanspec length {length}"):
                same((await ap.ioctl(0x89F2, "wlan0", b"chanspec", 2048))[2], length)
                check(f"ok   wlan0 MIB chanspec: 0x{value:04x}" in (await ap.probe())[1], length)
        for kind, wanted in (("empty", (0, "")), ("fail", (1, "iwpriv: failed\n"))):
            async with ap.fault(f"iwpriv {kind} on wlan1"):
                same(await ap.tool("iwpriv", "wlan1", "get_mib", "chanspec"), wanted)
        async with ap.fault("wpa_cli fail on wlan1-va0"):
            same((await ap.hostapd("wlan1-va0", "PING"))[0], 1)
            same(await ap.hostapd("wlan0-va0", "PING"), (0, "PONG\n"))

        get = functools.partial(ap.request, 1, "get", path="/corvane/dca")
        async with ap.fault("config dead"):
            check(not ap.has("/run/ravd-bus/1.sock"))
        for kind, wanted in (("hang", None), ("garbage", b""), ("fail", b'"status":"error"'), ("late 200", b'"true"')):
            async with ap.fault("config " + kind):
                answer = await get(seconds=0.5 if kind == "hang" else PATIENCE)
                check(answer is None if wanted is None else wanted in answer, kind, answer)
                check(kind != "garbage" or b"get-response" not in answer)
        await ap.tell("fault porterd fail times 1")
        same([await ap.update("wlan0", tx_power=12) for _ in range(2)], [False, True])
        same(await ap.tell("fault list"), "none")

        # Whatever the driver answers, the probe says what it saw and ends by itself.
        for lie in ("any garbage", "any silent", "any count 4294967295", "any count 0", "any length 65535",
                    "iwpriv garbage", "config garbage", "any fail EPERM"):
            async with ap.fault(lie):
                status, printed = await ap.probe("--scan", "1,44", "--wait", "1")
                check(status in (0, 1) and re.search(r"^\d+ failed$", printed, re.M), lie, status, printed)


async def probe_names_what_is_missing():
    async with Device("wifi6-upper-band") as ap:
        async def fails(*wanted):
            status, printed = await ap.probe()
            same((status, failures(printed)), (1, [*wanted]))
        same((await ap.probe())[0], 0)
        with ap.without("/etc/ravd/factory"):
            await fails("factory_data_load: no factory data (on ordinary Linux the file /etc/ravd/factory)")
        with ap.without("/var/run/hostapd.pid"):
            await fails("/var/run/hostapd.pid: hostapd does not run")
        for path in ("/proc/wlan0/mib_11n", "/proc/net/rtk_wifi6/wlan1/coex_2g_40m",
                     "/proc/wlan0-va0/rm_neighbor_report", "/proc/net/rtk_wifi6/wlan1-va0/nb_report_custom",
                     "/sys/class/net/wlan0-va0/flags"):
            with ap.without(path):
                await fails(f"{path}: No such file or directory")
        with ap.without("/radio.sock"):
            check("wlan0 MIB chanspec: No such device" in failures((await ap.probe())[1]))
        with ap.without("/bin/iwpriv"):
            found = failures((await ap.probe())[1])
            check("wlan1 MIB chanspec: iwpriv wlan1 get_mib chanspec gives no number" in found, found)
        for fault, wanted in (
                ("stations fail EOPNOTSUPP on wlan0-va0", "wlan0-va0 stations: Operation not supported"),
                ("iwpriv empty on wlan1-va0 times 1",
                 "wlan1-va0 MIB use40M: iwpriv wlan1-va0 get_mib use40M gives no number"),
                ("channels silent on wlan0", "wlan0 available channels: 0 channels"),
                ("wpa_cli fail", "wpa_cli -g /var/run/hostapd/global raw IFNAME=wlan1-va0 PING: wpa_cli: failed"),
                ("config dead", "configuration service (module 1): nobody serves the module"),
                ("config hang", 'configuration service (module 1): takes "get" and does not answer it within 2 s')):
            async with ap.fault(fault):
                await fails(wanted)
        await ap.tell("config remove /corvane/tpc")
        await fails("get /corvane/tpc: the configuration service (module 1) gives no value")
        other = await ap.start(["ravd-bus", "attach", "28", "--stay"])
        await until(lambda: ap.has("/run/ravd-bus/28.sock"), "module 28 is taken")
        check("FAIL mbus_init(28): refused: ravd runs and holds the number" in (await ap.probe())[1])
        await other.stop(5)
        await ap.stop(5)
        found = failures((await ap.probe())[1])
        for wanted in ("configuration service (module 1): nobody serves the module",
                       "wlan0 MIB chanspec: No such device"):
            check(wanted in found, found)


async def garbage_and_a_second_one():
    """Bytes without sense on a socket end their connection, or get an error, and nothing more."""
    async with Device("small-office") as ap:
        unknown = struct.pack("<II16sHH", 24, 0x1234, b"../../etc", 0, 0)
        for name in ("radio", "command", "control"):
            for text in (b"\xff\xff\xff\xff", 300000 * b"x", 70000 * b"\0", unknown, b"\xff\xfe\n\n\n"):
                _, writer = await asyncio.open_unix_connection(ap.path(f"/{name}.sock"))
                writer.write(text)
                try:
                    await writer.drain()
                except ConnectionError:
                    pass  # it had enough
                writer.close()
        check('"hostapd":true' in await ap.tell("show state --json"))
        same((await ap.ioctl(0x8BBF, "../../etc", b"\4", 65534))[:2], (-1, number_of("ENODEV")))
        same((await ap.ioctl(0x1234, "wlan0"))[:2], (-1, number_of("EOPNOTSUPP")))
        # A second one refuses to start there, and leaves the first alone.
        second = ["ravd-sim-ap", SCENARIOS + "/wds.json", "--dir", ap.directory]
        same(await ap.run(*second), (1, f"ravd-sim-ap: {ap.directory}: a simulated access point runs there already\n"))
        same(await ap.mib("chanspec", "wlan0"), 0x1006)
        check(ap.has("/var/run/hostapd.pid") and ap.has("/proc/wlan0-va0/rm_neighbor_report"))
        await ap.stop(5)
        for gone in ("/radio.sock", "/command.sock", "/control.sock", "/var/run/hostapd.pid", "/run/ravd-bus/1.sock",
                     "/proc/wlan0-va0/rm_neighbor_report"):
            check(not ap.has(gone), gone)
        same((await ap.run("ravd-sim-ap", "--dir", ap.directory, "--tell", "quit"))[0], 2)


STORIES = [functools.partial(seen_as_described, name) for name in
           ("small-office", "block-of-flats", "one-radio-down", "wds", "wifi6-upper-band", "wifi6")]
STORIES += [what_is_set_is_read_back, services_answer, stations_hostapd_and_radios, faults_strike,
            probe_names_what_is_missing, garbage_and_a_second_one]
