#!/usr/bin/env python3
"""Every command line of the documents and of the help runs as it stands, in a folder of its own; then a
technician's first hour: from nothing to five scales of five kinds, and the faults on the way, each with
the words that are shown. Usage: handbook_test.py FOLDER_OF_THE_PROGRAMS [unittest arguments]
"""
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from programs import LIMIT, Program  # noqa: E402
from tools_test import PROGRAMS, Server  # noqa: E402 (it takes the folder from the arguments)

ROOT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENTS = ["README.md", "docs/clients-guide.md", "docs/events.md", "docs/http.md", "docs/journal.md",
             "docs/terminal-variables.md"]
COMMAND = re.compile(r"(build/linux/|[A-Z_]+=\S+ |\w+=\$\()*(tarnscale|tarnsim) |echo ")


def command_lines(text, indent):
    joined = text.replace("\\\n", " ")
    for line in joined.splitlines():
        if line.startswith(indent) and COMMAND.match(line.strip()):
            yield line.strip()


class HandbookTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for name in ("build", "examples"):
            (self.folder / name).symlink_to(ROOT / name)
        self.environment = {**os.environ, "PATH": f"{PROGRAMS}:{os.environ['PATH']}",
                            "HOME": "/nonexistent", "XDG_CONFIG_HOME": ""}

    def start(self, line):
        words = ["-c", "exec " + line.replace("/tmp/", f"{self.folder}/")]
        process = Program("/bin/bash", *words, cwd=self.folder, env=self.environment)
        self.addCleanup(process.output.close)
        self.addCleanup(process.end, signal.SIGINT)
        process.wait_for("^ready ", what=line)
        return process

    def shell(self, line, statuses=(0,)):
        line = line.replace("/tmp/", f"{self.folder}/").replace("| your-program", "")
        line = re.sub(r"\S+\.capture", str(ROOT / "tests/data/captures/continuous.capture"), line)
        line = re.sub(r"(tarnscale (run|monitor|view) (?!.*--count)[^|>]*)", r"\1 --for 0.5 ", line)
        line = re.sub(r"(tarnscale (send|read) (?!.*--timeout)[^|)]*)",
                      lambda m: m[1] + (" --wait 1 " if m[2] == "send" else " --timeout 1 "), line)
        done = subprocess.run(["bash", "-c", line], capture_output=True, text=True, timeout=LIMIT,
                              cwd=self.folder, env=self.environment, stdin=subprocess.DEVNULL)
        self.assertIn(done.returncode, statuses, f"{line}\n{done.stdout}{done.stderr}")
        return done

    def run_line(self, line):
        if re.match(r"(build/linux/)?tarnsim ", line):
            self.start(line).end(signal.SIGINT)
            return
        asks = re.search(r"tarnscale (send|read|check|scan) ", line)  # there is no terminal
        self.shell(line, (0, 1, 3, 4, 5) if asks else (0,))

    def test_command_lines_of_the_documents(self):
        total = 0
        for document in DOCUMENTS:
            lines = list(command_lines((ROOT / document).read_text(), "    "))
            total += len(lines)
            self.shell("tarnscale set plant.scl 1 connection=serial protocol=continuous enabled=yes")
            for line in lines:
                with self.subTest(document=document, line=line):
                    self.run_line(line)
        self.assertGreater(total, 25)

    def test_command_lines_of_the_help(self):
        seen = 0
        commands = re.findall(r"^  (\w+) ", self.shell("tarnscale --help").stdout, re.MULTILINE)
        for command in filter(lambda c: c != "view", commands):
            (self.folder / "plant.scl").unlink(missing_ok=True)
            self.shell("tarnscale set plant.scl 1 connection=serial protocol=continuous enabled=yes")
            if command == "delete":
                self.shell("tarnscale copy plant.scl 1 2")
            if command == "records":
                self.shell("tarnscale run plant.scl --journal journal")
            examples = self.shell(f"tarnscale {command} --help").stdout.partition("\nExample")[2]
            for line in command_lines(examples, "  "):
                with self.subTest(line=line):
                    self.run_line(line)
                    seen += 1
        self.assertGreaterEqual(seen, len(commands) - 1)

    def test_programs_of_the_documents(self):
        self.start("tarnsim continuous --port /tmp/line1 --load 'load 12.5' --units kg")
        self.shell("tarnscale set plant.scl 1 alias=A connection=serial device=/tmp/line1 "
                   "protocol=continuous enabled=yes")
        text = (ROOT / "docs/events.md").read_text()
        program = re.search(r"```python\n(.*?)```", text, re.DOTALL)[1]
        (self.folder / "weights.py").write_text(program)
        events = self.shell("tarnscale run plant.scl --json --stable --count 3 | python3 weights.py")
        self.assertEqual(events.stdout, "A 12.5 kg\n")
        script = re.search(r"```sh\n(.*?)```", text, re.DOTALL)[1]
        self.assertEqual(self.shell(script).stdout, "Scale 1 shows 12.50\n")

    def test_the_first_hour(self):
        """From nothing to five scales of five kinds, by what the messages say."""
        def tool(line, status, words):
            done = self.shell("tarnscale " + line, (status,))
            self.assertIn(words, done.stdout + done.stderr, line)

        for line, status, words in (
                ("rnu", 2, "there is no command 'rnu'"),
                ("run plant.scl", 1, "create one with: tarnscale set plant.scl 1"),
                ("set plant.scl one alias=x", 2, "'one' is no scale number: write 1 to 32"),
                ("set plant.scl 1 baud=9601", 2, "the key 'baud' belongs to connection=serial"),
                ("set plant.scl 1 conection=serial", 2, "there is no key 'conection'"),
                ("set plant.scl 1 connection=seriell", 2, "write one of none, serial, ethernet"),
                ("set plant.scl 1 connection=ethernet protocol=continuous", 0, "set connection=serial"),
                ("set plant.scl 1 enabled=yes device=/tmp/line1 connection=serial protocol=continuous"
                 " bidirectional=yes alias=One", 0, "line1 is not there now"),
                ("set plant.scl 2 enabled=yes device=/tmp/line2 connection=serial protocol=mira", 0,
                 "type=sir"),
                ("set plant.scl 3 enabled=yes device=/tmp/line3 connection=serial protocol=generic", 0,
                 "it has no type: set type=cardinal|fairbanks"),
                ("set plant.scl 3 type=fairbanks", 0, "type=fairbanks"),
                ("set plant.scl 4 enabled=yes connection=ethernet protocol=shared-data", 0,
                 "the terminal has no address"),
                ("set plant.scl 4 address=127.0.51.4", 0, "address=127.0.51.4"),
                ("set plant.scl 5 enabled=yes address=127.0.51.5 protocol=tcp-template fields=2 "
                 "connection=ethernet", 0, "field2="),
                ("check plant.scl", 1, "line2 is not there now"),
                ("read plant.scl 1", 1, "No such file or directory"),
                ("send plant.scl 2 Z", 4, "one-way"),
                ("show plant.scl > /dev/full", 1, "No space left on device"),
                ("show plant.scl --brief", 0, " 5  Scale5")):
            tool(line, status, words)

        # The server is there before the terminals, as after the machine has booted.
        server = Server(PROGRAMS / "tarnscale", "run", self.folder / "plant.scl", "--json", "--port",
                        "9=x", env=self.environment)
        self.addCleanup(server.output.close)
        self.addCleanup(server.kill)
        server.wait_for_event(event="StartFailure", scale=1,
                              message=lambda text: text.endswith("next try in 1 s"))
        terminals = [self.start("tarnsim " + line) for line in (
            "continuous --port /tmp/line1 --load 'load 12.5'",
            "mira --port /tmp/line2 --load 'load 12.5'",
            "generic --type fairbanks --port /tmp/line3 --load 'load 12.5'",
            "shareddata --address 127.0.51.4 --load 'load 12.5'",
            "template --listen 127.0.51.5 --print-every 1 --load 'load 12.5'")]
        for scale in range(1, 5):
            server.wait_for_event(event="NewWeight", scale=scale, valid=True, net="12.50")
        server.wait_for_event(event="NewDataReady", scale=5)
        tool("read plant.scl 1 --alone", 1, "is in use by tarnscale (process ")
        terminals[0].end(signal.SIGINT)
        server.wait_for_event(scale=1, noDataError=True)
        self.assertEqual(server.end(signal.SIGINT), 0)
        for words in ("has port=9, so --port 9=x does nothing", "Scale 1 (One): port 1 is connected",
                      "Scale 1 (One): The port 1 (", "went away: Input/output error; next try in 1 s"):
            self.assertIn(words, server.errors)
        self.assertFalse((self.folder / ".config").exists())

        tool("read plant.scl 3", 0, "12.50")
        tool("read plant.scl 3 --gross", 5, "no valid weight within 1 s")
        terminals[2].end(signal.SIGINT)
        silent = self.start("tarnsim generic --type fairbanks --port /tmp/line3 --rate 0.01")
        tool("read plant.scl 3", 3, "is the terminal on and wired?")
        silent.end(signal.SIGINT)
        plant = self.folder / "plant.scl"
        plant.write_bytes(plant.read_bytes().replace(b"MiraProtocol", b"XiraProtocol"))
        tool("set plant.scl 1 alias=x", 1, "is damaged: entry of scale 2")
        tool("delete plant.scl 2", 0, "is deleted")
        tool("set plant.scl 1 alias=x", 0, "alias=x")


if __name__ == "__main__":
    unittest.main(verbosity=1)
