"""Started by clients_soak.sh: FOLDER_OF_THE_WINDOWS_PROGRAMS FOLDER_OF_THE_NATIVE_PROGRAMS SECONDS"""
import collections
import pathlib
import random
import re
import signal
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "e2e"))
import automation_support as support  # noqa: E402  (it takes the first two arguments)

SECONDS = float(sys.argv[1])
SCALES, CLIENTS = 32, 16
WAYS = ["fast", "slow", "hang", "give"]
SETUP = """
Dim connection, server, scale, serial, files, n
Set connection = CreateObject("TarnSclServer.TarnServerConnection")
Set server = connection.TarnScaleServer(0)
For n = 1 To %d
    Set scale = server.GetScale(n)
    Set serial = CreateObject("TarnSclServer.SerialConnection")
    serial.ComPort = n
    Set scale.Connection = serial
    Set scale.Protocol = CreateObject("TarnSclServer.TarnContinuousProtocol")
    scale.Disabled = False
    scale.RunScale
Next
WScript.Echo "running"
Set files = CreateObject("Scripting.FileSystemObject")
Do Until files.FileExists(WScript.Arguments(0))
    WScript.Sleep 50
Loop
""" % SCALES


def held(process):
    """Kilobytes of own memory, threads, and open files of the server."""
    status = pathlib.Path(f"/proc/{process}/status").read_text()
    numbers = [int(re.search(rf"^{name}:\s+(\d+)", status, re.M).group(1))
               for name in ("RssAnon", "Threads")]
    return numbers + [len(list(pathlib.Path(f"/proc/{process}/fd").iterdir()))]


class Soak:
    def __init__(self, folder):
        self.stop_file = folder / "stop"
        self.stop = support.windows_path(self.stop_file)
        self.random = random.Random(1)
        self.programs = []
        self.count = collections.Counter()
        (folder / "setup.vbs").write_text(SETUP)
        for n in range(1, SCALES + 1):
            (support.PREFIX / "dosdevices" / f"com{n}").unlink(missing_ok=True)
        self.terminals = self.start(
            support.NATIVE / "tarnsim", "continuous", "--port",
            support.PREFIX / "dosdevices" / "com%d", "--count", SCALES, "--load",
            f"wait 1s; ramp 0 90 {SECONDS + 600:.0f}s")
        self.terminals.wait_for("^ready ", count=SCALES)
        self.keeper = self.start("wine", support.WINDOWS / "tarn_script_host.exe",
                                 support.windows_path(folder / "setup.vbs"), self.stop)
        self.keeper.wait_for("^running")

    def start(self, *command):
        program = support.Program(*command)
        self.programs.append(program)
        return program

    def client(self, way, scale):
        self.count[way] += 1
        return self.start("wine", support.WINDOWS / "lane_client.exe", way, self.stop, scale)

    def end(self, program):
        program.kill()
        program.output.close()
        self.programs.remove(program)

    def stir(self, clients):
        """One client comes, or something happens to one that is there."""
        chance = self.random.random()
        if len(clients) < CLIENTS:
            clients.append(self.client(self.random.choice(WAYS), self.random.randint(1, SCALES)))
        elif chance < 0.3:
            victim = self.random.choice(clients)
            victim.signal(signal.SIGSTOP)
            self.count["stopped"] += 1
        elif chance < 0.5:
            self.random.choice(clients).signal(signal.SIGCONT)
        else:
            victim = clients.pop(self.random.randrange(len(clients)))
            self.end(victim)
            self.count["killed"] += 1

    def run(self):
        fast = self.client("fast", 1)
        fast.wait_for(r"^weight [1-9.]")
        clients, begin, next_line = [], time.monotonic(), 0
        while (now := time.monotonic() - begin) < SECONDS:
            self.stir(clients)
            if now >= next_line:
                next_line += max(10, SECONDS / 30)
                print(f"{now:6.0f} s: %d KB, %d threads, %d files" %
                      tuple(held(support.server_processes()[0])), flush=True)
            time.sleep(self.random.uniform(0.2, 1.5))
        lines = [line.split() for line in fast.lines if line.startswith("weight ")]
        times = [int(line[3]) for line in lines]
        gaps = sorted(later - former for former, later in zip(times, times[1:]))
        print(f"the prompt client: {len(times)} events, {len(times) / SECONDS:.1f} a second, gaps: "
              f"median {gaps[len(gaps) // 2]} ms, longest {gaps[-3:]} ms", flush=True)
        print(", ".join(f"{count} {what}" for what, count in self.count.items()), flush=True)


def main():
    support.wine(support.SERVER, "/RegServer")
    with tempfile.TemporaryDirectory() as name:
        soak = Soak(pathlib.Path(name))
        try:
            soak.run()
        finally:
            soak.stop_file.touch()
            for program in list(soak.programs):
                if program is not soak.terminals:
                    soak.end(program)
            begin = time.monotonic()
            support.wait_until(lambda: not support.server_processes(), "the end of the server")
            print(f"the server ended {time.monotonic() - begin:.0f} s after its last client", flush=True)
            soak.terminals.end(signal.SIGINT)
            support.wine(support.SERVER, "/UnregServer")


main()
