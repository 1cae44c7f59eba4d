"""The room of a fleet: phones of the box and one log server on a virtual bridge.

Everything is inside the namespaces of the process that imports this: it is their first process, so
that nothing outlives it. Addresses are of the network that is kept for examples (192.0.2.0/24).
SPDX-License-Identifier: MIT"""
import collections
import json
import os
import pathlib
import signal
import subprocess
import time

FLEET = pathlib.Path(__file__).resolve().parent
PROJECT = FLEET.parent
SERVER = "192.0.2.1"
DEADLINE = 300  # s, for each condition: 50 phones on a machine that does other work too
SETTINGS = "com.corvane.Quorvix.SettingsManager"


def wait_for(condition, deadline=DEADLINE, step=0.05):
    """Whether @p condition came true before @p deadline seconds were over."""
    end = time.monotonic() + deadline
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(step)
    return True


def command(*words):
    """Runs a program of the machine; raises an error with its words when it fails."""
    done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(words)}: {done.stdout.strip()}")
    return done.stdout


def children(process):
    """The process ids of the children of a process."""
    return pathlib.Path(f"/proc/{process}/task/{process}/children").read_text().split()


def name_of(process):
    """The name of a process."""
    return pathlib.Path(f"/proc/{process}/comm").read_text().strip()


def lay_network():
    """The bridge, with the log server's address."""
    command("ip", "link", "set", "lo", "up")
    command("ip", "link", "add", "fleet", "type", "bridge")
    command("ip", "address", "add", f"{SERVER}/24", "dev", "fleet")
    command("ip", "link", "set", "fleet", "up")


def udp_losses():
    """How many datagrams the kernel of the log server has dropped and counted so far."""
    lines = [line.split() for line in pathlib.Path("/proc/net/snmp").read_text().splitlines()
             if line.startswith("Udp:")]
    return int(dict(zip(*lines))["RcvbufErrors"])


class Collector:
    """A syslog-ng that writes what it receives into a file, and what has come so far."""

    def __init__(self, work):
        self.work = work
        self.log = work / "received"
        self.log.touch()
        self.process = None
        self.reader = self.log.open("rb")
        self.rest = b""
        self.seen = collections.defaultdict(lambda: collections.defaultdict(set))
        self.repeated = collections.Counter()

    def start(self):
        """Starts it and waits until it listens."""
        files = {option: self.work / f"collector.{name}"
                 for option, name in (("-p", "pid"), ("-R", "persist"), ("-c", "ctl"))}
        files["-p"].unlink(missing_ok=True)
        with (self.work / "collector.out").open("ab") as output:
            self.process = subprocess.Popen(
                ["syslog-ng", "-F", "--no-caps", "-f", FLEET / "collector.conf",
                 *(word for pair in files.items() for word in pair)],
                env={**os.environ, "COLLECTOR_LOG": str(self.log)}, stdin=subprocess.DEVNULL,
                stdout=output, stderr=output)
        if not wait_for(lambda: files["-p"].exists() or self.process.poll() is not None, 60) \
                or self.process.poll() is not None:
            raise RuntimeError("the log server did not start: "
                               + (self.work / "collector.out").read_text())

    def reload(self):
        """Has it read its configuration again."""
        command("syslog-ng-ctl", "reload", "-c", str(self.work / "collector.ctl"))

    def stop(self):
        """Ends it as an init system does."""
        self.process.terminate()
        self.process.wait()

    def processor_time(self):
        """Seconds that its threads have computed, of those that are still there."""
        total = 0
        for thread in pathlib.Path(f"/proc/{self.process.pid}/task").iterdir():
            try:
                total += int((thread / "schedstat").read_text().split()[0])
            except OSError:
                pass
        return total / 1e9

    def read(self):
        """Takes in what has been written to the file since the last call."""
        text = self.rest + self.reader.read()
        lines = text.split(b"\n")
        self.rest = lines.pop()
        for line in lines:
            words = line.decode(errors="replace").split()
            if len(words) == 6 and words[2] == "fleet":
                address, activity, _, phase, level, number = words
                message = (activity, level, int(number))
                if message in self.seen[phase][address]:
                    self.repeated[phase] += 1
                self.seen[phase][address].add(message)

    def received(self, phase, phone=None):
        """How many different messages of a phase have come, from one phone or from all."""
        self.read()
        if phone:
            return len(self.seen[phase][phone.address])
        return sum(len(messages) for messages in self.seen[phase].values())

    def settled(self, phase, quiet=4):
        """How many have come when none has come for @p quiet seconds."""
        last = [self.received(phase), time.monotonic()]

        def calm():
            count = self.received(phase)
            if count != last[0]:
                last[:] = [count, time.monotonic()]
            return time.monotonic() - last[1] > quiet

        wait_for(calm)
        return last[0]


class Key:
    """The fleet's key for ssh, with the list of the host keys that were met."""

    def __init__(self, work):
        self.private = work / "key"
        self.known_hosts = work / "known_hosts"
        self.known_hosts.touch()
        command("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", "", "-f", str(self.private))
        self.public = self.private.with_suffix(".pub").read_text().strip()
        # Nothing of the machine's or of a user's own configuration.
        self.options = ["-F", "none", "-i", str(self.private), "-o", "IdentitiesOnly=yes",
                        "-o", f"UserKnownHostsFile={self.known_hosts}",
                        "-o", "GlobalKnownHostsFile=none", "-o", "StrictHostKeyChecking=yes",
                        "-o", "BatchMode=yes", "-o", "ControlMaster=no", "-o", "ConnectTimeout=60"]


class Phone:
    """A phone of the box: its own files, bus, processes and network, and a cable to the bridge."""

    def __init__(self, number, key, work):
        self.number = number
        self.key = key
        self.address = f"192.0.2.{number + 1}"
        self.errors = work / f"phone-{number}.err"
        self.process = None
        self.first = None

    def boot(self):
        """Boots it, plugs the cable in, and notes its host key."""
        environment = {**os.environ, "PHONE_WITHOUT_WEB": "1"}
        with self.errors.open("wb") as errors:
            self.process = subprocess.Popen(
                [PROJECT / "phone", "exec", FLEET / "phone", self.key.public], env=environment,
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=errors, text=True,
                start_new_session=True)
        host_key = self.process.stdout.readline().split()
        if len(host_key) < 2:
            raise RuntimeError(f"phone {self.number} did not boot: {self.errors.read_text()}")
        inside = [child for child in children(self.process.pid) if name_of(child) == "unshare"]
        self.first = children(inside[0])[0]
        with self.key.known_hosts.open("a") as known_hosts:
            known_hosts.write(f"{self.address} {host_key[0]} {host_key[1]}\n")
        port = f"phone{self.number}"
        command("ip", "link", "add", port, "type", "veth", "peer", "name", "eth0",
                "netns", self.first)
        command("ip", "link", "set", port, "master", "fleet", "up")
        network = ["nsenter", f"--net=/proc/{self.first}/ns/net", "ip"]
        command(*network, "address", "add", f"{self.address}/24", "dev", "eth0")
        command(*network, "link", "set", "eth0", "up")

    def start_run(self, text):
        """Starts a line of shell in the phone, over ssh."""
        return subprocess.Popen(["ssh", *self.key.options, f"root@{self.address}", text],
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True)

    def run(self, text):
        """What a line of shell prints in the phone; raises an error when it fails."""
        process = self.start_run(text)
        output, errors = process.communicate()
        if process.returncode != 0:
            raise RuntimeError(f"phone {self.number}: {text}: {output}{errors}")
        return output

    def send_logs_by(self, protocol):
        """Sets the phone's settings to the log server; the service does the rest."""
        values = (("Exist", "false"), ("Address", SERVER), ("Port", "514"),
                  ("Protocol", protocol), ("Exist", "true"))
        path = "/" + SETTINGS.replace(".", "/")
        self.run(" && ".join(
            f"dbus-send --system --print-reply --dest={SETTINGS} {path} "
            "com.corvane.Quorvix.QVXInterface.setSettingValue "
            f"string:LogRemoteServer{name} string:{value} >/dev/null" for name, value in values))

    def activities(self):
        """Its activities, as loggerctl lists them: level, kind of destination, destination."""
        return json.loads(self.run("loggerctl --json level"))

    def counted(self, what):
        """The sum of a counter ("dropped", "queued") over the destinations of its syslog-ng."""
        lines = self.run("syslog-ng-ctl stats -c /run/syslog-ng.ctl").splitlines()
        rows = [line.split(";") for line in lines]
        return sum(int(row[-1]) for row in rows
                   if row[0].startswith("dst.") and row[-2] == what and SERVER in row[2])

    def memory(self):
        """The memory of its processes in MiB (pages that several share are divided), and how many
        processes there are."""
        total = count = 0
        waiting = [self.first]
        while waiting:
            process = waiting.pop()
            waiting += children(process)
            count += 1
            for line in pathlib.Path(f"/proc/{process}/smaps_rollup").read_text().splitlines():
                if line.startswith("Pss:"):
                    total += int(line.split()[1])
        return total / 1024, count

    def stop(self):
        """Shuts it down."""
        if self.process and self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            self.process.wait()
