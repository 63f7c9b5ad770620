#!/usr/bin/env python3
"""Faults of lines over pseudo-terminals and sockets: which reason `tarnscale run` shows, how long
it takes until the quality changes, and until readings are back after the fault has ended. Prints the
table of docs/faults.md; the status is 1 where a reason is not the expected one.

Usage: faults.py FOLDER_OF_THE_PROGRAMS
"""
import datetime
import json
import os
import pathlib
import pty
import signal
import subprocess
import sys
import tempfile
import threading
import time

LIMIT = 60  # seconds
PROGRAMS = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build/linux").resolve()
FRAME = b"\x02\x24\x30 001234000000\r"
SHORT = b"\x02\x24\x30 001234\r"


class Server:
    """A running host whose events can be waited for."""

    def __init__(self, *arguments, prefix=()):
        self.process = subprocess.Popen([*prefix, str(PROGRAMS / "tarnscale"), "run", *arguments],
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                        stdin=subprocess.DEVNULL, text=True)
        self.events, self.news = [], threading.Condition()
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        for line in self.process.stdout:
            with self.news:
                self.events.append(json.loads(line))
                self.news.notify_all()

    def wait(self, scale, test, since):
        """Seconds from `since` to the first event of the scale that passes the test, and the
        event; none where it does not come."""
        deadline, seen = time.time() + LIMIT, 0
        with self.news:
            while time.time() < deadline:
                for event in self.events[seen:]:
                    if event.get("scale") != scale:
                        continue
                    at = datetime.datetime.fromisoformat(event["time"][:-1] + "+00:00").timestamp()
                    if at >= since - 0.001 and test(event):
                        return at - since, event
                seen = len(self.events)
                self.news.wait(0.2)
        return None, {}

    def end(self):
        self.process.send_signal(signal.SIGINT)
        self.process.wait(LIMIT)


class Line:
    """A pseudo-terminal that a thread feeds, as a terminal with continuous output would."""

    def __init__(self, place):
        self.place, self.piece, self.open = place, FRAME, False
        self.plug()
        threading.Thread(target=self.feed, daemon=True).start()

    def plug(self):
        self.master, slave = pty.openpty()
        os.symlink(os.ttyname(slave), self.place)
        os.set_blocking(self.master, False)
        self.slave, self.open = slave, True

    def unplug(self):
        self.open = False
        os.unlink(self.place)
        time.sleep(0.06)
        os.close(self.slave)
        os.close(self.master)

    def feed(self):
        while True:
            if self.open and self.piece:
                try:
                    os.write(self.master, self.piece)
                except OSError:
                    pass
            time.sleep(0.05)


class Table:
    def __init__(self):
        self.rows, self.wrong = [], []

    def add(self, fault, dialect, server, scale, since, reason, back=None):
        """`back` ends the fault; without it the fault is not ended."""
        def is_reason(event):
            return event["event"] == "Condition" and event["reasonCode"] == reason
        changed, _ = server.wait(scale, lambda e: e["event"] == "Condition"
                                 and e["quality"] != "good", since)
        shown, event = server.wait(scale, is_reason, since)
        words = event.get("reason", "")
        returned = None
        if back and shown is not None:
            ended = back()
            returned, _ = server.wait(
                scale, lambda e: e["event"] == "Condition" and e["quality"] == "good", ended)
        if shown is None or (back and returned is None):
            seen = {e["reasonCode"] for e in server.events
                    if e["event"] == "Condition" and e.get("scale") == scale}
            self.wrong.append(f"{fault}, {dialect}: no {reason}, but {seen}")
        seconds = lambda t: "-" if t is None else f"{max(t, 0):.2f} s"
        self.rows.append(f"| {fault} | {dialect} | `{reason}` | {words} | {seconds(changed)} | "
                         f"{seconds(returned)} |")
        print(self.rows[-1], file=sys.stderr)


class Faults:
    def __init__(self, folder):
        self.folder, self.table, self.ended = pathlib.Path(folder), Table(), []
        self.common = ["--store", str(self.folder / "store.ini")]

    def set(self, file, number, *settings):
        subprocess.run([str(PROGRAMS / "tarnscale"), "set", str(self.folder / file), str(number),
                        *self.common, "enabled=yes", *settings], check=True,
                       stdout=subprocess.DEVNULL)

    def run(self, file, *numbers, prefix=()):
        ports = [w for n in numbers for w in ("--port", f"{n}={self.folder / f'line{n}'}")]
        server = Server(str(self.folder / file), "--json", *self.common, *ports, prefix=prefix)
        self.ended.append(server.end)
        return server

    def terminals(self, *arguments):
        simulator = subprocess.Popen([str(PROGRAMS / "tarnsim"), *map(str, arguments)],
                                     stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        while not simulator.stdout.readline().startswith("ready"):
            pass
        return simulator

    def dialects(self):
        """Unplugged and plugged in, silent and heard again: every dialect at once."""
        serial = [("continuous", [], "standard"), ("continuous", ["--layout", "short"], "short"),
                  ("mira", [], "sir"), ("mira", [], "mode-commands"),
                  *[("generic", ["--type", t], t) for t in
                    ("cardinal", "fairbanks", "gse550", "wi120", "ricelake")],
                  ("template", ["--print-every", "0.4"], None)]
        started = []
        for number, (dialect, options, kind) in enumerate(serial, 1):
            self.set("all.scl", number, "connection=serial", f"port={number}", "bidirectional=yes",
                     f"protocol={dialect}", *([f"type={kind}", "corrected=yes"] if kind else
                                              ["fields=2", "terminator=\\r\\n"]))
            started.append(lambda d=dialect, o=options, n=number: self.terminals(
                d, "--port", self.folder / f"line{n}", "--load", "load 12.5", *o))
        last = len(serial) + 1
        self.set("all.scl", last, "connection=ethernet", f"address=127.0.61.{last}",
                 "protocol=shared-data")
        started.append(lambda: self.terminals("shareddata", "--address", f"127.0.61.{last}",
                                              "--load", "load 12.5"))
        self.set("all.scl", last + 1, "connection=ethernet", f"address=127.0.61.{last + 1}",
                 "protocol=variables", "type=diagnostics", "rate=2")
        started.append(lambda: self.terminals("shareddata", "--address", f"127.0.61.{last + 1}",
                                              "--table", "examples/diagnosis.txt"))
        names = [f"{d} {k or ''}".strip() for d, _, k in serial] + ["shared-data", "variables"]
        running = [start() for start in started]
        server = self.run("all.scl", *range(1, last))
        for number in range(1, last + 2):
            server.wait(number, lambda e: e["event"] == "Condition" and e["quality"] == "good", 0)

        for number, (name, start) in enumerate(zip(names, started), 1):
            def again(n=number - 1, begin=start):
                running[n] = begin()
                return time.time()

            def heard(n=number - 1):
                ended = time.time()
                running[n].send_signal(signal.SIGCONT)
                return ended
            since = time.time()
            if name != "template":  # who prints by hand is never too late
                running[number - 1].send_signal(signal.SIGSTOP)
                self.table.add("silence", name, server, number, since, "NoByte", heard)
            since = time.time()
            running[number - 1].send_signal(signal.SIGINT)
            running[number - 1].wait(LIMIT)
            if number < last:
                self.table.add("unplugged, plugged in again", name, server, number, since,
                               "PortGone", again)
            else:
                self.table.add("terminal off, on again", name, server, number, since, "Refused",
                               again)
        server.end()
        self.ended.pop()
        for simulator in running:
            simulator.send_signal(signal.SIGKILL)
            simulator.wait(LIMIT)

    def bytes(self):
        """What a wrong line setting or a bad line makes of the bytes."""
        line = Line(str(self.folder / "line1"))
        self.set("one.scl", 1, "connection=serial", "port=1", "baud=9600", "parity=none",
                 "databits=8", "stopbits=1", "protocol=continuous")
        server = self.run("one.scl", 1)
        server.wait(1, lambda e: e["event"] == "Condition" and e["quality"] == "good", 0)
        even = bytes(b | (bin(b).count("1") % 2) << 7 for b in FRAME[:9] + FRAME[10:])
        faults = (("silence", b"", "NoByte"), ("terminal with 7E, port with 8N", even, "NoFrame"),
                  ("another speed", bytes((b * 37 + 91) % 256 | 0x80 for b in FRAME), "NoFrame"),
                  ("another layout", SHORT, "NoFrame"),
                  ("noise", bytes((i * 197 + 13) % 256 for i in range(40)), "NoFrame"),
                  ("cut frames", FRAME[:9] + b"\r", "NoFrame"),
                  ("frames without a number", b"\x02\x24\x30 0012349E99  \r", "NotUnderstood"))
        for fault, piece, reason in faults:
            def back():
                ended = time.time()
                line.piece = FRAME
                return ended
            line.piece = piece
            self.table.add(fault, "continuous standard", server, 1, time.time(), reason, back)
        since = time.time()
        line.unplug()

        def plug():
            line.plug()
            return time.time()
        time.sleep(0.5)
        self.table.add("unplugged, plugged in again after 0.5 s", "continuous standard", server, 1,
                       since, "PortGone", plug)

        def free():
            server.end()
            return time.time()
        self.starts_late("port busy", "in use", (), free)
        self.ended.remove(server.end)
        line.unplug()
        self.starts_late("no such port", "No such file", (), plug)
        if os.geteuid() == 0:
            for path in (self.folder, *self.folder.iterdir()):
                path.chmod(0o777)
            device = os.ttyname(line.slave)
            os.chmod(device, 0o600)

            def allow():
                os.chmod(device, 0o666)
                return time.time()
            self.starts_late("no permission", "ermission",
                             ("env", f"HOME={self.folder}", "setpriv", "--reuid=65534",
                              "--clear-groups"), allow)

    def starts_late(self, fault, words, prefix, back):
        """The port is out of reach when the program starts, and then is not any more."""
        since = time.time()
        server = self.run("one.scl", 1, prefix=prefix)
        shown, event = server.wait(1, lambda e: e["event"] == "StartFailure", since)
        failure = event.get("message", "").replace(str(self.folder), "...")
        if words not in failure:
            self.table.wrong.append(f"{fault}: {failure}")
        ended = back()
        returned, _ = server.wait(
            1, lambda e: e["event"] == "Condition" and e["quality"] == "good", ended)
        server.end()
        self.ended.pop()
        self.table.rows.append(f"| {fault} | continuous standard | | {failure} | "
                               f"{shown or 0:.2f} s after the start | {returned or 99:.2f} s |")
        print(self.table.rows[-1], file=sys.stderr)

    def network(self):
        self.set("net.scl", 1, "connection=ethernet", "address=no-such-terminal.invalid",
                 "protocol=tcp-template")
        self.set("net.scl", 2, "connection=ethernet", "address=127.0.62.2",
                 "protocol=tcp-template")
        since = time.time()
        server = self.run("net.scl")
        self.table.add("name does not resolve", "tcp-template", server, 1, since, "NameUnknown")
        terminal = []

        def begin():
            terminal.append(self.terminals("template", "--listen", "127.0.62.2"))
            return time.time()
        self.table.add("terminal refuses, then starts", "tcp-template", server, 2, since, "Refused",
                       begin)
        since = time.time()
        terminal.pop().send_signal(signal.SIGINT)
        self.table.add("terminal restarts", "tcp-template", server, 2, since, "ConnectionLost",
                       begin)
        terminal.pop().send_signal(signal.SIGKILL)
        server.end()
        self.ended.pop()


def main():
    with tempfile.TemporaryDirectory() as folder:
        faults = Faults(folder)
        try:
            faults.bytes()
            faults.network()
            faults.dialects()
        finally:
            for end in faults.ended:
                end()
    print("| fault | dialect | reason | words | quality changes after | good again after |")
    print("|---|---|---|---|---|---|")
    print("\n".join(faults.table.rows))
    for wrong in faults.table.wrong:
        print("WRONG:", wrong, file=sys.stderr)
    return 1 if faults.table.wrong else 0


if __name__ == "__main__":
    sys.exit(main())
