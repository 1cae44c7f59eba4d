"""The phone around the tests of the documents: its files, programs and service.
SPDX-License-Identifier: MIT"""
import os
import pathlib
import shutil
import subprocess
import time

import dbus

LIVE = pathlib.Path("/data/QVXApplication/LoggerModule/syslog/sip/logappli.conf")
BACKUP = LIVE.parents[1] / "logappli.conf.sav"
FACILITIES = LIVE.parent / "facility"
PID_FILE = pathlib.Path("/var/run/syslog-ng.pid")
NAME = "com.corvane.Quorvix.LoggerModule"
PATH = "/com/corvane/Quorvix/LoggerModule"
INTERFACE = "com.corvane.Quorvix.QVXInterface"
SERVICE = "/usr/bin/QVXApplication/LoggerModule"
SECONDS = 120


def require_box():
    if os.environ.get("PHONE_INSIDE") != "1":
        raise SystemExit("this test runs in a phone in a box")


def run(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


def wait_until(condition, what):
    deadline = time.monotonic() + SECONDS
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError("in vain: " + what)
        time.sleep(0.02)


def call(method, *arguments, path=PATH, interface=INTERFACE, timeout=SECONDS):
    """The answer as Python's own text or dictionary. Without introspection: several methods have
    one name."""
    proxy = dbus.SystemBus().get_object(NAME, path, introspect=False)
    answer = dbus.Interface(proxy, interface).get_dbus_method(method)(*arguments, timeout=timeout)
    if isinstance(answer, dbus.Dictionary):
        return {str(key): str(value) for key, value in answer.items()}
    return str(answer)


def service_pid():
    return int(dbus.SystemBus().call_blocking(
        "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", "s", (NAME,)))


def daemon_pid():
    return int(PID_FILE.read_text(encoding="ascii"))


def reload_daemon():
    run("kill", "-HUP", str(daemon_pid()))


def reset():
    """Every file of the configuration as the set-up script makes it."""
    for path in (LIVE, BACKUP, *FACILITIES.glob("*")):
        if path.is_dir():
            shutil.rmtree(path)
        elif path.exists() or path.is_symlink():
            path.unlink()
    run("/etc/init.d/autoConfigSyslog", "start")
    reload_daemon()
