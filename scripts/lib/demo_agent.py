"""The agent mode in a closed loop: a radio service, the daemon and a simulated access point."""

import json
import os

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
CHANNELS = "1,6,11,36,40,44,48"


def scenario_for(stage, wifi6):
    """The small office, on radios of either chip."""
    office = os.path.join(ROOT, "sim/ap/scenarios/small-office.json")
    if not wifi6:
        return office
    with open(office, encoding="utf-8") as file:
        scenario = json.load(file)
    for radio in scenario["radios"]:
        radio["kind"] = "rtk_wifi6"
    return stage.write("scenario.json", json.dumps(scenario))


async def story(stage, wifi6=False):
    scenario = scenario_for(stage, wifi6)

    stage.step("An access point without hardware starts: two radios, their VAPs and clients, neighbours, hostapd, "
               "the configuration service and the network daemon.")
    ap = await stage.access_point(scenario, 130)

    stage.step("The radio service starts. Its planner will scan, choose, apply and verify by itself.")
    service = await stage.start(["ravd-sim-service", "--strict", "--auto", "--auto-channels", CHANNELS,
                                 "--log", stage.path("messages.jsonl")], "service", stage.shown("service", 130))
    port = (await service.line(r"listening on 127\.0\.0\.1:(\d+)"))[1]

    stage.step("The daemon starts, connects and subscribes with a description of its radios.")
    daemon = await stage.daemon(130, port, ap_location="demo", log_level=3)
    await service.line(r"-> subscribe-request", seconds=15)
    await service.line(r"<- .*subscribe-response")
    stage.verify("the daemon subscribed")

    stage.step("The planner orders a scan: five rounds on both radios, in real time.")
    await ap.line(r"active scan no\. 1,")
    stage.verify("the order reached the radios")
    await service.line(r"-> rrm-response .*rounds=5", seconds=60)
    stage.verify("the report holds five rounds of what both radios heard")
    stage.verify("the marker of a subscribed agent is there", daemon.marker())

    stage.step("The planner gives each radio the channel and power it prefers; the network daemon applies them.")
    await ap.line(r"porterd: wlan0: .*channel=")
    stage.verify("the network daemon received the orders")
    await service.line(r"-> rrm-config-changed")
    stage.verify("the daemon reported the change")
    for radio in "01":
        await service.line(rf"PASS radio {radio} ", seconds=60)
        stage.verify(f"radio {radio} is described with what was ordered")

    stage.step("802.11v and 802.11r are switched on and a neighbour list is handed out.")
    mark = ap.mark()
    stage.write("neighbours.json", '[{"neighbour-mac":"02:00:5E:77:00:10","channel":11,"priority":200,'
                '"vaps":[{"ssid":"office","mac":"02:00:5e:77:00:11"}]},'
                '{"neighbour-mac":"02:00:5E:77:00:10","channel":44,"priority":100,'
                '"vaps":[{"ssid":"office","mac":"02:00:5e:77:00:19"}]}]')
    await service.say(f"config use-80211v=1 use-80211r=1 neighbours={stage.path('neighbours.json')}")
    await ap.line(r"wlan0-va0: 802\.11k .*gets 02:00:5e:77:00:11", since=mark)
    await ap.line(r"wlan1-va0: 802\.11k .*gets 02:00:5e:77:00:19", since=mark)
    stage.verify("each band's VAP carries its neighbour")

    stage.step("A client leaves, another one joins; the service is told.")
    mark = service.mark()
    await ap.tell("station leave 06:00:00:00:00:04")
    await service.line(r"-> rrm-client-disassoc", since=mark)
    await ap.tell("station join 06:00:00:00:00:05 wlan0-va0 -61")
    await service.line(r"-> rrm-client-assoc", since=mark)
    stage.verify("client events reach the service")

    stage.step("The service finds radio 0 overloaded: two clients have to go.")
    mark = ap.mark()
    await service.say("overload 0 2")
    await ap.line(r"station 06:00:00:00:00:03 asked to roam", since=mark)
    await ap.line(r"station 06:00:00:00:00:05 asked to roam", since=mark)
    stage.verify("the weakest clients that can are asked to roam")

    stage.step("The service hands out key holders for fast transition.")
    mark = ap.mark()
    await service.say("fbt deadline=1000 over-ds=1 vap=0,0 domain=4660 r0=ap1.demo r1=02005e110011 key=00112233445566778899"
                 "aabbccddeeff remote=02005e770011,ap2.demo,ffeeddccbbaa99887766554433221100")
    await ap.line(r"wlan0-va0: fast transition, mobility domain 4660, 1 remote", since=mark)
    stage.verify("the network daemon received them")

    stage.step("hostapd restarts. The daemon reports that all clients are gone, then how its radios are.")
    mark, ap_mark = service.mark(), ap.mark()
    await ap.tell("hostapd restart 1500")
    await service.line(r"-> rrm-disassoc-all-clients", since=mark)
    await ap.line(r"hostapd: started", since=ap_mark)
    await service.line(r"-> rrm-config-changed", seconds=15, since=mark)
    stage.verify("the daemon survived the restart and stayed subscribed")

    stage.step("The link is lost. The daemon drops the service's settings, connects again and subscribes anew.")
    mark, ap_mark = service.mark(), ap.mark()
    await service.say("drop")
    await ap.line(r"settings of the service dropped", since=ap_mark)
    stage.verify("the settings of the lost service are taken back")
    await service.line(r"-> subscribe-request", seconds=15, since=mark)
    stage.verify("the subscription is back")

    stage.step("SIGTERM ends the daemon.")
    stage.verify(f"it ended with status 0 after {await daemon.stop(3):.1f} s (limit 3 s)")
    stage.verify("it left no marker behind", not daemon.marker())
    await service.say("violations")
    await service.line(r"0 violations|no violation", seconds=5)
    stage.verify("the service found no fault in any message")
