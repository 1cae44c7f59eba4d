#!/usr/bin/python3
"""A phone without a settings service, and with the one of docs/INTERFACE.md under its own policy.
SPDX-License-Identifier: MIT"""
import os
import pathlib
import signal
import subprocess
import unittest

import dbus

from commands import shell, try_command
from document import INTERFACE, blocks
from phone import NAME, reload_daemon, require_box, reset, run, service_pid, wait_until

POLICY = pathlib.Path("/etc/dbus-1/system.d/com.corvane.Quorvix.SettingsManager.conf")
LOG = pathlib.Path("/var/log/LoggerModule.log")
SETTINGS = "com.corvane.Quorvix.SettingsManager"


def block(kind, mark):
    return next("\n".join(found.lines) for found in blocks(INTERFACE)
                if found.kind == kind and any(mark in line for line in found.lines))


def has_owner(name):
    return dbus.SystemBus().name_has_owner(name)


def use_policy(text):
    POLICY.write_text(text, encoding="utf-8")
    dbus.SystemBus().call_blocking("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus", "ReloadConfig", "", ())


def end_booted(name, pid):
    pathlib.Path(f"/run/phone/{name}.pid").unlink(missing_ok=True)
    os.kill(pid, signal.SIGTERM)
    wait_until(lambda: not has_owner(f"com.corvane.Quorvix.{name}"), f"the end of {name}")


def start_anew():
    if has_owner(NAME):
        end_booted("LoggerModule", service_pid())
    run("/etc/init.d/loggermodule", "start")
    run("gdbus", "wait", "--system", "--timeout", "60", NAME)


class SettingsService(unittest.TestCase):
    def test_absent_and_then_the_documented_one(self):
        reset()
        recorded = pathlib.Path("/run/phone/SettingsManager.pid").read_text(encoding="ascii")
        end_booted("SettingsManager", int(recorded))
        LOG.unlink(missing_ok=True)
        reload_daemon()
        start_anew()
        command = next(text for found in blocks(INTERFACE) for _, text in found.commands()
                       if text.startswith("grep -c 'SettingsManager "))
        try_command(self, "INTERFACE.md", command)
        self.assertEqual(shell("loggerctl remote")[0], 3)
        self.assertEqual(shell("loggerctl status")[0], 0)

        policy = POLICY.read_text(encoding="utf-8")
        use_policy(block("xml", "busconfig"))
        before = LOG.read_bytes()
        service = subprocess.Popen(["python3", "-c", block("python", "getSettingValue")])
        try:
            wait_until(lambda: has_owner(SETTINGS), "the documented settings service")
            start_anew()
            self.assertEqual(shell("loggerctl remote"), (0, "no log server\n"))
            self.assertEqual(LOG.read_bytes(), before)
        finally:
            service.kill()
            service.wait()
            use_policy(policy)


if __name__ == "__main__":
    require_box()
    unittest.main()
