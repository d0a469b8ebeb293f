"""Commands of the driver and a configuration service that hang, never end or answer for somebody else."""
import asyncio
import os
import time

from programs import check, until
from service import message, same
from settings import has, neighbour

WATCHDOG = 10  # seconds after which the process would end


def wifi6(session):
    for radio in session.office["radios"]:
        radio["kind"] = "rtk_wifi6"


async def commands_that_hang(session):
    """Each is ended after 2 s. An entry of a neighbour list takes three: together longer than the watchdog waits."""
    wifi6(session)
    link = await session.subscribed()
    entries = [[f"02:00:5e:77:01:{number:02x}", 11] for number in range(1, 5)]
    for target, written in (("iwpriv", entries), ("wpa_cli", [])):
        await session.ap.tell(f"fault {target} hang")
        began = time.monotonic()
        await link.send(message("rrm-info", **{"802dot11k": [
            neighbour(number, 11, 200, ("office", entry[0])) for number, entry in enumerate(entries, 10)]}))
        await session.ap.line("fault: " + target)
        await link.alive(90)
        took = time.monotonic() - began
        session.notes.append(f"{took:.0f} s with {target} hanging")
        check(took > (WATCHDOG if target == "iwpriv" else 8), "no command hung:", took)
        await session.ap.tell("fault clear")
        # An entry that hostapd may not have got is not written to the driver, either.
        await until(lambda wanted=written: has(session.ap, "wlan0-va0", "standard", wanted), "the neighbours")
        await link.send(message("rrm-info", **{"802dot11k": []}))
        await until(lambda: has(session.ap, "wlan0-va0", "standard", []), "an empty list")


async def commands_without_sense(session):
    """Whatever iwpriv prints, the power is the one that stands for an unknown one, and the daemon goes on."""
    wifi6(session)
    link = await session.subscribed()
    tool = session.device("/bin/iwpriv")
    os.rename(tool, tool + ".aside")
    for number, script in enumerate(("exec yes '1  get_mib:5'", "echo 'wlan9  get_mib:5'", "echo '  get_mib:5'",
                                     "echo \"$1  get_mib:-5\"", "echo \"$1  get_mib:x\"", "exit 1",
                                     "printf '%s' \"$1\"", "head -c 1000000 /dev/urandom")):
        path = f"{tool}.{number}"
        with open(path, "w", encoding="utf-8") as file:
            file.write(f"#!/bin/sh\n{script}\n")
        os.chmod(path, 0o755)
        os.rename(path, tool)
        radios = (await link.mode(60))["radios"]
        same([radio["status"] for radio in radios], [1, 1])
        await session.ap.tell("notify config_updated")
        changed = await link.skip_to("rrm-config-changed", seconds=60)
        same([radio["power"] for radio in changed["radios"]], [16, 16])
    os.rename(tool + ".aside", tool)
    await session.ap.tell("notify config_updated")
    await link.skip_to("rrm-config-changed", lambda told: [radio["power"] for radio in told["radios"]] == [16, 18])


async def files_that_vanish(session):
    """What is there at one read is gone, or without an end, at the next."""
    wifi6(session)
    link = await session.subscribed()
    entry = neighbour(1, 11, 9, ("office", "02:00:5e:77:01:01"))
    names = ["/sys/class/net/wlan0", "/sys/class/net/wlan0-va0", "/proc/net/rtk_wifi6/wlan1", "/proc/net/rtk_wifi6"]
    for _ in range(10):
        for name in names:
            path = session.device(name)
            session.touch("_hostapd_started", "")
            await link.send(message("rrm-info", **{"802dot11k": [entry]}))
            os.rename(path, path + ".aside")
            await asyncio.sleep(0.03)
            os.rename(path + ".aside", path)
    for name in ("/sys/class/net/wlan0/flags", "/proc/net/rtk_wifi6/wlan1/coex_2g_40m"):
        path = session.device(name)
        for target in ("/dev/zero", "/dev/null", "/dev", "/nowhere"):
            os.rename(path, path + ".aside")
            os.symlink(target, path)
            session.touch("_hostapd_started", "")
            await link.skip_to("rrm-config-changed", seconds=60)
            await link.alive(60)
            os.remove(path)
            os.rename(path + ".aside", path)
    session.touch("_hostapd_started", "")
    await link.skip_to("rrm-config-changed", lambda told: all("vaps" in radio for radio in told["radios"]), seconds=60)


async def configuration_away_while_the_table_is_filled(session):
    """Absent, the service makes it end at once; hanging, it makes it slow: longer than the watchdog waits."""
    link = await session.subscribed()
    for fault, least, most in (("config dead", 0, 5), ("config hang", WATCHDOG, 100)):
        await session.ap.tell("hostapd stop")
        await link.skip_to("rrm-disassoc-all-clients")
        await session.ap.tell("fault " + fault)
        began = time.monotonic()
        await session.ap.tell("hostapd start")
        changed = await link.skip_to("rrm-config-changed", seconds=most)
        took = time.monotonic() - began
        session.notes.append(f"{took:.1f} s with {fault}")
        check(took >= least, "took only", took)
        for radio in changed["radios"]:
            check(not radio.get("vaps") and not radio.get("assoclist"), "VAPs without settings:", radio)
        await session.ap.tell("fault clear")
    await session.restart_hostapd(link)
    changed = await link.skip_to("rrm-config-changed")
    check(all(radio["vaps"] for radio in changed["radios"]), "no VAPs:", changed)


SESSIONS = [commands_that_hang, commands_without_sense, files_that_vanish,
            configuration_away_while_the_table_is_filled]
