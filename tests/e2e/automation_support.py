"""What the tests of the Automation server's clients share: the server in its Wine prefix, programs
and scripts in processes of their own, simulated terminals. Imported by a test that is started with
FOLDER_OF_THE_WINDOWS_PROGRAMS FOLDER_OF_THE_NATIVE_PROGRAMS.
"""
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from programs import LIMIT, Program, wait_until

WINDOWS = pathlib.Path(sys.argv.pop(1)).resolve()
NATIVE = pathlib.Path(sys.argv.pop(1)).resolve()
HERE = pathlib.Path(__file__).resolve().parent
SCRIPTS = HERE.parent / "automation" / "scripts"
EXAMPLES = HERE.parent.parent / "examples"
PREFIX = pathlib.Path(os.environ["WINEPREFIX"]).resolve()
SERVER = WINDOWS / "TarnSclServer.exe"
SETTINGS = r"HKCU\Software\TarnSclServer"
PORT = 21  # the COM port of the simulated terminal


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def wine(*arguments):
    return subprocess.run(["wine", *map(str, arguments)], stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          timeout=LIMIT).returncode


def server_processes(switch=b"mbedding"):
    """The numbers of the server's processes in this prefix. In another container the prefix of the
    same name is another folder."""
    found = []
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            command = (folder / "cmdline").read_bytes()
            environment = (folder / "environ").read_bytes().split(b"\0")
            is_near = (folder / "root" / PREFIX.relative_to("/")).samefile(PREFIX)
        except OSError:
            continue
        if (b"TarnSclServer.exe" in command and switch in command and is_near
                and f"WINEPREFIX={PREFIX}".encode() in environment):
            found.append(int(folder.name))
    return found


class ClientProgram(Program):
    def weights(self, start=0, end=None):
        return [float(line.split()[1]) for line in self.lines[start:end]
                if re.match(r"weight \d", line)]


class ServerTest(unittest.TestCase):
    """The server registered, and ended by itself after every test."""

    @classmethod
    def setUpClass(cls):
        wine("reg", "delete", SETTINGS, "/f")
        if wine(SERVER, "/RegServer") != 0:
            raise AssertionError("/RegServer failed")

    @classmethod
    def tearDownClass(cls):
        wine(SERVER, "/UnregServer")
        wine("reg", "delete", SETTINGS, "/f")

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.started = time.strftime("%Y-%m-%d %H:%M:%S")
        self.stop_file = self.folder / "stop"
        self.stop = windows_path(self.stop_file)
        # Runs last, when all clients are gone: the server must have ended by itself.
        self.addCleanup(wait_until, lambda: not server_processes(), "the end of the server")

    def setting(self, name, value):
        key = (SETTINGS + r"\Settings", "/v", name)
        wine("reg", "add", *key, "/d", value, "/f")
        self.addCleanup(wine, "reg", "delete", *key, "/f")

    def event_timeout(self, milliseconds):
        self.setting("EventTimeout", milliseconds)

    def without_budgets(self):
        """Every client that answers is waited for, so that it sees each reading also where the
        machine is busy."""
        self.setting("ClientShare", 100)
        self.setting("AllClientsShare", 100)

    def start(self, *command):
        program = ClientProgram(*command)
        self.addCleanup(program.output.close)
        self.addCleanup(program.kill)
        return program

    def script(self, name, *arguments, folder=SCRIPTS):
        return self.start("wine", WINDOWS / "tarn_script_host.exe", windows_path(folder / name),
                          *arguments)

    def end_well(self, *programs):
        self.stop_file.touch()
        for program in programs:
            self.assertEqual(program.end(), 0, program.lines[-5:])
            self.assertRegex(program.lines[-1], r"^(All|End) of ")

    def traced(self, text):
        """The lines of the server's trace since this test began."""
        traces = PREFIX.glob("drive_c/users/*/AppData/*/TarnSclServer/TarnSclServer.trace")
        return [line for trace in traces for line in trace.read_text().splitlines()
                if line[:19] >= self.started and text in line]

    def simulator(self, *arguments):
        terminal = self.start(NATIVE / "tarnsim", *arguments)
        terminal.wait_for("^ready ")
        self.addCleanup(terminal.end, signal.SIGINT)
        return terminal

    def com_port(self):
        """Where a simulated terminal makes the line of COM port PORT."""
        link = PREFIX / "dosdevices" / f"com{PORT}"
        link.unlink(missing_ok=True)  # of a run that was ended by force
        return link
