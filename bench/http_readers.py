#!/usr/bin/env python3
"""What readers of events over HTTP cost the server: 32 scales at ten readings a second, and 1 and 40
readers, five of which stop reading. Then connections one after the other.

Prints the processor time of the server for each delivery (that of the same scales without a reader is
taken off), the time from the last byte of a frame, which this program writes into a pseudo-terminal, to
the reader, memory, and what the lines have lost.
Usage: bench/http_readers.py [FOLDER_OF_THE_PROGRAMS] [SECONDS] [CONNECTIONS]   (build/linux, 10 s, 10000)
"""
import http.client
import os
import pathlib
import pty
import random
import re
import select
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import time
import tty

PROGRAMS = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build/linux").resolve()
SECONDS = float(sys.argv[2]) if len(sys.argv) > 2 else 10
CONNECTIONS = int(sys.argv[3]) if len(sys.argv) > 3 else 10_000
SCALES = 31  # beside the one of this program
TICKS = os.sysconf("SC_CLK_TCK")


def processor_time(process):
    """Seconds, by the scheduler's own clock where it has one."""
    try:
        threads = pathlib.Path(f"/proc/{process.pid}/task").iterdir()
        return sum(int((t / "schedstat").read_text().split()[0]) for t in threads) / 1e9
    except OSError:
        fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / TICKS


def memory(process, what="VmRSS"):
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    return int(status.partition(what + ":")[2].split()[0]) / 1024


def start(folder):
    master, slave = pty.openpty()
    tty.setraw(slave)
    os.symlink(os.ttyname(slave), f"{folder}/line{SCALES + 1}")
    simulator = subprocess.Popen(
        [PROGRAMS / "tarnsim", "continuous", "--port", f"{folder}/line%d", "--count", str(SCALES)],
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
    for n in range(1, SCALES + 2):
        while not os.path.islink(f"{folder}/line{n}"):
            time.sleep(0.05)
        subprocess.run([PROGRAMS / "tarnscale", "set", f"{folder}/plant.scl", str(n), "connection=serial",
                        f"device={folder}/line{n}", "protocol=continuous", "enabled=yes", "-q"],
                       check=True, stdout=subprocess.DEVNULL)
    errors = open(f"{folder}/errors", "w+")
    server = subprocess.Popen([PROGRAMS / "tarnscale", "run", f"{folder}/plant.scl", "--count", "1000000000",
                               "--every", "1e6", "--http", "127.0.0.1:0"], stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=errors)
    while not (found := re.search(r"127\.0\.0\.1:(\d+)/", pathlib.Path(errors.name).read_text())):
        time.sleep(0.05)
    return simulator, server, int(found[1]), master


def open_reader(port, query=""):
    reader = socket.create_connection(("127.0.0.1", port))
    reader.sendall(b"GET /api/events%s HTTP/1.1\r\nHost: localhost\r\n\r\n" % query.encode())
    return reader


def run(port, server, readers, stalled):
    """Processor time and deliveries of this many readers."""
    poll = select.poll()
    open_ones = {}
    for n in range(readers):
        reader = open_reader(port)
        open_ones[reader.fileno()] = reader
        if n >= stalled:
            poll.register(reader, select.POLLIN)
    deliveries, used, began = 0, None, time.monotonic() + 1
    while time.monotonic() < began + SECONDS:
        if used is None and time.monotonic() >= began:
            used, deliveries = processor_time(server), 0
        for descriptor, _ in poll.poll(200):
            deliveries += open_ones[descriptor].recv(1 << 20).count(b"event: weight")
    used = processor_time(server) - used
    for reader in open_ones.values():
        reader.close()
    return used, deliveries


def delays(port, line):
    """Milliseconds from writing a frame to its arrival at a reader, at odd moments."""
    reader = open_reader(port, f"?scale={SCALES + 1}")
    found = []
    for n in range(200):
        time.sleep(random.uniform(0.02, 0.04))
        number = b"%06d" % (n + 1)
        began = time.monotonic()
        os.write(line, b"\x02\x24\x30 " + number + b"000000\r")
        text = b""
        while b'netText":"%d.%02d"' % divmod(n + 1, 100) not in text:
            text += reader.recv(1 << 20)
        found.append((time.monotonic() - began) * 1000)
    reader.close()
    return statistics.median(found), sorted(found)[int(len(found) * 0.99)]


def counters(port):
    lost = frames = 0
    for n in range(1, SCALES + 1):
        connection = http.client.HTTPConnection("127.0.0.1", port)
        connection.request("GET", f"/api/scales/{n}/line")
        text = connection.getresponse().read().decode()
        frames += int(re.search(r'"frames":(\d+)', text)[1])
        lost += sum(map(int, re.findall(r'"rejected\w+":(\d+)', text)))
    return frames, lost


def main():
    with tempfile.TemporaryDirectory() as folder:
        simulator, server, port, line = start(folder)
        try:
            time.sleep(3)
            frames, lost = counters(port)
            began = processor_time(server)
            time.sleep(SECONDS)
            idle = (processor_time(server) - began) / SECONDS
            frames_idle, lost_idle = counters(port)
            print(f"no reader: {idle * 100:.2f} % of a core, {memory(server):.1f} MB, "
                  f"{frames_idle - frames} frames, {lost_idle - lost} rejected")
            frames, lost = frames_idle, lost_idle
            for readers, stalled in ((1, 0), (40, 0), (40, 5)):
                used, deliveries = run(port, server, readers, stalled)
                each = (used - idle * SECONDS) / deliveries * 1e6
                print(f"{readers} readers, {stalled} stalled: {deliveries / SECONDS:.0f} deliveries a "
                      f"second, {each:.2f} us each, {memory(server):.1f} MB")
                time.sleep(1)
            print("delay: median %.2f ms, 99 %% below %.2f ms" % delays(port, line))
            after, lost_after = counters(port)
            print(f"frames: {after - frames}, rejected: {lost_after - lost}")
            before = memory(server)
            for _ in range(CONNECTIONS):
                connection = http.client.HTTPConnection("127.0.0.1", port)
                connection.request("GET", "/api/scales")
                connection.getresponse().read()
                connection.close()
            print(f"{CONNECTIONS} connections: {before:.2f} to {memory(server):.2f} MB, "
                  f"at most {memory(server, 'VmHWM'):.1f} MB")
        finally:
            for process in (server, simulator):
                process.send_signal(signal.SIGTERM)
                process.wait()


if __name__ == "__main__":
    main()
