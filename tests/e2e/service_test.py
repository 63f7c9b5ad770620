#!/usr/bin/env python3
"""tarnscale as a service manager runs it: it says how it fares and reads its settings again.

Usage: service_test.py FOLDER_OF_THE_PROGRAMS [unittest arguments]
"""
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

from programs import LIMIT, Program

PROGRAMS = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else "build/linux").resolve()


class ServiceTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.file = self.folder / "plant.scl"
        self.manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.manager.close)
        self.manager.bind(b"\0" + os.fsencode(self.folder))
        self.manager.settimeout(LIMIT)

    def start(self, program, *arguments, **options):
        process = Program(PROGRAMS / program, *arguments, **options)
        self.addCleanup(process.output.close)
        self.addCleanup(process.kill)
        return process

    def set(self, scale, *pairs):
        subprocess.run([PROGRAMS / "tarnscale", "set", self.file, str(scale), *pairs, "-q",
                        "--store", "none"], check=True, timeout=LIMIT, stdout=subprocess.DEVNULL)

    def wait_for_state(self, wanted):
        states = ""
        while not re.search(wanted, states):
            states = self.manager.recv(4096).decode()
        return states

    def test_settings_and_log_are_taken_anew_while_the_other_scales_run_on(self):
        for number in (1, 2):
            port = self.folder / f"line{number}"
            self.start("tarnsim", "continuous", "--port", port, "--load", "load 12.5",
                       "--print-every", "0.3").wait_for("^ready ")
            self.set(number, "connection=serial", f"port={number}", f"device={port}",
                     "protocol=continuous", "type=standard", "enabled=yes")
        log = self.folder / "prints.log"
        environment = {**os.environ, "NOTIFY_SOCKET": f"@{self.folder}", "WATCHDOG_USEC": "200000"}
        with open(self.folder / "errors", "w+") as errors:
            server = self.start("tarnscale", "run", self.file, "--json", "--log", log, "--store",
                                "none", stderr=errors, env=environment)
            self.wait_for_state("READY=1\nSTATUS=. of 2 scales good")
            self.wait_for_state("STATUS=2 of 2 scales good\n")
            self.wait_for_state("^WATCHDOG=1\n")
            server.wait_for('"PrintRecord","scale":1')

            old = self.folder / "prints.log.1"
            log.rename(old)
            self.set(2, "alias=Packing")
            server.signal(signal.SIGHUP)
            self.wait_for_state("^RELOADING=1\nMONOTONIC_USEC=[0-9]+\n")
            self.wait_for_state("READY=1")
            start = len(server.lines)
            for number in (1, 2):
                server.wait_for(f'"PrintRecord","scale":{number}', start, 2)

            self.file.write_bytes(self.file.read_bytes()[:100])
            server.signal(signal.SIGHUP)
            self.wait_for_state("READY=1")
            server.wait_for('"PrintRecord","scale":2,"alias":"Packing"', len(server.lines))
            server.signal(signal.SIGTERM)
            self.wait_for_state("STOPPING=1")
            self.assertEqual(server.end(), 0)
            errors.seek(0)
            said = errors.read()
        self.assertRegex(said, "new settings for Scale 2 .Packing.; the others run on\n"
                               "tarnscale: .* is not reloaded, all scales run on as they are: ")
        first = [e for e in map(json.loads, server.lines) if e.get("scale") == 1]
        self.assertFalse([e for e in first if e.get("noDataError")][1:], "blank before its start")
        prints = [e for e in map(json.loads, server.lines) if e["event"] == "PrintRecord"]
        logged = old.read_text().splitlines() + log.read_text().splitlines()
        self.assertEqual(len(logged), len(prints))
        self.assertIn("Packing", log.read_text())


if __name__ == "__main__":
    unittest.main(verbosity=2)
