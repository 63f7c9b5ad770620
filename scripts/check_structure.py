#!/usr/bin/env python3
"""Checks which way the includes point.

- A folder includes only from itself and from those above it in ORDER.
- Headers of an operating system stay in the platform's own folders.
- No circle between files.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
ORDER = ["base", "platform", "scale", "connections", "protocols", "shareddata", "server", "outlets",
         "tools"]
ANYTHING = ["automation", "tests", "bench"]  # may include from everywhere
SYSTEM_FOLDERS = ("platform/posix/", "platform/win32/", "automation/", "tests/platform/",
                  "tests/automation/", "bench/automation/", "bench/endurance/")
PORTABLE = "automation/lanes/"  # built everywhere
# Owners and texts of Windows, and its services, that are nobody's secret: the Automation front uses them too.
WINDOWS_HELPERS = ("platform/win32/win32_handle.hpp", "platform/win32/win32_service.hpp",
                   "platform/win32/win32_text.hpp")
SYSTEM_HEADERS = re.compile(
    r"<(windows|winsock2|ws2tcpip|objbase|ole|unistd|fcntl|termios|poll|signal|dlfcn|pthread|netdb|"
    r"langinfo|pty|sys/|netinet/|arpa/|linux/|io\.h|conio)", re.IGNORECASE)
INCLUDE = re.compile(r'^\s*#\s*include\s+([<"][^>"]+[>"])')


def source_files():
    for folder in ORDER + ANYTHING:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".hpp", ".cpp", ".h"):
                yield path.relative_to(ROOT).as_posix()


def includes_of(name):
    text = (ROOT / name).read_text(encoding="utf-8")
    return [match.group(1) for match in map(INCLUDE.match, text.splitlines()) if match]


def check_directions(name, includes):
    folder = name.split("/")[0]
    for include in includes:
        if include.startswith("<"):
            system = name.startswith(SYSTEM_FOLDERS) and not name.startswith(PORTABLE)
            if SYSTEM_HEADERS.match(include) and not system:
                yield f"{name}: {include} belongs into the platform's own folders"
            continue
        target = include.strip('"')
        if not (ROOT / target).is_file():
            yield f"{name}: {include} is no file of the project, seen from its root"
            continue
        target_folder = target.split("/")[0]
        if name.startswith("automation/") and (target in WINDOWS_HELPERS
                                               or target.startswith(PORTABLE)):
            continue
        if target.startswith(SYSTEM_FOLDERS) and not name.startswith(
                (target.rsplit("/", 1)[0] + "/", "tests/", "bench/automation/")):
            yield f"{name}: {include} reaches into an implementation of the platform"
        if folder in ANYTHING:
            continue
        if target_folder not in ORDER or ORDER.index(target_folder) > ORDER.index(folder):
            yield f"{name}: {folder}/ must not include from {target_folder}/"


def find_circle(graph):
    done, path = set(), []

    def visit(name):
        if name in path:
            return path[path.index(name):] + [name]
        if name in done:
            return None
        path.append(name)
        for target in graph.get(name, []):
            circle = visit(target)
            if circle:
                return circle
        path.pop()
        done.add(name)
        return None

    for name in graph:
        circle = visit(name)
        if circle:
            return circle
    return None


def main():
    problems, graph = [], {}
    for name in source_files():
        includes = includes_of(name)
        problems += check_directions(name, includes)
        graph[name] = [include.strip('"') for include in includes if include.startswith('"')]
    circle = find_circle(graph)
    if circle:
        problems.append("a circle of includes: " + " -> ".join(circle))
    for problem in problems:
        print(problem, file=sys.stderr)
    print(f"structure: {len(graph)} files, {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
