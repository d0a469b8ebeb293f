"""Three hundred recorded access points, and a log that is longer than one search."""
import json

from lab.browser import Browser
from lab.building import Building
from lab.processes import check, until
from lab.recorded import recorded, write_log

AGENTS = 300
ROWS = "document.querySelectorAll('.domain tbody tr').length"


async def three_hundred():
    async with Building() as building, Browser(building.directory) as browser:
        await building.replay(write_log(building.path("run.jsonl"), AGENTS, 10))
        await browser.open(building.page)
        await browser.holds("document.querySelector('#replay input').max > 500000")
        await browser.see("#replay")
        await seek(browser, 0)  # all of them are there at the end of the log, where a replay begins
        await browser.holds(f"{ROWS} < 20")
        await seek(browser, 90000)
        await browser.holds(f"{ROWS} === {AGENTS}")

        # Rows are kept and written to, never built anew, while it plays
        browser.script("document.querySelectorAll('.domain tbody tr').forEach((row) => (row.kept = true))")
        before = browser.script("return document.querySelector('#replay time').textContent")
        await browser.write("#replay select", "10")
        await browser.click("#replay button", "Play")
        await browser.holds(f"document.querySelector('#replay time').textContent !== '{before}'")
        frames = browser.driver.execute_async_script(FRAMES)
        check(browser.script("return [...document.querySelectorAll('.domain tbody tr')].every((row) => row.kept)"), "rows were built anew")
        await stand_still(browser)

        await browser.write("input[type=search]", "5e:01:")
        await browser.holds(f"{ROWS} > 0 && {ROWS} < {AGENTS} / 3")
        await browser.write("input[type=search]", "nobody is called that")
        await browser.see(".empty", "None is like that.")

        # Back before anybody had connected, and on again
        await seek(browser, 0)
        await browser.write("input[type=search]", "00")
        await browser.holds(f"{ROWS} < 20")
        await seek(browser, 590000)
        await browser.go("Map")
        await browser.holds(f"document.querySelectorAll('.map .dots a').length === {AGENTS}")
        await browser.go("Messages")
        await browser.see(".log .cmd", "rrm-")
        check(not browser.complaints(), "the browser complains:", browser.complaints())
        print(f"frames while it plays at 10 x: {frames['mean']:.1f} ms on average, {frames['longest']:.0f} ms the longest")


async def stand_still(browser):
    """It may have come to its end meanwhile, and have stopped by itself."""
    def stands():
        button = browser.all("#replay button")[0]
        if button.text == "Play":
            return True
        button.click()
        return False
    await until(stands, "the replay stands still", 60)


async def seek(browser, milliseconds):
    """Moves the slider as a hand would; the page shows the new time once the service is there."""
    browser.script("const slider = document.querySelector('#replay input'); slider.value = arguments[0];"
                   "slider.dispatchEvent(new Event('input')); slider.dispatchEvent(new Event('change'));", milliseconds)
    await browser.holds(f"Math.abs(document.querySelector('#replay input').value - {milliseconds}) < 5000")


FRAMES = """
const done = arguments[0], times = [];
function next(time) {
    times.push(time);
    if (time - times[0] < 3000) return requestAnimationFrame(next);
    const gaps = times.slice(1).map((one, index) => one - times[index]);
    done({ mean: gaps.reduce((sum, gap) => sum + gap, 0) / gaps.length, longest: Math.max(...gaps) });
}
requestAnimationFrame(next);
"""

async def far_back():
    """What is wanted stands before more entries than the service looks through at a time."""
    lines = list(recorded(1, 1))
    broken = json.loads(lines[-1])
    said = {name: broken[name] for name in ("time", "agent")}
    lines.append(json.dumps({**said, "event": "violation: radios: missing"}))
    lines += [json.dumps({**said, "direction": "sent", "size": 1, "text": "x"})] * 25000
    async with Building() as building, Browser(building.directory) as browser:
        with open(building.path("run.jsonl"), "w", encoding="utf-8") as file:
            file.write("".join(line + "\n" for line in lines))
        await building.replay(building.path("run.jsonl"))
        await building.service.line("entries read")
        await browser.open(building.page)
        await browser.go("Messages")
        await browser.write("[aria-label=Direction]", "received")
        await browser.see(".empty", "looked through so far")
        await browser.click("button", "Show older ones")
        await browser.see(".log li[data-bad] .badge", "violation")
        check(len(browser.all(".log li")) == 3, "these are not the three messages of the agent")
        await browser.holds("[...document.querySelectorAll('button')].find((one) => one.textContent === 'Show older ones').hidden")


STORIES = [three_hundred, far_back]
