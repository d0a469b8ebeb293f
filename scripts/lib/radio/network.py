"""Access points that hostapd runs: configuration, start, restart, what hostapd_cli tells of them."""
from lab.processes import check, until
from radio.namespace import POLL, Namespace

PASSPHRASE = "a long passphrase"

BAND_2 = """hw_mode=g
channel={channel}
ieee80211n=1
"""
BAND_5 = """hw_mode=a
channel={channel}
ieee80211n=1
ieee80211ac=1
ht_capab=[HT40+]
vht_oper_chwidth=1
vht_oper_centr_freq_seg0_idx={centre}
"""
SECURITY = """wpa=2
wpa_key_mgmt=WPA-PSK
rsn_pairwise=CCMP
wpa_passphrase={passphrase}
"""


def band(channel):
    """Configuration lines: 20 MHz at 2.4 GHz, 80 MHz at 5 GHz, where `channel` has to begin a block."""
    return (BAND_2 if channel < 36 else BAND_5).format(channel=channel, centre=channel + 6)


def vap(interface, ssid, channel, *lines):
    """What hostapd's file says of a radio with one VAP."""
    return (f"interface={interface}\nctrl_interface=/var/run/hostapd\nssid={ssid}\nbeacon_int=100\n{band(channel)}"
            + "".join(line + "\n" for line in lines))


class Network(Namespace):
    """A namespace with radios, wlanN (managed, up) and wlanN-va0 each, that hostapd runs.

    `radios`: a phy and hostapd's configuration file for each."""

    def __init__(self, name, radios):
        super().__init__(name)
        self.radios = radios
        self.hostapd = None

    async def begin(self):
        await super().begin()
        for number, (phy, text) in enumerate(self.radios):
            await self.take_radio(phy)
            self.write(f"/etc/hostapd/wlan{number}.conf", text)
        await self.make_interfaces()

    async def make_interfaces(self):
        for number, (phy, _) in enumerate(self.radios):
            await self.must("iw", "phy", phy, "interface", "add", f"wlan{number}", "type", "managed")
            await self.must("iw", "phy", phy, "interface", "add", f"wlan{number}-va0", "type", "__ap")
            await self.must("ip", "link", "set", f"wlan{number}", "up")

    async def start_hostapd(self):
        files = [f"/etc/hostapd/wlan{number}.conf" for number in range(len(self.radios))]
        self.hostapd = await self.start("hostapd", "hostapd", "-t", "-P", "/var/run/hostapd.pid",
                                        "-g", "/var/run/hostapd/global", *files)
        for number in range(len(self.radios)):
            await self.hostapd.line(rf"wlan{number}-va0: AP-ENABLED", seconds=60)

    async def hostapd_cli(self, number, *command):
        return await self.must("hostapd_cli", "-p", "/var/run/hostapd", "-i", f"wlan{number}-va0", *command)

    async def status(self, number):
        """hostapd's values of a VAP."""
        lines = (await self.hostapd_cli(number, "status")).splitlines()
        return dict(line.split("=", 1) for line in lines if "=" in line)

    async def bssid(self, number):
        return (await self.status(number))["bssid[0]"]

    async def stations(self, number):
        """Addresses of those that hostapd has."""
        return [line for line in (await self.hostapd_cli(number, "list_sta")).splitlines() if line.count(":") == 5]

    async def has_station(self, number, address, seconds=30):
        async def there():
            return address in await self.stations(number)
        await until(there, f"{address} at {self.name}'s radio {number}", seconds, pause=POLL)

    async def stop_hostapd(self):
        status = await self.hostapd_ended()
        check(status == 0, f"{self.name}'s hostapd ended with", status)

    async def hostapd_ended(self):
        self.hostapd.process.terminate()
        return await self.hostapd.ended(60)
