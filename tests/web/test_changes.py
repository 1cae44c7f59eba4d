#!/usr/bin/python3
"""A person sees the activities, and changes levels and destinations.
SPDX-License-Identifier: MIT"""
import unittest

from selenium.webdriver.common.keys import Keys

from browser import PageTest


class See(PageTest):
    def test_table_and_room(self):
        self.place.set_level("qvxsipua", "debug")
        self.wait_level("qvxsipua", "debug")
        self.assertEqual(self.cell("qvxsipua", "support"), "file")
        self.assertEqual(self.cell("qvxsipua", "destination"), "/var/log/qvxsipua.log")
        self.assertIn("not initial", self.cell("qvxsipua", "level"))
        self.assertNotIn("not initial", self.cell("Platform", "level"))
        self.place.log("qvxsipua", "something of a size")
        self.wait(lambda: "byte" in self.cell("qvxsipua", "size")
                  or "kB" in self.cell("qvxsipua", "size"), "a size is shown")
        self.assertEqual(len(self.all("#room dd")), 2)
        for text in self.texts("#room dd"):
            self.assertRegex(text, r"^[0-9.]+ .* free of [0-9.]+ ")

    def test_sorting(self):
        def sort(column):
            self.click(f"[data-column={column}] button")
            return self.find(f"[data-column={column}]").get_attribute("aria-sort")

        self.place.set_level("sipmmi", "info")
        self.wait_level("sipmmi", "info")
        self.assertEqual(sort("activity"), "ascending")
        self.assertEqual(self.shown(), sorted(self.shown(), key=str.lower))
        self.assertEqual(sort("activity"), "descending")
        self.assertEqual(self.shown(), sorted(self.shown(), key=str.lower, reverse=True))
        self.assertEqual(sort("level"), "descending")
        self.assertEqual(self.shown()[0], "sipmmi")
        self.assertEqual(len(self.all("[aria-sort]")), 1)

    def test_filter(self):
        self.place.set_level("sipmmi", "info")
        self.wait_level("sipmmi", "info")
        self.fill("#filter", "QVX")
        self.wait(lambda: self.shown() and all("qvx" in name for name in self.shown()), "filtered")
        self.wait_text("#shown", "shown")
        self.fill("#filter", "nothing like that")
        self.wait(lambda: self.find("#none").is_displayed(), "it is said that nothing fits")
        self.find("#filter").send_keys(Keys.CONTROL, "a")
        self.find("#filter").send_keys(Keys.DELETE)
        self.click("#only-changed")
        self.wait(lambda: self.shown() == ["sipmmi"], "only what is not initial")

    def test_log_server_is_read_only(self):
        self.wait(lambda: len(self.all("#remote dd")) == 4, "the settings are shown")
        self.assertEqual(self.all("#remote input, #remote button"), [])
        self.assertIn("phone’s settings", self.text("[aria-labelledby=remote-title]"))


class ChangeLevels(PageTest):
    def test_several_at_once_and_all_back(self):
        self.choose("qvxsipua", "Telephony", "WebApp")
        self.wait_text("#chosen-text", "3 chosen")
        self.select("#level", "debug")
        self.usable("#apply")
        self.wait_message("good", "are at debug now")
        for activity in ("qvxsipua", "Telephony", "WebApp"):
            self.wait_level(activity, "debug")
            self.assertEqual(self.place.level(activity), "debug")
        self.assertEqual(self.place.level("Platform"), "err")
        self.usable("#all-err")
        self.wait_message("good", "All activities are at err now.")
        self.assertEqual(self.place.level("WebApp"), "err")

    def test_by_keyboard_alone(self):
        self.tab_to('tr[data-activity="qvxsipua"] .pick input')
        self.press(Keys.SPACE)
        self.tab_to("#level")
        self.press("i")
        self.tab_to("#apply")
        self.press(Keys.ENTER)
        self.wait_message("good", "qvxsipua is at info now.")
        self.assertEqual(self.place.level("qvxsipua"), "info")

    def test_nothing_chosen(self):
        self.usable("#apply")
        self.wait_message("bad", "Nothing is chosen.")


class SendElsewhere(PageTest):
    def send(self, to, **fields):
        self.usable("#chosen-send")
        self.click(f"#send-form [value={to}]")
        for name, text in fields.items():
            self.fill(f"#{name}", text)
        self.usable("#send-form [type=submit]")

    def check(self, to, fields, destination):
        self.send(to, **fields)
        self.wait_message("good", "qvxsipua goes to ")
        self.wait_text('tr[data-activity="qvxsipua"] .destination', destination.split(" ", 1)[1])
        self.assertEqual(self.place.destination("qvxsipua"), destination)
        self.click(".message [aria-label]")

    def test_each_kind_and_back(self):
        self.choose("qvxsipua")
        self.check("ram", {"name": "sip"}, "file /var/log/sip.log")
        self.check("flash", {"name": "sip.log"}, "file /log/flash/sip.log")
        self.check("usertty", {"name": "root"}, "usertty root")
        self.check("console", {}, "file /dev/console")
        self.check("udp", {"address": "127.0.0.1", "port": "5514"},
                   "udp IP :127.0.0.1 port(5514)")
        self.check("tcp", {"address": "localhost", "port": "65535"},
                   "tcp IP :localhost port(65535)")
        self.assertIn("not initial", self.cell("qvxsipua", "destination"))
        self.usable("#chosen-own")
        self.wait_message("good", "qvxsipua goes to its own file now.")
        self.assertEqual(self.place.destination("qvxsipua"), "file /var/log/qvxsipua.log")

    def test_all_and_back(self):
        self.usable("#all-send")
        self.wait_text("#send-what", "all")
        self.fill("#name", "everything")
        self.wait_text("#name-hint", "/var/log/everything.log")
        self.usable("#send-form [type=submit]")
        self.wait_message("good", "All activities go to /var/log/everything.log now.")
        self.assertEqual(self.place.destination("WebApp"), "file /var/log/everything.log")
        self.usable("#all-own")
        self.wait_message("good", "All activities go to their own files now.")
        self.assertEqual(self.place.destination("defence"), "file /log/Defence.log")

    def test_by_keyboard_alone(self):
        self.tab_to('tr[data-activity="qvxsipua"] .pick input')
        self.press(Keys.SPACE)
        self.tab_to("#chosen-send")
        self.press(Keys.ENTER)
        self.tab_to("#send-form [value=ram]")
        self.press(Keys.ARROW_DOWN, Keys.ARROW_DOWN)
        self.tab_to("#address")
        self.press("127.0.0.1")
        self.tab_to("#port")
        self.press("5514", Keys.ENTER)  # what was in it is selected
        self.wait_message("good", "qvxsipua goes to ")
        self.assertEqual(self.place.destination("qvxsipua"), "udp IP :127.0.0.1 port(5514)")
        self.wait(lambda: self.browser.switch_to.active_element == self.find("#chosen-send"),
                  "the focus is where it was")

    def test_wrong_input_is_said_at_the_field(self):
        self.choose("qvxsipua")
        self.usable("#chosen-send")
        for to, field, wrong in [
                ("ram", "name", ["", "a/b", "~", "a(b)", 'a"b', "a'b", "$HOST", "a b", "ä",
                                 "a" * 65]),
                ("usertty", "name", ["", "a/b", "Root", "a b"]),
                ("udp", "address", ["", "10.1.2.256", "10.1.2", "loghost.", "log_host", "1host",
                                    "a", "a..b", 'x" port(1)); program("y']),
                ("tcp", "port", ["", "0", "65536", "-1", "1e3", "5 14"])]:
            self.click(f"#send-form [value={to}]")
            if field == "port":
                self.fill("#address", "loghost")
            for text in wrong:
                with self.subTest(to=to, text=text):
                    self.fill(f"#{field}", text)
                    self.usable("#send-form [type=submit]")
                    self.wait(lambda: self.find(f"#{field}-error").is_displayed(), "it is said")
                    self.assertEqual(self.find(f"#{field}").get_attribute("aria-invalid"), "true")
                    self.assertEqual(self.browser.switch_to.active_element, self.find(f"#{field}"))
        self.press(Keys.ESCAPE)
        self.wait(lambda: not self.find("#send").is_displayed(), "the dialog is closed")
        self.assertEqual(self.place.destination("qvxsipua"), "file /var/log/qvxsipua.log")

    def test_no_free_destination(self):
        self.choose("qvxsipua")
        self.usable("#chosen-send")
        self.assertEqual({each.get_attribute("value") for each in self.all("#send-form [name=to]")},
                         {"ram", "flash", "udp", "tcp", "usertty", "console"})


if __name__ == "__main__":
    unittest.main()
