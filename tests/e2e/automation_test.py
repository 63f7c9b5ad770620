#!/usr/bin/env python3
"""The Automation server as its clients use it: scripts and programs in processes of their own, with
simulated terminals on its COM ports. Runs inside tests/wine/run_under_wine.sh, which prepares the
prefix. Every test waits for what it expects, with a generous limit, and ends only the processes
that it started.

Usage: automation_test.py FOLDER_OF_THE_WINDOWS_PROGRAMS FOLDER_OF_THE_NATIVE_PROGRAMS
"""
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

LIMIT = 90  # seconds until something that never comes is given up
WINDOWS = pathlib.Path(sys.argv.pop(1)).resolve()
NATIVE = pathlib.Path(sys.argv.pop(1)).resolve()
HERE = pathlib.Path(__file__).resolve().parent
SCRIPTS = HERE.parent / "automation" / "scripts"
EXAMPLES = HERE.parent.parent / "examples"
PREFIX = pathlib.Path(os.environ["WINEPREFIX"]).resolve()
SERVER = WINDOWS / "TarnSclServer.exe"
SETTINGS = r"HKCU\Software\TarnSclServer"
PORT = 21  # the COM port of the simulated terminal


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def wine(*arguments):
    return subprocess.run(["wine", *map(str, arguments)], stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          timeout=LIMIT).returncode


def server_processes():
    """The numbers of the server's processes in this prefix."""
    found = []
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            command = (folder / "cmdline").read_bytes()
            environment = (folder / "environ").read_bytes().split(b"\0")
        except OSError:
            continue
        if (b"TarnSclServer.exe" in command and b"mbedding" in command
                and f"WINEPREFIX={PREFIX}".encode() in environment):
            found.append(int(folder.name))
    return found


def wait_until(condition, what):
    deadline = time.monotonic() + LIMIT
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"not in time: {what}")
        time.sleep(0.05)


class Program:
    """A process whose lines of output can be waited for. They go through a file: Wine's services are
    children of whichever program comes first, and would keep a pipe open."""

    def __init__(self, *command):
        self.output = tempfile.TemporaryFile()
        self.process = subprocess.Popen(list(map(str, command)), stdin=subprocess.DEVNULL,
                                        stdout=self.output, stderr=subprocess.STDOUT)

    @property
    def lines(self):
        """The whole lines so far; all of them after the end."""
        size = os.fstat(self.output.fileno()).st_size
        text = os.pread(self.output.fileno(), size, 0).decode(errors="replace")
        whole = text if self.process.poll() is not None else text[:text.rfind("\n") + 1]
        return whole.splitlines()

    def wait_for(self, pattern, start=0, count=1):
        """The first `count` lines from `start` on that match."""
        def found():
            return [line for line in self.lines[start:] if re.search(pattern, line)][:count]
        def over():
            return self.process.poll() is not None or len(found()) >= count
        try:
            wait_until(over, pattern)
        except AssertionError:
            pass  # told below, with the lines
        if len(found()) < count:
            raise AssertionError(f"{self.process.args}: no {pattern!r}; last lines: "
                                 f"{self.lines[-5:]}")
        return found()

    def weights(self, start=0, end=None):
        return [float(line.split()[1]) for line in self.lines[start:end]
                if re.match(r"weight \d", line)]

    def signal(self, what):
        self.process.send_signal(what)

    def interrupt(self):
        self.signal(signal.SIGINT)
        self.end()

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait(LIMIT)

    def end(self):
        return self.process.wait(LIMIT)


def without_repeats(values):
    """The watchdog tells the present reading again at each of its time-outs."""
    return [value for i, value in enumerate(values) if i == 0 or value != values[i - 1]]


class AutomationTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        wine("reg", "delete", SETTINGS, "/f")
        if wine(SERVER, "/RegServer") != 0:
            raise AssertionError("/RegServer failed")

    @classmethod
    def tearDownClass(cls):
        wine(SERVER, "/UnregServer")
        wine("reg", "delete", SETTINGS, "/f")

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.started = time.strftime("%Y-%m-%d %H:%M:%S")
        self.stop_file = self.folder / "stop"
        self.stop = windows_path(self.stop_file)
        # Runs last, when all clients are gone: the server must have ended by itself.
        self.addCleanup(wait_until, lambda: not server_processes(), "the end of the server")

    def start(self, *command):
        program = Program(*command)
        self.addCleanup(program.output.close)
        self.addCleanup(program.kill)
        return program

    def script(self, name, *arguments, folder=SCRIPTS):
        return self.start("wine", WINDOWS / "tarn_script_host.exe", windows_path(folder / name),
                          *arguments)

    def end_well(self, *programs):
        self.stop_file.touch()
        for program in programs:
            self.assertEqual(program.end(), 0, program.lines[-5:])
            self.assertRegex(program.lines[-1], r"^(All|End) of ")

    def traced(self, text):
        """The lines of the server's trace since this test began."""
        traces = PREFIX.glob("drive_c/users/*/AppData/*/TarnSclServer/TarnSclServer.trace")
        return [line for trace in traces for line in trace.read_text().splitlines()
                if line[:19] >= self.started and text in line]

    def terminal(self, *arguments):
        link = PREFIX / "dosdevices" / f"com{PORT}"
        link.unlink(missing_ok=True)  # of a run that was ended by force
        terminal = self.start(NATIVE / "tarnsim", "continuous", "--port", link, *arguments)
        terminal.wait_for("^ready ")
        self.addCleanup(terminal.interrupt)
        return terminal

    def keeper(self):
        keeper = self.script("keeper.vbs", PORT, self.stop)
        keeper.wait_for("^running True")
        return keeper

    def follower(self, way="plain"):
        return self.script("follower.vbs", self.stop, way)

    def readings_sent(self, terminal):
        return without_repeats([int(line.split("frame <02>")[1][3:9]) for line in terminal.lines
                                if "frame <02>" in line])

    def assert_all_readings(self, weights, sent, least=10):
        """From the first one on these are the terminal's readings, each once and in order. Tells
        the places of the first and the last one."""
        seen = [round(weight * 100) for weight in weights]
        seen = [weight for weight in without_repeats(seen) if weight > 0]
        self.assertGreater(len(seen), least)
        first = sent.index(seen[0])
        self.assertEqual(seen, sent[first:first + len(seen)])
        return first, first + len(seen) - 1

    def test_scripts_work_as_their_users_write_them(self):
        self.end_well(self.script("late_bound.vbs", PORT, windows_path(self.folder / "plant.scl")))
        self.assertGreater((self.folder / "plant.scl").stat().st_size, 100)
        self.assertRegex((self.folder / "plant.scl.log").read_bytes(),
                         rb'^A line of a script\r\n[^,]+,[^,]+,"?Gate 7"?,[^\r]*\r\n$')
        self.end_well(self.script("late_bound.js"))

    def test_a_failing_script_is_told(self):
        bad = self.folder / "bad.vbs"
        bad.write_text('Dim c\nSet c = CreateObject("TarnSclServer.TarnServerConnection")\n'
                       'c.TarnScaleServer(0).GetScale 33\nWScript.Echo "never"\n')
        program = self.script("bad.vbs", folder=self.folder)
        self.assertEqual(program.end(), 1)
        self.assertEqual(len(program.lines), 1)
        self.assertIn("bad.vbs(3, ", program.lines[0])
        self.assertIn("TarnSclServer: error 9 (800A0009): Subscript out of range", program.lines[0])

    def test_an_early_bound_client_reaches_every_slot(self):
        program = self.start("wine", WINDOWS / "vtable_client.exe")
        self.end_well(program)

    def test_clients_that_start_together_share_one_process(self):
        clients = [self.script("sharer.vbs", n, 3, self.stop) for n in (1, 2, 3)]
        for client in clients:
            client.wait_for("^together")
        wait_until(lambda: len(server_processes()) == 1, "a single process")
        self.end_well(*clients)

    def test_a_server_that_nobody_asks_for_anything_ends(self):
        server = self.start("wine", SERVER, "-Embedding")
        self.assertEqual(server.end(), 0)

    def test_events_reach_several_clients_each_once_and_in_order(self):
        # The weight rises with every frame, so each reading names the frame that it came from.
        terminal = self.terminal("-vv", "--load", "wait 1s; ramp 0 90 120s", "--rate", "5")
        keeper = self.keeper()
        followers = [self.follower(way) for way in ("plain", "callback", "disconnect", "release")]
        for follower in followers:
            follower.wait_for("^following ")
        followers.insert(0, self.follower("stir"))
        for follower in followers[:3]:
            for event in ("UpdateWeight", "StatusChange", "NewStatus"):
                follower.wait_for(event)
            follower.wait_for(r"^weight [1-9]", count=30)
        self.end_well(keeper, *followers)
        sent = self.readings_sent(terminal)
        for follower in followers[:3]:
            self.assert_all_readings(follower.weights(), sent)
            self.assertEqual(
                [line for line in follower.lines if re.match("change|message|Update", line)],
                ["change Stirred", "change Stirred again", "message 48 Can't write configuration "
                 r"settings file: Z:\no such folder\plant.scl", "UpdateWeight"])
        for follower in followers[3:]:
            self.assertIn("events 3", follower.lines)

    def test_the_examples_show_the_weight(self):
        self.terminal("--load", "load 12.5")
        keeper = self.keeper()
        examples = [self.script("weights.vbs", 1, 4, folder=EXAMPLES),
                    self.script("weights.js", 1, 4, folder=EXAMPLES),
                    self.start("wine", WINDOWS / "example_client.exe", 1, 4)]
        for example in examples:
            self.assertEqual(example.end(), 0, example.lines[-5:])
            self.assertRegex(example.lines[-1], "^End of ")
            # All three take the tare, so the net is zero in the end.
            example.wait_for(r"^NewWeight: gross 12\.50 tare 12\.50 net 0\.00 kg$")
        self.end_well(keeper)

    def test_a_handler_may_turn_everything_over_in_the_middle_of_a_frame(self):
        self.terminal("--load", "ramp 1 90 120s")
        self.end_well(self.script("restless.vbs", PORT))

    def test_a_killed_client_costs_the_others_nothing(self):
        terminal = self.terminal("-vv", "--load", "wait 1s; ramp 0 90 120s")
        keeper = self.keeper()
        healthy, victim = self.follower(), self.follower()
        victim.wait_for(r"^weight [1-9]")
        healthy.wait_for(r"^weight [1-9]")
        victim.kill()
        healthy.wait_for(r"^weight [1-9]", start=len(healthy.lines), count=20)
        self.end_well(keeper, healthy)
        self.assert_all_readings(healthy.weights(), self.readings_sent(terminal))

    def test_the_server_ends_after_its_last_client_was_killed(self):
        self.terminal("--load", "load 20")
        keeper = self.keeper()
        follower = self.follower()
        follower.wait_for(r"^weight 20")
        keeper.kill()
        follower.kill()
        # The end of the server is waited for after every test.

    def test_a_stopped_client_costs_the_others_no_reading(self):
        wine("reg", "add", SETTINGS + r"\Settings", "/v", "EventTimeout", "/d", "2000", "/f")
        self.addCleanup(wine, "reg", "delete", SETTINGS + r"\Settings", "/v", "EventTimeout", "/f")
        terminal = self.terminal("-vv", "--load", "wait 1s; ramp 0 90 120s")
        keeper = self.keeper()
        stopped, healthy = self.follower(), self.follower()
        for follower in (stopped, healthy):
            follower.wait_for("^following ")
            follower.wait_for(r"^weight [1-9]")
        stopped.signal(signal.SIGSTOP)
        self.addCleanup(stopped.signal, signal.SIGCONT)
        healthy.wait_for(r"^weight [1-9]", start=len(healthy.lines), count=60)
        stopped.signal(signal.SIGCONT)
        self.end_well(keeper, healthy, stopped)
        self.assert_all_readings(healthy.weights(), self.readings_sent(terminal))
        # Dropped at the limit, so it saw less.
        self.assertLess(len(stopped.weights()), len(healthy.weights()) - 20)

    def test_a_busy_client_misses_events_and_keeps_its_subscription(self):
        terminal = self.terminal("-vv", "--load", "wait 1s; ramp 0 90 120s")
        keeper = self.keeper()
        healthy = self.follower()
        busy = self.start("wine", WINDOWS / "busy_client.exe", 12, self.stop)
        busy.wait_for("^free again")
        free = busy.lines.index("free again")
        busy.wait_for(r"^weight [1-9]", start=free, count=30)
        healthy.wait_for(r"^weight [1-9]", count=30)
        self.end_well(keeper, healthy, busy)
        sent = self.readings_sent(terminal)
        self.assert_all_readings(healthy.weights(), sent)
        before = self.assert_all_readings(busy.weights(end=free), sent, least=0)
        after = self.assert_all_readings(busy.weights(start=free), sent)
        # The watchdog's events were refused, too.
        self.assertIn(after[0] - before[1] - 1, range(5, 13))
        self.assertEqual(len(self.traced("Too busy for 12 events: client ")), 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
