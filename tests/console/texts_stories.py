"""Hostile texts, and readers of every kind."""
import json
import os

from lab.browser import Browser
from lab.building import Building
from lab.processes import check
from lab.recorded import mac, recorded, write_log

VIEWS = ["Domain", "Air", "Agent", "Map", "Messages", "Orders"]
MARKUP = "<img src=x onerror='window.hurt=1'>"
HOSTILE = [MARKUP, "<script>window.hurt=1</script>", "\"><svg onload=hurt=1>", "javascript:window.hurt=1", "".join(chr(code) for code in range(32)),
           "\u202egnp.exe\u0000\u2028", "{{7*7}}${7*7}", "&lt;b&gt;", "'; DROP", "%3Cscript%3E"]


def hostile_log(path):
    """Two agents whose every text is an attack: networks, clients, domain, commands, members, even their address."""
    lines = []
    for number, line in enumerate(recorded(2, 5)):
        entry = json.loads(line)
        message = entry.get("message")
        evil = HOSTILE[number % len(HOSTILE)]
        if message:
            if entry["direction"] == "received" and "domain" in message:
                message["domain"] = evil
            for radio in message.get("radios", []):
                radio["vaps"] = [{"id": i, "ssid": text, "mac": MARKUP, "802dot11k": 1, "802dot11r": 0} for i, text in enumerate(HOSTILE[:6])]
                radio["assoclist"] = [{"mac": text, "ssid": text, "rssi": -50} for text in HOSTILE]
            for heard in message.get("rf-environment", []):
                heard += [{"bssid": text, "rssi": -40, "channel": 6, "tx-power": 0, "primary-channel": text, "bandwidth": 20} for text in HOSTILE]
        lines.append(json.dumps(entry))
        if message and number % 3 == 0:
            lines.append(json.dumps({**entry, "message": {**message, "cmd": evil, evil: evil}}))
            lines.append(json.dumps({**{name: entry[name] for name in ("time", "agent")}, "event": f"violation: {evil}"}))
            lines.append(json.dumps({**{name: entry[name] for name in ("time", "agent", "direction")}, "size": 3, "text": evil}))
    with open(path, "w", encoding="utf-8") as file:
        file.write("".join(line + "\n" for line in lines))
    return path


async def at_the_end(browser):
    """The whole log has been played."""
    await browser.holds("document.querySelector('#replay input').max > 1")
    browser.script("const slider = document.querySelector('#replay input'); slider.value = slider.max; slider.dispatchEvent(new Event('change'))")
    await browser.holds("document.querySelectorAll('.domain tbody tr').length > 0")


async def hostile_texts():
    async with Building() as building, Browser(building.directory) as browser:
        await building.replay(hostile_log(building.path("run.jsonl")))
        await browser.open(building.page)
        await at_the_end(browser)
        for view in VIEWS:
            await browser.go(view)
            if view == "Agent":
                await browser.see(".ssid", MARKUP)
                await browser.see("table td.mac", MARKUP)
            if view == "Messages":
                await browser.click(".log .line", "violation")
                await browser.see(".json")
                await browser.click(".log .line", "rrm-mode-response")
                await browser.see(".json", "window.hurt")
            await browser.holds("document.querySelector('main h1') && !document.querySelector('main img, main script, main svg svg, iframe')")
            check(browser.script("return window.hurt === undefined"), "a text was run in", view)
        check(not browser.complaints(), "the browser complains:", browser.complaints())


async def every_reader():
    with open(os.path.join(os.path.dirname(__file__), "audit.js"), encoding="utf-8") as file:
        audit = file.read()
    faults = []
    async with Building() as building, Browser(building.directory) as browser:
        log = write_log(building.path("run.jsonl"), 8, 12)
        with open(log, "a", encoding="utf-8") as file:  # one is lost, one broke the protocol
            file.write('{"time":"2026-03-02T08:12:00.000Z","agent":2,"event":"closed by the agent"}\n'
                       '{"time":"2026-03-02T08:12:00.000Z","agent":3,"event":"violation: radios: missing"}\n')
        await building.replay(log)
        await browser.open(building.page)
        await at_the_end(browser)
        await browser.see(".state", "lost")
        await browser.see(".domain .badge")
        for width, height, dark in ((1360, 860, False), (1360, 860, True), (360, 740, False), (3840, 2160, True)):
            browser.resize(width, height)
            browser.scheme(dark)
            for view in VIEWS:
                await browser.go(view)
                if view in ("Agent", "Messages"):
                    await browser.see(".log .cmd")
                faults += [f"{view} at {width}{' dark' if dark else ''}: {fault}" for fault in browser.script(audit)]

        # By keyboard alone: past the tabs into the table, sort it, open an access point
        browser.resize(1360, 860)
        await browser.go("Domain")
        browser.script("document.querySelector('.skip').focus()")
        press(browser, "\ue007")  # Enter: the content has the focus
        check(browser.script("return document.activeElement.id") == "main", "the skip link leads nowhere")
        reached = []
        for _ in range(20):
            press(browser, "\ue004")
            reached.append(browser.script("return document.activeElement.textContent.trim()"))
            if reached[-1] == mac(0).upper():
                break
        check(reached[-1] == mac(0).upper() and "Violations" in reached, "not reached by the tab key:", reached)
        press(browser, "\ue007")
        await browser.see("h1", "Agent")
    check(not faults, "\n" + "\n".join(sorted(set(faults))))


def press(browser, key):
    browser.driver.switch_to.active_element.send_keys(key)


STORIES = [hostile_texts, every_reader]
