"""A small radio service: scans at each subscription, puts every radio on its quietest channel, looks whether it went there.

    example_service.py [PORT]        needs python3-websockets
"""
import asyncio
import json
import sys

import websockets


class Agent:
    def __init__(self, socket):
        self.socket = socket
        self.name = "?"
        self.radios = []
        self.wanted = {}  # radio: channel that was ordered

    async def order(self, cmd, **members):
        await self.socket.send(json.dumps({"version": "2.4", "service": "rrm", "cmd": cmd, **members}))

    async def subscribe(self, message):
        print(f"{self.name} subscribes:", [(r["id"], r["channel"], r["status"]) for r in message["radios"]], flush=True)
        await self.order("subscribe-response", status="success", domain="python",
                         config={"use-tpc": 0, "use-dca": 0, "use-80211v": 1})
        channels = [c for radio in message["radios"] for c in radio.get("available-channels", "").split()]
        await self.order("rrm-update", **{"rrm-scan-channels": " ".join(channels), "rrm-scan-delay": 0,
                                          "quarn-rrm-scanning": 0})

    async def report(self, message):
        heard = {}  # each access point once, as loud as in its loudest round
        for one in (bss for a_round in message["rf-environment"] for bss in a_round):
            heard[one["bssid"]] = max(heard.get(one["bssid"], (-200, 0)), (one["rssi"], one["channel"]))
        orders = []
        for radio in message["radios"]:
            available = [int(c) for c in radio.get("available-channels", "").split()]
            if not available or radio["locked-for-dca"]:
                continue

            def load(channel):
                near = 3 if radio["band"] == 2 else 0
                return sum(10 ** (rssi / 10) for rssi, at in heard.values() if abs(at - channel) <= near)
            best = min(available, key=lambda c: (load(c), c != radio["channel"]))
            print(f"{self.name} radio {radio['id']}: channel {radio['channel']} -> {best}", flush=True)
            self.wanted[radio["id"]] = best
            orders.append({"id": radio["id"], "channel": best, "bandwidth": 20})
        await self.order("rrm-info", **{"use-dca": 1, "use-80211v": 1, "radios": orders})
        await asyncio.sleep(10)
        await self.order("rrm-request-mode")

    async def verify(self, message):
        for radio in message["radios"]:
            if radio["id"] in self.wanted:
                good = radio["channel"] == self.wanted[radio["id"]]
                print(f"{self.name} radio {radio['id']} is on {radio['channel']}:", "good" if good else "WRONG", flush=True)

    async def serve(self):
        handlers = {"subscribe-request": self.subscribe, "rrm-response": self.report, "rrm-mode-response": self.verify}
        try:
            async for text in self.socket:
                message = json.loads(text)
                self.name = message["ap-mac"]
                print(f"{self.name}: {message['cmd']}", flush=True)
                if message["cmd"] in handlers:
                    asyncio.create_task(handlers[message["cmd"]](message))
        except websockets.ConnectionClosed:
            pass
        print(f"{self.name} is gone", flush=True)


async def main():
    port = int(sys.argv[1]) if len(sys.argv) > 1 else 8080
    async with websockets.serve(lambda socket, path: Agent(socket).serve(), "0.0.0.0", port,
                                subprotocols=["websock-rrm"], max_size=None):
        print("listening on", port, flush=True)
        await asyncio.Future()

asyncio.run(main())
