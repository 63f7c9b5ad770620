#!/usr/bin/env python3
"""Clients of the Automation server that all start at the same moment. Runs and is used like
automation_test.py.
"""
import unittest

from automation_support import PORT, WINDOWS, ServerTest

CLIENTS = 12


class StartTest(ServerTest):
    def test_clients_that_subscribe_at_once_all_get_their_events(self):
        self.simulator("continuous", "--port", self.com_port(), "--rate", "10")
        keeper = self.script("keeper.vbs", PORT, self.stop)
        keeper.wait_for("^running True")
        clients = [self.start("wine", WINDOWS / "example_client.exe", 1, 5)
                   for _ in range(CLIENTS)]
        for client in clients:
            client.wait_for("^NewWeight: ")
            self.assertEqual(client.end(), 0, client.lines[-3:])
        self.end_well(keeper)


if __name__ == "__main__":
    unittest.main()
