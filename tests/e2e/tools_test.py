#!/usr/bin/env python3
"""The programs as their users run them: simulated terminals on pseudo-terminals, the server's host
on the other end. Every test waits for what it expects, with a generous limit, and ends only the
processes that it started.

Usage: tools_test.py FOLDER_OF_THE_PROGRAMS [unittest arguments]
"""
import json
import os
import pathlib
import pty
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from programs import LIMIT, Program

PROGRAMS = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else "build/linux").resolve()
TEMPLATE = ["fields=3", "start=#", r"terminator=\r\n", "field1=No", "field2=Net", "field3=Unit",
            "recordtime=5000"]


class Server(Program):
    """A program that prints the events of its scales."""

    def __init__(self, *command, **options):
        self.error_output = tempfile.TemporaryFile()
        super().__init__(*command, stderr=self.error_output, **options)

    def kill(self):
        super().kill()
        self.error_output.close()

    @property
    def errors(self):
        return os.pread(self.error_output.fileno(), 1_000_000, 0).decode()

    def events(self, name=None):
        events = map(json.loads, self.lines)
        return [event for event in events if name in (None, event["event"])]

    def wait_for_event(self, start=0, **members):
        """The first event from a line on with these members, or with members that pass a test."""
        def fits(line):
            event = json.loads(line)
            return all(name in event and (wanted(event[name]) if callable(wanted)
                                          else event[name] == wanted)
                       for name, wanted in members.items())
        return json.loads(self.wait_for(fits, start, what=members)[0])

    def wait_for_weight(self, scale, net, start=0, **members):
        return self.wait_for_event(start, event="NewWeight", scale=scale, netValue=net,
                                   motion=False, **members)


class ToolsCase(unittest.TestCase):
    """What tests of the programs share."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.file = self.folder / "plant.scl"
        self.common = ["--store", self.folder / "store.ini"]

    def start(self, kind, program, *arguments, **options):
        process = kind(PROGRAMS / program, *arguments, **options)
        self.addCleanup(process.output.close)
        self.addCleanup(process.kill)
        return process

    def run_tool(self, *arguments, status=0, program="tarnscale"):
        done = subprocess.run([str(PROGRAMS / program), *map(str, arguments)], cwd=self.folder,
                              capture_output=True, text=True, timeout=LIMIT)
        self.assertEqual(done.returncode, status, done.stderr)
        return done

    def line(self, number):
        return self.folder / f"line{number}"

    def simulator(self, *arguments, ready="^ready ", **options):
        simulator = self.start(Program, "tarnsim", *arguments, **options)
        simulator.wait_for(ready)
        return simulator

    def terminal(self, number, *arguments, dialect="continuous"):
        return self.simulator(dialect, "--port", self.line(number), "--units", "kg", *arguments)

    def connect(self, number, connection, *settings):
        self.run_tool("set", self.file, number, *self.common, f"alias=Line {number}",
                      f"connection={connection}", "bidirectional=yes", *settings, "enabled=yes")

    def configure(self, number, *settings):
        self.connect(number, "serial", f"port={number}", "protocol=continuous", *settings)

    def ports(self, *numbers):
        return [word for n in numbers for word in ("--port", f"{n}={self.line(n)}")]

    def server(self, *numbers):
        return self.start(Server, "tarnscale", "run", self.file, "--json", *self.common,
                          *self.ports(*numbers))

    def end_well(self, server, how=signal.SIGINT):
        self.assertEqual(server.end(how), 0, server.lines[-5:])

    def send(self, scale, *command, line=(1,), status=0):
        done = self.run_tool("send", self.file, scale, *command, *self.common, *self.ports(*line),
                             status=status)
        return done.stderr if status else done.stdout


class ToolsTest(ToolsCase):
    def test_every_dialect_reaches_the_host(self):
        # What is seen of 12.5 kg: the net text, None for the type whose frames never give a weight.
        dialects = (("continuous", (), "standard", "12.50"),
                    ("continuous", ("--layout", "short"), "short", "12.50"),
                    ("mira", (), "sir", "12.50"),
                    ("mira", ("--decimal", "comma"), "sir", "12,50"),
                    ("mira", ("--busy", "0.3", "--errors", "0.1"), "mode-commands", "12.50"),
                    ("mira", ("--noise", "0.01", "--drop", "0.01"), "mode-commands", "12.50"),
                    ("generic", ("--type", "cardinal"), "cardinal", "12.50"),
                    ("generic", ("--type", "fairbanks", "--cut", "0.3"), "fairbanks", "12.50"),
                    ("generic", ("--type", "gse550", "--burst", "0.3"), "gse550", "12.50"),
                    ("generic", ("--type", "ricelake"), "ricelake", None),
                    ("generic", ("--type", "wi120"), "wi120", "12.50"))
        for number, (dialect, options, kind, _) in enumerate(dialects, 1):
            self.terminal(number, "--load", "load 12.5", *options, dialect=dialect)
            self.configure(number, f"protocol={dialect}", f"type={kind}")
        server = self.server(*range(1, len(dialects) + 1))
        for number, (_, _, kind, net) in enumerate(dialects, 1):
            weight = {"event": "NewWeight", "scale": number, "motion": False}
            if net is None:
                server.wait_for_event(**weight, noDataError=True)
                continue
            seen = server.wait_for_event(**weight, net=net, units="kg")
            expected = ("12.50", "0.00") if kind == "standard" else ("*******", "*******")
            self.assertEqual((seen["gross"], seen["tare"]), expected, kind)
        self.end_well(server)
        self.assertEqual(server.errors, "")
        ricelake = {e["net"] for e in server.events("NewWeight") if e["scale"] == 10}
        self.assertEqual(ricelake - {"", "Error"}, set())

    def test_single_characters_at_line_pace_lose_no_frame(self):
        # The weight rises with every frame, so each reading names the frame that it came from.
        terminal = self.terminal(1, "-vv", "--pace", "char", "--rate", "20",
                                 "--load", "wait 1s; ramp 0 90 30s")
        self.configure(1)
        server = self.server(1)
        server.wait_for_event(event="NewWeight", netValue=lambda net: 1 < net < 5)
        server.wait_for_event(event="NewWeight", netValue=lambda net: net > 15)
        self.end_well(server)
        terminal.end(signal.SIGINT)
        self.assertNotIn(True, [e.get("noDataError") for e in server.events()])
        # The watchdog repeats the reading at each of its time-outs; dict keeps one of each.
        read = list(dict.fromkeys(round(e["netValue"] * 100) for e in server.events("NewWeight")
                                  if e["netValue"] > 1))
        frames = [line.split("frame <02>")[1] for line in terminal.lines if "frame <02>" in line]
        sent = [int(frame[3:9]) for frame in frames]
        self.assertGreater(len(read), 50)
        first = sent.index(read[0])
        self.assertEqual(read, sent[first:first + len(read)])

    def test_commands_reach_the_terminal_and_prints_the_log(self):
        self.terminal(1, "--load", "load 50")
        self.configure(1)
        monitor = self.run_tool("monitor", self.file, "--for", "3", *self.common, *self.ports(1))
        self.assertIn("net 50.00", monitor.stdout)
        log = self.folder / "prints.log"
        self.send(1, "SetTare", "12.5")
        self.assertIn("37.50", self.send(1, "print", "--log", log))
        self.assertRegex(log.read_text(), r'^"[^"]+","[^"]+","Line 1",50,12.5,37.5,"kg"\n$')
        self.send(1, "C")
        self.send(1, "T")
        self.assertIn("0.00", self.send(1, "print", "--log", log))
        self.assertTrue(log.read_bytes().endswith(b',50,50,0,"kg"\r\n'))
        self.run_tool("set", self.file, 1, "bidirectional=no", *self.common)
        self.assertIn("bidirectional", self.send(1, "Z", status=4))

    def test_commands_and_their_answers(self):
        terminal = self.terminal(1, "--load", "load 50", "-v", dialect="mira")
        for kind in ("sir", "mode-commands"):
            self.configure(1, "protocol=mira", f"type={kind}")
            for command, net in ((("SetTare", "12.5"), "37.50"), (("C",), "50.00"),
                                 (("T",), "0.00"), (("C",), "50.00"), (("Z",), "50.00")):
                deadline = time.monotonic() + LIMIT
                answer = ""  # a busy machine may need longer than the command waits for the reading
                while f"net {net} kg" not in answer and time.monotonic() < deadline:
                    answer = self.send(1, *command)
                self.assertIn(f"net {net} kg", answer, f"{kind} {command}")
        for noted in ("TA 12.5 kg", "@", "T", "Z"):
            terminal.wait_for(f"command {noted}$")
        self.send(1, "P", status=4)

    def test_an_unplugged_line_shows_as_silence_costs_no_other_and_comes_back_by_itself(self):
        self.terminal(2, "--load", "load 20")
        unplugged = self.terminal(1, "--load", "load 10")
        self.configure(1)
        self.configure(2)
        self.configure(3, "port=2")
        server = self.server(1, 2)
        server.wait_for_weight(1, 10)
        self.assertEqual(unplugged.end(signal.SIGINT), 0)
        self.assertFalse(os.path.lexists(self.line(1)))
        server.wait_for_event(scale=1, noDataError=True)
        time.sleep(2)  # longer away than the first pause, so that tries fail in between
        start = len(server.lines)
        server.wait_for_weight(2, 20, start)
        self.terminal(1, "--load", "load 30")
        server.wait_for_weight(1, 30, start, noDataError=False)
        self.end_well(server, signal.SIGTERM)
        self.assertEqual(server.errors.count(f"port 1 ({self.line(1)}) went away"), 1)
        self.assertIn("Scale 3 (Line 3)", server.errors)

    def test_commands_use_the_server_that_runs_already(self):
        self.configure(1)
        self.terminal(1, "--load", "load 12.5")
        server = self.server(1)
        server.wait_for_weight(1, 12.5)
        read = ["read", self.file, 1, "--stable", *self.common]
        self.assertEqual(self.run_tool(*read).stdout, "12.50\n")
        self.assertIn("net 10.00", self.send(1, "SetTare", "2.5", line=()))
        server.wait_for_event(event="NewWeight", net="10.00")
        self.assertIn("print gross 12.50", self.send(1, "print", line=()))
        self.assertIn("runs this file now", self.run_tool("show", self.file, *self.common).stdout)
        watched = self.run_tool("monitor", self.file, "--for", 1, *self.common).stdout
        self.assertIn("net 10.00", watched)
        # Alone it finds the port taken; after a crash nobody is there any more, and the port is free.
        alone = self.run_tool(*read, "--alone", *self.ports(1), status=1)
        self.assertIn("in use", alone.stderr)
        server.kill()
        self.assertEqual(self.run_tool(*read, *self.ports(1)).stdout, "10.00\n")

    def test_a_scan_finds_what_a_line_shows_as_a_wire_does(self):
        lines = {"9600,e,7,2": "baud=9600 parity=even databits=7 ",
                 "19200,o,7,2": "baud=19200 parity=odd databits=7 ",
                 "2400,n,8,1": "baud=2400 parity=none databits=8 ", "921600,e,7,2": None}
        for wire, found in lines.items():
            terminal = self.terminal(1, "--load", "load 12.5", "--wire", "--line", wire,
                                     "--type", "fairbanks", dialect="generic")
            scan = self.run_tool("scan", self.line(1), "-q", *self.common, status=0 if found else 1)
            if found:
                self.assertRegex(scan.stdout, f"{found}.*protocol=generic type=fairbanks")
                self.assertIn(": sure", scan.stdout)
            else:
                self.assertIn("bytes came", scan.stderr)
            terminal.end(signal.SIGINT)
        # One that only answers is found by asking, with the parity that it understands.
        terminal = self.terminal(1, "--wire", "--line", "9600,e,7,2", dialect="mira")
        scan = self.run_tool("scan", self.line(1), "-q", "--ask")
        self.assertRegex(scan.stdout, "baud=9600 parity=even databits=7 .*protocol=mira")
        terminal.end(signal.SIGINT)

    def test_a_view_draws_what_another_program_receives(self):
        self.configure(3)
        screen, terminal = pty.openpty()
        self.addCleanup(os.close, screen)
        events = self.folder / "events"
        os.mkfifo(events)
        view = self.start(Program, "tarnscale", "view", self.file, "--events", events, *self.common,
                          stdin=terminal, stdout=terminal, env={**os.environ, "TERM": "xterm"})
        os.close(terminal)
        drawn = b""
        with events.open("w") as pipe:
            print('{"event":"NewWeight","scale":3,"net":"12.50"}\nplain text', file=pipe, flush=True)
            deadline = time.monotonic() + LIMIT
            while not (b"12.50" in drawn and b"plain text" in drawn):
                self.assertLess(time.monotonic(), deadline, drawn)
                drawn += os.read(screen, 65536)
        self.assertEqual(view.end(), 0)

    def test_programs_end_with_their_reader_and_with_their_input(self):
        terminal = self.simulator("continuous", "--port", self.line(1), "--end-with-input",
                                  stdin=subprocess.PIPE)
        self.configure(1)
        server = self.start(Program, "tarnscale", "run", self.file, *self.common, *self.ports(1),
                            stdout=subprocess.PIPE)
        server.process.stdout.readline()
        server.process.stdout.close()
        self.assertEqual(server.end(), 0)
        terminal.process.stdin.close()
        self.assertEqual(terminal.end(), 0)
        self.assertFalse(os.path.lexists(self.line(1)))

    def assert_records(self, terminal, net, count, *line):
        """On demand and by themselves, numbered one after the other."""
        self.assertRegex(self.send(1, "P", line=line), r"record No=\d+, Net=")
        server = self.server(*line)
        server.wait_for_event(event="NewDataReady", fields=lambda f: f[1]["value"] == net)
        server.wait_for("NewDataReady", count=count)
        self.assertEqual(terminal.end(signal.SIGINT), 0)
        self.assertIsNone(server.process.poll())
        self.end_well(server)
        numbers = [int(event["fields"][0]["value"]) for event in server.events("NewDataReady")]
        self.assertEqual(numbers, list(range(numbers[0], numbers[0] + len(numbers))))
        self.assertEqual(server.events("TimeoutError"), [])

    def test_records_of_a_printing_terminal_reach_the_host(self):
        # Some with fewer fields, in single characters and with pauses inside.
        terminal = self.terminal(1, "--load", "load 12.5", "--start", "#", "--print-every", "0.5",
                                 "--field-delay", "0.05", "--short", "0.3", "--pace", "char",
                                 dialect="template")
        self.connect(1, "serial", "port=1", "protocol=template", *TEMPLATE)
        self.assert_records(terminal, "12.50", 10, 1)

    def test_records_over_tcp_survive_keep_alives_and_a_dropped_connection(self):
        self.connect(1, "ethernet", "address=127.0.49.2", "protocol=tcp-template", *TEMPLATE)
        for _ in ("first", "taken again"):
            terminal = self.simulator("template", "--listen", "127.0.49.2", "--load", "load 40",
                                      "--start", "#", "--print-every", "0.6", "--field-delay",
                                      "0.15", "--keep-alive", "0.25")
            self.assert_records(terminal, "40.00", 1)

    def test_many_scales_poll_variables_and_take_them_up_again(self):
        table = self.folder / "variables.txt"
        table.write_text("abc01 long = 5 : count 1 every 300ms\n")
        scales = range(2, 18)  # scale 1 would hold the port on which the terminals start again
        for n in scales:
            self.connect(n, "ethernet", f"address=127.0.47.{n - 1}", "protocol=variables",
                         "type=basic", "variables=Count:abc01:long:4:poll", "rate=2")
        server = None
        for _ in ("first", "taken again"):
            terminals = self.simulator("shareddata", "--address", "127.0.47.%d", "--count", "16",
                                       "--table", table, "--double", "0.02",
                                       ready="^ready 127.0.47.16")
            server = server or self.server()
            start = len(server.lines)
            for n in scales:
                server.wait_for_event(start, event="Variables", scale=n,
                                      fields=lambda f: int(f[0]["value"]) > 6)
            self.assertEqual(terminals.end(signal.SIGINT), 0)
            start = len(server.lines)
            for n in scales:
                server.wait_for_event(start, event="CommLossError", scale=n)
        self.end_well(server)

    def shared_data(self, number, address, *settings):
        self.connect(number, "ethernet", f"address={address}", "protocol=shared-data", *settings)

    def test_32_shared_data_terminals_at_once(self):
        # Four groups, each with a load and a scale letter of its own, the last two on a bad network.
        bad = ["--lost", "0.02", "--late", "0.02", "--double", "0.05", "--reorder", "0.05",
               "--foreign", "0.05", "--join", "0.05"]
        loads = {}
        for group, faults in enumerate(([], [], bad, bad)):
            letter, load = "abcd"[group], 10 * (group + 1)
            self.simulator("shareddata", "--address", f"127.0.{group + 2}.%d", "--count", 8,
                           "--scales", letter, "--load", f"load {load}", *faults)
            for terminal in range(1, 9):
                number = group * 8 + terminal
                self.shared_data(number, f"127.0.{group + 2}.{terminal}", f"letter={letter}")
                loads[number] = load
        server = self.server()
        for number, load in loads.items():
            server.wait_for_weight(number, load, units="kg")
        self.end_well(server)
        # What one scale shows comes from its own terminal: no weight is above its terminal's load.
        for event in server.events("NewWeight"):
            if not event["motion"]:
                self.assertLessEqual(event["netValue"], loads[event["scale"]] + 0.05)
        self.assertNotIn("Line", server.errors)

    def test_commands_and_malformed_replies_of_a_shared_data_terminal(self):
        self.simulator("shareddata", "--address", "127.0.2.1", "--load", "load 12.5")
        self.simulator("shareddata", "--address", "127.0.2.2", "--load", "load 12.5",
                       "--malformed", "0.1")
        self.shared_data(5, "127.0.2.1")
        self.shared_data(6, "127.0.2.2")
        self.assertIn("print gross 12.50 tare 0.00 net 12.50 kg", self.send(5, "P", line=()))
        for number in (5, 6):
            self.send(number, "SetTare", "2.5", line=())
        server = self.server()
        for number in (5, 6):
            server.wait_for_weight(number, 10, tareValue=2.5)
        self.end_well(server)

    def test_wrong_arguments_change_nothing(self):
        self.configure(1, "baud=19200", "type=short")
        before = self.file.read_bytes()
        for wrong in (["1", "alias=x", "baud=123"], ["1", "alias"]):
            self.run_tool("set", self.file, *wrong, *self.common, status=2)
        self.assertEqual(self.file.read_bytes(), before)
        for command in ([], ["--port", "x", "--rate", "-1"], ["--port", "x", "--load", "jump 3"]):
            self.run_tool("continuous", *command, status=2, program="tarnsim")


if __name__ == "__main__":
    unittest.main(verbosity=1)
