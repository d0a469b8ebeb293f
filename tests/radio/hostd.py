"""ravd-hostd between the daemon, hostapd and the kernel: interfaces, channel, power, key holders, life, clients.

Arguments: the parts to show (values, channel, roam, lives); all without any."""
import asyncio
import json
import signal
import sys

from lab.processes import check, until
from radio.access_point import AccessPoint, radio
from radio.namespace import radios_begin, wire_begin
from radio.service import Service
from radio.station import Station

KEY = "0f1e2d3c4b5a69788796a5b4c3d2e1f00f1e2d3c4b5a69788796a5b4c3d2e1f0"


def fast(number, name):
    return radio(number, "office", 6 if number == 0 else 36, "wpa_key_mgmt=WPA-PSK FT-PSK", "mobility_domain=1234",
                 f"nas_identifier={name}-{number}", "ft_psk_generate_local=0")


class HostdAccessPoint(AccessPoint):
    async def get(self, path):
        return (await self.run("ravd-bus", "get", path))[1]

    async def call(self, module, **request):
        _, output = await self.run("ravd-bus", "call", str(module), json.dumps(request))
        return json.loads(output)

    async def update(self, name, **params):
        texts = {key.replace("_", "-"): str(value) for key, value in params.items()}
        return await self.call(6, command="update-corvane", ifname=name, params=texts)

    async def kernel(self, name, what):
        for line in (await self.must("iw", "dev", name, "info")).splitlines():
            if line.strip().startswith(what):
                return line.strip()
        return ""

    async def on(self, name, text):
        async def there():
            return text in await self.kernel(name, "channel")
        await until(there, f"{name} on {text}", 30)


def holders(own, other):
    """A VAP's settings as the agent sends them: access point numbers, radio 0 of each."""
    remote = f"02:00:5e:00:0{other}:01"
    return {"ft-config": {"enabled": "true", "ft-over-ds": "false", "ft-psk-generate-local": "false",
                          "reassociation-deadline": 1000, "mobility-domain": 0x1234,
                          "r0-key-holder-id": f"ap{own}-0", "r1-key-holder-id": f"02:00:5e:00:0{own}:01",
                          "mac": {remote: {"name": remote, "index": "0", "r0-kh-id": f"ap{other}-0",
                                           "r1-kh-id": remote, "r0-kh-key": KEY, "r1-kh-key": KEY}}}}


async def channel_and_power(ap, station):
    before = (await station.status())["bssid"]
    mark = ap.hostapd.mark()
    check((await ap.update("wlan0", auto_channel="false", channel=1, bandwidth=20))["status"] == "ok", "channel 1")
    await ap.on("wlan0-va0", "channel 1 (2412 MHz), width: 20")
    await until(lambda: frequency(station, "2412"), "the station follows", 30)
    check((await station.status())["bssid"] == before, "the station stayed")
    check(await station.ping("10.0.0.1", 5) >= 4, "traffic after the switch")
    check("AP-STA-DISCONNECTED" not in "".join(ap.hostapd.lines[mark:]), "a client was lost")
    for params, what in (({"channel": 149, "bandwidth": 80}, "channel 149 (5745 MHz), width: 80 MHz, center1: 5775"),
                         ({"channel": 40, "bandwidth": 40}, "channel 40 (5200 MHz), width: 40 MHz, center1: 5190"),
                         ({"channel": 44, "bandwidth": 20}, "channel 44 (5220 MHz), width: 20")):
        answer = await ap.update("wlan1", **params)
        check(answer["status"] == "ok", params, answer)
        await ap.on("wlan1-va0", what)
    for params in ({"channel": 52}, {"channel": 173}, {"channel": 7, "bandwidth": 40}, {"tx_power": 60},
                   {"channel": "x"}, {"colour": 1}):
        answer = await ap.update("wlan1", **params)
        check(answer["status"] == "error", params, answer)
        print("refused:", params, "-", answer["reason"])
    check((await ap.update("wlan0", tx_power=9))["status"] == "ok", "power 9")
    check(await ap.kernel("wlan0-va0", "txpower") == "txpower 9.00 dBm", await ap.kernel("wlan0-va0", "txpower"))
    for number, what in ((0, "channel 6 (2437 MHz)"), (1, "channel 36 (5180 MHz), width: 80 MHz")):
        check((await ap.call(6, command="reset-corvane", ifname=f"wlan{number}"))["status"] == "ok", "reset")
        await ap.on(f"wlan{number}-va0", what)
    check(await ap.kernel("wlan0-va0", "txpower") != "txpower 9.00 dBm", "power is automatic again")
    print("channel, width and power were set and taken back, no client lost")


async def frequency(station, expected):
    return (await station.status()).get("freq") == expected


async def fast_roam(first, second, station):
    answers = [await ap.call(6, **{"command": "update-corvane-fbt", "wlan0-va0": holders(own, other)})
               for ap, own, other in ((first, 1, 2), (second, 2, 1))]
    check(all(answer["status"] == "ok" for answer in answers), "key holders", answers)
    check("RELOAD" not in "".join(second.hostd.lines), "key holders as configured need no reload")
    target = await second.bssid(0)
    mark = second.hostapd.mark()

    async def there():
        # A station that got no answer in time ignores the target for 10 s.
        await station.run("wpa_cli", "-p", "/var/run/wpa", "-i", "sta0", "roam", target)
        await asyncio.sleep(3)
        return (await station.status()).get("bssid") == target
    await until(there, "the station roams", 90)
    await second.has_station(0, station.address)
    await second.hostd.line(f"wlan0-va0: {station.address} auth")
    check("AKMSuiteSelector=00-0f-ac-4" in await second.hostapd_cli(0, "sta", station.address), "FT-PSK is its kind")
    check(f"EAPOL-4WAY-HS-COMPLETED {station.address}" not in "".join(second.hostapd.lines[mark:]),
          "it came by a whole handshake, not by FT")
    print("a station roamed by fast transition with the key holders that were handed out")


async def lives_of_hostapd(ap):
    """Killed, stopped for a while and back; what was ordered holds."""
    check((await ap.update("wlan0", channel=11, bandwidth=20, tx_power=8))["status"] == "ok", "channel 11, 8 dBm")
    await ap.on("wlan0-va0", "channel 11 ")
    mark = ap.hostd.mark()
    ap.hostapd.process.kill()
    await ap.hostapd.ended(60)
    await until(lambda: not ap.exists("/var/run/hostapd.pid"), "the pid file of a killed hostapd goes", 30)
    await ap.start_hostapd()
    await ap.hostd.line("VAPs on the air", mark, 60)
    check(ap.exists("/var/run/hostapd.pid"), "a pid file")
    await ap.on("wlan0-va0", "channel 11 ")
    check(await ap.kernel("wlan0-va0", "txpower") == "txpower 8.00 dBm", "its power holds")
    ap.hostapd.process.send_signal(signal.SIGSTOP)
    answer = await ap.update("wlan1", channel=44)
    check(answer["status"] == "error" and "answer" in answer["reason"], "an order to a hostapd that is stopped", answer)
    check(await ap.get("/interface/wlan0-va0/vap/ssid") == "office", "the configuration is told all the same")
    ap.hostapd.process.send_signal(signal.SIGCONT)

    async def answers():
        return (await ap.update("wlan1", channel=44, bandwidth=20))["status"] == "ok"
    await until(answers, "hostapd takes orders again", 30)
    await ap.on("wlan1-va0", "channel 44 ")
    ap.hostd.process.terminate()
    check(await ap.hostd.ended(30) == 0, "an orderly end")
    await ap.on("wlan0-va0", "channel 6 ")
    await ap.on("wlan1-va0", "channel 36 ")
    check(await ap.kernel("wlan0-va0", "txpower") != "txpower 8.00 dBm", "power is automatic again")
    print("hostapd was killed and stopped; what was ordered held, and went with ravd-hostd")


async def values(ap):
    check(await ap.bssid(0) == f"{ap.mac[:-1]}1".lower(), "the VAP's address", await ap.bssid(0))
    check(ap.exists("/var/run/hostapd.pid"), "a pid file")
    again = await ap.must("ravd-hostd", "--setup", "/etc/ravd/interfaces")
    check("made" not in again, "a second --setup made something", again)
    expected = {"/corvane/dca": "true", "/interface/wlan0/common/enabled": "true",
                **{f"/interface/wlan1/wlan/radio/{key}": value for key, value in (
                    ("country", "US"), ("channel", "36"), ("bandwidth", "80"), ("auto-channel", "false"),
                    ("tx-power-min", "11"), ("use-limit-channels", "false"))},
                **{f"/interface/wlan0-va0/{key}": value for key, value in (
                    ("common/enabled", "true"), ("vap/ssid", "office"), ("vap/ap-security/mode", "WPA2_PSK"),
                    ("vap/w80211kv-config/enabled", "true"), ("vap/ft-config/enabled", "true"))}}
    found = {path: await ap.get(path) for path in expected}
    check(found == expected, "values", {path: found[path] for path in expected if found[path] != expected[path]})
    print(f"{len(expected)} values are as hostapd and the kernel have them")


async def main():
    parts = sys.argv[1:] or ["values", "channel", "roam", "lives"]
    await radios_begin(5)
    await wire_begin("10.0.0.1/24")
    aps = [HostdAccessPoint(f"ap{n}", f"02:00:5E:00:0{n}:00", f"10.0.0.{n + 1}/24",
                            [(f"phy{2 * n - 2}", fast(0, f"ap{n}")), (f"phy{2 * n - 1}", fast(1, f"ap{n}"))])
           for n in ((1, 2) if "roam" in parts else (1,))]
    first = aps[0]
    station = Station("sta1", "phy4")
    service = Service("10.0.0.1")
    try:
        for ap in aps:
            await ap.begin()
            await ap.start_hostapd()
            await ap.start_hostd("/interface/wlan0/wlan/radio/tx-power-min=5")
            await ap.hostd.line("VAPs on the air", seconds=60)
        await service.begin()
        await first.start_agent(service.address)
        await first.subscribed()
        if "values" in parts:
            await values(first)
        if "channel" in parts or "roam" in parts:
            await station.begin()
            await station.join("office", "scan_freq=2437 2412", key_mgmt="FT-PSK")
            await station.must("ip", "addr", "add", "10.0.0.10/24", "dev", "sta0")
            if (await station.status())["bssid"] != await first.bssid(0):
                # Anew: a fast transition would fail before there are key holders.
                await station.wpa_cli("bssid_ignore", await aps[1].bssid(0))
                await station.wpa_cli("disconnect")
                await station.wpa_cli("reconnect")
                await station.connected(await first.bssid(0))
                await station.wpa_cli("bssid_ignore", "clear")
        if "channel" in parts:
            await first.hostd.line(f"wlan0-va0: {station.address} auth")
            await channel_and_power(first, station)
        if "roam" in parts:
            await fast_roam(first, aps[1], station)
        if "lives" in parts:
            await lives_of_hostapd(first)
    finally:
        await station.end()
        for ap in aps:
            await ap.end()
        await service.end()


asyncio.run(main())
