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
import threading
import time
import unittest

LIMIT = 60  # seconds until something that never comes is given up
PROGRAMS = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else "build/linux").resolve()


class Process:
    """A program whose lines of output can be waited for."""

    def __init__(self, program, *arguments, **options):
        self.process = subprocess.Popen(
            [str(PROGRAMS / program), *map(str, arguments)], stderr=subprocess.PIPE, text=True,
            **{"stdout": subprocess.PIPE, **options})
        self.lines, self.errors = [], []
        self.news = threading.Condition()
        self.readers = [threading.Thread(target=self._read, args=pair) for pair in
                        ((self.process.stdout, self.lines), (self.process.stderr, self.errors))
                        if pair[0]]
        for reader in self.readers:
            reader.start()

    def _read(self, stream, lines):
        for line in stream:
            with self.news:
                lines.append(line.rstrip("\n"))
                self.news.notify_all()
        with self.news:
            self.news.notify_all()

    def wait_for(self, condition, what, start=0):
        """The first line from `start` on that fulfils the condition."""
        deadline = time.monotonic() + LIMIT
        with self.news:
            while True:
                for line in self.lines[start:]:
                    if condition(line):
                        return line
                left = deadline - time.monotonic()
                ended = self.process.poll() is not None and not any(
                    reader.is_alive() for reader in self.readers)
                if left <= 0 or ended:
                    raise AssertionError(f"no {what}; errors: {self.errors[-5:]}, last lines: "
                                         f"{self.lines[-5:]}")
                self.news.wait(min(left, 0.2))

    def wait_for_event(self, condition, what, start=0):
        return json.loads(self.wait_for(lambda line: condition(json.loads(line)), what, start))

    def end(self, how=signal.SIGINT):
        if self.process.poll() is None:
            self.process.send_signal(how)
        status = self.process.wait(LIMIT)
        for reader in self.readers:
            reader.join(LIMIT)
        for stream in filter(None, (self.process.stdout, self.process.stderr)):
            stream.close()
        return status


class ToolsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.file = self.folder / "plant.scl"
        self.common = ["--store", self.folder / "store.ini"]

    def start(self, program, *arguments, **options):
        process = Process(program, *arguments, **options)
        self.addCleanup(process.end, signal.SIGKILL)
        return process

    def run_tool(self, *arguments, status=0):
        done = subprocess.run([str(PROGRAMS / "tarnscale"), *map(str, arguments)],
                              capture_output=True, text=True, timeout=LIMIT)
        self.assertEqual(done.returncode, status, done.stderr)
        return done

    def line(self, number):
        return self.folder / f"line{number}"

    def terminal(self, number, *arguments, dialect="continuous"):
        terminal = self.start("tarnsim", dialect, "--port", self.line(number), *arguments,
                              stdin=subprocess.DEVNULL)
        terminal.wait_for(lambda line: line.startswith("ready "), "terminal")
        return terminal

    def configure(self, number, *settings):
        self.run_tool("set", self.file, number, *self.common, f"alias=Line {number}",
                      "connection=serial", f"port={number}", "bidirectional=yes",
                      "protocol=continuous", "enabled=yes", *settings)

    def ports(self, *numbers):
        return [word for n in numbers for word in ("--port", f"{n}={self.line(n)}")]

    def server(self, *numbers, options=()):
        return self.start("tarnscale", "run", self.file, "--json", *self.common,
                          *self.ports(*numbers), *options, stdin=subprocess.DEVNULL)

    def records(self, server, start=0):
        """The fields of all records from a line on, one text a record."""
        events = [json.loads(line) for line in server.lines[start:]]
        return [";".join(f"{field['name']}={field['value']}" for field in event["fields"])
                for event in events if event["event"] == "NewDataReady"]

    def template(self, *settings):
        return ["fields=3", "start=#", r"terminator=\r\n", "field1=No", "field2=Net", "field3=Unit",
                "bidirectional=yes", "enabled=yes", *settings]

    def test_weights_of_several_terminals_reach_the_host(self):
        self.terminal(1, "--load", "load 12.5", "--units", "kg")
        self.terminal(2, "--load", "load 40", "--layout", "short", "--units", "lb")
        self.configure(1)
        self.configure(2, "type=short")
        server = self.server(1, 2)
        first = server.wait_for_event(
            lambda e: e["event"] == "NewWeight" and e["scale"] == 1 and not e["motion"]
            and e["netValue"] == 12.5, "steady weight of scale 1")
        self.assertEqual((first["alias"], first["gross"], first["tare"], first["units"]),
                         ("Line 1", "12.50", "0.00", "kg"))
        second = server.wait_for_event(
            lambda e: e["event"] == "NewWeight" and e["scale"] == 2 and e["netValue"] == 40,
            "weight of scale 2")
        self.assertEqual((second["gross"], second["units"]), ("*******", "lb"))
        self.assertEqual(server.end(), 0)

    def test_single_characters_at_line_pace_lose_no_frame(self):
        # The weight rises with every frame, so each reading names the frame that it came from.
        terminal = self.terminal(1, "-vv", "--pace", "char", "--rate", "20",
                                 "--load", "wait 1s; ramp 0 90 30s")
        self.configure(1)
        server = self.server(1)
        server.wait_for_event(lambda e: e["event"] == "NewWeight" and e["netValue"] > 1, "weight")
        server.wait_for_event(lambda e: e["event"] == "NewWeight" and e["netValue"] > 15, "weight")
        server.end()
        terminal.end()
        events = [json.loads(line) for line in server.lines]
        self.assertNotIn(True, [e.get("noDataError") for e in events])
        # The watchdog repeats the reading at each of its time-outs; dict keeps one of each.
        read = list(dict.fromkeys(round(e["netValue"] * 100) for e in events
                                  if e["event"] == "NewWeight" and e["netValue"] > 1))
        frames = [line.split("frame <02>")[1] for line in terminal.lines if "frame <02>" in line]
        sent = [int(frame[3:9]) for frame in frames]
        self.assertGreater(len(read), 50)
        first = sent.index(read[0])
        self.assertEqual(read, sent[first:first + len(read)])

    def test_commands_reach_the_terminal_and_prints_the_log(self):
        self.terminal(1, "--load", "load 50", "--units", "kg")
        self.configure(1)
        log = self.folder / "prints.log"
        options = [*self.common, *self.ports(1)]
        self.run_tool("send", self.file, 1, "SetTare", "12.5", *options)
        printed = self.run_tool("send", self.file, 1, "print", "--log", log, *options)
        self.assertIn("37.50", printed.stdout)
        self.assertRegex(log.read_text(), r'^"[^"]+","[^"]+","Line 1",50,12.5,37.5,"kg"\n$')
        self.run_tool("send", self.file, 1, "C", *options)
        self.run_tool("send", self.file, 1, "T", *options)
        printed = self.run_tool("send", self.file, 1, "print", "--log", log, *options)
        self.assertIn("0.00", printed.stdout)
        self.assertTrue(log.read_bytes().endswith(b',50,50,0,"kg"\r\n'))
        self.run_tool("set", self.file, 1, "bidirectional=no", *self.common)
        refused = self.run_tool("send", self.file, 1, "Z", *options, status=4)
        self.assertIn("bidirectional", refused.stderr)

    def test_every_dialect_reaches_the_host(self):
        # What is seen of 12.5 kg: the net text, None for the type whose frames never give a weight.
        dialects = (("mira", (), "sir", "12.50"),
                    ("mira", ("--decimal", "comma"), "sir", "12,50"),
                    ("mira", ("--busy", "0.3", "--errors", "0.1"), "mode-commands", "12.50"),
                    ("mira", ("--noise", "0.01", "--drop", "0.01"), "mode-commands", "12.50"),
                    ("generic", ("--type", "cardinal"), "cardinal", "12.50"),
                    ("generic", ("--type", "fairbanks", "--cut", "0.3"), "fairbanks", "12.50"),
                    ("generic", ("--type", "gse550", "--burst", "0.3"), "gse550", "12.50"),
                    ("generic", ("--type", "ricelake"), "ricelake", None),
                    ("generic", ("--type", "wi120"), "wi120", "12.50"))
        numbers = range(1, len(dialects) + 1)
        for number, (dialect, options, kind, _) in zip(numbers, dialects):
            self.terminal(number, "--load", "load 12.5", "--units", "kg", *options, dialect=dialect)
            self.configure(number, f"protocol={dialect}", f"type={kind}")
        server = self.server(*numbers)
        for number, (dialect, _, kind, net) in zip(numbers, dialects):
            seen = server.wait_for_event(
                lambda e: e["event"] == "NewWeight" and e["scale"] == number and not e["motion"]
                and ((e["net"], e["units"]) == (net, "kg") or net is None and e["noDataError"]),
                f"{net} of scale {number}, {dialect} {kind}")
            if net is not None:
                self.assertEqual((seen["gross"], seen["tare"]), ("*******", "*******"))
        self.assertEqual(server.end(), 0)
        self.assertNotIn(True, [line.startswith("tarnscale:") for line in server.errors])
        ricelake = [json.loads(line) for line in server.lines
                    if json.loads(line)["scale"] == 8 and "NewWeight" in line]
        self.assertEqual({e["net"] for e in ricelake} - {"", "Error"}, set())

    def test_commands_and_their_answers(self):
        terminal = self.terminal(1, "--load", "load 50", "--units", "kg", "-v", dialect="mira")
        options = [*self.common, *self.ports(1)]
        for kind in ("sir", "mode-commands"):
            self.configure(1, "protocol=mira", f"type={kind}")
            for command, net in ((("SetTare", "12.5"), "37.50"), (("C",), "50.00"),
                                 (("T",), "0.00"), (("C",), "50.00"), (("Z",), "50.00")):
                deadline = time.monotonic() + LIMIT
                told = ""  # a busy machine may need longer than the command waits for the reading
                while f"net {net} kg" not in told and time.monotonic() < deadline:
                    told = self.run_tool("send", self.file, 1, *command, *options).stdout
                self.assertIn(f"net {net} kg", told, f"{kind} {command}")
        for noted in ("command TA 12.5 kg", "command @", "command T", "command Z"):
            terminal.wait_for(lambda line: line.endswith(noted), noted)
        self.run_tool("send", self.file, 1, "P", *options, status=4)

    def test_an_unplugged_line_shows_as_silence_costs_no_other_and_comes_back_by_itself(self):
        # Longer away than the first pause, so that tries fail in between.
        self.terminal(2, "--load", "load 20")
        unplugged = self.terminal(1, "--load", "load 10")
        self.configure(1)
        self.configure(2)
        server = self.server(1, 2)
        server.wait_for_event(lambda e: e["scale"] == 1 and e.get("netValue") == 10, "weight")
        self.assertEqual(unplugged.end(), 0)
        self.assertFalse(os.path.lexists(self.line(1)))
        server.wait_for_event(lambda e: e["scale"] == 1 and e.get("noDataError"), "no-data error")
        time.sleep(2)
        start = len(server.lines)
        server.wait_for_event(lambda e: e["scale"] == 2 and e.get("netValue") == 20,
                              "weight of the other scale", start)
        self.terminal(1, "--load", "load 30")
        server.wait_for_event(lambda e: e.get("netValue") == 30 and not e["noDataError"],
                              "weight after the return", start)
        self.assertEqual(server.end(), 0)
        gone = [e for e in server.errors if f"port 1 ({self.line(1)}) went away" in e]
        self.assertEqual(len(gone), 1, server.errors)

    def test_one_failing_scale_does_not_lose_the_others(self):
        self.terminal(2, "--load", "load 20")
        self.configure(1)
        self.configure(2)
        self.configure(3, "port=2")
        server = self.server(1, 2)
        server.wait_for_event(lambda e: e.get("scale") == 2 and e.get("netValue") == 20, "weight")
        second = self.run_tool("run", self.file, "--for", "1", *self.common, *self.ports(1, 2))
        self.assertIn(f"({self.line(2)}) is in use by tarnscale (process", second.stderr)
        self.assertEqual(server.end(signal.SIGTERM), 0)
        failures = "\n".join(server.errors)
        self.assertIn("Scale 1 (Line 1)", failures)
        self.assertIn("Scale 3 (Line 3)", failures)
        nothing = self.run_tool("run", self.file, "--scale", "4", *self.common, status=1)
        self.assertIn("none of these scales", nothing.stderr)

    def test_monitor_without_a_terminal_prints_readings_and_ends_by_itself(self):
        self.terminal(1, "--load", "load 20")
        self.configure(1)
        done = self.run_tool("monitor", self.file, "--for", "3", *self.common, *self.ports(1))
        self.assertIn("net 20.00", done.stdout)

    def test_a_view_draws_what_another_program_receives(self):
        self.configure(3)
        screen, terminal = pty.openpty()
        self.addCleanup(os.close, screen)
        events = self.folder / "events"
        os.mkfifo(events)
        view = self.start("tarnscale", "view", self.file, "--events", events, *self.common,
                          stdin=terminal, stdout=terminal, env={**os.environ, "TERM": "xterm"})
        os.close(terminal)
        drawn = b""
        with events.open("w") as pipe:
            print('{"event":"NewWeight","scale":3,"net":"12.50"}\nplain text', file=pipe, flush=True)
            deadline = time.monotonic() + LIMIT
            while not (b"12.50" in drawn and b"plain text" in drawn):
                self.assertLess(time.monotonic(), deadline, drawn)
                drawn += os.read(screen, 65536)
        self.assertEqual(view.end(how=0), 0)

    def test_a_reader_that_goes_away_ends_the_host(self):
        self.terminal(1)
        self.configure(1)
        server = subprocess.Popen(
            [str(PROGRAMS / "tarnscale"), "run", str(self.file), *map(str, self.common),
             *map(str, self.ports(1))], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.addCleanup(server.kill)
        server.stdout.readline()
        server.stdout.close()
        self.assertEqual(server.wait(LIMIT), 0)

    def test_the_simulator_ends_with_its_input(self):
        terminal = self.start("tarnsim", "continuous", "--port", self.line(1), "--end-with-input",
                              stdin=subprocess.PIPE)
        terminal.wait_for(lambda line: line.startswith("ready "), "terminal")
        terminal.process.stdin.close()
        self.assertEqual(terminal.process.wait(LIMIT), 0)
        self.assertFalse(os.path.lexists(self.line(1)))

    def test_records_of_a_printing_terminal_reach_the_host(self):
        # Numbered records, some with fewer fields, in single characters and with pauses inside.
        terminal = self.start("tarnsim", "template", "--port", self.line(1), "--load", "load 12.5",
                              "--start", "#", "--print-every", "0.5", "--field-delay", "0.05", "--short", "0.3",
                              "--pace", "char", "-v", stdin=subprocess.DEVNULL)
        terminal.wait_for(lambda line: line.startswith("ready "), "terminal")
        self.run_tool("set", self.file, 1, *self.common, "alias=Line 1", "connection=serial",
                      "port=1", "protocol=template", *self.template("recordtime=5000"))
        demanded = self.run_tool("send", self.file, 1, "P", *self.common, *self.ports(1))
        self.assertRegex(demanded.stdout, r"record No=\d+, Net=")
        server = self.server(1)
        server.wait_for_event(lambda e: e["event"] == "NewDataReady"
                              and e["fields"][1]["value"] == "12.50", "record")
        start = len(server.lines)
        for _ in range(8):
            server.wait_for_event(lambda e: e["event"] == "NewDataReady", "record", start)
            start = len(server.lines)
        self.assertEqual(server.end(), 0)
        numbers = [int(record.split(";")[0][3:]) for record in self.records(server)]
        self.assertEqual(numbers, list(range(numbers[0], numbers[0] + len(numbers))))
        self.assertNotIn("TimeoutError", [json.loads(line)["event"] for line in server.lines])

    def test_records_over_tcp_survive_keep_alives_and_a_dropped_connection(self):
        self.run_tool("set", self.file, 1, *self.common, "alias=Line 1", "connection=ethernet",
                      "address=127.0.49.2", "protocol=tcp-template",
                      *self.template("recordtime=5000"))
        for passage in ("first", "taken again"):
            terminal = self.start("tarnsim", "template", "--listen", "127.0.49.2", "--load",
                                  "load 40", "--start", "#", "--print-every", "0.6",
                                  "--field-delay", "0.15", "--keep-alive", "0.25",
                                  stdin=subprocess.DEVNULL)
            terminal.wait_for(lambda line: line.startswith("ready "), "terminal")
            demanded = self.run_tool("send", self.file, 1, "P", *self.common)
            self.assertRegex(demanded.stdout, r"record No=\d+, Net=", passage)
            server = self.server()
            server.wait_for_event(lambda e: e["event"] == "NewDataReady"
                                  and e["fields"][1]["value"] == "40.00", "record")
            self.assertEqual(terminal.end(), 0)
            self.assertIsNone(server.process.poll())
            self.assertEqual(server.end(), 0)
            numbers = [int(re.match(r"No=(\d+);Net=[0-9.]+;Unit=kg$", record)[1])
                       for record in self.records(server)]
            self.assertEqual(numbers, list(range(numbers[0], numbers[0] + len(numbers))))

    def diagnosis(self):
        """The variables that scale diagnostics poll; one counts, so that every round brings news."""
        each = {"cs{}21": "char", "ce{}02": "byte", "ce{}20": "long = {}00", "ws{}08": "double",
                "ce{}21": "long", "ce{}22": "double = {}.5", "ce{}23": "long", "ce{}24": "double",
                "ws{}13": 'chararray 41 = "E{}"', "ws{}14": "float"}
        lines = [f"{name} {kind}".format(n, n) for name, kind in each.items() for n in range(1, 5)]
        lines += [f"ws{n}{suffix} float" for n in range(1, 5) for suffix in range(21, 25)]
        lines += [f"ws{n}20 float = 5 : count 1 every 300ms" for n in range(1, 5)]
        lines += [f"{name} bit" for name in ("s_205", "s_20d", "s_275", "s_285")]
        table = self.folder / "diagnosis.txt"
        table.write_text("\n".join(lines) + "\n")
        return table

    def test_many_scales_are_diagnosed_and_recover(self):
        scales = range(2, 18)  # scale 1 would hold the port on which the terminals start again
        for n in scales:
            self.run_tool("set", self.file, n, *self.common, f"alias=Line {n}",
                          "connection=ethernet", f"address=127.0.47.{n - 1}", "protocol=variables",
                          "type=diagnostics", "rate=2", "enabled=yes")
        arguments = ["shareddata", "--address", "127.0.47.%d", "--count", "16", "--table",
                     self.diagnosis(), "--double", "0.02"]
        server = None
        for passage in ("first", "taken again"):
            terminals = self.start("tarnsim", *map(str, arguments), stdin=subprocess.DEVNULL)
            terminals.wait_for(lambda line: line.startswith("ready 127.0.47.16"), "terminals")
            server = server or self.server()
            start = len(server.lines)
            for n in scales:
                def news(event, name):
                    return (event["event"] == "Variables" and event["scale"] == n
                            and {f["name"]: f["value"] for f in event["fields"]}.get(name))
                calibration = server.wait_for_event(lambda e: news(e, "ScaleCalZeroCounts") ==
                                                    "100 200 300 400", passage, start)
                self.assertEqual(news(calibration, "LastScaleError"), "E1 E2 E3 E4")
                self.assertEqual(news(calibration, "ScaleCalHighWeight"), "1.5 2.5 3.5 4.5")
                for _ in range(3):
                    server.wait_for_event(lambda e: news(e, "WeighmentCounter"), passage, start)
                    start += 1
                start = 0 if passage == "first" else start - 3
            self.assertEqual(terminals.end(), 0)
            start = len(server.lines)
            for n in scales:
                server.wait_for_event(lambda e: e["event"] == "CommLossError" and e["scale"] == n,
                                      "loss", start)
        self.assertEqual(server.end(), 0)

    def shared_data(self, number, address, *settings):
        self.run_tool("set", self.file, number, *self.common, f"alias=Line {number}",
                      "connection=ethernet", f"address={address}", "bidirectional=yes",
                      "protocol=shared-data", "enabled=yes", *settings)

    def shared_data_terminals(self, *arguments):
        simulator = self.start("tarnsim", "shareddata", *arguments, stdin=subprocess.DEVNULL)
        simulator.wait_for(lambda line: line.startswith("ready "), "terminals")

    def test_32_shared_data_terminals_at_once(self):
        # Four groups, each with a load and a scale letter of its own, the last two on a bad network.
        bad = ["--lost", "0.02", "--late", "0.02", "--double", "0.05", "--reorder", "0.05",
               "--foreign", "0.05", "--join", "0.05"]
        groups = [("a", 10, []), ("b", 20, []), ("c", 30, bad), ("d", 40, bad)]
        expected = {}
        for index, (letter, load, faults) in enumerate(groups):
            self.shared_data_terminals("--address", f"127.0.{index + 2}.%d", "--count", 8,
                                       "--scales", letter, "--load", f"load {load}", *faults)
            for terminal in range(1, 9):
                number = index * 8 + terminal
                self.shared_data(number, f"127.0.{index + 2}.{terminal}", f"letter={letter}")
                expected[number] = float(load)
        server = self.server()
        for number, load in expected.items():
            server.wait_for_event(
                lambda e: e["event"] == "NewWeight" and e["scale"] == number and not e["motion"]
                and e["netValue"] == load and e["units"] == "kg", f"weight of scale {number}")
        self.assertEqual(server.end(), 0)
        events = [json.loads(line) for line in server.lines]
        # What one scale shows comes from its own terminal: no weight is above its terminal's load.
        for event in events:
            if event["event"] == "NewWeight" and not event["motion"]:
                self.assertLessEqual(event["netValue"], expected[event["scale"]] + 0.05)
        self.assertEqual([e for e in server.errors if "Line" in e], [])

    def test_commands_and_malformed_replies_of_a_shared_data_terminal(self):
        self.shared_data_terminals("--address", "127.0.2.1", "--load", "load 12.5")
        self.shared_data_terminals("--address", "127.0.2.2", "--load", "load 12.5",
                                   "--malformed", "0.1")
        self.shared_data(5, "127.0.2.1")
        self.shared_data(6, "127.0.2.2")
        printed = self.run_tool("send", self.file, 5, "P", *self.common).stdout
        self.assertIn("print gross 12.50 tare 0.00 net 12.50 kg", printed)
        for number in (5, 6):
            self.run_tool("send", self.file, number, "SetTare", "2.5", *self.common)
        server = self.server()
        for number in (5, 6):
            server.wait_for_event(
                lambda e: e["event"] == "NewWeight" and e["scale"] == number
                and e["tareValue"] == 2.5 and e["netValue"] == 10, f"net weight of {number}")
        self.assertEqual(server.end(), 0)

    def test_settings_survive_and_wrong_ones_change_nothing(self):
        self.configure(1, "baud=19200", "type=short")
        before = self.file.read_bytes()
        shown = json.loads(self.run_tool("show", self.file, "--json").stdout)
        self.assertEqual(shown["scales"][0]["connection"]["baud"], 19200)
        for wrong in (["alias=x", "baud=123"], ["nonsense=1"], ["alias"], ["port=0"]):
            self.run_tool("set", self.file, 1, *wrong, *self.common, status=2)
        self.run_tool("set", self.file, 33, "alias=x", *self.common, status=2)
        self.assertEqual(self.file.read_bytes(), before)

        damaged = self.folder / "damaged.scl"
        damaged.write_bytes(before.replace(b"SerialConnection", b"FutureConnection"))
        self.run_tool("set", damaged, 2, "alias=x", *self.common, status=1)
        self.assertIn(b"FutureConnection", damaged.read_bytes())
        cut = self.folder / "cut.scl"
        cut.write_bytes(before[:200])
        for command in ("run", "show", "monitor"):
            self.run_tool(command, cut, *(self.common if command != "show" else []), status=1)
        self.assertEqual(cut.read_bytes(), before[:200])

    def test_wrong_arguments_are_told(self):
        for arguments, status in ((["bogus"], 2), (["run"], 2), (["run", self.file], 1),
                                  (["show", self.folder / "none.scl"], 1)):
            self.assertTrue(self.run_tool(*arguments, status=status).stderr)
        for arguments in (["bogus"], ["continuous"], ["continuous", "--port", "x", "--rate", "-1"],
                          ["continuous", "--port", "x", "--load", "jump 3"]):
            done = subprocess.run([str(PROGRAMS / "tarnsim"), *arguments], capture_output=True,
                                  text=True, timeout=LIMIT, cwd=self.folder)
            self.assertEqual(done.returncode, 2, arguments)
            self.assertTrue(done.stderr)


if __name__ == "__main__":
    unittest.main(verbosity=1)
