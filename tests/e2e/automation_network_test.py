#!/usr/bin/env python3
"""The Automation server's clients with terminals on the network and objects of their own in the
place of the server's. Runs as automation_test.py does. The terminals have loopback addresses of
their own; the ports are the fixed ones.

Usage: automation_network_test.py FOLDER_OF_THE_WINDOWS_PROGRAMS FOLDER_OF_THE_NATIVE_PROGRAMS
"""
import signal
import unittest

from automation_support import WINDOWS, ServerTest, windows_path

VARIABLES = """
bas01 float = 12.5
bas02 long = 7
bas03 string 8 = "bread"
bas04 short = 3
"""
OWN_VARIABLES = """
trg01 bit = 0
own01 bit = 1
own02 byte = 200
own03 bytearray 5 = 97 98 0 99 100
own04 longarray 2 = 7 -8
own05 float = 12.5
own06 double = -0.25
own07 string 6 = "flour"
own08 short = -3
"""


class NetworkTest(ServerTest):
    def terminal(self, address, variables, *arguments):
        table = self.folder / f"{address}.txt"
        table.write_text(variables)
        return self.simulator("shareddata", "--address", address, "--table", table, *arguments)

    def test_variables_reach_a_script_and_a_program_with_its_own_set(self):
        self.terminal("127.0.9.4", VARIABLES)
        self.terminal("127.0.9.5", OWN_VARIABLES)
        self.end_well(self.script("variables.vbs", 6, "127.0.9.4"))
        self.end_well(self.start("wine", WINDOWS / "own_set_client.exe", 7, "127.0.9.5"))

    def test_a_script_brings_its_own_connection_and_protocol(self):
        file = self.folder / "own.scl"
        self.end_well(self.script("own_objects.js", windows_path(file)))
        self.assertGreater(file.stat().st_size, 100)

    def test_a_stopped_program_with_its_own_set_stops_nobody_else(self):
        self.event_timeout(2000)
        self.terminal("127.0.9.6", OWN_VARIABLES)
        self.terminal("127.0.9.7", VARIABLES)
        stopped = self.start("wine", WINDOWS / "own_set_client.exe", 8, "127.0.9.6", "serve")
        stopped.wait_for("^round 2")
        stopped.signal(signal.SIGSTOP)
        self.addCleanup(stopped.signal, signal.SIGCONT)
        self.end_well(self.script("variables.vbs", 9, "127.0.9.7"))
        self.assertTrue(self.traced("The client that gave the object is gone"))
        stopped.signal(signal.SIGCONT)
        stopped.kill()


if __name__ == "__main__":
    unittest.main(verbosity=2)
