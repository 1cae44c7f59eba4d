#!/usr/bin/python3
"""The page for everyone: nothing that axe-core finds, a phone's width is enough, little to load.
SPDX-License-Identifier: MIT"""
import unittest

from selenium.webdriver.common.keys import Keys

from browser import PageTest


class Accessibility(PageTest):
    def look_everywhere(self):
        self.place.set_level("qvxsipua", "debug")
        self.wait_level("qvxsipua", "debug")
        for dark in (False, True):
            self.browser.set_dark(dark)
            self.check_accessibility(f"page, dark {dark}")
            self.choose("qvxsipua")
            self.usable("#chosen-send")
            self.usable("#send-form [type=submit]")  # with an error at the field
            self.wait(lambda: self.find("#name-error").is_displayed(), "it is said")
            self.check_accessibility(f"sending elsewhere, dark {dark}")
            self.press(Keys.ESCAPE)
            self.usable("#apply")
            self.wait_message("good", "is at debug now")
            self.check_accessibility(f"message, dark {dark}")
            self.usable('tr[data-activity="qvxsipua"] [data-trace]')
            self.check_accessibility(f"trace, dark {dark}")
            self.press(Keys.ESCAPE)
            self.place.log("qvxsipua", "a line")
            self.click('tr[data-activity="qvxsipua"] .acts button')
            self.wait_text("#log .log-line", "a line")
            self.check_accessibility(f"log, dark {dark}")
            self.click("#reader-close")
            self.usable("#delete-ram")
            self.wait(lambda: self.find("#confirm").is_displayed(), "it is asked")
            self.check_accessibility(f"question, dark {dark}")
            self.press(Keys.ESCAPE)
            self.usable("#defence-show [type=submit]")
            self.wait(lambda: self.find("#defence-text").is_displayed(), "lines are shown")
            self.check_accessibility(f"defence log, dark {dark}")
            self.open()

    def test_axe_finds_nothing(self):
        self.look_everywhere()

    def test_connection_lost(self):
        self.expected = ["ERR_INTERNET_DISCONNECTED", "ERR_NETWORK_CHANGED"]
        self.addCleanup(self.place.set_offline, self.browser, False)
        self.browser.set_dark(False)
        self.place.set_offline(self.browser, True)
        self.wait(lambda: self.state() == "lost", "the loss is shown")
        self.check_accessibility("connection lost")
        self.assertIn("No connection", self.text("#alarm"))

    def test_first_view_is_small(self):
        sizes = self.browser.execute_script("""
            return [performance.getEntriesByType('navigation')[0],
                    ...performance.getEntriesByType('resource')]
                .filter((entry) => !/api|changes|reader|traces|tools/.test(entry.name))
                .map((entry) => [entry.name, entry.decodedBodySize]);""")
        self.assertLess(sum(size for _, size in sizes), 60_000, sizes)

    def test_changes_are_read_out(self):
        self.place.set_level("Platform", "notice")
        self.wait_text("#spoken", "Platform is at notice")
        self.assertEqual(self.find("#spoken").get_attribute("role"), "status")
        self.choose("Platform")
        self.usable("#apply")
        self.wait_text("#spoken", "Platform is at debug now.")


class PhoneWidth(Accessibility):
    width, height = 360, 740

    def check_width(self):
        self.assertLessEqual(self.browser.execute_script(
            "return document.documentElement.scrollWidth"), 360)

    def test_nothing_is_cut_off(self):
        self.check_width()
        self.place.redirect("qvxsipua", "/log/flash/" + "a" * 60 + ".log")
        self.wait_text('tr[data-activity="qvxsipua"] .destination', "aaaa")
        self.check_width()
        beyond = self.browser.execute_script(
            "return [...document.querySelectorAll('main *:not(.unseen)')].filter((e) =>"
            "  e.getClientRects().length && e.getBoundingClientRect().right > 360.5)"
            ".map((e) => e.outerHTML.slice(0, 80))")
        self.assertEqual(beyond, [])

    def test_levels_and_log(self):
        self.choose("qvxsipua")
        self.select("#level", "debug")
        self.usable("#apply")
        self.wait_message("good", "qvxsipua is at debug now.")
        self.place.log("qvxsipua", "read on a small screen")
        self.click('tr[data-activity="qvxsipua"] .acts button')
        self.wait_text("#log .log-line", "read on a small screen")
        self.check_width()
        self.press(Keys.ESCAPE)
        self.wait(lambda: not self.find("#reader").is_displayed(), "the log is closed")
        self.assertEqual(self.place.level("qvxsipua"), "debug")


if __name__ == "__main__":
    unittest.main()
