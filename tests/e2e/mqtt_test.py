#!/usr/bin/env python3
"""A server at a real broker (Debian's mosquitto), which is killed, restarted and asks for passwords.
Every test has a broker at a port of its own and ends only the processes that it started.

Usage: mqtt_test.py FOLDER_OF_THE_PROGRAMS [unittest arguments]
"""
import json
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

from programs import LIMIT, Program, wait_until

PROGRAMS = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else "build/linux").resolve()
BROKER = "/usr/sbin/mosquitto"


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class Subscriber(Program):
    """Keeps its session at the broker, so that nothing is lost while either is away."""

    def __init__(self, port, *topics, user=()):
        super().__init__("stdbuf", "-oL", "mosquitto_sub", "-p", port, "-i", "subscriber", "-c", "-q",
                         1, "-v", *user, *(word for topic in topics for word in ("-t", topic)))

    def messages(self, end, start=0):
        """The payloads of the topics with this end, those in JSON as objects."""
        pairs = [line.split(" ", 1) for line in self.lines[start:]]
        return [json.loads(pair[1]) if pair[1].startswith("{") else pair[1]
                for pair in pairs if len(pair) == 2 and pair[0].endswith(end)]

    def wait_for_message(self, end, start=0, **members):
        """The first message with these members, or with members that pass a test."""
        def found():
            return [m for m in self.messages(end, start) if isinstance(m, dict) and all(
                wanted(m.get(name)) if callable(wanted) else m.get(name) == wanted
                for name, wanted in members.items())]
        wait_until(found, (end, members))
        return found()[0]


class MqttTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.file = self.folder / "plant.scl"
        self.port = free_port()
        self.config = self.folder / "broker.conf"
        self.config.write_text(f"listener {self.port} 127.0.0.1\nallow_anonymous true\n"
                               f"persistence true\npersistence_location {self.folder}/\n"
                               "autosave_interval 1\nuser root\n")

    def start(self, kind, *arguments, **options):
        process = kind(*arguments, **options)
        self.addCleanup(process.output.close)
        self.addCleanup(process.kill)
        return process

    def broker(self):
        broker = self.start(Program, BROKER, "-c", self.config)
        broker.wait_for("running")
        return broker

    def terminal(self, number, *arguments):
        line = self.folder / f"line{number}"
        terminal = self.start(Program, PROGRAMS / "tarnsim", "continuous", "--port", line, *arguments)
        terminal.wait_for("^ready ")
        subprocess.run([PROGRAMS / "tarnscale", "set", self.file, str(number), "--store",
                        self.folder / "store.ini", f"alias=Line {number}", "connection=serial",
                        f"port={number}", f"device={line}", "bidirectional=yes",
                        "protocol=continuous", "enabled=yes"], check=True, timeout=LIMIT,
                       stdout=subprocess.DEVNULL)
        return terminal

    def server(self, *arguments, scheme="mqtt", host="127.0.0.1"):
        return self.start(Program, PROGRAMS / "tarnscale", "run", self.file, "--store",
                          self.folder / "store.ini", "--mqtt", f"{scheme}://{host}:{self.port}",
                          "--mqtt-root", "plant/a", "--mqtt-settle", 2, *arguments)

    def command(self, scale, payload, *options):
        subprocess.run(["mosquitto_pub", "-p", str(self.port), "-t", f"plant/a/{scale}/cmd", "-m",
                        payload, *options], check=True, timeout=LIMIT)

    def test_weights_their_quality_and_commands(self):
        self.broker()
        terminal = self.terminal(1, "--load", "load 12.5", "--units", "kg")
        self.terminal(2, "--load", "load 3")
        self.command(1, '{"command":"zero","id":"old"}', "-r")
        subscriber = self.start(Subscriber, self.port, "plant/#", "homeassistant/#")
        server = self.server("--mqtt-commands", 1, "--home-assistant")
        weight = subscriber.wait_for_message("/1/weight", net=12.5, stable=True)
        self.assertEqual((weight["alias"], weight["quality"], weight["unit"]),
                         ("Line 1", "good", "kg"))
        self.assertEqual(subscriber.messages("/state"), ["online"])
        self.assertEqual(subscriber.wait_for_message("plant_a_1/weight/config",
                                                     unit_of_measurement="kg")["device"]["name"],
                         "Line 1")
        subscriber.wait_for_message("/1/ack", id="old", result="ignored")

        self.command(1, '{"command":"tare","id":"t1"}')
        subscriber.wait_for_message("/1/ack", id="t1", command="tare", result="given", error="")
        subscriber.wait_for_message("/1/weight", net=0.0, tare=12.5)
        self.command(2, '{"command":"tare","id":"t2"}')
        subscriber.wait_for_message("/2/ack", id="t2", result="not-allowed")
        self.command(1, '{"command":"take-print","id":"p"}')
        record = subscriber.wait_for_message("/1/record", number=1)
        self.assertEqual((record["gross"], record["netText"], record["unit"]), (12.5, "0.00", "kg"))

        start = len(subscriber.lines)
        terminal.kill()
        stale = subscriber.wait_for_message("/1/weight", start, quality=lambda q: q != "good")
        self.assertTrue(stale["reason"])
        subscriber.wait_for_message("/1/status", start, quality=stale["quality"])
        self.assertEqual(server.end(signal.SIGTERM), 0)
        wait_until(lambda: subscriber.messages("/state") == ["online", "offline"], "offline")

    def test_no_record_is_missing_when_broker_and_server_are_killed(self):
        broker = self.broker()
        self.terminal(1, "--print-every", 0.3)
        subscriber = self.start(Subscriber, self.port, "plant/+/+/record", "plant/+/state")
        server = self.server()
        for count in (10, 25):
            subscriber.wait_for_message("/record", number=count)
            broker.kill()
            broker = self.broker()
        subscriber.wait_for_message("/record", number=40)
        highest = 0
        for number in (record["number"] for record in subscriber.messages("/record")):
            self.assertLessEqual(number, highest + 1, "a gap")
            highest = max(highest, number)
        self.assertEqual(len([line for line in server.lines if "is connected" in line]), 2)
        server.kill()
        wait_until(lambda: subscriber.messages("/state")[-1] == "offline", "the last will")

    def test_what_a_broker_refuses_is_said_once_and_certificates_are_checked(self):
        key, certificate = self.folder / "key.pem", self.folder / "certificate.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:prime256v1", "-nodes", "-keyout", key, "-out", certificate,
                        "-days", "2", "-subj", "/CN=localhost", "-addext",
                        "subjectAltName=DNS:localhost"], check=True, capture_output=True)
        passwords = self.folder / "passwords"
        subprocess.run(["mosquitto_passwd", "-b", "-c", passwords, "hall", "right"], check=True)
        self.config.write_text(f"listener {self.port} 127.0.0.1\nallow_anonymous false\nuser root\n"
                               f"password_file {passwords}\ncafile {certificate}\n"
                               f"certfile {certificate}\nkeyfile {key}\n")
        self.terminal(1)
        secret = self.folder / "secret"
        secret.write_text("wrong\n")
        arguments = ["--mqtt-user", "hall", "--mqtt-password-file", secret, "--mqtt-ca", certificate]
        secret.chmod(0o644)
        readable = self.server(*arguments, scheme="mqtts", host="localhost")
        self.assertEqual(readable.end(), 2)
        self.assertIn("every user of this machine can read it", readable.lines[0])
        secret.chmod(0o600)

        # Nobody listens yet, and the scale is read all the same.
        server = self.server(*arguments, scheme="mqtts", host="localhost")
        server.wait_for("refused; it is tried again")
        server.wait_for("new weight|NewWeight|net ")
        broker = self.broker()
        server.wait_for("refuses the user or the password|does not let this user in")
        other = self.server(*arguments, scheme="mqtts")
        other.wait_for("TLS")  # the certificate is for localhost
        secret.write_text("right\n")
        server.end(signal.SIGTERM)
        server = self.server(*arguments, scheme="mqtts", host="localhost")
        broker.wait_for("as tarnscale-.*u'hall'")
        self.assertEqual(server.end(signal.SIGTERM), 0)
        self.assertNotIn("MQTT", " ".join(server.lines))


if __name__ == "__main__":
    unittest.main()
