"""Entry of scripts/screenshots: screenshots.py BUILD_DIRECTORY PICTURES. A picture of each view, of eight access points."""
import asyncio
import os
import subprocess
import sys

from lab.browser import Browser
from lab.building import Building
from lab.processes import Build, check, until

ROOMS = 8
# Not every radio has them all: the check would refuse the list.
CHANNELS = "1,6,11,36,40,44,48,52,56,60,64,100,104,108,112,116,120,124,128"
LARGEST = 150 * 1024  # bytes


async def reported(building, mark):
    """Every agent has told of its scan."""
    await until(lambda: sum("scan: reported" in line for line in building.service.lines[mark:]) >= ROOMS, "all reports", 120)


class Gallery:
    def __init__(self, browser, directory):
        self.browser = browser
        self.directory = directory

    async def take(self, name):
        await asyncio.sleep(1)  # charts and images are drawn a frame or two after the texts
        path = os.path.join(self.directory, name + ".png")
        self.browser.save(path)
        subprocess.run(["pngquant", "--force", "--skip-if-larger", "--strip", "--output", path, "64", path], check=False)
        check(os.path.getsize(path) < LARGEST, path, "is too large:", os.path.getsize(path))
        print(f"{path}: {os.path.getsize(path) // 1024} kB", flush=True)


async def live(building, gallery):
    browser = gallery.browser
    await browser.open(building.page)
    await browser.go("Domain")
    await browser.holds(f"document.querySelectorAll('.domain tbody tr').length === {ROOMS}")
    mark = building.service.mark()
    await building.service.say(f"all unchecked scan {CHANNELS}")
    await browser.see(".scan", "of 5")
    await gallery.take("domain")
    await reported(building, mark)
    for view, ready in (("Map", ".map .edges line"), ("Agent", ".chart canvas"), ("Messages", ".log .cmd")):
        await browser.go(view)
        await browser.holds(f"document.querySelector('{ready}')")
        if view == "Messages":
            await browser.write("input[aria-label=Command]", "rrm-mode-response")
            await browser.click(".log .line", "rrm-mode-response")
            await browser.see(".json")
        await gallery.take(view.lower())


async def orders(gallery):
    browser = gallery.browser
    await browser.go("Orders")
    await browser.click(".targets label")
    await browser.write("#command", "config")
    for name, value in (("radio", "1"), ("channel", "44"), ("bandwidth", "80"), ("power", "17")):
        await browser.write(f".form [name={name}]", value)
    await browser.see(".preview .json")
    await browser.click("[data-plan=propose]")
    await browser.see("section[aria-label=Plan] .state", "proposal")
    await browser.holds("document.activeElement.blur() || window.scrollTo(0, 0) || true")
    await gallery.take("orders")


async def air(building, gallery):
    browser = gallery.browser
    await browser.go("Air")
    await browser.click(".choice button", "5 GHz")
    await browser.see(".heat canvas")
    await browser.see("h2", "After the plan")
    browser.resize(1360, 1360)
    await gallery.take("air")
    browser.scheme(True)
    browser.resize(360, 740)
    await browser.go("Domain")
    await gallery.take("narrow")


async def main(build, pictures):
    Build.directory = build
    os.makedirs(pictures, exist_ok=True)
    async with Building() as building, Browser(building.directory) as browser:
        await building.serve("--config", '{"use-80211v":1}')
        await building.rooms(await building.scenarios(f"office:{ROOMS}"), speed=4, log_level=1)
        await until(lambda: sum("-> subscribe-request" in line for line in building.service.lines) >= ROOMS, "all subscribed", 60)
        gallery = Gallery(browser, pictures)
        await building.service.say(f"all unchecked scan {CHANNELS}")
        await reported(building, 0)
        await building.service.say("all mode")
        await live(building, gallery)
        await orders(gallery)
        await air(building, gallery)


asyncio.run(main(*sys.argv[1:]))
