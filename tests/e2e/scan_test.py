#!/usr/bin/env python3
"""scan finds the settings of simulated terminals whose lines show them as a wire does.

    scan_test.py BUILD_FOLDER
"""
import os
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = sys.argv.pop(1) if len(sys.argv) > 1 else "build/linux"

# Terminal, what finds it, and each with another line: speeds and parities in turn.
TERMINALS = [
    (["continuous"], "protocol=continuous type=standard"),
    (["continuous", "--layout", "short"], "protocol=continuous type=short"),
    (["generic", "--type", "cardinal"], "protocol=generic type=cardinal"),
    (["generic", "--type", "fairbanks"], "protocol=generic type=fairbanks"),
    (["generic", "--type", "gse550"], "protocol=generic type=gse550"),
    (["generic", "--type", "ricelake"], "protocol=generic type=ricelake"),
]
SPEEDS = [9600, 19200, 4800, 2400, 38400]
PARITIES = {"e": "parity=even databits=7 ", "o": "parity=odd databits=7 ",
            "n": "parity=none databits=8 "}


class ScanTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.line = os.path.join(self.folder.name, "line")

    def tearDown(self):
        self.folder.cleanup()

    def scan(self, terminal):
        with subprocess.Popen([os.path.join(PROGRAMS, "tarnsim"), *terminal, "--port", self.line,
                               "--load", "load 12.5"], stdout=subprocess.PIPE, text=True) as sim:
            try:
                self.assertIn("ready", sim.stdout.readline())
                return subprocess.run(
                    [os.path.join(PROGRAMS, "tarnscale"), "scan", self.line, "-q", "--store",
                     os.path.join(self.folder.name, "store")],
                    capture_output=True, text=True, timeout=120)
            finally:
                sim.terminate()

    def test_finds_each_terminal(self):
        for number, (terminal, found) in enumerate(TERMINALS):
            speed = SPEEDS[number % len(SPEEDS)]
            letter = list(PARITIES)[number % len(PARITIES)]
            bits = "8,1" if letter == "n" else "7,2"
            with self.subTest(terminal=terminal, speed=speed, parity=letter):
                result = self.scan([*terminal, "--wire", "--line", f"{speed},{letter},{bits}"])
                self.assertIn(f"baud={speed} {PARITIES[letter]}", result.stdout, result.stderr)
                self.assertIn(found, result.stdout)
                self.assertIn(": sure", result.stdout)

    def test_finds_nothing_at_a_speed_that_it_does_not_try(self):
        result = self.scan(["continuous", "--wire", "--line", "921600,e,7,2"])
        self.assertEqual(result.returncode, 1, result.stdout)
        self.assertIn("bytes came", result.stderr)


if __name__ == "__main__":
    unittest.main()
