#!/usr/bin/python3
"""Each command of the documents and manual pages is run in the phone, or stands below with the
reason why not.
SPDX-License-Identifier: MIT"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

from commands import try_command
from document import INTERFACE, PROJECT, blocks, chapter, manual_commands, spans
from phone import require_box, reset

DOCUMENTS = ["README.md", "docs/INTERFACE.md", "docs/INTEGRATION.md", "docs/WEB.md"]
MANUALS = ["docs/man/LoggerModule.8", "docs/man/logappli.conf.5", "console/man/loggerctl.1"]
# What is not run here, and why. A line that fits no command any more is an error.
NOT_RUN = {
    r"\./phone\b": "makes a phone itself: box.cli",
    r"cmake --preset package && ": "builds: box.package",
    r"\(?cd build/package && cpack -G DEB": "builds: box.package",
    r"DESTDIR=\S+ cmake --install ": "builds: box.package",
    r"include \"": "a line of a configuration, which the box's has",
    r"(chgrp|chmod) \S+ /usr/libexec/loggermodule/web": "the box has done so: box.package",
    r"loggerctl .* \| jq ": "jq is not needed by anything else",
    r"Video +local7": "a row of a table: tst_firmwareupdate",
    r"loggerctl (level|log) Video": "an activity that this phone has not: tst_firmwareupdate",
    r"grep -c 'SettingsManager ": "needs a phone without settings: test_without_settings",
}
# How the package is built (box.package), put into an image and looked at after the first boot
# (box.systemd and box.sysvinit, on a device of its own).
CHAPTERS_OF_OTHER_TESTS = {
    "docs/INTEGRATION.md": {"Build", "Put into the image", "After the first boot"}}
# In manual pages: what a file holds.
CONTENTS = re.compile(
    r"(# (BEGIN|END) |(destination|filter|log) .*\{|\d+$|file\(|facility signature)")
# Examples in code that need something around them.
PROGRAMS_OF_OTHER_TESTS = {"dbus.service": "test_without_settings"}


def commands_of(name):
    path = PROJECT / name
    if name in MANUALS:
        return [command for command in manual_commands(path) if not CONTENTS.match(command[1])]
    found = [command for block in blocks(path) if block.kind == "sh"
             for command in block.commands()]
    left_out = CHAPTERS_OF_OTHER_TESTS.get(name, set())
    found += spans(path, "loggerctl ") + spans(path, "./phone")
    return [(number, command) for number, command in found
            if chapter(path, number) not in left_out]


def why_not(command):
    return next((pattern for pattern in NOT_RUN if re.match(pattern, command)), None)


class Commands(unittest.TestCase):
    def setUp(self):
        reset()

    def test_each_command_succeeds(self):
        left_out = set()
        count = 0
        for name in DOCUMENTS + MANUALS:
            for number, command in commands_of(name):
                reason = why_not(command)
                if reason:
                    left_out.add(reason)
                elif command.startswith("busctl ") and not shutil.which("busctl"):
                    print(f"not run, there is no busctl: {name}:{number}", file=sys.stderr)
                else:
                    count += 1
                    try_command(self, f"{name}:{number}", command)
        self.assertEqual(set(NOT_RUN) - left_out, set())
        self.assertGreater(count, 40)

    def test_python(self):
        programs = ["\n".join(block.lines) for block in blocks(INTERFACE) if block.kind == "python"]
        self.assertEqual(len(programs), 3)
        for program in programs:
            if any(mark in program for mark in PROGRAMS_OF_OTHER_TESTS):
                continue
            with self.subTest(program=program):
                subprocess.run(["python3", "-c", program], check=True, stdout=subprocess.DEVNULL)

    def test_qt(self):
        client = pathlib.Path(os.environ["PHONE_BUILD_DIR"], "tests", "documentedclient")
        outcome = subprocess.run([client], check=False, stdout=subprocess.PIPE, encoding="utf-8")
        self.assertEqual(outcome.stdout, "Level debug for facility : qvxsipua OK\n")
        self.assertEqual(outcome.returncode, 0)


class Links(unittest.TestCase):
    """The installed documents point at nothing but what is installed beside them."""

    def test_installed_documents(self):
        place = pathlib.Path("/usr/share/doc/loggermodule")
        names = sorted(place.glob("*.md"))
        self.assertIn("INTERFACE.md", [name.name for name in names])
        for name in names:
            text = name.read_text(encoding="utf-8")
            for target in re.findall(r"\]\((?!https?:)([^)#]+)", text):
                with self.subTest(document=name.name, target=target):
                    self.assertTrue((place / target).exists())


if __name__ == "__main__":
    require_box()
    unittest.main()
