#!/usr/bin/env python3
"""32 scales in real time: simulated terminals on pseudo-terminals, over TCP and over UDP, most of them
with every fault that the simulators have, and `tarnscale run` on the other end. Prints what the server
holds meanwhile, and at the end what became of the readings of the terminals without faults: each frame
that such a terminal has sent is a reading, and their longest pause is how long the server kept one.

Usage: soak.py [--minutes M] [--programs FOLDER]      (120 minutes, build/linux)
"""
import argparse
import collections
import json
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "e2e"))
from programs import Program, wait_until  # noqa: E402

FAULTS = ("--noise 0.001 --burst 0.01 --drop 0.001 --double 0.001 --cut 0.01 --skip 0.01 "
          "--silence 47s/5s --vanish 61s/7s").split()
REPLY_FAULTS = ("--lost 0.01 --late 0.01 --double 0.01 --reorder 0.01 --foreign 0.01 "
                "--malformed 0.01 --join 0.01 --silence 47s/5s").split()
# By the published rules two records in one piece cost the second.
RECORDS = ["fields=3", r"terminator=\r\n", "corrected=yes"]
# The kind of terminal, how many, whether with faults, the tarnsim arguments, the settings.
PLANT = [
    ("continuous", 8, False, [], ["connection=serial", "protocol=continuous", "type=standard"]),
    ("continuous", 6, True, ["--layout", "short"],
     ["connection=serial", "protocol=continuous", "type=short"]),
    ("mira", 3, True, [], ["connection=serial", "protocol=mira", "type=sir", "rate=5"]),
    ("generic", 3, True, ["--type", "gse550"],
     ["connection=serial", "protocol=generic", "type=gse550"]),
    ("template", 2, True, ["--print-every", "2"],
     ["connection=serial", "protocol=template", *RECORDS]),
    ("template", 2, False, ["--print-every", "2", "--keep-alive", "3"],
     ["connection=ethernet", "protocol=tcp-template", *RECORDS]),
    ("template", 3, True, ["--print-every", "2", "--keep-alive", "3"],
     ["connection=ethernet", "protocol=tcp-template", *RECORDS]),
    ("shareddata", 5, True, [], ["connection=ethernet", "protocol=shared-data", "rate=5"]),
]


class Soak:
    def __init__(self, folder, programs):
        self.folder, self.programs = folder, programs
        self.file = folder / "plant.scl"
        self.terminals, self.clean = {}, {}
        self.readings = collections.Counter()
        self.last, self.pauses = {}, []
        self.numbers, self.missing = {}, 0
        self.other = collections.Counter()
        number = 0
        for kind, count, faulty, options, settings in PLANT:
            for _ in range(count):
                number += 1
                self.add(number, kind, faulty, options, settings)

    def add(self, number, kind, faulty, options, settings):
        settings = [*settings, "enabled=yes", "reconnect=yes", "bidirectional=yes"]
        address = f"127.0.7.{number}"
        if "connection=serial" in settings:
            place = self.folder / f"line{number}"
            options = [*options, "--port", place]
            settings += [f"port={number}", f"device={place}"]
        else:
            options = [*options, "--address" if kind == "shareddata" else "--listen", address]
            settings.append(f"address={address}")
        if faulty:
            options = [*options, *(REPLY_FAULTS if kind == "shareddata" else FAULTS)]
        else:
            options = [*options, "-v", "-v"]
        self.terminals[number] = Program(self.programs / "tarnsim", kind, "--seed", number, *options)
        self.terminals[number].wait_for("^ready ")
        if not faulty:
            self.clean[number] = kind
        change = Program(self.programs / "tarnscale", "set", self.file, number, *settings, "-q")
        if change.end() != 0:
            sys.exit("\n".join(change.lines))

    def listen(self, output):
        """On a separate thread, as a program that reads the events would."""
        for line in output:
            event = json.loads(line)
            scale, name = event.get("scale"), event["event"]
            if scale not in self.clean:
                self.other[name] += 1
            elif name == "NewWeight" and not event["noDataError"]:
                self.reading(scale)
            elif name == "NewDataReady" and event["fields"][0]["value"].isdigit():
                self.reading(scale)
                self.record(scale, int(event["fields"][0]["value"]))

    def reading(self, scale):
        now = time.monotonic()
        self.readings[scale] += 1
        if scale in self.last and self.clean[scale] == "continuous":
            self.pauses.append(now - self.last[scale])
            self.pauses = sorted(self.pauses)[-20:] if len(self.pauses) > 5000 else self.pauses
        self.last[scale] = now

    def record(self, scale, number):
        """The first field of a record counts the prints."""
        self.missing += max(number - self.numbers.get(scale, number - 1) - 1, 0)
        self.numbers[scale] = number

    def frames(self, number):
        return sum(": frame " in line and "!!I'm Alive!!" not in line
                   for line in self.terminals[number].lines)

    def held(self, process):
        status = pathlib.Path(f"/proc/{process}/status").read_text()
        numbers = [int(re.search(rf"^{name}:\s+(\d+)", status, re.M).group(1))
                   for name in ("RssAnon", "Threads")]
        return numbers + [len(list(pathlib.Path(f"/proc/{process}/fd").iterdir()))]

    def run(self, seconds):
        server = subprocess.Popen(
            [self.programs / "tarnscale", "run", self.file, "--json", "--log",
             self.folder / "plant.log", "-q"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL, text=True)
        wait_until(lambda: self.held(server.pid)[2] > 30, "the lines are open")
        self.sent_before = {number: self.frames(number) for number in self.clean}
        threading.Thread(target=self.listen, args=[server.stdout], daemon=True).start()
        begin, next_line = time.monotonic(), 0
        while (now := time.monotonic() - begin) < seconds:
            if now >= next_line:
                next_line += max(seconds / 30, 10)
                print(f"{now:6.0f} s: %d KB of own memory, %d threads, %d descriptors; "
                      % tuple(self.held(server.pid)) +
                      f"{sum(self.readings.values())} readings, {sum(self.other.values())} events "
                      "of lines with faults", flush=True)
            time.sleep(1)
        for number in self.clean:
            self.terminals[number].end(signal.SIGINT)
        before = None
        while before != (before := sum(self.readings.values())):
            time.sleep(3)
        self.report(server)

    def report(self, server):
        lost = 0
        for number, kind in self.clean.items():
            sent = self.frames(number) - self.sent_before[number]
            print(f"scale {number}, {kind}: {sent} frames sent, {self.readings[number]} readings")
            if kind == "continuous":  # the records have numbers
                lost += max(sent - self.readings[number], 0)
        print(f"{sum(self.readings.values())} readings without faults, {lost} lost, "
              f"{self.missing} record numbers missing")
        print("longest pauses between readings that come ten times a second: " +
              ", ".join(f"{pause * 1000:.0f} ms" for pause in sorted(self.pauses)[-3:]))
        print("lines with faults: " + ", ".join(f"{n} {name}" for name, n in self.other.items()))
        print("at the end: %d KB, %d threads, %d descriptors" % tuple(self.held(server.pid)))
        server.send_signal(signal.SIGINT)
        print(f"the server ended with {server.wait(30)}")
        for terminal in self.terminals.values():
            terminal.kill()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--minutes", type=float, default=120)
    parser.add_argument("--programs", type=pathlib.Path, default=ROOT / "build" / "linux")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        Soak(pathlib.Path(folder), options.programs.resolve()).run(options.minutes * 60)


main()
