#!/usr/bin/env python3
"""Processor time of a frame from the line to a reader of lines of text: `tarnscale run --json` beside
ser2net, which only relays the bytes, and gpsd, which decodes positions as JSON. All in one run, one
after the other, over pseudo-terminals; gpsd and ser2net are left out where they are not installed.

Usage: line_output.py [FOLDER_OF_THE_PROGRAMS] [OTHER_TARNSCALE]...
"""
import os
import pathlib
import pty
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import tty

PROGRAMS = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build/linux").resolve()
SECONDS = 5


def processor_time(process):
    """Seconds that all threads of a process have run."""
    threads = pathlib.Path(f"/proc/{process.pid}/task").iterdir()
    return sum(int((thread / "schedstat").read_text().split()[0]) for thread in threads) / 1e9


def connect(port):
    for _ in range(100):
        try:
            return socket.create_connection(("127.0.0.1", port))
        except ConnectionRefusedError:
            time.sleep(0.1)
    raise SystemExit(f"nobody listens at port {port}")


class Terminals:
    """Simulated terminals of so many frames a second."""

    def __init__(self, folder, lines, rate):
        self.places = [f"{folder}/line{n}" for n in range(1, lines + 1)]
        self.process = subprocess.Popen(
            [PROGRAMS / "tarnsim", "continuous", "--port", f"{folder}/line%d", "--count", str(lines),
             "--line", "115200,n,8,1", "--rate", str(rate), "--end-with-input"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        for _ in self.places:
            self.process.stdout.readline()
        threading.Thread(target=self.process.stdout.read, daemon=True).start()

    def end(self):
        self.process.stdin.close()
        self.process.wait()


def measure(process, count):
    """Microseconds of a frame, and the frames a second."""
    time.sleep(2)
    began, frames, used = time.monotonic(), count(), processor_time(process)
    time.sleep(SECONDS)
    frames = count() - frames
    used = processor_time(process) - used
    return used / max(frames, 1) * 1e6, frames / (time.monotonic() - began)


def run_tarnscale(program, folder, terminals):
    plant = f"{folder}/plant.scl"
    for n, place in enumerate(terminals.places, 1):
        subprocess.run([PROGRAMS / "tarnscale", "set", plant, str(n), "connection=serial", f"port={n}",
                        f"device={place}", "baud=115200", "parity=none", "databits=8", "stopbits=1",
                        "protocol=continuous", "enabled=yes"], check=True, stdout=subprocess.DEVNULL)
    process = subprocess.Popen([program, "run", plant, "--json", "--readings-only"],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    lines = [0]

    def read():
        while data := os.read(process.stdout.fileno(), 65536):
            lines[0] += data.count(b"\n")
    threading.Thread(target=read, daemon=True).start()
    result = measure(process, lambda: lines[0])
    process.terminate()
    process.wait()
    os.remove(plant)
    return result


def run_ser2net(folder, terminals):
    config, port = f"{folder}/ser2net.yaml", 43000
    with open(config, "w", encoding="ascii") as file:
        for n, place in enumerate(terminals.places):
            file.write(f"connection: &c{n}\n  accepter: tcp,127.0.0.1,{port + n}\n"
                       f"  connector: serialdev,{place},115200n81,local\n")
    process = subprocess.Popen(["ser2net", "-n", "-u", "-c", config], stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    taken = [0]

    def read(number):
        with connect(port + number) as line:
            while data := line.recv(65536):
                taken[0] += data.count(b"\r")
    for n in range(len(terminals.places)):
        threading.Thread(target=read, args=(n,), daemon=True).start()
    result = measure(process, lambda: taken[0])
    process.terminate()
    process.wait()
    return result


def run_gpsd(lines, rate):
    sentence = "GPRMC,{:06d}.{:02d},A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W"
    ends, stop = [pty.openpty() for _ in range(lines)], threading.Event()
    for master, slave in ends:
        tty.setraw(slave)
        os.set_blocking(master, False)

    def feed():
        n, due = 0, time.monotonic()
        while not stop.is_set():
            n, due = n + 1, due + 1 / rate
            body = sentence.format(120000 + n // 100 % 60, n % 100)
            check = 0
            for c in body.encode():
                check ^= c
            for master, _ in ends:
                try:
                    os.write(master, f"${body}*{check:02X}\r\n".encode())
                except BlockingIOError:
                    pass
            time.sleep(max(due - time.monotonic(), 0))
    threading.Thread(target=feed, daemon=True).start()
    process = subprocess.Popen(["gpsd", "-N", "-n", "-b", "-S", "42947",
                                *(os.ttyname(slave) for _, slave in ends)],
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    positions = [0]

    def read():
        with connect(42947) as line:
            line.sendall(b'?WATCH={"enable":true,"json":true};\n')
            while data := line.recv(65536):
                positions[0] += data.count(b'"class":"TPV"')
    threading.Thread(target=read, daemon=True).start()
    result = measure(process, lambda: positions[0])
    process.terminate()
    process.wait()
    stop.set()
    return result


def main():
    programs = [str(PROGRAMS / "tarnscale"), *sys.argv[2:]]
    for lines, rate in ((32, 50), (32, 600), (4, 50)):
        with tempfile.TemporaryDirectory() as folder:
            terminals = Terminals(folder, lines, rate)
            rows = [(program, *run_tarnscale(program, folder, terminals)) for program in programs]
            if shutil.which("ser2net"):
                rows.append(("ser2net", *run_ser2net(folder, terminals)))
            terminals.end()
        if lines == 4 and shutil.which("gpsd"):
            rows.append(("gpsd", *run_gpsd(lines, rate)))
        for name, cost, frames in rows:
            print(f"{lines:3} x {rate:3}  {cost:7.1f} us a frame, {frames:8.0f} frames/s, "
                  f"{rows[0][1] / cost:5.2f} of it is ours  {name}", flush=True)


if __name__ == "__main__":
    main()
