#!/usr/bin/python3
"""Takes the pictures of the page: pictures.py DIRECTORY. Of the phone that PAGE_URL names, else of
a stand-in.
SPDX-License-Identifier: MIT"""
import os
import pathlib
import sys

from browser import Browser, PageTest, StandIn
from smallpng import shrink

SIZES = {"wide": (1280, 900), "phone": (360, 740)}


class Pictures(PageTest):
    """The tests' helpers, for looking only."""

    def runTest(self):
        pass

    def take(self, name, dark):
        self.browser.set_dark(dark)
        self.open()
        self.wait_level("qvxsipua", "debug")
        path = pathlib.Path(self.directory, f"{name}-{'dark' if dark else 'light'}.png")
        path.write_bytes(shrink(self.browser.get_screenshot_as_png()))
        print(path, path.stat().st_size, "bytes")


def prepare(place):
    place.reset()
    place.set_level("qvxsipua", "debug")
    place.set_level("Telephony", "info")
    place.redirect("WebApp", "/log/flash/web.log")
    for count, activity in [(120, "qvxsipua"), (30, "WebApp"), (12, "Platform"), (6, "qvxaudio")]:
        for number in range(count):
            place.log(activity, f"call {number}: 503 Service Unavailable")
    if isinstance(place, StandIn):
        place.order(file=["/var/log/qvxsipua.log", 3_100_000])
        place.order(file=["/log/Defence.log", 240_000])


def main(directory):
    os.makedirs(directory, exist_ok=True)
    pictures = Pictures()
    pictures.directory = directory
    pictures.place = PageTest.make_place()
    prepare(pictures.place)
    try:
        for name, size in SIZES.items():
            pictures.browser = Browser(*size)
            try:
                pictures.browser.sign_in(pictures.place)
                for dark in (False, True):
                    pictures.take(name, dark)
            finally:
                pictures.browser.quit()
    finally:
        pictures.place.close()


if __name__ == "__main__":
    main(sys.argv[1])
