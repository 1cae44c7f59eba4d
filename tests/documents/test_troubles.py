#!/usr/bin/python3
"""docs/TROUBLESHOOTING.md: each cause is brought about, its commands show what the document says,
and the cure helps.
SPDX-License-Identifier: MIT"""
import os
import pathlib
import signal
import subprocess
import unittest

from commands import shell, try_command
from document import PROJECT, blocks
from phone import (BACKUP, FACILITIES, LIVE, NAME, PID_FILE, call, daemon_pid, require_box, reset,
                   run, service_pid, wait_until)

DOCUMENT = PROJECT / "docs" / "TROUBLESHOOTING.md"
IS_ROOTLESS = os.environ.get("PHONE_ROOTLESS") == "1"


def is_gone(pid):
    try:
        return pathlib.Path(f"/proc/{pid}/stat").read_text(encoding="ascii").split()[2] == "Z"
    except OSError:
        return True


def end(pid):
    os.kill(pid, signal.SIGTERM)
    wait_until(lambda: is_gone(pid), f"the end of {pid}")


def end_daemon():
    end(daemon_pid())


def end_service():
    end(service_pid())


def stop(pid):
    os.kill(pid, signal.SIGSTOP)


def break_file(path):
    path.write_text(path.read_text(encoding="utf-8") + "nonsense\n", encoding="utf-8")


def break_configuration():
    break_file(LIVE)
    call("level", "qvxsipua", "debug")


def break_both():
    break_file(LIVE)
    break_file(BACKUP)


def refuse_destination():
    call("redirect", "qvxsipua", 'flash("x")')


def fill_room():
    run("mount", "-t", "tmpfs", "-o", "size=64k", "full", "/var/log")
    pathlib.Path("/var/log/old.log").write_bytes(b"x" * 61440)


def stray_level_file():
    (FACILITIES / "Video.conf").write_text(
        '3\n23\nfile("/var/log/Video.log")\nfacility signature field\n', encoding="ascii")


class MovedAway:
    """Brings about that a file is missing; the cure of the test is to bring it back."""

    def __init__(self, *names):
        self.names = [name for name in names if os.path.exists(name)]

    def __call__(self):
        for name in self.names:
            if os.path.exists(name):
                os.rename(name, name + ".aside")

    def back(self):
        for name in self.names:
            if os.path.exists(name + ".aside"):
                os.rename(name + ".aside", name)


NO_KILL = MovedAway("/usr/bin/kill")
NO_DAEMON = MovedAway("/usr/sbin/syslog-ng")


def nothing():
    pass


# Each cause of the document, with what brings it about.
CAUSES = {
    "syslog-ng does not run": end_daemon,
    "syslog-ng is stopped": lambda: stop(daemon_pid()),
    "Nobody listens to /dev/log": lambda: os.unlink("/dev/log"),
    "The level keeps it out": nothing,
    "The log goes elsewhere": lambda: call("redirect", "qvxsipua", "udp", "10.1.2.3", 514),
    "The program logs under another name": nothing,
    "There is no room": fill_room,
    "The signal does not arrive": PID_FILE.unlink,
    "There is no kill": NO_KILL,
    "syslog-ng has refused the destination": refuse_destination,
    "The activity has a level file and no block": stray_level_file,
    "Its level file is lost": lambda: (FACILITIES / "qvxsipua.conf").unlink(),
    "The configuration was broken": break_configuration,
    "The backup is broken too": break_both,
    "syslog-ng is not where it is expected": NO_DAEMON,
    "The backup was put in place": refuse_destination,
    "Somebody has reset everything": nothing,
    "The caller is not in the group": nothing,
    "The policy is not in force": nothing,
    "The service does not run": end_service,
    "It does not answer in time": lambda: stop(service_pid()),
    "The user may not call": nothing,
    "One of its directories is missing": lambda: os.rmdir("/data/core"),
    "A log grew meanwhile": nothing,
    "It took more than 30 s": nothing,
}
# Where an ordinary user has booted the phone, it has no other user, and the machine's programs
# stay where they are.
FOR_ROOT = ("The caller is not in the group", "There is no kill",
            "syslog-ng is not where it is expected")
# What a phone in a box cannot do, and why.
NOT_RUN = {
    "apt-get install procps": (NO_KILL.back, "no network"),
}


class Troubles(unittest.TestCase):
    def setUp(self):
        # What is ended and started here is no longer the box's.
        for name in ("LoggerModule", "syslog-ng"):
            pathlib.Path(f"/run/phone/{name}.pid").unlink(missing_ok=True)

    def tearDown(self):
        for cause in (NO_KILL, NO_DAEMON):
            cause.back()

    def try_cause(self, cause, parts):
        reset()
        CAUSES[cause]()
        for block in parts:
            for number, command in block.commands():
                if command in NOT_RUN:
                    NOT_RUN[command][0]()
                else:
                    try_command(self, f"TROUBLESHOOTING.md:{number}", command)
        NO_DAEMON.back()
        if cause == "The caller is not in the group":
            run("gpasswd", "--delete", "visitor", "quorvix")
        if os.path.ismount("/var/log"):
            # So small a room is never enough for the console.
            run("umount", "--lazy", "/var/log")
        with self.subTest(cause=cause):
            wait_until(lambda: shell("loggerctl status")[0] == 0, "loggerctl status finds all well")
            call("level", "qvxsipua", "debug")
            wait_until(self.log_arrives, "a line in the log")

    @staticmethod
    def log_arrives():
        subprocess.run(["logger", "-t", "qvxsipua", "-p", "local3.debug", "cured"], check=False)
        place = pathlib.Path("/var/log/sip.log" if "/sip.log" in call("level") else
                             "/var/log/qvxsipua.log")
        return place.exists() and "cured" in place.read_text(encoding="utf-8", errors="replace")

    def test_each_cause_is_shown_and_cured(self):
        parts = {}
        headings = [line[4:] for line in DOCUMENT.read_text(encoding="utf-8").splitlines()
                    if line.startswith("### ")]
        for block in blocks(DOCUMENT):
            if len(block.headings) == 3:
                parts.setdefault(block.headings[2], []).append(block)
        self.assertEqual(sorted(headings), sorted(CAUSES))
        for cause in headings:
            if cause in FOR_ROOT and IS_ROOTLESS:
                continue
            self.try_cause(cause, parts.get(cause, []))
        run("gdbus", "wait", "--system", "--timeout", "60", NAME)


if __name__ == "__main__":
    require_box()
    unittest.main()
