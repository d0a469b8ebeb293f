"""A whole access point: two radios, hostapd, the daemon and what stands beside it."""
from lab.processes import until
from radio.network import PASSPHRASE, SECURITY, Network, vap

BRIDGE = "br0"


def radio(number, ssid, channel, *lines, country="US"):
    """hostapd's file of one radio that stations can be steered on."""
    return vap(f"wlan{number}-va0", ssid, channel, f"bridge={BRIDGE}", f"country_code={country}", "ieee80211d=1",
               "rrm_neighbor_report=1", "bss_transition=1", "ap_max_inactivity=10", SECURITY.format(passphrase=PASSPHRASE), *lines)


class AccessPoint(Network):
    """`mac`: the base address of its factory data. `address`: its own in the bridged network, as in 10.0.0.2/24."""

    def __init__(self, name, mac, address, radios):
        super().__init__(name, radios)
        self.mac = mac
        self.address = address
        self.agent = None
        self.hostd = None

    async def begin(self):
        await super().begin()
        await self.must("ip", "link", "add", BRIDGE, "type", "bridge")
        await self.must("ip", "link", "set", BRIDGE, "up")
        await self.wire("")
        await self.must("ip", "link", "set", "eth0", "master", BRIDGE)
        await self.must("ip", "addr", "add", self.address, "dev", BRIDGE)

    async def make_interfaces(self):
        self.write("/etc/ravd/factory", f"board=lab\nhw=1\nserial={self.name}\nmac={self.mac}\n")
        self.write("/etc/ravd/interfaces", "".join(
            f"wlan{number} {phy}\nwlan{number}-va0\n" for number, (phy, _) in enumerate(self.radios)))
        await self.must("ravd-hostd", "--setup", "/etc/ravd/interfaces")

    async def start_hostd(self, *lines):
        """`lines` go into its configuration file."""
        self.write("/etc/ravd/hostd.conf", "".join(line + "\n" for line in lines))
        self.hostd = await self.start("ravd-hostd", "ravd-hostd", "--config", "/etc/ravd/hostd.conf")

    async def start_agent(self, service, environment=None, **keys):
        """`service`: address and port of the radio service. `keys` go into the daemon's configuration."""
        values = {"corvane_service_url": f"ws://{service}/agent", "initial_connection_delay": 1,
                  "max_connection_delay": 2, "ap_location": "lab", "log_level": 7, **keys}
        self.write("/etc/ravd/ravd.conf", "".join(f"{key}={value}\n" for key, value in values.items()))
        self.agent = await self.start("ravd", "ravd", "-f", "/etc/ravd/ravd.conf", environment=environment)

    async def subscribed(self, seconds=60):
        """Waits until the service accepted the agent, as the marker for other programs says."""
        await until(lambda: self.exists("/tmp/.corvane-connected"), f"{self.name} is subscribed", seconds)
