"""What the browser tests share: the browser, the phone behind the page, and how a person uses it.

With PAGE_URL the page of a phone is tried, from inside that phone: PAGE_USER and PAGE_PASSWORD sign
in, and PAGE_STOP and PAGE_START are commands that stop and start the service. Without it there is a
stand-in.
SPDX-License-Identifier: MIT"""
import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest
import urllib.parse

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select, WebDriverWait

import standin

DEADLINE = int(os.environ.get("PAGE_DEADLINE", "90"))  # s, for each condition
AXE = pathlib.Path(__file__).parent / "axe" / "axe.min.js"
FLAGS = ["--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--no-first-run", "--no-default-browser-check", "--hide-scrollbars", "--lang=en"]


class StandIn:
    """A page whose phone is a stand-in."""

    def __init__(self):
        self.server = standin.serve()
        self.url = f"http://127.0.0.1:{self.server.server_port}/logging/"
        self.credentials = None

    def close(self):
        self.server.shutdown()
        self.server.server_close()

    def reset(self):
        with self.server.phone.lock:
            old = self.server.phone.streams
            self.server.phone = standin.Phone()
        for stream in old:
            stream.put((None, None))

    def order(self, **what):
        self.server.control(what)

    def set_level(self, activity, level):
        self.order(level=[activity, level])

    def level(self, activity):
        return self.server.phone.levels[activity]

    def redirect(self, activity, path):
        self.order(activity=[activity, path])

    def destination(self, activity):
        return " ".join(self.server.phone.places[activity])

    def log(self, activity, text):
        self.order(lines=[[activity, text]])

    def set_offline(self, browser, offline):
        browser.set_offline(offline)

    def set_service(self, present):
        self.order(present=present)


class Box:
    """The page of the phone in which this runs."""

    def __init__(self):
        self.url = os.environ["PAGE_URL"]
        user = os.environ.get("PAGE_USER")
        self.credentials = (user, os.environ["PAGE_PASSWORD"]) if user else None

    def close(self):
        self.reset()

    @staticmethod
    def control(*words):
        return subprocess.run(["loggerctl", *words], check=True, capture_output=True,
                              text=True, timeout=DEADLINE).stdout

    def reset(self):
        self.control("level", "all", "init")
        self.control("redirect", "all", "init")

    def set_level(self, activity, level):
        self.control("level", activity, level)

    def row(self, activity):
        rows = json.loads(self.control("level", "--json"))
        return next(row for row in rows if row["activity"] == activity)

    def level(self, activity):
        return self.row(activity)["level"]

    def redirect(self, activity, path):
        self.control("redirect", activity, f'file("{path}")')

    def destination(self, activity):
        row = self.row(activity)
        return f"{row['support']} {row['destination']}"

    def log(self, activity, text):
        self.control("comment", activity, text)

    def set_offline(self, browser, offline):
        """Cuts the connection: what the browser only pretends does not end an open stream."""
        command = os.environ.get("PAGE_CUT" if offline else "PAGE_MEND")
        if command:
            subprocess.run(command, shell=True, check=True, timeout=DEADLINE)
        else:
            browser.set_offline(offline)

    def set_service(self, present):
        command = os.environ.get("PAGE_START" if present else "PAGE_STOP")
        if not command:
            raise unittest.SkipTest("PAGE_STOP and PAGE_START say how the service is stopped")
        subprocess.run(command, shell=True, check=True, timeout=DEADLINE)


class Browser(webdriver.Chrome):
    """Chromium without a window, whose files go when it goes."""

    def __init__(self, width, height):
        self.files = tempfile.mkdtemp(prefix="browser-")
        self.downloads = pathlib.Path(self.files, "downloads")
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        for flag in [*FLAGS, f"--user-data-dir={self.files}/profile",
                     f"--window-size={width},{height}"]:
            options.add_argument(flag)
        super().__init__(service=Service("/usr/bin/chromedriver"), options=options)
        self.execute_cdp_cmd("Browser.setDownloadBehavior", {
            "behavior": "allow", "downloadPath": str(self.downloads)})
        self.set_size(width, height)

    def set_size(self, width, height):
        self.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def set_dark(self, dark):
        self.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"},
            {"name": "prefers-reduced-motion", "value": "reduce"}]})

    def set_offline(self, offline):
        self.execute_cdp_cmd("Network.enable", {})
        self.execute_cdp_cmd("Network.emulateNetworkConditions", {
            "offline": offline, "latency": 0, "downloadThroughput": -1, "uploadThroughput": -1})

    def sign_in(self, place):
        """Once with the password in the address; a page with one there may not fetch."""
        if place.credentials:
            parts = urllib.parse.urlsplit(place.url)
            user, password = map(urllib.parse.quote, place.credentials)
            self.get(parts._replace(netloc=f"{user}:{password}@{parts.netloc}").geturl())

    def quit(self):
        super().quit()
        shutil.rmtree(self.files, ignore_errors=True)


class PageTest(unittest.TestCase):
    """One browser for the tests of a class, and a phone as it was at first for each test."""

    width, height = 1280, 900
    make_place = staticmethod(lambda: Box() if os.environ.get("PAGE_URL") else StandIn())

    @classmethod
    def setUpClass(cls):
        cls.place = cls.make_place()
        cls.addClassCleanup(cls.place.close)
        cls.browser = Browser(cls.width, cls.height)
        cls.addClassCleanup(cls.browser.quit)
        cls.browser.sign_in(cls.place)

    def setUp(self):
        self.expected = []  # texts of console messages that the test provokes
        self.place.reset()
        self.browser.get_log("browser")  # what the former page said when its phone changed
        self.open()
        self.addCleanup(self.check_console)

    def check_console(self):
        said = [entry["message"] for entry in self.browser.get_log("browser")
                if entry["level"] in ("WARNING", "SEVERE")
                and not any(text in entry["message"] for text in self.expected)]
        self.browser.get("about:blank")
        self.assertEqual(said, [])

    def open(self):
        self.browser.get(self.place.url)
        self.wait(lambda: self.state() == "live"
                  and self.browser.execute_script("return document.body.dataset.ready"),
                  "the page is live")

    # Looking

    def wait(self, condition, what):
        def holds(_):
            try:
                return condition()
            except StaleElementReferenceException:
                return False
        return WebDriverWait(self.browser, DEADLINE, poll_frequency=0.05).until(
            holds, f"not so in time: {what}")

    def all(self, css):
        return self.browser.find_elements(By.CSS_SELECTOR, css)

    def find(self, css):
        return self.browser.find_element(By.CSS_SELECTOR, css)

    def texts(self, css):
        return self.browser.execute_script(
            "return [...document.querySelectorAll(arguments[0])].map((e) => e.textContent)", css)

    def text(self, css):
        return self.find(css).get_property("textContent")

    def state(self):
        return self.find("#state").get_attribute("data-state")

    def wait_text(self, css, part):
        self.wait(lambda: any(part in text for text in self.texts(css)),
                  f"{part!r} in {css}; there is {self.texts(css)}")

    def wait_message(self, kind, part):
        self.wait_text(f'.message[data-kind="{kind}"]', part)

    def cell(self, activity, name):
        return self.text(f'tr[data-activity="{activity}"] .{name}')

    def wait_level(self, activity, level):
        self.wait(lambda: self.text(f'tr[data-activity="{activity}"] .badge') == level,
                  f"{activity} is shown at {level}")

    def shown(self):
        return [element.get_attribute("data-activity")
                for element in self.all("#rows tr:not([hidden])")]

    # Doing

    def click(self, css):
        element = self.find(css)
        self.browser.execute_script("arguments[0].scrollIntoView({block: 'center'})", element)
        self.wait(element.is_displayed, f"{css} is shown")
        element.click()

    def usable(self, css):
        """Clicks when no other change is under way."""
        self.wait(lambda: self.find(css).get_attribute("aria-disabled") is None, f"{css} is usable")
        self.click(css)

    def fill(self, css, text):
        element = self.find(css)
        element.clear()
        element.send_keys(text)

    def select(self, css, value):
        Select(self.find(css)).select_by_value(value)

    def choose(self, *activities):
        for activity in activities:
            self.click(f'tr[data-activity="{activity}"] .pick input')

    def press(self, *keys):
        ActionChains(self.browser).send_keys(*keys).perform()

    def tab_to(self, css, most=120):
        """Goes to an element by the tabulator alone."""
        target = self.find(css)
        for _ in range(most):
            if self.browser.switch_to.active_element == target:
                return
            self.press(Keys.TAB)
        self.fail(f"{css} cannot be reached by the keyboard")

    def check_accessibility(self, where):
        self.browser.execute_script(AXE.read_text(encoding="utf-8"))
        found = self.browser.execute_async_script(
            "const done = arguments[arguments.length - 1];"
            "axe.run(document, {resultTypes: ['violations']}).then((result) => done("
            "  result.violations.map((each) => each.id + ': ' + each.help + ' '"
            "    + each.nodes.map((node) => node.html).join(' '))));")
        self.assertEqual(found, [], where)
