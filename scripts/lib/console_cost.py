"""Entry of scripts/console-cost: console_cost.py BUILD_DIRECTORY [MINUTES [SPEED]], one of the speeds the page offers. What 300 recorded agents cost."""
import asyncio
import os
import sys

from lab import usage
from lab.browser import Browser
from lab.building import Building
from lab.processes import Build, until
from lab.recorded import write_log

AGENTS = 300
VIEWS = ["Domain", "Air", "Map", "Messages"]
SETTLED = 30  # seconds of playing that the frames are counted in
FRAMES = """
const [seconds, done] = arguments, gaps = [];
let first = 0, last = 0;
function next(time) {
    if (last) gaps.push(time - last);
    first ||= time;
    last = time;
    if (time - first < 1000 * seconds) return requestAnimationFrame(next);
    gaps.sort((a, b) => a - b);
    done([gaps.length / seconds, gaps[Math.floor(gaps.length * 0.99)], gaps.at(-1)]);
}
requestAnimationFrame(next);
"""


def renderers(browser):
    """Processes of this browser that draw pages."""
    found = []
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{pid}/cmdline", encoding="utf-8", errors="replace") as file:
                line = file.read()
        except OSError:
            continue
        if "--type=renderer" in line and browser.profile in line:
            found.append(int(pid))
    return found


def memory(browser):
    """(MB of the page's own heap after its garbage is gone, MB of the process that draws it)."""
    browser.driver.execute_cdp_cmd("HeapProfiler.collectGarbage", {})
    heap = browser.script("return performance.memory.usedJSHeapSize") / 1e6
    return heap, max((usage.memory_kb(pid)["Pss"] for pid in renderers(browser)), default=0) / 1024


async def main(build, minutes=60, speed=10):
    Build.directory = build
    minutes = int(minutes)
    async with Building() as building, Browser(building.directory) as browser:
        log = write_log(building.path("run.jsonl"), AGENTS, minutes)
        print(f"a log of {AGENTS} agents and {minutes} minutes, {os.path.getsize(log) / 1e6:.0f} MB", flush=True)
        await building.replay(log)
        await browser.open(building.page)
        await browser.holds(f"document.querySelector('#replay input').max > {(minutes - 2) * 60000}", 600)
        service = building.service.process.pid
        print(f"service after reading it: {usage.memory_kb(service)['Pss'] / 1024:.0f} MB", flush=True)
        await browser.write("#replay select", str(speed))
        await browser.click("#replay button", "Play")
        for view in VIEWS:
            await browser.go(view)
            before = usage.cpu_s(service)
            rate, slow, longest = await asyncio.to_thread(browser.driver.execute_async_script, FRAMES, SETTLED)
            cpu = (usage.cpu_s(service) - before) / SETTLED * 100
            heap, process = memory(browser)
            print(f"{view}, at {speed} x: {rate:.0f} frames/s, 99 of 100 within {slow:.0f} ms, the longest {longest:.0f} ms; "
                  f"heap {heap:.1f} MB, renderer {process:.0f} MB, service {cpu:.0f} % of a core", flush=True)
        await browser.go("Domain")
        await browser.write("#replay select", "600")
        await until(lambda: at_the_end(browser), "the end of the log", 3600)
        heap, process = memory(browser)
        print(f"at the end of the log: heap {heap:.1f} MB, renderer {process:.0f} MB")


def at_the_end(browser):
    return browser.script("return document.querySelector('#replay button').textContent === 'Play' || Number(document.querySelector('#replay input').value) > Number(document.querySelector('#replay input').max) - 2000")


asyncio.run(main(*sys.argv[1:]))
