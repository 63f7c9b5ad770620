#!/usr/bin/env python3
"""The Automation server as its clients use it: scripts and programs in processes of their own, with
simulated terminals on its COM ports. Runs inside tests/wine/run_under_wine.sh, which prepares the
prefix. Every test waits for what it expects, with a generous limit, and ends only the processes
that it started.

Usage: automation_test.py FOLDER_OF_THE_WINDOWS_PROGRAMS FOLDER_OF_THE_NATIVE_PROGRAMS
"""
import signal
import unittest

from automation_support import (EXAMPLES, PORT, SERVER, WINDOWS, ServerTest, wait_until,
                                windows_path)


WEIGHT = r"^weight [1-9]"


def without_repeats(values):
    """The watchdog tells the present reading again at each of its time-outs."""
    return [value for i, value in enumerate(values) if i == 0 or value != values[i - 1]]


class AutomationTest(ServerTest):
    def setUp(self):
        super().setUp()
        self.without_budgets()

    def terminal(self, *arguments):
        return self.simulator("continuous", "--port", self.com_port(), *arguments)

    def keeper(self):
        keeper = self.script("keeper.vbs", PORT, self.stop)
        keeper.wait_for("^running True")
        return keeper

    def follower(self, way="plain"):
        return self.script("follower.vbs", self.stop, way)

    def rising(self, followers):
        """A terminal whose weight rises with every frame, so that each reading names the frame that
        it came from; a keeper of the scale, and clients that have received weights."""
        terminal = self.terminal("-vv", "--load", "wait 1s; ramp 0 90 120s")
        keeper = self.keeper()
        clients = [self.follower() for _ in range(followers)]
        for client in clients:
            client.wait_for(WEIGHT)
        return terminal, keeper, *clients

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
        self.end_well(self.start("wine", WINDOWS / "vtable_client.exe"))

    def test_clients_that_start_together_share_one_process(self):
        self.end_well(*[self.script("sharer.vbs", n, 3) for n in (1, 2, 3)])

    def test_a_client_that_comes_while_the_server_ends_is_served(self):
        self.end_well(*[self.script("passer_by.vbs", 150, 60) for _ in range(2)])

    def test_a_server_that_nobody_asks_for_anything_ends(self):
        self.assertEqual(self.start("wine", SERVER, "-Embedding").end(), 0)

    def test_events_reach_several_clients_each_once_and_in_order(self):
        terminal = self.terminal("-vv", "--load", "wait 1s; ramp 0 90 120s", "--rate", "5")
        keeper = self.keeper()
        followers = [self.follower(way) for way in ("plain", "plain", "callback", "release")]
        for follower in followers[:3]:
            follower.wait_for(WEIGHT, count=30)
        self.end_well(keeper, *followers)
        sent = self.readings_sent(terminal)
        for follower in followers[:3]:
            self.assert_all_readings(follower.weights(), sent)
        self.assertIn("events 3", followers[3].lines)

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

    def test_killed_clients_cost_the_others_nothing_and_leave_no_server(self):
        terminal, keeper, healthy, victim = self.rising(followers=2)
        victim.kill()
        healthy.wait_for(WEIGHT, start=len(healthy.lines), count=20)
        keeper.kill()
        healthy.kill()
        self.assert_all_readings(healthy.weights(), self.readings_sent(terminal))
        # The end of the server is waited for after every test, here without any client's word.

    def test_what_a_client_handed_on_outlives_it(self):
        file = windows_path(self.folder / "reference")
        giver = self.start("wine", WINDOWS / "busy_client.exe", "give", file)
        giver.wait_for("^given")
        taker = self.start("wine", WINDOWS / "busy_client.exe", "take", file)
        taker.wait_for("^read")
        giver.kill()
        wait_until(lambda: self.traced("ended without letting go"), "the end of the client")
        taker.wait_for("^read", start=len(taker.lines), count=20)

    def test_clients_that_hang_or_are_stopped_cost_the_others_no_reading(self):
        self.event_timeout(2000)
        terminal, keeper, stopped, healthy = self.rising(followers=2)
        stopped.signal(signal.SIGSTOP)  # perhaps while it connects to its other events
        self.addCleanup(stopped.signal, signal.SIGCONT)
        hanging = [self.start("wine", WINDOWS / "busy_client.exe", way, self.stop)
                   for way in ("advise", "late")]
        for client in hanging:
            client.wait_for("^hanging")
        healthy.wait_for(WEIGHT, start=len(healthy.lines), count=60)
        for way in ("tag", "log"):  # an object is handed over unasked
            hanging.append(self.start("wine", WINDOWS / "busy_client.exe", way, self.stop))
            hanging[-1].wait_for("^taken 00000000")
        self.follower().wait_for(WEIGHT)  # others may come, too
        stopped.signal(signal.SIGCONT)
        self.end_well(keeper, healthy, stopped, *hanging)
        self.assert_all_readings(healthy.weights(), self.readings_sent(terminal))
        # Dropped at the limit, so it saw less.
        self.assertLess(len(stopped.weights()), len(healthy.weights()) - 20)
        hanging[1].wait_for("^taken 80020009")

    def test_a_busy_client_misses_events_and_keeps_its_subscription(self):
        terminal, keeper, healthy = self.rising(followers=1)
        busy = self.start("wine", WINDOWS / "busy_client.exe", 12, self.stop)
        busy.wait_for("^free again")
        free = busy.lines.index("free again")
        busy.wait_for(WEIGHT, start=free, count=30)
        healthy.wait_for(WEIGHT, count=30)
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
