"""The agent mode in a closed loop: a radio service, the daemon and a simulated access point."""

import json
import os

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
CHANNELS = "1,6,11,36,40,44,48"


def of_service(line):
    """Tables as they are, messages cut short, without the agent's long name."""
    return line if len(line) <= 130 else line[:130] + " ..."


def scenario_for(stage, g6):
    """The small office, on radios of either chip."""
    office = os.path.join(ROOT, "sim/ap/scenarios/small-office.json")
    if not g6:
        return office
    with open(office, encoding="utf-8") as file:
        scenario = json.load(file)
    for radio in scenario["radios"]:
        radio["kind"] = "rtk_wifi6"
    with open(stage.path("scenario.json"), "w", encoding="utf-8") as file:
        json.dump(scenario, file)
    return stage.path("scenario.json")


def story(stage, g6=False):
    scenario = scenario_for(stage, g6)
    home = stage.path("device")
    marker = os.path.join(home, "tmp/.corvane-connected")

    stage.step("An access point without hardware starts: two radios, their VAPs and clients, neighbours, hostapd, "
               "the configuration service and the network daemon.")
    ap = stage.start("access point", ["ravd-sim-ap", scenario, "--dir", home], of_service)
    ap.wait_for(r"is ready in")

    stage.step("The radio service starts. Its planner will scan, choose, apply and verify by itself.")
    service = stage.start("service", ["ravd-sim-service", "--strict", "--auto", "--auto-channels", CHANNELS,
                                      "--log", stage.path("messages.jsonl")], of_service)
    port = service.wait_for(r"listening on 127\.0\.0\.1:(\d+)").group(1)

    stage.step("The daemon starts, connects and subscribes with a description of its radios.")
    with open(stage.path("ravd.conf"), "w", encoding="utf-8") as file:
        file.write(f"corvane_service_url=ws://127.0.0.1:{port}/agent\nap_location=demo\nlog_level=3\n")
    daemon = stage.start("ravd", ["ravd-sim", "-f", stage.path("ravd.conf")], of_service, {"RAVD_SIM_DIR": home})
    service.wait_for(r"-> subscribe-request", 15)
    service.wait_for(r"<- .*subscribe-response")
    stage.verify("the daemon subscribed")

    stage.step("The planner orders a scan: five rounds on both radios, in real time.")
    ap.wait_for(r"active scan no\. 1,")
    stage.verify("the order reached the radios")
    service.wait_for(r"-> rrm-response .*rounds=5", 60)
    stage.verify("the report holds five rounds of what both radios heard")
    stage.verify("the marker of a subscribed agent is there", os.path.exists(marker))

    stage.step("The planner gives each radio the channel and power it prefers; the network daemon applies them.")
    ap.wait_for(r"porterd: wlan0: .*channel=")
    stage.verify("the network daemon received the orders")
    service.wait_for(r"-> rrm-config-changed")
    stage.verify("the daemon reported the change")
    for radio in "01":
        service.wait_for(rf"PASS radio {radio} ", 60)
        stage.verify(f"radio {radio} is described with what was ordered")

    stage.step("802.11v and 802.11r are switched on and a neighbour list is handed out.")
    mark = ap.mark()
    with open(stage.path("neighbours.json"), "w", encoding="utf-8") as file:
        file.write('[{"neighbour-mac":"02:00:5E:77:00:10","channel":11,"priority":200,'
                   '"vaps":[{"ssid":"office","mac":"02:00:5e:77:00:11"}]},'
                   '{"neighbour-mac":"02:00:5E:77:00:10","channel":44,"priority":100,'
                   '"vaps":[{"ssid":"office","mac":"02:00:5e:77:00:19"}]}]')
    service.send(f"config use-80211v=1 use-80211r=1 neighbours={stage.path('neighbours.json')}")
    ap.wait_for(r"wlan0-va0: 802\.11k .*gets 02:00:5e:77:00:11", since=mark)
    ap.wait_for(r"wlan1-va0: 802\.11k .*gets 02:00:5e:77:00:19", since=mark)
    stage.verify("each band's VAP carries its neighbour")

    stage.step("A client leaves, another one joins; the service is told.")
    mark = service.mark()
    ap.send("station leave 06:00:00:00:00:04")
    service.wait_for(r"-> rrm-client-disassoc", since=mark)
    ap.send("station join 06:00:00:00:00:05 wlan0-va0 -61")
    service.wait_for(r"-> rrm-client-assoc", since=mark)
    stage.verify("client events reach the service")

    stage.step("The service finds radio 0 overloaded: two clients have to go.")
    mark = ap.mark()
    service.send("overload 0 2")
    ap.wait_for(r"station 06:00:00:00:00:03 asked to roam", since=mark)
    ap.wait_for(r"station 06:00:00:00:00:05 asked to roam", since=mark)
    stage.verify("the weakest clients that can are asked to roam")

    stage.step("The service hands out key holders for fast transition.")
    mark = ap.mark()
    service.send("fbt deadline=1000 over-ds=1 vap=0,0 domain=4660 r0=ap1.demo r1=02005e110011 key=00112233445566778899"
                 "aabbccddeeff remote=02005e770011,ap2.demo,ffeeddccbbaa99887766554433221100")
    ap.wait_for(r"wlan0-va0: fast transition, mobility domain 4660, 1 remote", since=mark)
    stage.verify("the network daemon received them")

    stage.step("hostapd restarts. The daemon reports that all clients are gone, then how its radios are.")
    mark, ap_mark = service.mark(), ap.mark()
    ap.send("hostapd restart 1500")
    service.wait_for(r"-> rrm-disassoc-all-clients", since=mark)
    ap.wait_for(r"hostapd: started", since=ap_mark)
    service.wait_for(r"-> rrm-config-changed", 15, since=service.mark())
    stage.verify("the daemon survived the restart and stayed subscribed")

    stage.step("The link is lost. The daemon drops the service's settings, connects again and subscribes anew.")
    mark, ap_mark = service.mark(), ap.mark()
    service.send("drop")
    ap.wait_for(r"settings of the service dropped", since=ap_mark)
    stage.verify("the settings of the lost service are taken back")
    service.wait_for(r"-> subscribe-request", 15, since=mark)
    stage.verify("the subscription is back")

    stage.step("SIGTERM ends the daemon.")
    status, seconds = daemon.stop()
    stage.verify(f"it ended with status {status} after {seconds:.1f} s (limit 3 s)", status == 0 and seconds < 3)
    stage.verify("it left no marker behind", not os.path.exists(marker))
    service.send("violations")
    service.wait_for(r"0 violations|no violation", 5)
    stage.verify("the service found no fault in any message")
