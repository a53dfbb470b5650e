#!/usr/bin/env python3
"""The rules of the house: format, clang-tidy, who may include whom, and the share of the tests.

Prints what breaks a rule, a line each, and ends with 1 if there is any.
"""

import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# The floor of a file is that of the longest of these that its path begins with. A file includes only its own floor
# and those below.
FLOORS = {
    "win32/": 0,
    "src/base/": 1,
    "src/platform/directories": 2,
    "src/settings/data_file": 2,
    "src/agent/log": 2,
    "src/agent/pipe_client": 2,
    "src/xml/": 3,
    "src/settings/": 3,
    "src/net/": 4,
    "src/platform/": 5,
    "src/update/": 6,
    "src/device/": 7,
    "src/agent/": 8,
    "src/main.cpp": 9,
}

SYSTEM_HEADERS = re.compile(
    r"#include <(sys/|linux/|systemd/|xcb/|cairo|libudev|proxy\.h|unistd\.h|fcntl\.h|poll\.h|pthread\.h|spawn\.h|"
    r"signal\.h|dirent\.h|pwd\.h|grp\.h|strings\.h|netinet/|arpa/|mntent\.h)")
WIDE = re.compile(r'\bwchar_t\b|\bstd::wstring\b|(?<![A-Za-z0-9_])L"')
INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)


def sources(*folders):
    for folder in folders:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".cpp", ".h"):
                yield path


def name_of(path):
    return path.relative_to(ROOT).as_posix()


def floor_of(name):
    matches = [prefix for prefix in FLOORS if name.startswith(prefix)]
    return FLOORS[max(matches, key=len)] if matches else None


def resolve(include):
    for folder in ("src", "win32/include", "win32"):
        if (ROOT / folder / include).exists():
            return f"{folder}/{include}"
    return None


def include_graph():
    graph = {}
    for path in sources("src", "win32"):
        includes = (resolve(name) for name in INCLUDE.findall(path.read_text()))
        graph[name_of(path)] = [name for name in includes if name]
    return graph


def rings(graph):
    state, trail = {}, []

    def visit(name):
        state[name] = "open"
        trail.append(name)
        for target in graph.get(name, []):
            if state.get(target) == "open":
                yield " -> ".join(trail[trail.index(target):] + [target])
            elif target not in state:
                yield from visit(target)
        trail.pop()
        state[name] = "done"

    for name in graph:
        if name not in state:
            yield from visit(name)


def broken_rules():
    graph = include_graph()
    for name, targets in graph.items():
        for target in targets:
            if floor_of(name) is None:
                yield f"{name}: stands on no floor"
            elif floor_of(target) > floor_of(name):
                yield f"{name}: includes upward, {target}"
            if target.startswith("win32/linux/") and not name.startswith("win32/linux/"):
                yield f"{name}: includes the inside of the layer, {target}"
    for ring in rings(graph):
        yield f"include ring: {ring}"
    for path in sources("src", "suite", "win32/include", "tests/unit"):
        for number, line in enumerate(path.read_text().splitlines(), 1):
            if SYSTEM_HEADERS.match(line):
                yield f"{name_of(path)}:{number}: a system's header outside of win32/linux/"
            if name_of(path).startswith("src/") and WIDE.search(line):
                yield f"{name_of(path)}:{number}: wchar_t, std::wstring or a wide literal"


def count_lines(paths):
    blank = re.compile(r"\s*(//.*|#.*)?$")
    is_code = {
        ".cpp": lambda line: not re.match(r"\s*(//.*)?$", line),
        ".h": lambda line: not re.match(r"\s*(//.*)?$", line),
        ".py": lambda line: not blank.match(line),
        ".sh": lambda line: not blank.match(line),
    }
    return sum(is_code[path.suffix](line) for path in paths for line in path.read_text().splitlines())


def print_share():
    code = count_lines(sources("src", "win32", "suite"))
    tests = count_lines(path for path in sorted((ROOT / "tests").rglob("*")) if path.suffix in (".cpp", ".h", ".py", ".sh"))
    print(f"tests: {tests} lines beside {code} of the programs, {100 * tests // max(code + tests, 1)} per cent of all")


def run(title, command):
    print(title, flush=True)
    return subprocess.run(command, cwd=ROOT, check=False).returncode == 0


def main():
    everything = [name_of(path) for path in sources("src", "win32", "suite", "tests", "bench")]
    units = r"/(src|suite|win32/linux)/[^.]*\.cpp$"
    good = run("format", ["clang-format", "--dry-run", "-Werror", *everything])
    broken = list(broken_rules())
    print("house rules", *broken, sep="\n")
    good &= not broken
    print_share()
    jobs = str(os.cpu_count())
    good &= run("clang-tidy", ["run-clang-tidy", "-quiet", "-p", "build/release", "-j", jobs, units])
    sys.exit(0 if good else 1)


if __name__ == "__main__":
    main()
