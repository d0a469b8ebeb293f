"""The place that the demonstration plays in: two access points of one network, two of others, four stations."""
import asyncio

from lab.processes import check
from radio.access_point import AccessPoint, radio
from radio.namespace import must, radios_begin, wire_begin
from radio.network import PASSPHRASE, SECURITY, Network, vap
from radio.service import Service
from radio.station import Station

SSID = "office"
HOST = "10.0.0.1"  # of the service; stations ping it, too
CHANNELS = {"ap1": (6, 36), "ap2": (11, 149)}  # as configured
FOREIGN = {"cafe": 6, "hotel": 36}
STATIONS = {"mover": 1, "weak": 2, "roamer": 3, "guest": 4}
RADIOS = 10


def fast_transition(name, number):
    """hostapd's lines of a VAP whose key holders are still to be handed out."""
    return ("wpa_key_mgmt=WPA-PSK FT-PSK", "mobility_domain=1234", f"nas_identifier={name}-{number}.lab",
            "ft_over_ds=0", "logger_stdout=1", "logger_stdout_level=1",
            # By silence alone hostapd learns who left for another access point.
            "ap_max_inactivity=5")


class Neighbourhood:
    def __init__(self):
        self.service = Service(HOST)
        self.aps = []
        self.foreign = []
        self.stations = {}
        self.channels = {name: list(channels) for name, channels in CHANNELS.items()}  # as ordered by now
        self.at = {}  # stations that began at (name of the access point, number of the radio)

    async def begin(self):
        await radios_begin(RADIOS)
        await wire_begin(HOST + "/24")
        phys = iter(f"phy{number}" for number in range(RADIOS))
        for number, (name, channels) in enumerate(CHANNELS.items(), 1):
            radios = [(next(phys), radio(index, SSID, channel, *fast_transition(name, index)))
                      for index, channel in enumerate(channels)]
            self.aps.append(AccessPoint(name, f"02:00:5E:00:0{number}:00", f"10.0.0.{number + 1}/24", radios))
        for name, channel in FOREIGN.items():
            security = SECURITY.format(passphrase=PASSPHRASE + " of " + name)
            self.foreign.append(Network(name, [(next(phys), vap("wlan0-va0", name, channel, security))]))
        await asyncio.gather(*(self.on_air(network) for network in (*self.aps, *self.foreign)),
                             *(self.station_begin(name, next(phys)) for name in STATIONS))

    async def on_air(self, network):
        await network.begin()
        await network.start_hostapd()

    async def station_begin(self, name, phy):
        station = self.stations[name] = Station(name, phy)
        await station.begin()
        await station.must("ip", "addr", "add", f"10.0.0.{STATIONS[name] + 10}/24", "dev", "sta0")

    async def join(self, name, ap, number, *lines, key_mgmt="WPA-PSK"):
        """A station begins at a radio of an access point."""
        station = self.stations[name]
        frequency = (await ap.status(number))["freq"]
        await station.join(SSID, f"scan_freq={frequency}", *lines, key_mgmt=key_mgmt)
        await ap.has_station(number, station.address)
        check(await station.ping(HOST) > 0, f"traffic of {name} does not pass")
        self.at.setdefault((ap.name, number), []).append(station)

    async def end(self):
        for one in (*self.stations.values(), *self.foreign, *self.aps):
            await one.end()
        await self.service.end()
