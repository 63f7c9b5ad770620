#!/usr/bin/env python3
"""The HTTP interface of a running server, as browsers, programs and strangers meet it.

Usage: http_test.py FOLDER_OF_THE_PROGRAMS [unittest arguments]
"""
import http.client
import json
import os
import pathlib
import signal
import socket
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from programs import LIMIT, wait_until  # noqa: E402
from tools_test import PROGRAMS, Server, ToolsCase  # noqa: E402 (the folder is in the arguments)


class Stream:
    """A reader of events, which reads when it is asked to."""

    def __init__(self, port, path="/api/events", **headers):
        self.connection = http.client.HTTPConnection("127.0.0.1", port, timeout=LIMIT)
        self.connection.request("GET", path, headers=headers)
        self.answer = self.connection.getresponse()

    def event(self, kind, fits=lambda data: True):
        """The data and the number of the next event of a kind that fits."""
        name = number = None
        while line := self.answer.readline().decode():
            word, _, value = line.rstrip("\n").partition(": ")
            if word == "event":
                name = value
            elif word == "id":
                number = int(value)
            elif word == "data" and name == kind and fits(json.loads(value)):
                return json.loads(value), number
        raise AssertionError(f"the stream has ended before {kind}")

    def close(self):
        self.answer.close()
        self.connection.close()


class HttpCase(ToolsCase):
    """A served plant, and how to ask it."""

    def serve(self, *options, scales=1, file=None):
        server = self.start(Server, "tarnscale", "run", file or self.file, "--json", *self.common,
                            "--http", "127.0.0.1:0", *self.ports(*range(1, scales + 1)), *options)
        wait_until(lambda: "are at http" in server.errors, "the address")
        self.port = int(server.errors.partition("http://127.0.0.1:")[2].partition("/")[0])
        return server

    def plant(self, *options):
        self.terminal(1, "--load", "load 12.5")
        self.configure(1, "alias=Gate ü")
        self.connect(2, "serial", "port=2", "protocol=continuous")  # no device
        return self.serve(*options)

    def ask(self, path, method="GET", body=None, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=LIMIT)
        connection.request(method, path, body, headers)
        answer = connection.getresponse()
        text = answer.read().decode()
        connection.close()
        return answer.status, text

    def stream(self, *arguments, **headers):
        stream = Stream(self.port, *arguments, **headers)
        self.addCleanup(stream.close)
        return stream

    def raw(self, data, until_closed=True):
        """What comes back for these bytes, until the server closes the connection."""
        with socket.create_connection(("127.0.0.1", self.port), timeout=LIMIT) as connection:
            try:
                connection.sendall(data)
                answer = b""
                while until_closed and (piece := connection.recv(65536)):
                    answer += piece
                return answer
            except (ConnectionResetError, BrokenPipeError):
                return b"reset"


class HttpTest(HttpCase):
    def test_a_session(self):
        audit = self.folder / "audit"
        server = self.plant("--http-commands", "1", "--audit", audit)
        stream = self.stream("/api/events?after=0")
        weight, _ = stream.event("weight", lambda w: w["scale"] == 1 and w["net"] == 12.5)
        self.assertEqual((weight["alias"], weight["netText"], weight["unit"], weight["quality"]),
                         ("Gate ü", "12.50", "kg", "good"))
        self.assertEqual(json.loads(self.ask("/api/scales/2")[1])["quality"], "error")
        self.assertEqual([w["scale"] for w in json.loads(self.ask("/api/scales")[1])], [1, 2])
        for path, body, wanted in (
                ("1/tare", None, 200), ("1/clear", "{}", 200), ("1/preset-tare", '{"tare":2.5}', 200),
                ("1/zero", "x", 400), ("1/zero", b'{"\xff":1}', 400), ("2/zero", None, 403),
                ("1/print", None, 200)):
            status, text = self.ask(f"/api/scales/{path}", "POST", body,
                                    **{"Content-Type": "application/json"})
            self.assertEqual(status, wanted, text)
        record, number = stream.event("record")
        self.assertEqual((number, record["scale"], record["tare"], record["net"]), (1, 1, 2.5, 10.0))
        again = self.stream(**{"Last-Event-ID": "0"})
        self.assertEqual(again.event("record")[0], record)
        self.assertEqual(json.loads(self.ask("/api/records?after=0")[1])["records"], [record])
        self.assertEqual(self.stream("/api/events?as=run&scale=1").event("NewWeight")[0]["net"],
                         "10.00")
        self.end_well(server)
        given = [line.split(" ", 2)[2] for line in audit.read_text().splitlines()]
        self.assertEqual(given, [
            "scale 1 tare: given", "scale 1 clear: given", "scale 1 preset-tare 2.5: given",
            "scale 2 zero: not allowed", "scale 1 print: given"])

    def test_a_token(self):
        secret = self.folder / "token"
        server = self.plant("--http-token-file", secret)
        self.assertEqual(secret.stat().st_mode & 0o777, 0o600)
        token = secret.read_text().strip()
        self.assertGreaterEqual(len(token), 64)
        self.assertNotIn(token, server.errors)
        self.assertEqual(self.ask("/")[0], 200)
        self.assertEqual(self.ask("/api/scales")[0], 401)
        self.assertEqual(self.ask("/api/scales", Authorization=f"Bearer {token}")[0], 200)
        self.assertEqual(self.ask("/api/scales", Authorization=f"Bearer {token}",
                                  Host="board.example")[0], 421)
        self.end_well(server)
        secret.chmod(0o640)
        for options, words in ((["--http", "127.0.0.1:0", "--http-token-file", secret], "chmod 600"),
                               (["--http", "192.0.2.1:80"], "no address of this machine"),
                               (["--http", "somewhere"], "write 127.0.0.1:8080"),
                               (["--http", f"127.0.0.1:{self.taken()}"], "another program has this"),
                               (["--http-host", "x"], "goes with --http"),
                               (["--audit", self.folder], "cannot be written")):
            done = subprocess.run([str(PROGRAMS / "tarnscale"), "run", self.file, *options],
                                  capture_output=True, text=True, timeout=LIMIT,
                                  env={**os.environ, "XDG_STATE_HOME": str(self.folder)})
            self.assertNotEqual(done.returncode, 0)
            self.assertIn(words, done.stderr)

    def taken(self):
        listener = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(listener.close)
        return listener.getsockname()[1]

    def test_strangers(self):
        server = self.plant()
        get = b"GET /api/scales HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n"
        for sent, status in ((get + b"\r\n", b"200"),
                             (b"\x16\x03\x01\x02\x00\x01\x00\xff\r\n\r\n", b""),
                             (b"GET / HTTP/1.1\r\nConnection: close\r\n\r\n", b"400"),
                             (get + b"X: " + b"x" * 100_000 + b"\r\n\r\n", b"4"),
                             (b"GET /" + b"x" * 100_000 + b" HTTP/1.1\r\n\r\n", b"4"),
                             (get.replace(b"scales", b"\xff\xfe") + b"\r\n", b"400")):
            answer = self.raw(sent)
            rejected = answer in (b"", b"reset") and status != b"200"
            self.assertTrue(rejected or answer.startswith(b"HTTP/1.1 " + status), answer[:99])
        post = b"POST /api/scales/1/zero HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n"
        for size, status in ((4096, b"403"), (4097, b"413"), (1 << 20, b"413")):
            head = post + b"Content-Type: application/json\r\nContent-Length: %d\r\n\r\n" % size
            self.assertIn(b" " + status, self.raw(head + b" " * size)[:16])
        self.assertEqual(self.ask("/api/scales")[0], 200)
        self.end_well(server)

    def memory(self, server):
        status = pathlib.Path(f"/proc/{server.process.pid}/status").read_text()
        return int(status.partition("VmRSS:")[2].split()[0])

    def test_many_connections(self):
        server = self.plant()
        for _ in range(300):
            self.ask("/api/scales")
        before = self.memory(server)
        for _ in range(1500):
            self.ask("/api/scales")
        self.assertLess(self.memory(server) - before, 1000)  # KB
        # Half of them say nothing and the others say it slowly; they are cut, and meanwhile a reader
        # goes on, and one that has stopped reading costs nobody anything.
        reader = self.stream()
        stopped = self.stream()
        open_ones = [socket.create_connection(("127.0.0.1", self.port)) for _ in range(62)]
        for one in open_ones[::2]:
            one.sendall(b"GET / HTTP/1.1\r\nX: ")
        late = socket.create_connection(("127.0.0.1", self.port), timeout=LIMIT)
        late.sendall(b"GET /api/scales HTTP/1.0\r\nHost: localhost\r\n\r\n")
        answer = b""

        def slowly():
            nonlocal answer
            for one in open_ones[::2]:
                try:
                    one.send(b"x")
                except OSError:
                    pass  # it is cut
            reader.event("weight")
            late.settimeout(0.2)
            try:
                answer = late.recv(100)
            except TimeoutError:
                pass
            return answer
        wait_until(slowly, "an answer, when the slow ones are cut")
        self.assertTrue(answer.startswith(b"HTTP/1.1 200"), answer)
        for one in [late, *open_ones]:
            one.close()
        self.assertEqual(self.ask("/api/scales")[0], 200)
        self.assertEqual(stopped.event("weight")[0]["scale"], 1)
        self.assertLess(self.memory(server) - before, 4000)
        server.end(signal.SIGINT)


if __name__ == "__main__":
    unittest.main(verbosity=1)
