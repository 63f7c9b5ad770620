#!/usr/bin/env python3
"""The examples in languages of other systems, as far as they can be tried here: Program.cs is
compiled against the published interface where a compiler (mcs) is there, weights.py runs with a
stand-in for each of its packages, as far as these deal with arguments that go by reference.
"""
import pathlib
import re
import runpy
import shutil
import subprocess
import sys
import tempfile
import types
import unittest
from unittest import mock

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
EXAMPLES = ROOT / "examples"
CSHARP = {"BSTR": "string", "DATE": "System.DateTime", "VARIANT_BOOL": "bool", "long": "int", "unsigned char": "byte",
          "VARIANT": "object", "IDispatch": "object", "IUnknown": "object"}


def csharp_type(text):
    """Of a parameter such as "[in out] long* eCompNo" of the dump."""
    plain, array = re.match(r"\[.*?\] (?:SAFEARRAY\()?(unsigned char|\w+)(\)?)", text).groups()
    return CSHARP.get(plain, plain) + ("[]" if array else "")


def csharp_member(line, event):
    kind, name, text = re.search(r" (get|let|set|call) +\w+ (\w+)\((.*)\)", line).groups()
    parameters = re.findall(r"\[[^]]*\][^,]*", text)
    result = ([csharp_type(p) for p in parameters if "retval" in p] or ["void"])[0]
    taken = ", ".join(("ref " if "in out" in p else "") + f"{csharp_type(p)} a{i}"
                      for i, p in enumerate(parameters) if "retval" not in p)
    if event:
        return f"event System.Action {name};"
    if kind == "call":
        return f"{result} {name}({taken});"
    if kind == "get":
        return f"{result} get_{name}({taken});" if taken else f"{result} {name} {{ get; }}"
    return ""


def interop():
    """What an importer of type libraries makes of the published one: names and signatures."""
    code = ["using System.Runtime.InteropServices; namespace TarnSclServer {"]
    for block in (ROOT / "automation/TarnSclServer.tlb.txt").read_text().split("\n\n"):
        head, *lines = block.strip().splitlines()
        kind, name, guid = re.match(r"(\w+) (\w+) {(.*?)}", head).groups()
        if kind == "enumeration":
            code.append(f"public enum {name} {{ {','.join(lines)} }}")
        elif kind in ("interface", "events"):
            members = " ".join(csharp_member(line, kind == "events") for line in lines)
            code.append(f"public interface {name} {{ {members} }}")
        elif kind == "class":
            imported = f'[ComImport, Guid("{guid}")] public'
            bases = ", ".join(line.split()[0] for line in lines if "default" in line)
            code.append(f"{imported} class {name}CoClass {{}} [CoClass(typeof({name}CoClass))]"
                        f" {imported} interface {name} : {bases} {{}}")
    return "\n".join(code + ["}"])


class ExamplesTest(unittest.TestCase):
    @unittest.skipUnless(shutil.which("mcs"), "no C# compiler")
    def test_the_csharp_client_compiles(self):
        with tempfile.TemporaryDirectory() as folder:
            stubs = pathlib.Path(folder, "Interop.cs")
            stubs.write_text(interop())
            compiled = subprocess.run(
                ["mcs", "-r:System.Windows.Forms", f"-out:{folder}/weights.exe", stubs,
                 EXAMPLES / "Program.cs"], capture_output=True, text=True)
            self.assertEqual(compiled.returncode, 0, compiled.stdout + compiled.stderr)

    def test_the_python_client_takes_the_server(self):
        server = mock.MagicMock()
        # What goes by reference comes back in front of the result, or behind it.
        for package, answer in (("comtypes", {0: [0, server]}),
                                ("win32com", lambda number: (server, number))):
            with self.subTest(package):
                server.reset_mock()
                connection = types.SimpleNamespace(TarnScaleServer=answer)
                client = mock.MagicMock()
                client.CreateObject.return_value = client.Dispatch.return_value = connection
                modules = {package: mock.MagicMock(client=client), package + ".client": client,
                           "pythoncom": mock.MagicMock()}
                with mock.patch.dict(sys.modules, modules), \
                        mock.patch.object(sys, "argv", ["weights.py", package]), \
                        mock.patch("time.monotonic", iter((0, 0, 20)).__next__), \
                        mock.patch("time.sleep"):
                    runpy.run_path(str(EXAMPLES / "weights.py"), run_name="__main__")
                server.GetScale(1).T.assert_called_once_with()


if __name__ == "__main__":
    unittest.main(verbosity=2)
