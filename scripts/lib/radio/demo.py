"""The story of scripts/demo --radio, played within the virtual machine: real radios, hostapd and stations, two of our
agents. What it verifies is told by iw, hostapd_cli, wpa_cli and ping."""
import sys

from radio import demo_clients, demo_ends, demo_plan, usage
from radio.neighbourhood import Neighbourhood
from stage import play


async def story(stage):
    place = Neighbourhood()
    try:
        await demo_plan.begin(stage, place)
        await demo_plan.scan(stage, place)
        await demo_plan.move(stage, place)
        await demo_plan.power(stage, place)
        await demo_clients.neighbour_list(stage, place)
        await demo_clients.overload(stage, place)
        await demo_clients.fast_transition(stage, place)
        await demo_ends.hostapd_restart(stage, place)
        await demo_ends.link_lost(stage, place)
        usage.show(*place.aps)
        await demo_ends.orderly_end(stage, place)
    finally:
        await place.end()


if __name__ == "__main__":
    sys.exit(play("/ravd/bin", story))
