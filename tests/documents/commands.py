"""Runs commands as the documents have them. SPDX-License-Identifier: MIT"""
import re
import subprocess

from phone import SECONDS, wait_until

# What a reader has to put in, and what the box's own programs need besides.
FILLED_IN = {
    r"\bNAME:PASSWORD\b": '"support:$(cat /run/phone/web-password)"',
    r"\bhttps?://PHONE/": "http://127.0.0.1/",
    r"\bUSER\b": "visitor",
    r"\bADDRESS\b": "10.1.2.3",
    r"^(syslog-ng -f /etc/syslog-ng/phone\.conf .*)": r"\1 --no-caps -c /run/syslog-ng.ctl "
    r"-R /var/lib/syslog-ng/syslog-ng.persist",
    # What asks the clock of a whole phone is right for a while only.
    r"--for \d+m": "--for 1s",
}
# What goes on until somebody ends it.
ENDLESS = re.compile(r"(log .*-f\b|loggerctl watch|dbus-monitor)")


def fill_in(command):
    for pattern, text in FILLED_IN.items():
        command = re.sub(pattern, text, command)
    return command


def shell(command):
    """The status of a command, and all it has written."""
    if ENDLESS.search(command):
        # It is told to end when it has had the time to fail.
        command = f"timeout --signal=INT --preserve-status 0.5 {command}"
    outcome = subprocess.run(["bash", "-c", command], stdin=subprocess.DEVNULL, check=False,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=SECONDS,
                             encoding="utf-8", errors="replace")
    if ENDLESS.search(command) and outcome.returncode == 130:
        outcome.returncode = 0
    return outcome.returncode, outcome.stdout


def try_command(test, where, command):
    """It succeeds; or, with "# shows: TEXT" behind it, it shows that text sooner or later."""
    with test.subTest(where=where, command=command):
        shown = re.search(r"# shows: (.*)", command)
        command = fill_in(command)
        if not shown:
            status, output = shell(command)
            test.assertEqual(status, 0, output)
            return
        output = []

        def shows():
            output[:] = [shell(command)[1]]
            return shown[1] in output[0]

        try:
            wait_until(shows, f"shows {shown[1]}")
        except AssertionError:
            test.fail(f"does not show {shown[1]!r} but:\n{output[0]}")
