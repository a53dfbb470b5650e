#!/usr/bin/env python3
"""The tests as Windows programs, on Wine as a witness of how Windows behaves.

run.py BUILD [NAME...]: each case of the programs in the directory BUILD, or those whose names hold one of NAMEs, in a
process of its own. Prints what was tried, what held and what differed, and ends with 1 where that is other than
differences.txt says.
"""

import os
import pathlib
import queue
import re
import shutil
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

from built_files import NOT_PROGRAMS, faults_of, loaded_plants, plant

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "stage"))
from prefix import Prefix, become_ordinary  # noqa: E402

PROGRAMS = ("layer_tests", "unit_tests")
CASE_LIMIT = 60
UNSCRIPTED = "the system can't be scripted"


def copy_programs(build, directory):
    for program in PROGRAMS:
        if (build / f"{program}.exe").exists():
            shutil.copy(build / f"{program}.exe", directory)
    shutil.copytree(ROOT / "resources", directory / "resources")
    plant(build, directory / "planted")


def cases_of(prefix, program, directory):
    code, output = prefix.run(f"./{program}.exe", "--gtest_list_tests", directory=directory)
    if code != 0:
        raise RuntimeError(f"{program} doesn't tell its cases: {code}\n{output}")
    suite, cases = "", []
    for line in output.splitlines():
        name = line.split("#")[0].rstrip()
        if re.fullmatch(r"\S+\.", name):
            suite = name
        elif name.startswith("  "):
            cases.append((program, suite + name.strip()))
    return cases


def try_case(prefixes, program, name, directory):
    """None where it held, UNSCRIPTED where it did up to what only the layer of our own can do, else how it differed."""
    prefix = prefixes.get()
    try:
        for _ in range(2):
            code, output = prefix.run(f"./{program}.exe", f"--gtest_filter={name}", directory=directory,
                                      limit=CASE_LIMIT)
            if "X connection to" not in output:  # lost now and then as a program comes; it says nothing
                break
    finally:
        prefixes.put(prefix)
    if UNSCRIPTED in output and output.count(": Failure") == 1:
        return UNSCRIPTED
    if code == 0 and re.search(r"^\[  PASSED  \] 1 test\.$", output, re.MULTILINE):
        return None
    lines = [line for line in output.splitlines() if line and not line.startswith(("[---", "[===", "Note:", "Running"))]
    lines.append(f"no end within {CASE_LIMIT} s" if code is None else f"exit code {code}")
    return "\n".join("    " + line for line in lines)


def listed_differences():
    """The cases in which the witness differs, with the reason."""
    listed = {}
    for line in (ROOT / "tests/witness/differences.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            name, reason = line.split(maxsplit=1)
            listed[name] = reason
    return listed


def try_all(cases, prefixes, directory):
    available = queue.Queue()
    for prefix in prefixes:
        available.put(prefix)
    with ThreadPoolExecutor(len(prefixes)) as pool:
        tries = {name: pool.submit(try_case, available, program, name, directory) for program, name in cases}
        return {name: tried.result() for name, tried in tries.items()}


def report(cases, results, listed):
    """Prints the table; gives what is other than listed."""
    differing = [name for name, difference in results.items() if difference not in (None, UNSCRIPTED)]
    unlisted = [name for name in differing if name not in listed]
    idle = [name for name in listed if name in results and name not in differing]
    for name in unlisted:
        print(f"{name} differs:\n{results[name]}")
    print(f"\n{'program':<14}{'tried':>7}{'held':>7}{'in part':>9}{'differing':>11}")
    for program in PROGRAMS:
        own = [name for tried, name in cases if tried == program]
        held = sum(results[name] is None for name in own)
        partly = sum(results[name] == UNSCRIPTED for name in own)
        print(f"{program:<14}{len(own):>7}{held:>7}{partly:>9}{len(own) - held - partly:>11}")
    print("in part: up to the first failure that only a scripted system makes")
    return [f"not in differences.txt: {name}" for name in unlisted] + [
        f"in differences.txt, but it holds: {name}" for name in idle]


def main(build, wanted):
    os.umask(0o022)
    listed = listed_differences()
    faults = [fault for program in sorted(build.glob("*.exe")) if program.name not in NOT_PROGRAMS
              for fault in faults_of(program, ROOT)]
    directory = pathlib.Path(tempfile.mkdtemp(prefix="zelmo-witness-"))
    # Two, since programs of one session meet at the names that they share.
    prefixes = [Prefix(directory / name) for name in ("first", "second")]
    try:
        copy_programs(build, directory)
        become_ordinary(directory)
        with ThreadPoolExecutor(len(prefixes)) as pool:
            list(pool.map(Prefix.start, prefixes))
        faults += loaded_plants(prefixes[0], directory / "planted")
        cases = [case for program in PROGRAMS if (directory / f"{program}.exe").exists()
                 for case in cases_of(prefixes[0], program, directory)]
        faults += [f"in differences.txt, but there is no such case: {name}"
                   for name in sorted(set(listed) - {name for _, name in cases})]
        cases = [case for case in cases if not wanted or any(part in case[1] for part in wanted)]
        results = try_all(cases, prefixes, directory)
        faults += report(cases, results, listed)
        print(*faults, sep="\n")
        return 1 if faults else 0
    finally:
        for prefix in prefixes:
            prefix.stop()
        shutil.rmtree(directory, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve(), sys.argv[2:]))
