"""What the stand-in of a phone remembers: levels, destinations, log lines, traces.
SPDX-License-Identifier: MIT"""
import queue
import threading
import time

LEVELS = ["emerg", "err", "warning", "notice", "info", "debug"]
NAMES = ["Telephony", "Platform", "qvxaudio", "qvxsipua", "sipmmi", "SettingsManager", "qvxbtmgr",
         "WebApp", "LoggerModule", "defence"]
WORDS = ["registration of line 1 renewed", "codec G.722 chosen", "RTP stream opened, 20 ms",
         "retransmission 2 of INVITE, no answer from the proxy", "jitter 3 ms, loss 0.0 %",
         "configuration read again", "key 5 pressed", "heap 41 % in use"]


class Refusal(Exception):
    def __init__(self, status, error, field=None):
        super().__init__(error)
        self.status = status
        self.body = {"error": error} | ({"field": field} if field else {})


def own_file(activity):
    return "/log/Defence.log" if "defence" in activity else f"/var/log/{activity}.log"


class Phone:
    """What the stand-in remembers. All of it is used under its lock."""

    def __init__(self):
        self.lock = threading.RLock()
        self.streams = []
        self.levels = {name: "err" for name in NAMES}
        self.places = {name: ("file", own_file(name)) for name in NAMES}
        self.files = {own_file(name): [self.line(name, index) for index in range(40 * rank)]
                      for rank, name in enumerate(NAMES)}
        self.extra = {}  # bytes of a file besides its lines
        self.traces = {}
        self.archive = None
        # What POST /standin may set.
        self.present = True
        self.gone = False
        self.plain = False  # whether the newest lines have to be asked for
        self.slow = 0
        self.ahead = 0  # s that its clock is before others
        self.full = False  # whether there are too many pages
        self.searched = None  # how much of a log was searched, when that was not all
        self.stuck = []
        self.refuse = False
        self.lost = []
        self.grown = False
        self.fail = None
        self.remote = {"LogRemoteServerExist": "false", "LogRemoteServerAddress": "UNDEFINED",
                       "LogRemoteServerPort": "UNDEFINED", "LogRemoteServerProtocol": "UNDEFINED"}

    @staticmethod
    def line(name, index):
        clock = time.strftime("%b %d %H:%M:%S", time.localtime(time.time() - 600 + index))
        return f"{clock} phone {name}[{400 + len(name)}]: {WORDS[index * 7 % len(WORDS)]}"

    def size(self, path):
        return sum(len(line.encode()) + 1 for line in self.files[path]) + self.extra.get(path, 0)

    def row(self, name):
        support, place = self.places[name]
        row = {"activity": name, "level": self.levels[name], "support": support,
               "destination": place,
               "initial": self.levels[name] == "err" and place == own_file(name)}
        if support == "file" and place != "/dev/console":
            row["file"] = place
            if place in self.files:
                row["size"] = self.size(place)
        return row

    def service(self):
        return {"present": self.present, "now": int((time.time() + self.ahead) * 1000)}

    def activities(self):
        return {"activities": [self.row(name) for name in self.levels],
                "room": {"ram": {"directory": "/var/log/", "free": 18_400_000, "total": 24_000_000},
                         "flash": {"directory": "/log/flash/", "free": 3_900_000,
                                   "total": 8_000_000}},
                "remote": self.remote,
                "traces": [{"activity": name, "level": trace["level"], "former": trace["former"],
                            "user": trace["user"], "until": trace["until"], "own": trace["own"]}
                           for name, trace in self.traces.items()]}

    def tell(self, event, data):
        for stream in self.streams:
            stream.put((event, data))

    def tell_all(self):
        self.tell("activities", self.activities())

    def set_level(self, name, level):
        for each in self.levels if name == "all" else [name]:
            if each not in self.stuck:
                self.levels[each] = level
        self.tell("level", {"activity": name, "level": level})
        self.tell_all()

    def log(self, name, line):
        support, place = self.places[name]
        if support == "file":
            self.files.setdefault(place, []).append(line)
            for stream in self.streams:
                if stream.log == name and stream.wants(line):
                    stream.put(("lines", {"lines": [line]}))

    def end_trace(self, name):
        trace = self.traces.pop(name)
        self.set_level(name, trace["former"])
        return trace

    def known(self, name):
        if name not in self.levels:
            raise Refusal(404, f"There is no activity {name}.", "activity")
        return name


class Stream(queue.Queue):
    def __init__(self, query):
        super().__init__()
        self.log = query.get("log", "")
        self.grep = query.get("grep", "")
        self.lines = int(query.get("lines", "0"))

    def wants(self, line):
        return self.grep in (line.lower() if self.grep == self.grep.lower() else line)
