#!/usr/bin/env python3
"""Holds what a running server answers against its own description, /api/openapi.json: each path,
method and status of it, and the metrics against a reader of Prometheus' format.

Usage: http_description_test.py FOLDER_OF_THE_PROGRAMS [unittest arguments]
"""
import http.client
import json
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

import jsonschema
from prometheus_client.parser import text_string_to_metric_families

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from http_test import HttpCase  # noqa: E402
from programs import LIMIT, wait_until  # noqa: E402
from tools_test import TEMPLATE  # noqa: E402

SOURCE = pathlib.Path(__file__).parents[2] / "outlets/http/openapi.json"
# What no request brings about by itself: the line must fail in the moment of the command.
NOT_ASKED = {("POST", "/api/scales/{scale}/preset-tare", "502"),
             ("POST", "/api/scales/{scale}/{command}", "502")}


class Description:
    def __init__(self, document):
        self.document = document
        self.seen = set()

    def found(self, node):
        """What a reference leads to."""
        while "$ref" in node:
            place, node = node["$ref"], self.document
            for step in place.lstrip("#/").split("/"):
                node = node[step]
        return node

    def check_value(self, value, schema):
        whole = {"$schema": "https://json-schema.org/draft/2020-12/schema", **schema,
                 "components": self.document["components"]}
        jsonschema.Draft202012Validator(whole).validate(value)

    def path_of(self, path):
        """The first one that fits: those without a parameter at this place come first."""
        for pattern in self.document["paths"]:
            if re.fullmatch(re.sub(r"{\w+}", "[^/]+", pattern), path):
                return pattern
        raise AssertionError(f"{path} is not described")

    def check(self, method, path, status, kind, text):
        pattern = self.path_of(path)
        operations = self.document["paths"][pattern]
        # A method that the path lacks is answered as everything else that is not listed.
        operation = operations.get(method.lower()) or operations.get("get", operations.get("post"))
        responses = operation["responses"]
        self.seen.add((method, pattern, str(status)))
        content = self.found(responses.get(str(status), responses["default"]))["content"]
        assert kind in content, (method, path, status, kind)
        if kind == "application/json":
            self.check_value(json.loads(text), content[kind]["schema"])
        return content[kind]

    def operations(self):
        for pattern, operations in self.document["paths"].items():
            for method, operation in operations.items():
                if method != "parameters":
                    yield method.upper(), pattern, operation

    def unseen(self):
        listed = {(method, pattern, status) for method, pattern, operation in self.operations()
                  for status in operation["responses"] if status != "default"}
        return listed - self.seen


def example(pattern):
    return pattern.replace("{scale}", "1").replace("{command}", "zero")


class DescriptionTest(HttpCase):
    def checked(self, path, status=200, method="GET", body=None, **headers):
        """The body of an answer that has this status and is as described."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=LIMIT)
        self.addCleanup(connection.close)
        connection.request(method, path, body, headers)
        answer = connection.getresponse()
        text = answer.read().decode()
        self.assertEqual(answer.status, status, (method, path, text))
        kind = answer.headers["Content-Type"].partition(";")[0]
        self.described.check(method, path.partition("?")[0], status, kind, text)
        connection.close()
        return text

    def check_events(self, path, pattern, names):
        """Every event up to the last of these names."""
        content = self.described.document["paths"]["/api/events"]["get"]["responses"]["200"]
        content = content["content"]["text/event-stream"]
        stream = self.stream(path)
        self.assertEqual(stream.answer.status, 200)
        self.described.seen.add(("GET", "/api/events", "200"))
        missing, name = set(names), None
        while missing:
            word, _, value = stream.answer.readline().decode().rstrip("\n").partition(": ")
            if word == "event":
                name = value
            elif word == "data":
                schema = content[pattern]
                self.described.check_value(json.loads(value), schema.get(name, schema))
                missing.discard(name)
        stream.close()

    def check_metrics(self):
        text = self.checked("/metrics")
        if promtool := shutil.which("promtool"):
            done = subprocess.run([promtool, "check", "metrics"], input=text, text=True,
                                  capture_output=True, timeout=LIMIT)
            self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""))
        families = list(text_string_to_metric_families(text))
        self.assertTrue(all(f.documentation and f.type in ("counter", "gauge") for f in families))
        samples = [(s, f.type) for f in families for s in f.samples]
        values = {(s.name, *sorted(s.labels.items())): s.value for s, _ in samples}
        self.assertEqual(len(values), len(samples), "no series twice")
        counters = {key: values[key] for key in ((s.name, *sorted(s.labels.items()))
                                                 for s, kind in samples if kind == "counter")}
        return values, counters

    def serve_plant(self, *options):
        server = self.serve("--http-commands", "1,2,4", *options, scales=4)
        document = json.loads(SOURCE.read_text())
        self.described = getattr(self, "described", Description(document))
        self.assertEqual(json.loads(self.checked("/api/openapi.json")), document)
        return server

    def test_the_description_holds(self):
        alias = 'Gate "ü" \\ {1}'
        self.terminal(1, "--load", "load 12.5")
        self.configure(1, f"alias={alias}")
        self.terminal(2, "--load", "load 40", "--start", "#", "--print-every", "0.5",
                      dialect="template")
        self.connect(2, "serial", "port=2", "protocol=template", *TEMPLATE, "bidirectional=no")
        self.configure(3)
        self.run_tool("set", self.file, 3, *self.common, "enabled=no")
        self.configure(4)  # its line is missing
        server = self.serve_plant("--health-grace", "86400")
        wait_until(lambda: json.loads(self.checked("/api/scales/1"))["quality"] == "good", "good")
        described = self.described
        for method, pattern, _ in list(described.operations()):
            path = example(pattern)
            self.checked(path + "?other=1", 400, method)
            self.checked(path, 421, method, Host="board.example")
            self.checked(path, 405, "DELETE")
            if method == "GET" and path != "/api/events":
                self.checked(path)
            if "{scale}" in pattern:
                self.checked(path.replace("1", "33"), 404, method)
            if method == "POST":
                body = '{"tare":2.5}' if "preset" in path else None
                self.checked(path, 400, method, "[")
                self.checked(path, 413, method, "x" * 5000)
                self.checked(path, 200, method, body, **{"Content-Type": "application/json"})
                self.checked(path.replace("1", "2"), 409, method, body,
                             **{"Content-Type": "application/json"})
                self.checked(path.replace("1", "3"), 403, method)
        before = self.check_metrics()[1]
        self.checked("/api/scales/1/take-print-now", method="POST")
        self.check_events("/api/events?after=0", "x-event-data", ["weight", "record"])
        self.check_events("/api/events?as=run", "x-run-event-data", ["NewWeight", "NewDataReady"])
        records = json.loads(self.checked("/api/records?after=0&limit=1000"))["records"]
        self.assertEqual({record["scale"] for record in records}, {1, 2})
        rows = self.checked("/api/records.csv?after=0&limit=2").splitlines()
        self.assertEqual(len(rows), 3)

        def settled():
            weight = json.loads(self.checked("/api/scales/1"))
            return weight["stable"] and weight["net"] == 10
        wait_until(settled, "10 kg net")
        values, counters = self.check_metrics()
        self.assertEqual(before.keys(), counters.keys())
        self.assertLessEqual([k for k in before if before[k] > counters[k]], [])
        gate = (("alias", alias), ("scale", "1"))
        self.assertEqual(values["tarnscale_net_weight", *gate, ("unit", "kg")], 10)
        self.assertEqual(values["tarnscale_weighings_total", *gate], 1)
        self.assertEqual(values["tarnscale_up", ("alias", "Line 4"), ("scale", "4")], 0)
        self.assertNotIn(("tarnscale_up", ("alias", "Line 3"), ("scale", "3")), values)
        health = json.loads(self.checked("/health"))
        self.assertEqual([s["scale"] for s in health["scales"]], [4])
        streams = []
        while (stream := self.stream("/api/events")).answer.status == 200:
            streams.append(stream)
        self.assertLess(len(streams), 64)
        self.checked("/api/events", 503)
        self.end_well(server)

        secret = self.folder / "token"
        server = self.serve_plant("--http-token-file", secret, "--health-grace", "0")
        for method, pattern, operation in list(described.operations()):
            if "security" not in operation:
                self.checked(example(pattern), 401, method)
        token = {"Authorization": f"Bearer {secret.read_text().strip()}"}
        wait_until(lambda: self.ask("/health", **token)[0] == 503, "scale 4 at fault")
        self.checked("/health", 503, **token)
        self.end_well(server)
        self.assertEqual(described.unseen(), NOT_ASKED)


if __name__ == "__main__":
    unittest.main(verbosity=1)
