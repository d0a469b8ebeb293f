"""What iw tells of radios: an independent witness of channels, power and what is heard."""
import re

from lab.processes import until
from radio.namespace import POLL


async def interface(namespace, name):
    """Channel (MHz), width (MHz), transmit power (dBm) and type of an interface; absent where iw shows none."""
    shown = await namespace.must("iw", "dev", name, "info")
    values = {}
    found = re.search(r"channel (\d+) \((\d+) MHz\), width: (\d+) MHz", shown)
    if found:
        values.update(channel=int(found[1]), frequency=int(found[2]), width=int(found[3]))
    found = re.search(r"txpower ([\d.-]+) dBm", shown)
    if found:
        values["power"] = float(found[1])
    return values


async def on_channel(namespace, name, channel, seconds=30):
    """Waits until an interface is there."""
    async def there():
        return (await interface(namespace, name)).get("channel") == channel
    await until(there, f"{name} of {namespace.name} is on channel {channel}", seconds, pause=POLL)


async def scan(namespace, name, *frequencies):
    """BSSID -> signal (dBm) of a scan by iw."""
    arguments = ["freq", *(str(one) for one in frequencies)] if frequencies else []
    heard, bssid = {}, None

    async def done():
        # It fails as busy while somebody else scans, and was once seen to wait for an end that did not come.
        status, output = await namespace.run("iw", "dev", name, "scan", *arguments, seconds=20)
        return [output] if status == 0 else None
    for line in (await until(done, f"{namespace.name} scans", 90, pause=POLL))[0].splitlines():
        found = re.match(r"BSS ([0-9a-f:]{17})", line)
        bssid = found[1] if found else bssid
        found = re.search(r"signal: ([\d.-]+) dBm", line)
        if found:
            heard[bssid] = float(found[1])
    return heard
