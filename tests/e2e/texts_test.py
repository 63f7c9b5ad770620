#!/usr/bin/env python3
"""What is made of the command line's own table: completion and manual pages say what --help says.

Usage: texts_test.py FOLDER_OF_THE_PROGRAMS [unittest arguments]
"""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else "build/linux").resolve()
COMPLETE = """source "$1"; COMP_WORDS=("${@:2}"); COMP_CWORD=$(($# - 2))
compopt() { :; }; _$2; printf '%s\\n' "${COMPREPLY[@]}" """


def run(*command, status=0):
    done = subprocess.run(list(map(str, command)), capture_output=True, text=True, timeout=60)
    assert done.returncode == status, (command, done.stderr)
    return done.stdout + done.stderr


def options_of(text):
    """The options that begin a line of the help."""
    shown = re.findall(r"^  (-[^\s]*)", text, re.M)
    return {re.sub("{.*", "", name) for names in shown for name in names.split(",")}


class TextsTest(unittest.TestCase):
    def test_completion_offers_what_the_help_shows(self):
        for program in ("tarnscale", "tarnsim"):
            tool = PROGRAMS / program
            self.assertRegex(run(tool, "--version"), rf"^{program} \d+\.\d+\.\d+\n$")
            with tempfile.NamedTemporaryFile("w") as script:
                script.write(run(tool, "--completion", "bash"))
                script.flush()

                def complete(*words):
                    return set(run("bash", "-c", COMPLETE, "bash", script.name, program,
                                   *words).split())
                shown = run(tool, "--help")
                self.assertEqual(complete("-"), options_of(shown))
                commands = set(re.findall(r"^  (\w+)  ", shown.split("Subcommands:")[1], re.M))
                self.assertEqual(complete(""), commands)
                manual = re.sub(r"\\&|\\f.", "", run(tool, "--manual")).replace(r"\-", "-")
                for command in commands:
                    shown = run(tool, command, "--help")
                    self.assertEqual(complete(command, "-"), options_of(shown), command)
                    for name in options_of(shown):
                        self.assertTrue(re.search(rf"(?m)^([-\w]+,)?{name}\b", manual), name)
                    self.assertIn("\n.SS " + command + "\n", manual)
                    footer = shown.strip().rsplit("\n\n", 1)[-1].replace("\\", r"\e")
                    self.assertIn(footer.splitlines()[-1], manual)
                if program == "tarnscale":
                    self.assertEqual(complete("set", "plant.scl", "1", "baud"), {"baud="})
                    self.assertEqual(complete("send", "plant.scl", "1", "Set"), {"SetTare"})
                    self.assertEqual(complete("run", "--log", "pl"), set(), "left to the shell")
                    self.assertIn("needs a value", run(tool, "--completion", status=2))
                else:
                    self.assertEqual(complete("continuous", "--layout", "s"), {"standard", "short"})

    def test_other_programs_accept_them(self):
        for program in ("tarnscale", "tarnsim"):
            for command, text in ((("mandoc", "-Tlint", "-Wstyle"), "--manual"),
                                  (("zsh", "-n"), "--completion=zsh"),
                                  (("fish", "-n"), "--completion=fish")):
                if not shutil.which(command[0]):
                    print(f"not checked, there is no {command[0]}")
                    continue
                with tempfile.NamedTemporaryFile("w") as file:
                    file.write(run(PROGRAMS / program, text))
                    file.flush()
                    self.assertEqual(run(*command, file.name), "")


if __name__ == "__main__":
    unittest.main(verbosity=2)
