#!/usr/bin/env python3
"""The page in a browser, over a running server with simulated terminals. Without a browser, or where the
program has no HTTP, nothing is tested and the exit status is 77.

Usage: page_test.py FOLDER_OF_THE_PROGRAMS [unittest arguments]
"""
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from programs import LIMIT, Program, wait_until  # noqa: E402

PROGRAMS = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else "build/linux").resolve()
SKIPPED = 77
NO_VALUE = "\u2013 \u2013 \u2013"


def skip(why):
    print(f"SKIPPED, the page is not tested: {why}")
    sys.exit(SKIPPED)


try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.keys import Keys
except ImportError:
    skip("python3-selenium is missing")

# What a reader sees of a scale's card.
SEEN = """
const card = document.querySelector(`.card[data-scale="${arguments[0]}"]`);
if (!card) return {};
const seen = { state: card.dataset.state, buttons: card.querySelector("button").checkVisibility() };
for (const part of card.querySelectorAll("[data-f]")) seen[part.dataset.f] = part.textContent;
return seen;"""


def free_port():
    with socket.socket() as any_port:
        any_port.bind(("127.0.0.1", 0))
        return any_port.getsockname()[1]


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        cls.addClassCleanup(cls.profile.cleanup)
        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium")
        for argument in ("--headless=new", "--disable-gpu", "--disable-dev-shm-usage",
                         "--window-size=1280,800", f"--user-data-dir={cls.profile.name}",
                         *(["--no-sandbox"] if os.geteuid() == 0 else [])):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.browser = webdriver.Chrome(service=Service(shutil.which("chromedriver")),
                                       options=options)
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.port = free_port()
        self.url = f"http://127.0.0.1:{self.port}"
        # A page of the former test would go on asking its server.
        self.addCleanup(self.browser.get, "about:blank")
        self.browser.get_log("browser")  # takes what the former test has left

    def start(self, program, *arguments):
        process = Program(PROGRAMS / program, *arguments)
        self.addCleanup(process.output.close)
        self.addCleanup(process.kill)
        return process

    def terminal(self, number, load="load 12.5"):
        terminal = self.start("tarnsim", "continuous", "--port", self.folder / f"line{number}",
                              "--units", "kg", "--load", load)
        terminal.wait_for("^ready ")
        subprocess.run([str(PROGRAMS / "tarnscale"), "set", "plant.scl", str(number), "--store", "no",
                        f"alias=Line {number}", "connection=serial", f"port={number}",
                        "bidirectional=yes", "protocol=continuous", "enabled=yes"],
                       cwd=self.folder, check=True, timeout=LIMIT, capture_output=True)
        return terminal

    def server(self, *options):
        ports = [word for line in sorted(self.folder.glob("line*"))
                 for word in ("--port", f"{line.name[4:]}={line}")]
        return self.start("tarnscale", "run", self.folder / "plant.scl", "--json", "--store",
                          self.folder / "no", "--http", f"127.0.0.1:{self.port}", *ports, *options)

    def open(self):
        def answers():
            with socket.socket() as client:
                return client.connect_ex(("127.0.0.1", self.port)) == 0
        wait_until(answers, "the server listens")
        self.browser.get(self.url)

    def script(self, text, *arguments):
        return self.browser.execute_script(text, *arguments)

    def text(self, name):
        return self.script("const part = document.getElementById(arguments[0]);"
                           "return part.checkVisibility() ? part.innerText : ''", name)

    def wait_for_text(self, name, words):
        wait_until(lambda: words in self.text(name), f"{words!r} in {name}")

    def wait_for_card(self, scale, **wanted):
        seen = {}

        def fits():
            seen.update(self.script(SEEN, scale))
            return all(seen.get(name) == value for name, value in wanted.items())
        try:
            wait_until(fits, wanted)
        except AssertionError:
            self.fail(f"scale {scale} is {seen}, not {wanted}")
        return seen

    def click(self, selector):
        self.browser.find_element("css selector", selector).click()

    def test_weights_appear_and_follow_the_load(self):
        self.terminal(1, "load 12.5; wait 3s; ramp 40 1s; wait 3s; load 120; wait 4s; load 0; "
                         "wait 4s; repeat")
        self.terminal(2)
        self.server()
        self.open()
        self.wait_for_card(2, state="stable", word="Stable", value="12.50", unit="kg", mode="Gross",
                           alias="Line 2", tare="0.00 kg", detail="", buttons=False)
        self.wait_for_card(1, state="stable", value="12.50")
        self.wait_for_card(1, state="moving")
        self.wait_for_card(1, state="stable", value="40.00")
        self.wait_for_card(1, state="range", word="Out of range", value=NO_VALUE)
        self.wait_for_card(1, state="zero", word="Centre of zero", value="0.00")
        wait_until(lambda: float(self.script(SEEN, 2)["rate"]) > 5, "readings a second")
        # One scale on the whole screen, by the keyboard, and back.
        self.browser.find_element("css selector", '[data-scale="2"] a').send_keys(Keys.ENTER)
        self.wait_for_text("single", "Line 2")
        self.wait_for_text("single", "12.50")
        self.browser.switch_to.active_element.send_keys(Keys.ESCAPE)
        self.wait_for_text("overview", "Line 1")
        # A telephone sees all of it without scrolling sideways.
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": 360, "height": 740, "deviceScaleFactor": 2, "mobile": True})
        for view in ("#/", "#/scale/1", "#/records"):
            self.script("location.hash = arguments[0]", view)
            self.assertEqual(self.script("return document.documentElement.scrollWidth"), 360, view)
        self.browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
        complaints = [entry["message"] for entry in self.browser.get_log("browser")
                      if entry["level"] == "SEVERE"]
        self.assertEqual(complaints, [])  # none of the content policy, none of a script

    def test_no_old_weight_is_shown_as_live(self):
        terminal = self.terminal(1)
        self.terminal(2)
        server = self.server()
        self.open()
        self.wait_for_card(1, state="stable", value="12.50")
        terminal.signal(signal.SIGSTOP)
        self.wait_for_card(1, state="stale", value=NO_VALUE, unit="", gross="\u2013")
        # Half a frame may have come first.
        wait_until(lambda: "no byte for" in self.script(SEEN, 1)["detail"], "the reason")
        self.assertIn("Last 12.50 kg", self.script(SEEN, 1)["detail"])
        self.wait_for_card(2, state="stable", value="12.50")
        terminal.signal(signal.SIGCONT)
        self.wait_for_card(1, state="stable", value="12.50")
        # The server hangs: its connections stay, and nothing comes.
        server.signal(signal.SIGSTOP)
        for scale in (1, 2):
            self.wait_for_card(scale, state="old", value=NO_VALUE)
        server.signal(signal.SIGCONT)
        self.wait_for_card(1, state="stable", value="12.50")
        # It goes, and comes again with another scale in its file.
        self.assertEqual(server.end(signal.SIGINT), 0)
        self.wait_for_card(1, state="lost", value=NO_VALUE)
        self.wait_for_text("outage", "No connection since ")
        wait_until(lambda: "No connection" in self.browser.title, "the title says so")
        self.terminal(3, "load 30")
        self.server()
        self.wait_for_card(3, state="stable", value="30.00")
        self.wait_for_card(1, state="stable", value="12.50")
        wait_until(lambda: self.text("outage") == "", "no word of an outage")

    def test_commands_where_they_are_allowed(self):
        self.terminal(1)
        self.terminal(2)
        self.server("--http-commands", "1")
        self.open()
        self.wait_for_card(1, state="stable", value="12.50", buttons=True)
        self.wait_for_card(2, state="stable", value="12.50", buttons=False)
        self.click('[data-scale="1"] [data-command=tare]')
        self.wait_for_text("message", "Scale 1, Line 1: tare is 12.50 kg.")
        self.wait_for_card(1, mode="Net", value="0.00", gross="12.50 kg", tare="12.50 kg")
        self.browser.find_element("css selector", '[data-scale="1"] a').send_keys("p")
        self.wait_for_text("message", "printed as record 1, net 0.00 kg.")
        post = """return fetch("/api/scales/2/tare", { method: "POST" })
                    .then(async (a) => [a.status, (await a.json()).error])"""
        status, words = self.script(post)
        self.assertEqual(status, 403)
        self.assertTrue(words)
        self.wait_for_card(2, mode="Gross", value="12.50")
        self.script("location.hash = '#/scale/1'")
        self.click("#single [data-command=clear]")
        self.wait_for_text("message", "tare is cleared.")
        self.browser.find_element("id", "preset-tare").send_keys("2.5", Keys.ENTER)
        self.wait_for_text("message", "tare is 2.50 kg.")
        self.script("location.hash = '#/records'")
        self.wait_for_text("records", "Line 1")
        csv = self.script("return fetch(document.getElementById('csv').href).then(a => a.text())")
        self.assertEqual(len(csv.splitlines()), 2)
        self.assertIn("12.50", csv)

    def test_the_token_is_asked_for(self):
        token = self.folder / "token"
        self.terminal(1)
        token.touch(0o600)
        token.write_text("something-long-that-nobody-guesses\n")
        self.server("--http-token-file", token)
        self.open()
        field = self.browser.find_element("id", "token-text")
        wait_until(field.is_displayed, "the page asks for the token")
        field.send_keys("wrong", Keys.ENTER)
        self.wait_for_text("token-problem", "not accepted")
        self.assertEqual(self.script(SEEN, 1), {})
        field.send_keys("something-long-that-nobody-guesses", Keys.ENTER)
        self.wait_for_card(1, state="stable", value="12.50")


if __name__ == "__main__":
    if not (shutil.which("chromium") and shutil.which("chromedriver")):
        skip("chromium and chromium-driver are missing")
    help_text = subprocess.run([PROGRAMS / "tarnscale", "run", "--help"], capture_output=True,
                               text=True, timeout=LIMIT).stdout
    if "--http " not in help_text:
        skip("this build has no HTTP")
    unittest.main(verbosity=1)
