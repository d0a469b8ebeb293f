"""A station: one radio and wpa_supplicant."""
import asyncio
import re

from lab.processes import Wrong, until
from radio.namespace import POLL, Namespace
from radio.network import PASSPHRASE


class Station(Namespace):
    def __init__(self, name, phy):
        super().__init__(name)
        self.phy = phy
        self.supplicant = None
        self.address = ""

    async def begin(self):
        await super().begin()
        await self.take_radio(self.phy)
        await self.must("iw", "phy", self.phy, "interface", "add", "sta0", "type", "managed")
        with open(self.path("/sys/class/net/sta0/address"), encoding="ascii") as file:
            self.address = file.read().strip()

    async def join(self, ssid, *lines, key_mgmt="WPA-PSK"):
        """Starts wpa_supplicant and waits until it is connected. `lines` go into its network block."""
        block = [f'ssid="{ssid}"', f"key_mgmt={key_mgmt}", f'psk="{PASSPHRASE}"', *lines]
        self.write("/etc/wpa.conf", "ctrl_interface=/var/run/wpa\nnetwork={\n" + "\n".join(block) + "\n}\n")
        self.supplicant = await self.start("wpa_supplicant", "wpa_supplicant", "-t", "-i", "sta0", "-c", "/etc/wpa.conf")
        await self.connected()

    async def wpa_cli(self, *command):
        return await self.must("wpa_cli", "-p", "/var/run/wpa", "-i", "sta0", *command)

    async def status(self):
        """wpa_supplicant's values; bssid, freq, key_mgmt, wpa_state among them."""
        lines = (await self.wpa_cli("status")).splitlines()
        return dict(line.split("=", 1) for line in lines if "=" in line)

    async def connected(self, bssid=None, seconds=60):
        """Waits for a connection (to this BSS). Its values."""
        async def there():
            _, output = await self.run("wpa_cli", "-p", "/var/run/wpa", "-i", "sta0", "status")
            values = dict(line.split("=", 1) for line in output.splitlines() if "=" in line)
            return values if values.get("wpa_state") == "COMPLETED" and bssid in (None, values["bssid"]) else None
        return await until(there, f"{self.name} is connected" + (f" to {bssid}" if bssid else ""), seconds, pause=POLL)

    async def roam(self, bssid, attempts=3):
        """Goes there by itself, as often as it takes: on a slow machine a frame may come too late. Its values."""
        for attempt in range(1, attempts + 1):
            await self.wpa_cli("roam", bssid)
            try:
                return await self.connected(bssid, 60 if attempt == attempts else 15)
            except Wrong:
                if attempt == attempts:
                    raise

    async def ping(self, address, count=3):
        """Answers received."""
        _, output = await self.run("ping", "-c", str(count), "-i", "0.2", "-W", "2", address)
        found = re.search(r"(\d+) received", output)
        return int(found[1]) if found else 0

    async def hear(self, bssid, frequency, seconds=60):
        """Scans until it knows this BSS."""
        async def known():
            await self.wpa_cli("raw", "SCAN", f"freq={frequency}")
            await asyncio.sleep(1)
            return bssid in await self.wpa_cli("scan_results")
        await until(known, f"{self.name} hears {bssid}", seconds, pause=POLL)
