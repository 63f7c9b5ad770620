#!/usr/bin/env python3
"""The MSI, installed, used, upgraded, refused and removed; tests/package/windows.sh starts it. Wine
passes the last 8 bits of an exit status on, and puts the menu of all users into that of its user.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

NEWER = pathlib.Path(sys.argv.pop()).resolve()
PACKAGE = pathlib.Path(sys.argv.pop()).resolve()

from automation_support import PORT, PREFIX, ServerTest, server_processes, windows_path, wine
from programs import wait_until

FAILED = 1603 % 256
CONDITION = "LaunchConditions. Return value 0"  # Wine shows its message, but does not log it
DRIVE = PREFIX / "drive_c"
FOLDER = DRIVE / "Program Files/Tarn Scale Server"
DATA = "AppData/Local/TarnSclServer"  # where the server's own files lie, which the package leaves alone
SERVICE = r"HKLM\System\CurrentControlSet\Services\TarnSclServer"
MENU = {"Client's guide.lnk", "Examples.lnk", "Scale console.lnk"}


def output(*command):
    with tempfile.TemporaryFile() as file:
        subprocess.run(["wine", *map(str, command)], stdin=subprocess.DEVNULL, stdout=file,
                       stderr=subprocess.DEVNULL)
        file.seek(0)
        return file.read().decode(errors="replace")


# The installer's own books, which Wine does not take back when an installation fails, and keys that are
# always there on Windows.
OTHERS = re.compile(r"\\Installer\\UserData|\\(CLSID|Interface|(Installer(\\\w+)?))\]$")


def registry():
    """Each line of the machine's software and services below its key."""
    found = set()
    for part in (r"HKLM\Software", r"HKLM\System\CurrentControlSet\Services"):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, "part.reg")
            wine("reg", "export", part, windows_path(file), "/y")
            key = ""
            for line in file.read_text("utf-16").replace("\\\n  ", "").splitlines():
                key = line if line.startswith("[") else key
                found.add((key, line.replace(r'Server\\"', 'Server"')))  # a folder's last backslash
    return {(key, line) for key, line in found if not OTHERS.search(key)}


def files():
    """But those of the server's own data, and the installer's folders."""
    found = {str(path.relative_to(DRIVE)) for path in DRIVE.rglob("*")
             if DATA not in str(path) and "/Temp/" not in str(path)}
    return found - {"windows/Installer"}


def installer(what, package, *properties):
    log = PREFIX / "installer.log"
    log.unlink(missing_ok=True)
    status = wine("msiexec", what, windows_path(package), "/qn", *properties, "/l*v", windows_path(log))
    return status, log.read_text(errors="replace") if log.exists() else ""


def services():
    return output("sc", "query", "TarnSclServer")


class PackageTest(unittest.TestCase):
    maxDiff = 4000

    def assert_as_before(self, before):
        for now, then in zip((registry(), files()), before):
            self.assertEqual(sorted(now ^ then), [])

    def install(self, package, *properties):
        status, log = installer("/i", package, *properties)
        self.assertEqual(status, 0, log[-3000:])

    def refuse(self, what, package, *properties, saying=""):
        before = registry(), files()
        status, log = installer(what, package, *properties)
        self.assertEqual(status, FAILED, log[-3000:])
        self.assertIn(saying, log)
        self.assert_as_before(before)

    def version(self):
        found = [line for _, line in registry() if line.startswith('"DisplayVersion"')]
        return "".join(found)

    def use(self):
        """A script of the package follows a weight."""
        helper = ServerTest()
        helper.setUp()
        self.addCleanup(helper.doCleanups)
        helper.simulator("continuous", "--port", helper.com_port(), "--load", "load 12.5")
        keeper = helper.script("keeper.vbs", PORT, helper.stop)
        keeper.wait_for("^running True")
        client = helper.script("weights.vbs", 1, 2, folder=FOLDER / "examples")
        client.wait_for(r"^NewWeight: gross 12\.50 ")
        self.assertEqual(client.end(), 0, client.lines[-3:])
        processes = server_processes(b"Program Files")
        self.assertEqual(len(processes), 1)
        helper.end_well(keeper)
        helper.doCleanups()
        return processes

    def test_its_life(self):
        self.refuse("/i", PACKAGE, saying=CONDITION)  # Windows 7
        wine("winecfg", "-v", "win10")
        before = registry(), files()

        self.refuse("/i", PACKAGE, r"INSTALLDIR=Z:\proc\no such folder")

        self.install(PACKAGE)
        self.assertEqual(MENU - {path.name for path in DRIVE.rglob("*.lnk")}, set())
        for program in ("tarnscale", "tarnsim"):
            self.assertRegex(output(FOLDER / f"{program}.exe", "--version"), r"\d+\.\d+\.\d+")
        installed = registry()
        self.assertGreater(len(installed - before[0]), 1000)
        wine(FOLDER / "TarnSclServer.exe", "/RegServer")
        self.assertEqual(sorted(registry() ^ installed), [], "the program's own registration differs")
        self.use()

        data = DRIVE / "users" / os.environ.get("USER", "root") / DATA
        data.mkdir(parents=True, exist_ok=True)
        (data / "Default.scl").write_text("settings")
        self.install(NEWER)
        self.assertEqual(self.version(), '"DisplayVersion"="99.0.0"')
        self.assertNotIn("TarnSclServer", services())
        self.assertEqual((data / "Default.scl").read_text(), "settings")
        (data / "Default.scl").unlink()
        self.refuse("/i", PACKAGE, saying=CONDITION)
        self.use()
        self.assertEqual(installer("/x", NEWER)[0], 0)
        self.assert_as_before(before)

        other = r"C:\Scales"
        self.install(PACKAGE, "SERVICE=1", f"INSTALLDIR={other}")
        wait_until(lambda: "RUNNING" in services(), "the service")
        self.install(NEWER)
        wait_until(lambda: "RUNNING" in services(), "the service of the newer version")
        self.assertIn(other, output("reg", "query", SERVICE, "/v", "ImagePath"))
        self.assertEqual(len(server_processes(b"/RunService")), 1)
        self.assertFalse(FOLDER.exists())
        self.assertEqual(installer("/x", NEWER)[0], 0)
        self.assertEqual(server_processes(b"/RunService"), [])
        self.assert_as_before(before)


if __name__ == "__main__":
    unittest.main(verbosity=2)
