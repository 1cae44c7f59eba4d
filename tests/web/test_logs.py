#!/usr/bin/python3
"""A person reads, traces, packs and deletes logs, and the page stays true meanwhile.
SPDX-License-Identifier: MIT"""
import tarfile
import unittest

from selenium.webdriver.common.keys import Keys

from browser import PageTest

SCRIPT = "<img src=x onerror=\"document.title='broken'\"><script>document.title='broken'</script>"


class ReadLog(PageTest):
    def read(self, activity):
        self.click(f'tr[data-activity="{activity}"] .acts button')
        self.wait(lambda: self.find("#reader").is_displayed(), "the log is open")

    def lines(self):
        return self.texts("#log .log-line")

    def count(self, part):
        return sum(part in line for line in self.lines())

    def test_newest_lines_and_those_that_come(self):
        self.place.log("qvxsipua", "written before")
        self.read("qvxsipua")
        self.wait_text("#log .log-line", "written before")
        self.assertEqual(self.text("#reader-place"), "/var/log/qvxsipua.log")
        self.place.log("qvxsipua", "written meanwhile")
        self.wait_text("#log .log-line", "written meanwhile")
        self.assertEqual(self.count("written before"), 1)
        self.assertEqual(self.count("written meanwhile"), 1)
        self.press(Keys.ESCAPE)
        self.wait(lambda: not self.find("#reader").is_displayed(), "the log is closed")

    def test_filter(self):
        self.place.log("qvxsipua", "an apple")
        self.place.log("qvxsipua", "a pear")
        self.read("qvxsipua")
        self.fill("#grep", "apple")
        self.wait(lambda: self.lines() and all("apple" in line for line in self.lines()),
                  "only apples")
        self.assertEqual(set(self.texts("#log mark")), {"apple"})
        self.place.log("qvxsipua", "another pear")
        self.place.log("qvxsipua", "another Apple")
        self.wait_text("#log .log-line", "another Apple")
        self.assertEqual(self.count("pear"), 0)

    def test_pause(self):
        self.place.log("qvxsipua", "before the pause")
        self.read("qvxsipua")
        self.wait_text("#log .log-line", "before the pause")
        self.click("#pause")
        self.place.log("qvxsipua", "in the pause")
        self.wait_text("#reader-state", "waiting")
        self.assertEqual(self.count("in the pause"), 0)
        self.click("#pause")
        self.wait_text("#log .log-line", "in the pause")

    def test_copy(self):
        self.place.log("qvxsipua", "what is copied")
        self.read("qvxsipua")
        self.wait_text("#log .log-line", "what is copied")
        lines = self.lines()
        self.click("#copy")
        self.wait_text("#reader-state", "copied")
        self.find("#grep").send_keys(Keys.CONTROL, "v")
        self.wait(lambda: "what is copied" in (self.find("#grep").get_property("value") or ""),
                  "the lines are in the clipboard")
        self.assertGreaterEqual(len(lines), 1)

    def test_without_a_file(self):
        self.choose("qvxsipua")
        self.usable("#chosen-send")
        self.click("#send-form [value=udp]")
        self.fill("#address", "127.0.0.1")
        self.usable("#send-form [type=submit]")
        self.wait_message("good", "qvxsipua goes to ")
        self.read("qvxsipua")
        self.wait_text("#log", "nothing of them can be read here")

    def test_script_stays_text(self):
        self.place.log("qvxsipua", SCRIPT)
        self.place.redirect("sipmmi", "/var/log/<img src=x onerror=document.title=0>.log")
        self.wait_text('tr[data-activity="sipmmi"] .destination', "<img src=x")
        self.read("qvxsipua")
        self.wait_text("#log .log-line", SCRIPT)
        self.assertEqual(self.all("main img, dialog img, main script, dialog script"), [])
        self.assertEqual(self.browser.title, "Logging")


class Defence(PageTest):
    def test_count_and_removal_of_the_newest(self):
        for number in range(5):
            self.place.log("defence", f"attack {number}")
        self.fill("#defence-lines", "2")
        self.usable("#defence-show [type=submit]")
        self.wait_text("#defence-text .log-line", "attack 4")
        self.assertEqual(len(self.all("#defence-text .log-line")), 2)
        before = int(self.text("#defence-count").split()[0])
        self.usable("#defence-remove")
        self.wait_text("#confirm-list", "attack 3")
        self.usable("#confirm-yes")
        self.wait_message("good", f"and has {before - 2} now.")
        self.wait_text("#defence-text .log-line", "attack 2")
        self.assertNotIn("attack 3", self.text("#defence-text"))

    def test_wrong_number(self):
        self.wait(lambda: "line" in self.text("#defence-count")
                  or "Empty" in self.text("#defence-count"), "the count is known")
        for text in ("", "0", "-3", "x", "2001"):
            self.fill("#defence-lines", text)
            self.usable("#defence-remove")
            self.wait(lambda: self.find("#defence-lines-error").is_displayed(), "it is said")


class Trace(PageTest):
    def begin(self, activity):
        self.usable(f'tr[data-activity="{activity}"] [data-trace]')
        self.fill("#minutes", "3")
        self.usable("#trace-form [type=submit]")
        self.wait_text(f'#trace-list [data-activity="{activity}"]', "then err again")

    def test_begin_see_the_log_reopen_and_stop(self):
        self.begin("qvxsipua")
        self.assertEqual(self.place.level("qvxsipua"), "debug")
        self.wait(lambda: self.find("#reader").is_displayed(), "its log is open")
        self.place.log("qvxsipua", "seen in the trace")
        self.wait_text("#log .log-line", "seen in the trace")
        self.open()
        self.wait_text('#trace-list [data-activity="qvxsipua"] .left', " left, then err again")
        self.assertRegex(self.text("#trace-list .left"), r"^(3:00|2:[0-5][0-9]|1:[0-5][0-9]) left")
        self.click('#trace-list [data-activity="qvxsipua"] button')
        self.wait_text("#log .log-line", "seen in the trace")
        self.usable("#reader-stop")
        self.wait_message("good", "The trace of qvxsipua has ended; it is at err now.")
        self.assertEqual(self.place.level("qvxsipua"), "err")
        self.wait(lambda: not self.find("#traces").is_displayed(), "no trace is shown")

    def test_wrong_minutes(self):
        self.usable('tr[data-activity="qvxsipua"] [data-trace]')
        for text in ("", "0", "1441", "1.5"):
            self.fill("#minutes", text)
            self.usable("#trace-form [type=submit]")
            self.wait(lambda: self.find("#minutes-error").is_displayed(), "it is said")
        self.assertEqual(self.place.level("qvxsipua"), "err")


class TakeAlong(PageTest):
    def test_pack_and_download(self):
        self.place.log("qvxsipua", "to be packed")
        self.usable("#pack")
        self.wait(lambda: self.find("#packing").is_displayed()
                  or self.find("#packed").is_displayed(), "progress is shown")
        self.wait_message("good", "The archive is packed")
        self.wait(lambda: list(self.browser.downloads.glob("all_logs*.gz")), "it is downloaded")
        with tarfile.open(next(self.browser.downloads.glob("all_logs*.gz"))) as archive:
            self.assertIn("var/log/qvxsipua.log", archive.getnames())

    def delete(self, button, *lost):
        self.place.log("qvxsipua", "to be lost")
        self.usable(button)
        self.wait(lambda: self.find("#confirm").is_displayed(), "it is asked")
        for path in lost:
            self.assertIn(path, self.text("#confirm-list"))

    def test_delete_after_a_question(self):
        self.delete("#delete-ram", "/var/log/qvxsipua.log")
        self.assertEqual(self.browser.switch_to.active_element.text, "Keep them")
        self.press(Keys.ENTER)
        self.wait(lambda: not self.find("#confirm").is_displayed(), "the question is gone")
        self.assertEqual(self.texts(".message"), [])
        self.delete("#delete-ram", "/var/log/qvxsipua.log")
        self.usable("#confirm-yes")
        self.wait_message("good", "All logs files removed in /var/log/ directory.")
        self.delete("#delete-flash", "/var/log/qvxsipua.log")
        self.usable("#confirm-yes")
        self.wait_message("good", "removed in /var/log/ and /log/flash/ directories.")


class StayTrue(PageTest):
    def test_change_elsewhere(self):
        for level in ("debug", "warning", "err"):
            self.place.set_level("Platform", level)
            self.wait_level("Platform", level)
        self.place.set_level("all", "info")
        for activity in self.shown():
            self.wait_level(activity, "info")

    def test_lost_connection(self):
        self.expected = ["ERR_INTERNET_DISCONNECTED", "ERR_NETWORK_CHANGED"]
        self.addCleanup(self.place.set_offline, self.browser, False)
        self.place.set_offline(self.browser, True)
        self.wait(lambda: self.state() == "lost", "the loss is shown")
        self.assertTrue(self.find("#absent").is_displayed())
        self.assertEqual(self.find("#apply").get_attribute("aria-disabled"), "true")
        self.place.set_level("Platform", "notice")
        self.place.set_offline(self.browser, False)
        self.wait(lambda: self.state() == "live", "it recovers")
        self.wait_level("Platform", "notice")
        self.assertFalse(self.find("#absent").is_displayed())

    def test_service_stops_and_starts(self):
        self.expected = ["503"]  # the page may be asking for something just then
        self.addCleanup(self.place.set_service, True)
        self.place.set_service(False)
        self.wait(lambda: self.state() == "absent", "it is shown")
        self.wait_text("#absent", "not running")
        self.assertEqual(self.find("#all-err").get_attribute("aria-disabled"), "true")
        self.place.set_service(True)
        self.wait(lambda: self.state() == "live", "it recovers")
        self.wait(lambda: self.find("#all-err").get_attribute("aria-disabled") is None, "usable")


if __name__ == "__main__":
    unittest.main()
