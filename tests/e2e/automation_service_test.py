#!/usr/bin/env python3
"""The Automation server as a service. Runs and is used like automation_test.py. Wine runs services
with the rights and the folders of its one user, and takes no action for one that failed.
"""
import subprocess
import tempfile
import unittest

from automation_support import EXAMPLES, PORT, SERVER, ServerTest, server_processes, wine
from programs import wait_until


def state():
    with tempfile.TemporaryFile() as output:
        subprocess.run(["wine", "sc", "query", "TarnSclServer"], stdin=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, stdout=output)
        output.seek(0)
        return output.read().decode()


class ServiceTest(ServerTest):
    def setUp(self):
        super().setUp()
        self.assertEqual(wine(SERVER, "/Service"), 0)
        self.addCleanup(wine, SERVER, "/UnregService")
        self.becomes("RUNNING")
        self.assertEqual(len(self.service()), 1)

    def becomes(self, wanted):
        wait_until(lambda: wanted in state(), wanted)

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
        self.becomes("STOPPED")
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


if __name__ == "__main__":
    unittest.main(verbosity=2)
