"""Debian's chromium, driven over WebDriver. Everything waits for what it wants to see, never for a while, and in a thread
of its own: a browser that is slow to answer must not keep the lines of other programs from being read."""
import asyncio
import os
import shutil

from selenium import webdriver
from selenium.common.exceptions import ElementClickInterceptedException, ElementNotInteractableException, NoSuchElementException
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

from lab.processes import until

PATIENCE = 60  # seconds for anything to be seen on a busy machine
NOT_YET = (StaleElementReferenceException, NoSuchElementException, ElementNotInteractableException, ElementClickInterceptedException)
FLAGS = ["--headless", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking", "--disable-component-update",
         "--disable-sync", "--hide-scrollbars", "--enable-precise-memory-info", "--disable-dev-shm-usage"]


class Browser:
    """A window of its own, as an asynchronous context; `directory` takes its profile."""

    def __init__(self, directory, width=1360, height=860, dark=False):
        self.profile = os.path.join(directory, "profile-" + str(id(self)))
        self.size = (width, height)
        self.dark = dark
        self.driver = None

    async def __aenter__(self):
        self.driver = await asyncio.to_thread(self.begin)
        self.resize(*self.size)
        self.scheme(self.dark)
        return self

    async def __aexit__(self, *_):
        await asyncio.to_thread(self.driver.quit)
        shutil.rmtree(self.profile, ignore_errors=True)

    def begin(self):
        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium")
        for flag in [*FLAGS, "--user-data-dir=" + self.profile, *(["--no-sandbox"] if os.geteuid() == 0 else [])]:
            options.add_argument(flag)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)
        driver.set_page_load_timeout(PATIENCE)
        driver.set_script_timeout(PATIENCE)
        return driver

    def resize(self, width, height):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def scheme(self, dark):
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}, {"name": "prefers-reduced-motion", "value": "reduce"}]})

    async def open(self, address):
        await asyncio.to_thread(self.driver.get, address)
        await self.see("#link", "connected")

    def all(self, css):
        return self.driver.find_elements(By.CSS_SELECTOR, css)

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    async def holds(self, expression, seconds=PATIENCE):
        """The value of a JavaScript expression, once it is true."""
        return await until(lambda: asyncio.to_thread(self.script, "return " + expression), expression, seconds)

    async def see(self, css, text="", seconds=PATIENCE):
        """The first visible element there that holds the text."""
        def look():
            for element in self.all(css):
                try:
                    if element.is_displayed() and text in element.text:
                        return element
                except NOT_YET:
                    pass
            return None
        return await until(lambda: asyncio.to_thread(look), f"{css} with \"{text}\"", seconds)

    async def click(self, css, text=""):
        async def attempt():
            try:
                element = await self.see(css, text)
                if not element.is_enabled():
                    return False
                await asyncio.to_thread(element.click)
                return True
            except NOT_YET:
                return False
        await until(attempt, f"a click on {css} {text}", PATIENCE)

    async def write(self, css, text):
        """Puts a text into a field, or chooses it from a list."""
        element = await self.see(css)
        if element.tag_name == "select":
            return await self.click(f"{css} option[value=\"{text}\"]")
        element.clear()
        return element.send_keys(text)

    async def go(self, view):
        """To a view by its tab."""
        await self.click("nav a", view)
        await self.see("h1", view)

    def complaints(self):
        """What the browser wrote into its console: faults of the page, and all that its policy refused."""
        return [entry["message"] for entry in self.driver.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")]

    def save(self, path):
        self.driver.save_screenshot(path)
