#!/usr/bin/python3
"""States into which a phone is not easily brought: it refuses, is slow, vanishes. Always with the
stand-in.
SPDX-License-Identifier: MIT"""
import unittest

from browser import PageTest, StandIn

UNANSWERED = ["ERR_EMPTY_RESPONSE", "ERR_INCOMPLETE_CHUNKED_ENCODING", "ERR_CONNECTION"]


class StateTest(PageTest):
    make_place = StandIn

    def order(self, **what):
        self.place.order(**what)


class Changes(StateTest):
    def test_what_is_under_way_is_shown(self):
        self.order(slow=1)
        self.choose("qvxsipua", "Telephony")
        self.usable("#apply")
        self.wait_message("busy", "Setting qvxsipua and Telephony to debug"
                          if self.shown().index("qvxsipua") < self.shown().index("Telephony")
                          else "Setting Telephony and qvxsipua to debug")
        self.assertIn("→ debug", self.cell("qvxsipua", "level"))
        self.assertEqual(self.find("#all-err").get_attribute("aria-disabled"), "true")
        self.wait_message("good", "are at debug now")
        self.assertNotIn("→", self.cell("qvxsipua", "level"))

    def test_level_that_does_not_change(self):
        self.order(stuck=["Telephony"])
        self.choose("qvxsipua", "Telephony")
        self.usable("#apply")
        self.wait_message("bad", "1 activity did not change.")
        self.wait_message("bad", "Telephony is at err")
        self.wait_level("qvxsipua", "debug")
        self.wait_level("Telephony", "err")

    def test_refused_destination(self):
        self.order(refuse=True, lost=[{"activity": "WebApp", "what": "level", "before": "debug",
                                       "after": "err"}])
        self.choose("qvxsipua")
        self.usable("#chosen-send")
        self.fill("#name", "sip")
        self.usable("#send-form [type=submit]")
        self.wait_message("bad", "syslog-ng refused the destination. The backup")
        self.wait_message("bad", "qvxsipua goes to /var/log/qvxsipua.log")
        self.wait_message("bad", "changed the level of WebApp from debug to err")
        self.assertFalse(self.find("#send").is_displayed())

    def test_value_that_the_phone_refuses_is_said_at_its_field(self):
        self.expected = ["422"]
        self.order(fail="This name is taken.")
        self.choose("qvxsipua")
        self.usable("#chosen-send")
        self.fill("#name", "sip")
        self.usable("#send-form [type=submit]")
        self.wait_text("#name-error", "This name is taken.")
        self.assertTrue(self.find("#send").is_displayed())
        self.assertEqual(self.texts(".message"), [])

    def test_several_one_after_the_other(self):
        self.choose("qvxsipua", "Telephony")
        self.usable("#chosen-send")
        self.click("#send-form [value=console]")
        self.usable("#send-form [type=submit]")
        self.wait_message("good", "go to /dev/console now")
        self.assertEqual(self.place.destination("Telephony"), "file /dev/console")
        self.assertEqual(self.place.destination("Platform"), "file /var/log/Platform.log")


class Archive(StateTest):
    def test_packed_once_more(self):
        self.order(grown=True, slow=1)
        self.usable("#pack")
        self.wait_text("#packing", "123 kB so far")
        self.assertRegex(self.text("#packing"), r"^Packing: 0:0[0-9], ")
        self.wait_message("good", "A log grew meanwhile, so it was packed once more.")

    def test_failure(self):
        self.order(fail="A log grew each time it was packed.")
        self.usable("#pack")
        self.wait_message("bad", "A log grew each time it was packed.")
        self.wait_message("bad", "Error on exit")
        self.assertFalse(self.find("#packed").is_displayed())


class Losses(StateTest):
    def test_phone_vanishes_without_a_word(self):
        self.expected = UNANSWERED
        self.order(gone=True)
        self.wait(lambda: self.state() == "lost", "it is shown")
        self.wait_text("#absent", "No connection to the phone since")
        self.order(gone=False, level=["Platform", "debug"])
        self.wait(lambda: self.state() == "live", "it recovers")
        self.wait_level("Platform", "debug")

    def test_phone_vanishes_in_a_change(self):
        self.expected = UNANSWERED
        self.order(slow=1)
        self.choose("qvxsipua")
        self.usable("#apply")
        self.wait_message("busy", "Setting qvxsipua to debug")
        self.order(gone=True)
        self.wait_message("bad", "The phone does not answer.")
        self.order(gone=False)
        self.wait(lambda: self.state() == "live", "it recovers")

    def test_log_goes_on_after_a_loss(self):
        self.expected = UNANSWERED
        self.click('tr[data-activity="qvxsipua"] .acts button')
        self.wait(lambda: self.texts("#log .log-line"), "lines are shown")
        self.order(gone=True)
        self.wait(lambda: self.state() == "lost", "the loss is shown")
        self.order(gone=False, lines=[["qvxsipua", "written in the loss"]])
        self.wait_text("#log .log-line", "written in the loss")
        lines = self.texts("#log .log-line")
        self.assertEqual(len([line for line in lines if "written in the loss" in line]), 1)

    def test_newest_lines_that_have_to_be_asked_for(self):
        self.order(plain=True, lines=[["qvxsipua", "written before"]])
        self.click('tr[data-activity="qvxsipua"] .acts button')
        self.wait_text("#log .log-line", "written before")
        self.order(lines=[["qvxsipua", "written meanwhile"]])
        self.wait_text("#log .log-line", "written meanwhile")

    def test_too_many_pages(self):
        self.expected = ["503", *UNANSWERED]
        self.order(full=True)
        self.wait_text("#absent", "Too many pages are open on this phone. What is shown was true")
        self.order(full=False, level=["Platform", "debug"])
        self.wait(lambda: self.state() == "live", "it recovers")
        self.wait_level("Platform", "debug")

    def test_search_that_stopped_early(self):
        self.order(searched=67_108_864)
        self.click('tr[data-activity="qvxsipua"] .acts button')
        self.wait_text("#reader-place", "; only its newest 67.1 MB were searched")

    def test_page_opened_without_the_service(self):
        self.order(present=False)
        self.browser.get(self.place.url)
        self.wait(lambda: self.state() == "absent", "it is shown")
        self.wait_text("#none", "not known yet")
        self.order(present=True)
        self.wait_level("Platform", "err")

    def test_settings_service_is_silent(self):
        self.order(remote=None)
        self.wait_text("#remote", "The phone’s settings service does not answer.")


class Looks(StateTest):
    def test_flood_stands_out(self):
        self.order(file=["/log/Defence.log", 5_000_000])
        self.wait_text('tr[data-activity="defence"] .size', "5.0 MB")
        bar = 'tr[data-activity="defence"] .bar'
        self.assertEqual(self.find(bar).get_attribute("data-kind"), "flood")
        self.assertEqual(self.find(f"{bar} span").value_of_css_property("width"),
                         self.find(bar).value_of_css_property("width"))
        self.click("[data-column=size] button")
        self.assertEqual(self.shown()[0], "defence")

    def test_script_in_a_name_stays_text(self):
        name = "<img src=x onerror=\"document.title='broken'\">"
        self.order(activity=[name, "/var/log/<b>.log"], remote={
            "LogRemoteServerExist": name, "LogRemoteServerAddress": name,
            "LogRemoteServerPort": name, "LogRemoteServerProtocol": name})
        self.wait_text("#rows .name", name)
        self.wait_text("#remote dd", name)
        self.click("#rows tr:last-child .pick input")
        self.wait_text("#chosen-text", name)
        self.usable("#apply")
        self.wait_message("good", name)
        self.open()
        self.wait_text("#rows .name", name)
        self.assertEqual(self.all("main img, main b, .message img"), [])
        self.assertEqual(self.browser.title, "Logging")

    def test_trace_of_the_console_and_one_that_ends(self):
        self.usable('tr[data-activity="qvxsipua"] [data-trace]')
        self.usable("#trace-form [type=submit]")
        self.wait_text("#trace-list .left", "then err again")
        self.order(trace_over="qvxsipua")
        self.wait_message("good", "The trace of qvxsipua is over; it is at err now.")
        self.order(traces={"Platform": {"level": "info", "former": "err", "user": "root",
                                        "until": 0, "own": False}})
        self.wait_text("#trace-list", "begun at the console by root")
        self.assertEqual(len(self.all("#trace-list button")), 1)

    def test_time_that_is_left_is_the_phone_s(self):
        self.order(ahead=86400)
        self.open()
        self.usable('tr[data-activity="qvxsipua"] [data-trace]')
        self.usable("#trace-form [type=submit]")
        self.wait_text("#trace-list .left", " left")
        self.assertRegex(self.text("#trace-list .left"), "^(10:00|9:[0-9]{2}) left")


if __name__ == "__main__":
    unittest.main()
