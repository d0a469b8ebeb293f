"""The service's examples of docs/protocol.md, sent to the agent as they stand there: each does what the page says."""
import asyncio
import json
import os
import re

from programs import check
from service import BASE_MAC, same

PAGE = os.path.join(os.path.dirname(__file__), "../../../docs/protocol.md")


def examples():
    """By name. The page speaks of another access point."""
    with open(PAGE, encoding="utf-8") as file:
        page = file.read()
    found = {}
    for name, text in re.findall(r"<!-- message: (\S+) service -->\n```json\n(.*?)```", page, re.DOTALL):
        found[name] = {**json.loads(text), "ap-mac": BASE_MAC}
        check(found[name]["cmd"] == name, "another name:", name)
    table = page[page.index("| To the agent |"):]
    named = set(re.findall(r"`([a-z-]+)`", "".join(re.findall(r"^\| (`.*?) \|", table[:table.index("\n\n")], re.MULTILINE))))
    check(named == set(found), "the table names", named, "but there are examples of", set(found))
    return found


async def examples_of_the_page(session):
    example = examples()
    session.office["radios"][0]["vaps"][0]["ft"] = True
    session.office["radios"][0]["vaps"][1] = {"ssid": "guests", "kv": True}
    link, ap = await session.start(), session.ap
    await link.next("subscribe-request")

    await link.send(example.pop("subscribe-response"))
    await link.send(example.pop("rrm-request-mode"))
    answer = await link.next("rrm-mode-response")
    check(session.daemon.marker() and answer["domain"] == "building-3", "not subscribed:", answer)
    check("assoclist" in answer["radios"][0], "802.11v is off")

    # Two channels and powers, the roam timeout and the neighbours of radio 0; nothing of 802.11r.
    info = example.pop("rrm-info")
    await link.send(info)
    changed = await link.skip_to("rrm-config-changed", lambda told: told["radios"][1]["power"] == 18 and
                                 told["radios"][1]["bandwidth"] == 40)
    same([[radio[key] for key in ("channel", "bandwidth", "primary-channel", "power")] for radio in changed["radios"]],
         [[11, 20, "none", 14], [40, 40, "upper", 18]])
    await ap.line("wlan0: MIB roam_attempt_timeout=30")
    for vap, bssid in (("wlan0-va0", "00:1a:2b:3c:5e:61"), ("wlan0-va1", "00:1a:2b:3c:5e:62")):
        same(await ap.neighbours(vap, "standard"), [(bssid, 6)])

    # The two weakest that support 802.11v.
    mark = ap.mark()
    await link.send(example.pop("rrm-sta-overload"))
    for station in ("03", "01"):
        await ap.line(f"station 06:00:00:00:00:{station} asked to roam", mark)
    same(await ap.neighbours("wlan0-va0", "custom"), [("00:1a:2b:3c:5e:61", 11)])

    # For a VAP of the second radio; without 802.11r the same message takes it back.
    fbt = example.pop("fbt-info")
    for switch, effect in ((1, "wlan1-va0: fast transition, mobility domain 4660, 1 remote key holders"),
                           (0, "fast-transition settings of the service dropped")):
        mark = ap.mark()
        await link.send({**info, "use-80211r": switch})
        await link.send(fbt)
        await ap.line(effect, mark)

    await link.alive()
    await link.send(example.pop("rrm-update"))
    report = await link.skip_to("rrm-response", seconds=60)
    same(sorted({bss["channel"] for heard in report["rf-environment"] for bss in heard}), [6, 11, 36])

    # The others have no effect.
    await asyncio.sleep(1)
    await link.alive()
    mark = ap.mark()
    for nothing in ("rrm-blacklist", "rrm-probe-request", "rrm-disassoc-request", "rrm-client-assoc-ack"):
        await link.send(example.pop(nothing))
    await link.silent(0.5)
    check(not any("porterd" in line or "scan" in line for line in ap.lines[mark:]), ap.lines[mark:])
    check(not example, "not tried:", example)
    await link.alive()


SESSIONS = [examples_of_the_page]
