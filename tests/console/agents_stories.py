"""Live agents: everything by clicks, from the subscription on."""
import asyncio

from lab.browser import Browser
from lab.building import Building
from lab.processes import check, until

SCAN = "1,6,11,36,44,52,60"
QUIET = {"log_level": 1}


def row(mac):
    return f"tr[data-agent=\"{mac.upper()}\"]"


def base(scenario):
    return scenario["factory"]["mac"].upper()


async def order(browser, command, **fields):
    """A command by its form, to those who are ticked already."""
    await browser.write("#command", command)
    for name, value in fields.items():
        await browser.write(f".form [name=\"{name}\"]", value)
    await browser.see(".preview .json", "\"cmd\"")
    await browser.click("form[aria-label=Order] button[type=submit]")
    await browser.see("#notice", f"{command}: sent")


async def scanned(browser, count):
    """The reports of an ordered scan have come: every radio has a load."""
    await browser.go("Domain")
    await browser.holds(f"[...document.querySelectorAll('.domain .load')].filter((bar) => !bar.hidden).length === {2 * count}")


def places(browser):
    """Where all radios are, as the rows say it."""
    return browser.script("return [...document.querySelectorAll('.domain .place b')].map((place) => place.textContent)")


async def three_agents():
    async with Building() as building, Browser(building.directory) as browser:
        await building.serve()
        scenarios = await building.scenarios("office:3")
        await browser.open(building.page)
        await browser.see(".empty", "No access point")
        await building.rooms(scenarios, **QUIET)
        for one in scenarios:
            await browser.see(row(base(one)) + " .state", "subscribed")

        await browser.go("Orders")
        await browser.click("label", "all agents")
        await order(browser, "scan", channels=SCAN)
        await scanned(browser, 3)
        await browser.go("Map")
        await browser.holds("document.querySelectorAll('.map .dots a').length === 3")
        await browser.holds("document.querySelectorAll('.map .edges line').length > 0")
        await browser.go("Air")
        await browser.holds("document.querySelectorAll('path.block.own').length === 3")
        await browser.see(".heat canvas")

        # One radio by hand, and what the agent's page says of it
        await browser.go("Orders")
        await browser.click("label", "all agents")
        await browser.click("label", base(scenarios[0]))
        await order(browser, "config", radio="0", channel="13", bandwidth="20", power="11")
        await browser.go("Domain")
        await browser.see(row(base(scenarios[0])) + " .place", "ch 13 · 20 MHz")
        await browser.click(row(base(scenarios[0])) + " a")
        await browser.see("h1", "Agent")
        await browser.see(".card .large", "11 dBm of 8…20")
        check(not browser.all("[data-differs]"), "what is differs from what was ordered")
        await browser.see(".log .cmd", "rrm-config-changed")
        check(not browser.complaints(), "the browser complains:", browser.complaints())


async def plan_and_undo():
    async with Building() as building, Browser(building.directory) as browser:
        await building.serve()
        scenarios = await building.scenarios("office:3")
        for one in scenarios:  # all on the same channels: there is something to gain
            one["radios"][0].update(channel=1, bandwidth=20)
            one["radios"][1].update(channel=36, bandwidth=80)
        await building.rooms(scenarios, **QUIET)
        await browser.open(building.page)
        for one in scenarios:
            await browser.see(row(base(one)) + " .state", "subscribed")
        before = places(browser)

        await browser.go("Orders")
        await browser.click(PLAN + " summary")
        await browser.write("#plan-options", "channels=" + SCAN)
        await browser.click("[data-plan=start]")
        await browser.see(PLAN + " .state", "proposal", 150)
        wanted = changes(browser)
        check(wanted, "three access points on one channel, and nothing to change")
        await browser.go("Domain")
        check(places(browser) == before, "a proposal changed something:", before, places(browser))
        await browser.go("Air")
        await browser.click(".choice button", "5 GHz")
        await browser.see("h2", "After the plan")
        await browser.holds("document.querySelectorAll('path.moved').length > 0")

        await browser.go("Orders")
        await browser.click("[data-plan=apply]")
        await browser.see(PLAN + " .state[data-kind=good]", "applied", 180)
        check("measured" in (await browser.see(PLAN + " .bars")).text, "nothing was measured")
        await browser.go("Domain")
        for mac, radio, place in wanted:
            column = "[data-label=\"5 GHz\"]" if radio == "1" else "[data-label=\"2.4 GHz\"]"
            cell = f"tr[data-agent$=\"{mac}\"] {column} b"
            await until(lambda: place.startswith(browser.all(cell)[0].text), f"{mac} {radio} is at {place}", 60)

        await browser.go("Orders")
        await browser.click("[data-plan=undo]")
        await browser.see(PLAN + " .state[data-kind=gone]", "undone", 120)
        await browser.go("Domain")
        await until(lambda: places(browser) == before, "everything as it was", 60)
        check(not browser.complaints(), "the browser complains:", browser.complaints())


PLAN = "section[aria-label=Plan]"


def changes(browser):
    """[(end of an address, radio, place and power)] of the proposal on the screen."""
    return browser.script(f"return [...document.querySelectorAll('{PLAN} tbody tr')].map((row) => [0, 1, 3].map((cell) => row.cells[cell].textContent))")


async def lost_and_back():
    async with Building() as building, Browser(building.directory) as browser:
        await building.serve()
        scenarios = await building.scenarios("office:2")
        await browser.open(building.page)
        first, _ = await building.rooms(scenarios, **QUIET)
        mac = base(scenarios[0])
        await browser.see(row(mac) + " .state", "subscribed")
        await browser.see(row(base(scenarios[1])) + " .state", "subscribed")

        await first.stop(30)
        await browser.see(row(mac) + " .state", "lost")
        check("subscribed" in (await browser.see(row(base(scenarios[1])))).text, "the other one is lost too")
        await first.begin(building.port, initial_connection_delay=0, max_connection_delay=0, **QUIET)
        await browser.see(row(mac) + " .state", "subscribed")
        check(len(browser.all(row(mac))) == 1, "it has two rows")

        # A fault on purpose: it comes back as another connection
        number = (await browser.see(row(mac) + " th .quiet")).text
        await browser.go("Orders")
        await browser.click("label", mac)
        await browser.click("[data-fault=close]")
        await browser.go("Domain")
        await until(lambda: number not in browser.script(f"return document.querySelector('{row(mac)}').textContent"), "another connection", 60)
        await browser.see(row(mac) + " .state", "subscribed")

        # The check refuses what the radio cannot do, and says why
        await browser.go("Orders")
        await browser.write("#command", "config")
        await browser.write(".form [name=radio]", "0")
        await browser.write(".form [name=power]", "99")
        await browser.see(".preview .fault", "not with 99")
        await browser.write(".form [name=power]", "loud")
        await browser.see(".field .fault", "whole number")


async def reload_in_a_scan():
    async with Building() as building, Browser(building.directory) as browser:
        await building.serve()
        scenarios = await building.scenarios("office:1")
        await building.rooms(scenarios, **QUIET)
        await browser.open(building.page)
        mac = base(scenarios[0])
        await browser.see(row(mac) + " .state", "subscribed")
        await browser.go("Orders")
        await order(browser, "scan", channels="1,2,3,4,5,6,7,8,9,10,11,36,40,44,48")
        await browser.go("Domain")
        await browser.see(row(mac) + " .scan", "of 5")
        await asyncio.to_thread(browser.driver.refresh)
        await browser.see(row(mac) + " .scan", "of 5")
        part = browser.script(f"return document.querySelector('{row(mac)} progress').value")
        check(0 <= part < 1, "a scan that is on its way stands at", part)
        await scanned(browser, 1)
        await browser.holds(f"document.querySelector('{row(mac)} progress').hidden")


STORIES = [three_agents, plan_and_undo, lost_and_back, reload_in_a_scan]
