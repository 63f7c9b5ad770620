#!/usr/bin/env python3
"""The Automation server as a service, and the console program. Runs and is used like automation_test.py. Wine runs services
with the rights and the folders of its one user, and takes no action for one that failed.
"""
import subprocess
import tempfile
import unittest

from automation_support import (EXAMPLES, PORT, SERVER, WINDOWS, ServerTest, server_processes,
                                windows_path, wine)
from programs import wait_until


def state(service):
    with tempfile.TemporaryFile() as output:
        subprocess.run(["wine", "sc", "query", service], stdin=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, stdout=output)
        output.seek(0)
        return output.read().decode()


def becomes(service, wanted):
    wait_until(lambda: wanted in state(service), f"{service} {wanted}")


class ServiceTest(ServerTest):
    def setUp(self):
        super().setUp()
        self.assertEqual(wine(SERVER, "/Service"), 0)
        self.addCleanup(wine, SERVER, "/UnregService")
        becomes("TarnSclServer", "RUNNING")
        self.assertEqual(len(self.service()), 1)

    def service(self):
        return server_processes(b"/RunService")

    def test_it_runs_its_scales_with_and_without_clients(self):
        self.simulator("continuous", "--port", self.com_port(), "--load", "load 12.5")
        process = self.service()
        self.end_well(self.keeper())
        for _ in range(2):
            client = self.script("weights.vbs", 1, 2, folder=EXAMPLES)
            self.assertEqual(client.end(), 0, client.lines[-3:])
            client.wait_for(r"^NewWeight: gross 12\.50 ")
            self.assertIn('Scale 1 "Kept"', client.lines)
        self.assertEqual(self.service(), process)
        self.assertEqual(server_processes(), [])

    def test_it_can_be_stopped_under_its_clients_and_the_next_one_starts_it(self):
        self.simulator("continuous", "--port", self.com_port())
        before = self.service()
        left = self.keeper()
        wine("sc", "stop", "TarnSclServer")
        wait_until(lambda: not self.service(), "the end of the service")
        becomes("TarnSclServer", "STOPPED")
        self.end_well(left)
        self.stop_file.unlink()
        keeper = self.keeper()
        self.assertNotIn(self.service(), (before, []))
        self.assertEqual(server_processes(), [])
        self.end_well(keeper)

    def test_a_program_of_the_user_serves_again_when_it_is_no_service(self):
        wine(SERVER, "/UnregService")
        self.assertEqual(self.service(), [])
        client = self.script("weights.vbs", 1, 0, folder=EXAMPLES)
        client.wait_for("^Now: ")
        self.assertEqual(client.end(), 0)
        self.assertEqual(self.service(), [])

    def keeper(self):
        keeper = self.script("keeper.vbs", PORT, self.stop)
        keeper.wait_for("^running True")
        return keeper


class ToolServiceTest(ServerTest):
    def test_it_logs_until_it_is_stopped(self):
        self.simulator("continuous", "--port", self.com_port(), "--print-every", "1")
        settings, log = self.folder / "plant.scl", self.folder / "prints.csv"
        wine(WINDOWS / "tarnscale.exe", "set", windows_path(settings), 1, "connection=serial",
             f"port={PORT}", "protocol=continuous", "type=standard", "enabled=yes")
        command = [windows_path(WINDOWS / "tarnscale.exe"), "run", windows_path(settings), "--log",
                   windows_path(log)]
        wine("sc", "create", "tarnscale", "binPath=", " ".join(command))
        self.addCleanup(wine, "sc", "delete", "tarnscale")
        self.addCleanup(wine, "sc", "stop", "tarnscale")
        wine("sc", "start", "tarnscale")
        wait_until(lambda: log.exists() and log.read_text().count("\n") > 1, "print records")
        self.assertIn("RUNNING", state("tarnscale"))
        wine("sc", "stop", "tarnscale")
        becomes("tarnscale", "STOPPED")
        self.assertRegex(state("tarnscale"), "WIN32_EXIT_CODE +: 0 ")


if __name__ == "__main__":
    unittest.main(verbosity=2)
