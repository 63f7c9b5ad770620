#!/usr/bin/env python3
"""Clients that are slow, hang, are stopped or killed, beside one that answers at once. Runs as
automation_test.py does.

Usage: automation_lanes_test.py FOLDER_OF_THE_WINDOWS_PROGRAMS FOLDER_OF_THE_NATIVE_PROGRAMS
"""
import re
import signal
import unittest

from automation_support import PORT, WINDOWS, ServerTest


class LanesTest(ServerTest):
    def setUp(self):
        super().setUp()
        self.event_timeout(2000)
        if "print" in self.id():
            self.without_budgets()  # a busy machine would make the printing client late, too
        else:
            self.setting("ClientShare", 0)
        self.terminal = self.simulator("continuous", "--port", self.com_port(), "-vv", "--load",
                                       "wait 1s; ramp 0 90 600s")
        self.keeper = self.script("keeper.vbs", PORT, self.stop)
        self.keeper.wait_for("^running True")

    def client(self, way):
        return self.start("wine", WINDOWS / "lane_client.exe", way, self.stop)

    def assert_followed(self, fast):
        """From now on the client gets nearly all readings that the terminal sends, without long
        gaps. On a machine that is too busy for that it is tried again."""
        for _ in range(10):
            share, gap = self.follow(fast)
            print(f"{share:.0%} of the readings, longest gap {gap} ms", flush=True)
            if share >= 0.9 and gap < 700:
                return
        self.fail("the client is held up")

    def follow(self, fast, readings=60):
        sent, got = len(self.terminal.lines), len(fast.lines)
        fast.wait_for(r"^weight [1-9.]", start=got, count=readings)
        frames = {int(line.split("frame <02>")[1][3:9]) for line in self.terminal.lines[sent:]
                  if "frame <02>" in line}
        lines = [line.split() for line in fast.lines[got:] if line.startswith("weight ")]
        seen = {round(float(line[1]) * 100) for line in lines} & frames
        times = [int(line[3]) for line in lines]
        gap = max(later - former for former, later in zip(times, times[1:]))
        return len(seen) / len(frames), gap

    def test_clients_that_do_not_answer_cost_the_others_nothing(self):
        fast = self.client("fast")
        fast.wait_for(r"^weight [1-9.]")
        slow = [self.client("slow")]
        slow[0].wait_for(r"^weight [1-9.]", count=2)
        self.assert_followed(fast)
        slow += [self.client("slow") for _ in range(3)]
        hanging, stopped, killed = self.client("hang"), self.client("fast"), self.client("fast")
        for client in slow + [stopped, killed]:
            client.wait_for(r"^weight [1-9.]")
        hanging.wait_for("^hanging")
        stopped.signal(signal.SIGSTOP)
        self.addCleanup(stopped.signal, signal.SIGCONT)
        killed.kill()
        self.assert_followed(fast)
        listing = self.script("clients.vbs")
        listing.wait_for("^All of ")
        states = [re.match(r"client (\S+) state (\d)", line).groups() for line in listing.lines[:-1]]
        self.assertEqual(states.count(("lane_client.exe", "1")), 4, listing.lines)
        self.assertIn(("lane_client.exe", "2"), states)
        self.assertIn(("lane_client.exe", "0"), states)
        for line in ("Late: client ", "Lost: client ", "The setting ClientShare is out of its range"):
            self.assertTrue(self.traced(line), line)
        # The last event follows the last change.
        self.script("stopper.vbs").wait_for("^All of ")
        for client in slow:
            client.wait_for("^weight 0 ", start=max(0, len(client.lines) - 1))
        stopped.signal(signal.SIGCONT)
        self.end_well(self.keeper, fast, hanging, stopped, *slow)

    def test_each_print_finds_its_own_record(self):
        printing = self.client("2000")
        printing.wait_for("^prints 2000 wrong 0$")
        self.end_well(self.keeper, printing)

    def test_giving_an_object_back_waits_for_nobody(self):
        fast, giving = self.client("fast"), self.client("give")
        giving.wait_for("^hanging")
        self.assert_followed(fast)
        self.end_well(self.keeper, fast, giving)


if __name__ == "__main__":
    unittest.main(verbosity=2)
