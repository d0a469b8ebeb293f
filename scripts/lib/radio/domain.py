"""The service of a single agent: orders to it in so many words, and what it answers to scans."""
import json
import time

from radio.service import Service


class Domain(Service):
    def __init__(self, host, ap):
        super().__init__(host)
        self.mac = ap.mac

    async def send(self, cmd, **members):
        message = {"version": "2.4", "service": "rrm", "cmd": cmd, "ap-mac": self.mac, **members}
        await self.program.say(json.dumps(message))

    async def scan(self, channels, active=True):
        """Rounds of {bssid: entry}, and how long they took."""
        mark, began = self.mark(), time.monotonic()
        await self.send("rrm-update", **{"rrm-scan-channels": channels, "rrm-scan-delay": 0,
                                         "quarn-rrm-scanning": int(not active)})
        answer = await self.message(self.mac, "rrm-response", mark, seconds=90)
        return [{bss["bssid"]: bss for bss in heard} for heard in answer["rf-environment"]], time.monotonic() - began


def neighbour(bssid, channel):
    return {"neighbour-mac": bssid, "channel": channel, "priority": 255, "vaps": [{"ssid": "office", "mac": bssid}]}
