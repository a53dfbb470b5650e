#!/usr/bin/env python3
"""The rules of the house: format, clang-tidy, who may include whom, whole translations, and the share of the tests.

Prints what breaks a rule, a line each, and ends with 1 if there is any.
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent

# The floor of a file is that of the longest of these that its path begins with. A file includes only its own floor
# and those below.
FLOORS = {
    "win32/": 0,
    "src/base/": 1,
    "src/xml/": 2,
    "src/data/": 3,
    "src/settings/": 4,
    "src/cache/": 4,
    "src/net/": 5,
    "src/platform/": 6,
    "src/update/": 7,
    "src/device/": 8,
    "src/agent/": 9,
    "src/main.cpp": 10,
}

# The rooms of the layer on Linux, and the other rooms that each may include.
LAYER = "win32/linux/"
ROOMS = {
    "support": (),
    "kernel": ("support",),
    "drawing": ("support", "kernel"),
    "windows": ("support", "drawing"),
    "desktop": ("support", "windows", "drawing"),
    "pipes": ("support", "kernel"),
    "files": ("support", "kernel", "pipes"),
    "processes": ("support", "kernel"),
    "registry": ("support", "kernel", "processes"),
    "devices": ("support", "kernel"),
    "network": ("support", "kernel", "processes"),
    "system": ("support", "kernel"),
    "shell": ("support", "kernel", "files", "processes", "devices", "desktop"),
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


def room_of(name):
    return name.removeprefix(LAYER).split("/")[0] if name.startswith(LAYER) else None


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


def modules(graph):
    """The graph with a header and the source of the same name as one."""
    result = {}
    for name, targets in graph.items():
        module = name.rsplit(".", 1)[0]
        folded = {target.rsplit(".", 1)[0] for target in targets}
        result.setdefault(module, set()).update(folded - {module})
    return result


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


def broken_room_rules(name, target):
    room, other = room_of(name), room_of(target)
    if other is None:
        return
    if room is None:
        yield f"{name}: includes the inside of the layer, {target}: include a header of win32/include/win32"
    elif room not in ROOMS:
        yield f"{name}: {room} is no room: move the file into one, or enter the new room in ROOMS ({__file__})"
    elif other != room and other not in ROOMS[room]:
        yield (f"{name}: the room {room} may not include {other} ({target}): move what both need into a room below "
               "both, or let the lower room declare an interface that the upper one implements, as windows/presenter.h")


def broken_rules():
    graph = include_graph()
    for name, targets in graph.items():
        for target in targets:
            if floor_of(name) is None:
                yield f"{name}: stands on no floor"
            elif floor_of(target) > floor_of(name):
                yield f"{name}: includes upward, {target}: move what is needed down, or hand it in from above"
            yield from broken_room_rules(name, target)
    for ring in rings(modules(graph)):
        yield f"include ring: {ring}: take what both ends need out into a file of its own"
    for path in sources("src", "suite", "win32/include", "tests/unit"):
        for number, line in enumerate(path.read_text().splitlines(), 1):
            if SYSTEM_HEADERS.match(line):
                yield f"{name_of(path)}:{number}: a system's header outside of win32/linux/"
            if name_of(path).startswith("src/") and WIDE.search(line):
                yield f"{name_of(path)}:{number}: wchar_t, std::wstring or a wide literal"


# The longest texts of a balloon's header and of its text, in UTF-16 units.
BALLOON = {"header": 63, "text": 255}


def broken_locales():
    """Each language has all texts of the English one, none of them empty, and those of balloons fit."""
    locales = ROOT / "resources/locales"

    def texts(path):
        if path.suffix == ".json":
            return json.loads(path.read_text())
        return {item.get("name"): item.text or "" for item in xml.etree.ElementTree.parse(path).getroot()}

    for english in (locales / "agent-en.xml", locales / "zd_lang_en.json"):
        expected = texts(english)
        kind = english.stem.removesuffix("en") + "*" + english.suffix
        for path in sorted(locales.glob(kind)):
            own = texts(path)
            for name in sorted({*expected, *own}):
                units = len(own.get(name, "").encode("utf-16-le")) // 2
                if name not in expected or not 0 < units <= BALLOON.get(name.split("_")[-1], 10_000):
                    yield f"{name_of(path)}: {name} is missing, unknown, or too long for a balloon"
            if own == expected and not path.stem.startswith(english.stem):
                yield f"{name_of(path)}: not translated"


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
    print(f"tests: {tests} lines to {code} of the programs, {100 * tests / code:.1f} per cent")


def run(title, command):
    print(title, flush=True)
    return subprocess.run(command, cwd=ROOT, check=False).returncode == 0


def main():
    everything = [name_of(path) for path in sources("src", "win32", "suite", "tests", "bench", "fuzz")]
    units = r"/(src|suite|win32/linux)/[^.]*\.cpp$"
    good = run("format", ["clang-format", "--dry-run", "-Werror", *everything])
    broken = [*broken_rules(), *broken_locales()]
    print("house rules", *broken, sep="\n")
    good &= not broken
    print_share()
    jobs = str(os.cpu_count())
    good &= run("clang-tidy", ["run-clang-tidy", "-quiet", "-p", "build/release", "-j", jobs, units])
    sys.exit(0 if good else 1)


if __name__ == "__main__":
    main()
