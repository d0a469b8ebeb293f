"""Accidents and the end: hostapd restarts, the link is lost, the agents stop."""
from lab.processes import until
from radio import air
from radio.namespace import POLL
from radio.neighbourhood import CHANNELS


async def as_configured(ap):
    """Whether hostapd and kernel are what the configuration says: channels, widths, neighbour lists."""
    for number, channel in enumerate(CHANNELS[ap.name]):
        seen = await air.interface(ap, f"wlan{number}-va0")
        own = await ap.bssid(number)
        shown = [line for line in (await ap.hostapd_cli(number, "show_neighbor")).splitlines() if line]
        if (seen.get("channel"), seen.get("width")) != (channel, 80 if number else 20):
            return False
        if any(not line.startswith(own) for line in shown):
            return False
    return True


async def hostapd_restart(stage, place):
    stage.step("hostapd of the first access point restarts.")
    ap = place.aps[0]
    pid = ap.agent.process.pid
    mark = place.service.mark()
    await ap.stop_hostapd()
    await place.service.message(ap.mac, "rrm-disassoc-all-clients", mark)
    stage.verify("the agent reported that all clients are gone")
    await ap.start_hostapd()
    mover = place.stations["mover"]
    await place.service.message(ap.mac, "rrm-config-changed", mark, seconds=90)
    stage.verify("the agent outlived it and described its radios anew", ap.agent.runs() and ap.agent.process.pid == pid)
    for number, channel in enumerate(place.channels[ap.name]):
        await air.on_channel(ap, f"wlan{number}-va0", channel, 60)
    stage.verify("iw shows the ordered channels again, in place of those in hostapd's files")
    status = await mover.connected()
    stage.verify(f"its station went to the other access point meanwhile, wpa_cli says: {status['bssid']}",
                 status["bssid"] == await place.aps[1].bssid(0))


async def link_lost(stage, place):
    stage.step("The radio service is gone for good. What it ordered is taken back.")
    service = place.service
    await service.program.stop(30)
    stage.verify("until then it found no fault in any message")
    for ap in place.aps:
        await until(lambda ap=ap: as_configured(ap), f"{ap.name}'s channels and neighbour lists are as configured", 90, pause=POLL)
    stage.verify("iw and hostapd_cli show channels, widths and neighbour lists as configured")
    mark = service.mark()
    await service.begin("--strict")
    for ap in place.aps:
        await service.message(ap.mac, "subscribe-request", mark, seconds=90)
    stage.verify("a new service comes; both subscribe again")


async def orderly_end(stage, place):
    stage.step("Another channel is ordered, then everything is told to end.")
    ap1 = place.aps[0]
    await place.service.order(ap1.mac, "config radio=0 channel=11")
    await air.on_channel(ap1, "wlan0-va0", 11, 60)
    for ap in place.aps:
        stage.verify(f"{ap.name}'s agent ended after {await ap.agent.stop(30):.1f} s with status 0")
    for ap in place.aps:
        stage.verify(f"{ap.name}'s ravd-hostd ended after {await ap.hostd.stop(30):.1f} s with status 0")
        stage.verify("hostapd still runs", ap.hostapd.runs())
    await until(lambda: as_configured(ap1), "channels and neighbour lists are as configured", 20, pause=POLL)
    stage.verify("iw and hostapd_cli show channels and neighbour lists as configured")
