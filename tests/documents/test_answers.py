#!/usr/bin/python3
"""Each text of docs/INTERFACE.md is provoked in the phone, and comes byte for byte.
SPDX-License-Identifier: MIT"""
import contextlib
import os
import pathlib
import signal
import unittest

import dbus

from document import documented_texts
from phone import (BACKUP, FACILITIES, INTERFACE, LIVE, PATH, call, daemon_pid, require_box, reset,
                   service_pid, wait_until)

HEADER = "   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n"
REPAIRED = ("OK  -- but configuration file was corrupted : qvxsipua restored to predefined values "
            "-- use level or redirect command to verify your log config ")
OWN = {"activity": "qvxsipua", "check": "OK"}
FILE = {**OWN, "destination": 'file("/var/log/sip.log")'}
SERVER = {**OWN, "destination": 'udp("10.1.2.3" port(514))'}
LEVEL = "level(s streamName, s level)"
REDIRECT = "redirect(s activity, s destinationName)"
SUPPORT = "redirect(s activity, s destinationName, s path)"
ADDRESS = "redirect(s activity, s destinationName, s ipAddress, i ipPort)"
ONE_CORRUPTED = "One or more log config file corrupted -- "
ALL_CORRUPTED = ("One ore more config files were corrupted -- Initialised to predefined values -- "
                 "check your log config with level or redirect command !")


def lose_configuration():
    LIVE.unlink()
    BACKUP.unlink()


def break_configuration():
    LIVE.write_text(LIVE.read_text(encoding="utf-8") + "nonsense\n", encoding="utf-8")


def break_level_file():
    (FACILITIES / "qvxsipua.conf").write_text("3\n", encoding="ascii")


@contextlib.contextmanager
def changed(change, back):
    change()
    try:
        yield
    finally:
        back()


@contextlib.contextmanager
def program_without_level_file(directory):
    """The program of an activity is there, and its level file is not."""
    program = pathlib.Path(directory, "qvxsipua")
    is_new = not program.parent.exists()
    program.parent.mkdir(exist_ok=True)
    program.touch()
    (FACILITIES / "qvxsipua.conf").unlink()
    yield
    program.unlink()
    if is_new:
        program.parent.rmdir()


@contextlib.contextmanager
def moved_away(*directories):
    """syslog-ng is stopped meanwhile: it makes a missing directory with the next message."""
    daemon = daemon_pid()
    with changed(lambda: os.kill(daemon, signal.SIGSTOP), lambda: os.kill(daemon, signal.SIGCONT)):
        for directory in directories:
            os.rename(directory, directory + ".aside")
        yield
        for directory in directories:
            os.rename(directory + ".aside", directory)


@contextlib.contextmanager
def directory_for(path):
    if os.path.exists(path):
        os.unlink(path)
    os.mkdir(path)
    yield
    os.rmdir(path)


def after(action):
    return changed(action, lambda: None)


def answer_of(state, *words):
    with state or contextlib.nullcontext():
        answer = call(*words)
    return answer["msg"] if isinstance(answer, dict) else answer


class Answers(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        reset()
        self.seen = set()

    def expect(self, section, text, words, values=None, state=None):
        """The call is answered with the text of that section, its placeholders filled."""
        self.seen.add((section, text))
        with self.subTest(section=section, words=words):
            self.assertIn((section, text), documented_texts())
            for name, value in (values or {}).items():
                text = text.replace("{" + name + "}", value)
            answer = answer_of(state, *words)
            if text.endswith("{rows}"):
                self.assertEqual(answer.count("\n"), 11)
                answer = answer[:len(HEADER)] + "{rows}"
            self.assertEqual(answer, text)
        if state:
            reset()

    def lists(self):
        for name in ("level", "redirect"):
            self.expect(name + "()", HEADER + "{rows}", (name,))
            self.expect(name + "()", "configuration file cannot be restored", (name,),
                        state=after(lose_configuration))

    def levels(self):
        debug = ("level", "qvxsipua", "debug")
        every = ("level", "all", "debug")
        self.expect(LEVEL, "Level {level} for facility : {activity} {check}", debug,
                    {**OWN, "level": "debug"})
        self.expect(LEVEL, "All levels changed to {level} value ", every, {"level": "debug"})
        self.expect(LEVEL, "All levels changed to {level} value ", ("level", "all", "init"),
                    {"level": "err"})
        self.expect(LEVEL, "level restore succcess", ("level", "all", "restore"))
        self.expect(LEVEL, "level restore failed", ("level", "all", "restore"),
                    state=after(BACKUP.unlink))
        BACKUP.unlink()
        call("level", "all", "restore")
        self.assertFalse(LIVE.exists())
        reset()
        self.expect(LEVEL, "Not a valid activity : {activity}", ("level", "nobody", "debug"),
                    {"activity": "nobody"})
        self.expect(LEVEL, "[level] level not valid: {level}", ("level", "qvxsipua", "init"),
                    {"level": "init"})
        self.expect(LEVEL, "file configuration access error", debug,
                    state=after(break_configuration))
        self.expect(LEVEL, ONE_CORRUPTED + "file restored to predefined value !{check}", debug, OWN,
                    after(break_level_file))
        self.expect(LEVEL, "One ore more facility config file corrupted -- restored to predefined "
                    "value ! -- Use level or redirect command to verify your log config", every,
                    state=after(break_level_file))
        self.expect(LEVEL, "No logger configuration file !!", every,
                    state=after(lose_configuration))
        for directory, check in (("/usr/bin/QVXApplication", REPAIRED),
                                 ("/usr/lib/QVXApplication", " " + REPAIRED)):
            self.seen.add(("The check of an activity", check.replace("qvxsipua", "{activity}")))
            self.expect(LEVEL, "Level {level} for facility : {activity} {check}", debug,
                        {**OWN, "level": "debug", "check": check},
                        program_without_level_file(directory))
        self.seen.add(("The check of an activity", "OK"))

    def destinations(self):
        one = "[REDIRECT] Activity : {activity} redirect to : {destination}"
        every = "All facilities redirected to : {destination} "
        self.expect(REDIRECT, one, ("redirect", "qvxsipua", FILE["destination"]), FILE)
        self.expect(REDIRECT, one, ("redirect", "qvxsipua", 'flash("x")'),
                    {**OWN, "destination": 'flash("x")'})
        self.expect(REDIRECT, every, ("redirect", "all", "V24"), {"destination": "V24"})
        self.expect(REDIRECT, "All facilities redirected to predefined values ",
                    ("redirect", "all", "init"))
        self.expect(REDIRECT, "Destination not valid --parameter init can only be used with "
                    "activity all !", ("redirect", "qvxsipua", "init"))
        self.expect(REDIRECT, "not a valid activity : {activity}", ("redirect", "nobody", "V24"),
                    {"activity": "nobody"})
        self.expect(REDIRECT, "[REDIRECT] Destination not valid: {destination}",
                    ("redirect", "qvxsipua", "v24"), {"destination": "v24"})
        self.expect(REDIRECT, ALL_CORRUPTED, ("redirect", "all", "init"),
                    state=after(break_level_file))

    def supports(self):
        words = ("redirect", "qvxsipua", "ram", "sip")
        every = ("redirect", "all", "ram", "sip")
        self.expect(SUPPORT, "[REDIRECT] Activity : {activity} redirect to : {destination}{check}",
                    words, FILE)
        self.expect(SUPPORT, "All facilities redirected to : {destination} OK", every, FILE)
        self.expect(SUPPORT, "Not a valid file name -- character / and ~ are banned",
                    ("redirect", "qvxsipua", "ram", "../x"))
        self.expect(SUPPORT, "Not a valid support type -- can be : ram - flash or usertty",
                    ("redirect", "qvxsipua", "RAM", "x"))
        self.expect(SUPPORT, "not a valid activity : {activity}",
                    ("redirect", "nobody", "ram", "x"), {"activity": "nobody"})
        self.expect(SUPPORT, " [redirect] destination parameters not valid: {destination}",
                    ("redirect", "qvxsipua", "ram", "(x)"),
                    {"destination": 'file("/var/log/(x).log")'})
        self.expect(SUPPORT, ONE_CORRUPTED + "restored to predefined value !", words,
                    state=after(break_level_file))
        self.expect(SUPPORT, ALL_CORRUPTED + "OK", every, state=after(break_level_file))

    def servers(self):
        words = ("redirect", "qvxsipua", "udp", "10.1.2.3", 514)
        every = ("redirect", "all", "udp", "10.1.2.3", 514)
        self.expect(ADDRESS, "[REDIRECT] Activity : {activity} redirect to : {destination}{check}",
                    words, SERVER)
        self.expect(ADDRESS, "All facilities redirected to : {destination} OK", every, SERVER)
        self.expect(ADDRESS, "not a valid facility : {activity}",
                    ("redirect", "nobody", "udp", "10.1.2.3", 514), {"activity": "nobody"})
        self.expect(ADDRESS, " [REDIRECT] destination parameters not valid: {destination}",
                    ("redirect", "qvxsipua", "udp", "10.1.2.3", 0),
                    {"destination": 'udp("10.1.2.3" port(0))'})
        self.expect(ADDRESS, ONE_CORRUPTED + "Restored to predefined value", words,
                    state=after(break_level_file))
        self.expect(ADDRESS, ALL_CORRUPTED + "OK", every, state=after(break_level_file))

    def others(self):
        self.expect("setSyslogLevels(s syslogLevels)", "Fast set log levels OK",
                    ("setSyslogLevels", "{qvxsipua:debug}"))
        self.expect("resetSyslogLevelsToErr()", "Fast set all log levels to error OK",
                    ("resetSyslogLevelsToErr",))
        call("level")  # waits for both
        # What was logged until now may still be on its way into a log.
        wait_until(lambda: call("generateLogsForWeb")["value"] == "0", "an archive")
        self.expect("generateLogsForWeb()", "Generate logs successfully", ("generateLogsForWeb",))
        self.expect("generateLogsForWeb()", "Error on exit", ("generateLogsForWeb",),
                    state=moved_away("/data/core"))
        log = "defence(i position, s todo)"
        pathlib.Path("/log/Defence.log").write_text("one\ntwo\n", encoding="ascii")
        self.assertEqual(call("defence", 1, "read"), "two\n")
        self.expect(log, "[DEFENCE] Total messages saved in flash sector:{count}",
                    ("defence", 0, "size"), {"count": "2"})
        self.expect(log, "[DEFENCE] delete {count} lines OK", ("defence", 1, "delete"),
                    {"count": "1"})
        self.expect(log, "bad input parameter(s) -- use : defence --help command, for more "
                    "information", ("defence", 1, "Read"))
        self.expect(log, "[DEFENCE] impossible to open in read/write mode/log/Defence.log",
                    ("defence", 1, "size"), state=directory_for("/log/Defence.log"))
        ram = "deleteTmpLogFiles()"
        flash = "deleteTmpLogFiles(s parameter)"
        both = "/var/log/ and /log/flash/ directories"
        self.expect(ram, "All logs files removed in /var/log/ directory.", ("deleteTmpLogFiles",))
        self.expect(ram, "No Log file to remove in /var/log/ directory", ("deleteTmpLogFiles",),
                    state=moved_away("/var/log"))
        self.expect(flash, "All logs files removed in " + both + ".",
                    ("deleteTmpLogFiles", "flash"))
        self.expect(flash, "No Log file to remove in " + both, ("deleteTmpLogFiles", "flash"),
                    state=moved_away("/var/log", "/log/flash"))
        self.expect(flash, "Wrong parameter in deleteTmpLogFileWithParameter",
                    ("deleteTmpLogFiles", "FLASH"))
        self.expect("logComments(s activity, s result)", "OK", ("logComments", "qvxsipua", "hello"))

    def test_each_documented_text_comes(self):
        for part in (self.lists, self.levels, self.destinations, self.supports, self.servers,
                     self.others):
            part()
            reset()
        wanted = {text for text in documented_texts() if text[0] != "Texts that never come"}
        self.assertEqual(wanted - self.seen, set())

    def test_errors_of_the_bus(self):
        cases = [
            ("UnknownMethod", ("level", 5), {}),
            ("UnknownMethod", ("redirect", "qvxsipua", "udp", "10.1.2.3", "514"), {}),
            ("UnknownMethod", ("nothing",), {}),
            ("UnknownInterface", ("level",), {"interface": "com.corvane.Quorvix.Nothing"}),
            ("UnknownInterface", ("level",), {"path": "/com/corvane/Quorvix"}),
        ]
        for name, words, where in cases:
            with self.subTest(words=words, **where), self.assertRaises(dbus.DBusException) as error:
                call(*words, **{"interface": INTERFACE, "path": PATH, **where})
            self.assertEqual(error.exception.get_dbus_name(), "org.freedesktop.DBus.Error." + name)

    def test_time_of_the_caller(self):
        pid = service_pid()
        with changed(lambda: os.kill(pid, signal.SIGSTOP), lambda: os.kill(pid, signal.SIGCONT)):
            with self.assertRaises(dbus.DBusException) as error:
                call("level", "qvxsipua", "debug", timeout=0.1)
        self.assertEqual(error.exception.get_dbus_name(), "org.freedesktop.DBus.Error.NoReply")
        # It is done nevertheless.
        self.assertRegex(call("level"), r"\nqvxsipua +debug ")


if __name__ == "__main__":
    require_box()
    unittest.main()
