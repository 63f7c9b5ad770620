"""Programs under test, whose lines of output can be waited for."""
import os
import re
import subprocess
import tempfile
import time

LIMIT = 90  # seconds until something that never comes is given up


def wait_until(condition, what):
    deadline = time.monotonic() + LIMIT
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"not in time: {what}")
        time.sleep(0.05)


class Program:
    """Its output goes through a file: Wine's services are children of whichever program comes first,
    and would keep a pipe open."""

    def __init__(self, *command, **options):
        self.output = tempfile.TemporaryFile()
        self.process = subprocess.Popen(
            list(map(str, command)),
            **{"stdin": subprocess.DEVNULL, "stdout": self.output, "stderr": subprocess.STDOUT,
               **options})

    @property
    def lines(self):
        """The whole lines so far; all of them after the end."""
        ended = self.process.poll() is not None
        size = os.fstat(self.output.fileno()).st_size
        text = os.pread(self.output.fileno(), size, 0).decode(errors="replace")
        return (text if ended else text[:text.rfind("\n") + 1]).splitlines()

    def wait_for(self, wanted, start=0, count=1, what=None):
        """The first `count` lines from `start` on that match a pattern or fulfil a condition."""
        matches = wanted if callable(wanted) else re.compile(wanted).search
        found = []
        seen = start

        def over():
            nonlocal seen
            ended = self.process.poll() is not None
            news = self.lines[seen:]
            seen += len(news)
            found.extend(line for line in news if matches(line))
            return ended or len(found) >= count
        try:
            wait_until(over, wanted)
        except AssertionError:
            pass  # reported below, with the lines
        if len(found) < count:
            raise AssertionError(f"{self.process.args}: no {what or wanted!r}; last lines: "
                                 f"{self.lines[-5:]}")
        return found[:count]

    def signal(self, what):
        self.process.send_signal(what)

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait(LIMIT)

    def end(self, how=None):
        """The status that it ends with, after a signal or without one."""
        if how and self.process.poll() is None:
            self.signal(how)
        return self.process.wait(LIMIT)
