"""Browsers that show the page of a gateway of their own."""

import os
import shutil
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "gateway"))
from gateway_support import GatewayTestCase  # noqa: E402

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
except ImportError:
    webdriver = None

MISSING = [name for name, found in (("chromium", shutil.which("chromium")), ("python3-selenium", webdriver),
                                    ("chromium-driver", shutil.which("chromedriver"))) if not found]


def browser(width=1600, height=1000):
    options = webdriver.ChromeOptions()
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu",
                     f"--window-size={width},{height}", "--enable-precise-memory-info"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    options.binary_location = shutil.which("chromium")
    return webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)


@unittest.skipIf(MISSING, "the browser test needs " + ", ".join(MISSING))
class PageTestCase(GatewayTestCase):
    """Has a browser that shows the page of a gateway."""

    def open(self, *options, **size):
        self.served = self.gateway("--allow-write", "*", *options)
        self.driver = browser(**size)
        self.addCleanup(self.driver.quit)
        self.driver.get(self.served.url)

    def run_script(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def text(self, selector):
        return self.run_script("return document.querySelector(arguments[0])?.textContent ?? ''", selector)

    def click(self, selector):
        self.run_script("document.querySelector(arguments[0]).click()", selector)

    def value_of(self, name):
        """The value in the list of all properties, of which only what is in sight is kept up."""
        return self.run_script(
            "const row = [...document.querySelectorAll('.row')].find((row) =>"
            " row.querySelector('a').textContent === arguments[0]); row?.scrollIntoView();"
            "return row?.querySelector('.value').textContent", name)

    def open_property(self, name):
        self.eventually(lambda: self.value_of(name))
        self.run_script("const link = [...document.querySelectorAll('.row a')].find((link) =>"
                        " link.textContent === arguments[0]);"
                        "link.focus(); link.click()", name)
        self.eventually(lambda: self.text("#detail-title") == name)

    def complaints(self):
        """What the console says, without the failures of requests to servers that aren't there."""
        return [entry["message"] for entry in self.driver.get_log("browser")
                if entry["level"] == "SEVERE" and "net::ERR_" not in entry["message"]
                and "the server responded with a status of" not in entry["message"]]

    def picture(self, name):
        folder = os.environ.get("VANTRY_PICTURES")
        if folder:
            os.makedirs(folder, exist_ok=True)
            self.driver.save_screenshot(os.path.join(folder, name + ".png"))
