#!/usr/bin/env python3
"""The journal of tarnscale while it is killed, locked out and out of space. Terminals print records
all the time. TARN_KILLS says how often it is killed.

Usage: journal_test.py FOLDER_OF_THE_PROGRAMS [unittest arguments]
"""
import os
import pathlib
import random
import signal
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from programs import LIMIT, Program, wait_until  # noqa: E402
from tools_test import PROGRAMS, TEMPLATE, Server  # noqa: E402 (it takes the folder)

KILLS = int(os.environ.get("TARN_KILLS", "10"))
TERMINALS = 4


class JournalTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.journal = self.folder / "journal"
        self.terminals = Program(PROGRAMS / "tarnsim", "template", "--port", self.folder / "line%d",
                                 "--count", TERMINALS, "--print-every", "0.02", "--start", "#",
                                 "--baud", "115200", "--load", "load 12.5")
        self.addCleanup(self.terminals.output.close)
        self.addCleanup(self.terminals.kill)
        self.terminals.wait_for("^ready ", count=TERMINALS)
        for scale in range(1, TERMINALS + 1):
            self.tool("set", self.folder / "plant.scl", scale, "connection=serial", "enabled=yes",
                      f"device={self.folder}/line{scale}", "baud=115200", "protocol=template", f"port={scale}",
                      *TEMPLATE)

    def tool(self, *words, status=0):
        done = subprocess.run([PROGRAMS / "tarnscale", *map(str, words)], capture_output=True,
                              text=True, timeout=LIMIT)
        self.assertEqual(done.returncode, status, f"{words}: {done.stdout}{done.stderr}")
        return done.stdout + done.stderr

    def run_scales(self, journal):
        server = Server(PROGRAMS / "tarnscale", "run", self.folder / "plant.scl", "--json",
                        "--journal", journal)
        self.addCleanup(server.output.close)
        self.addCleanup(server.kill)
        return server

    def numbers(self):
        """Those of all lines that stand in the files, whether whole or not."""
        files = sorted(self.journal.glob("*.tsv"))
        lines = b"".join(file.read_bytes() for file in files).split(b"\n")
        return [int(line.split(b"\t")[0]) for line in lines if line[:1].isdigit()]

    def test_killed_at_any_moment_it_keeps_every_number(self):
        before = 0
        for kill in range(KILLS):
            server = self.run_scales(self.journal)
            time.sleep(random.uniform(0.02, 0.5))
            server.kill()
            if not list(self.journal.glob("*")):
                continue
            with self.subTest(kill=kill):
                # Only the last line may be cut off, and the next start mends it.
                done = subprocess.run([PROGRAMS / "tarnscale", "records", "verify", self.journal],
                                      capture_output=True, text=True, timeout=LIMIT)
                self.assertTrue(done.returncode == 0 or "next start" in done.stderr, done.stderr)
                numbers = self.numbers()
                self.assertGreaterEqual(len(numbers), before)
                before = len(numbers)
        self.assertGreater(before, KILLS)
        server = self.run_scales(self.journal)
        wait_until(lambda: len(self.numbers()) > before, "a weighing after the last kill")
        self.assertIn("writes to the folder", self.tool("run", self.folder / "plant.scl",
                                                        "--journal", self.journal, status=1))
        self.tool("records", "verify", self.journal)  # while it is written
        self.assertEqual(server.end(signal.SIGINT), 0)
        self.tool("records", "verify", self.journal)
        listed = self.tool("records", "export", self.journal).splitlines()[1:]
        self.assertEqual([int(line.split(",")[0]) for line in listed],
                         list(range(1, len(listed) + 1)))

    def test_a_full_disk_refuses_weighings_until_there_is_space(self):
        disk = self.folder / "disk"
        disk.mkdir()
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "none", disk],
                          capture_output=True).returncode != 0:
            self.skipTest("only root can mount a small file system")
        self.addCleanup(subprocess.run, ["umount", disk], check=True)
        self.journal = disk / "journal"
        server = self.run_scales(self.journal)
        self.addCleanup(server.end, signal.SIGKILL)  # before the disk goes
        refused = {"event": "InfoMessage", "message": lambda text: "refused: Cannot" in text
                   and "No space left on device" in text}
        server.wait_for_event(**refused)
        kept = len(self.numbers())
        server.wait_for_event(len(server.lines), event="NewDataReady")  # the records go on
        self.tool("records", "export", self.journal)
        subprocess.run(["mount", "-o", "remount,size=256k", disk], check=True)
        server.wait_for_event(event="InfoMessage", message="Weighings are kept again")
        wait_until(lambda: len(self.numbers()) > kept, "a weighing on the larger disk")
        self.assertEqual(server.end(signal.SIGINT), 0)
        self.assertIn("not kept: Scale ", server.errors)
        self.tool("records", "verify", self.journal)


if __name__ == "__main__":
    unittest.main(verbosity=1)
