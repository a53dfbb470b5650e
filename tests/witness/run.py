#!/usr/bin/env python3
"""The tests as Windows programs, on Wine as a witness of how Windows behaves.

run.py BUILD [NAME...]: each case of the programs in the directory BUILD, or those whose names hold one of NAMEs, in a
process of its own. Prints what was tried, what held and what differed, and ends with 1 where that is other than
differences.txt says.
"""

import os
import pathlib
import pwd
import queue
import re
import shutil
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
PROGRAMS = ("layer_tests", "unit_tests")
WINE = "/usr/lib/wine/wine64"
CASE_LIMIT = 60
SET_UP_LIMIT = 300


class Prefix:
    """A Windows of its own, its desktop on a display of its own. All of it runs behind the words of `enter`."""

    def __init__(self, path, enter=()):
        self.path = path
        self._enter = [*map(str, enter)]
        self._running = []
        self._home = path.parent / f"{path.name}-home"
        self._environment = {
            "PATH": os.environ["PATH"], "LANG": "C.UTF-8", "HOME": str(self._home), "WINEPREFIX": str(path),
            "WINEARCH": "win64", "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "winedbg.exe=d;mscoree,mshtml=d"}

    def start(self):
        self._home.mkdir()
        self._start_display()
        self.run("wineboot", "--init", limit=SET_UP_LIMIT)
        self.run("winecfg", "/v", "win10", limit=SET_UP_LIMIT)
        # Without a desktop on the display no program can make a window.
        self._start([WINE, "explorer", "/desktop=witness,1024x768"])
        for _ in range(100):
            if "witness" in self.titles():
                return
            time.sleep(0.1)
        raise RuntimeError("the desktop doesn't come")

    def _start(self, command, **options):
        environment = {**self._environment, **options.pop("environment", {})}
        self._running.append(subprocess.Popen([*self._enter, *command], env=environment, stdin=subprocess.DEVNULL,
                                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **options))

    def _start_display(self):
        read, write = os.pipe()
        self._start(["Xvfb", "-displayfd", str(write), "-screen", "0", "1024x768x24", "-nolisten", "tcp", "-noreset"],
                    pass_fds=[write])
        os.close(write)
        with os.fdopen(read) as announcement:
            self._environment["DISPLAY"] = ":" + announcement.readline().strip()

    def on_display(self, *command):
        return subprocess.run(command, env=self._environment, capture_output=True, text=True, check=False).stdout

    def titles(self):
        """All windows of the display, as xwininfo lists them."""
        return self.on_display("xwininfo", "-root", "-tree")

    def begin(self, *command, directory, **environment):
        """Starts a program that goes on."""
        self._start([WINE, *command], cwd=directory, environment=environment)

    def run(self, *command, limit=CASE_LIMIT, directory=None, enter=None):
        """The exit code, None after the limit, and what was printed."""
        with tempfile.TemporaryFile() as output:
            words = self._enter if enter is None else [*map(str, enter)]
            process = subprocess.Popen([*words, WINE, *command], env=self._environment, cwd=directory or self._home,
                                       stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT)
            try:
                code = process.wait(limit)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
                code = None
            output.seek(0)
            return code, output.read().decode(errors="replace").replace("\r\n", "\n")

    def stop(self):
        subprocess.run(["/usr/lib/wine/wineserver64", "-k"], env=self._environment, check=False)
        for process in reversed(self._running):
            process.terminate()
            process.wait()


def become_ordinary(directory):
    """Root may write what is read-only, so that the cases are an ordinary user's."""
    if os.getuid() == 0:
        user = pwd.getpwnam("nobody")
        os.chown(directory, user.pw_uid, user.pw_gid)
        os.setgroups([])
        os.setgid(user.pw_gid)
        os.setuid(user.pw_uid)


def copy_programs(build, directory):
    for program in PROGRAMS:
        if (build / f"{program}.exe").exists():
            shutil.copy(build / f"{program}.exe", directory)


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
    """None where it held, else how it differed."""
    prefix = prefixes.get()
    try:
        code, output = prefix.run(f"./{program}.exe", f"--gtest_filter={name}", directory=directory)
    finally:
        prefixes.put(prefix)
    if code == 0 and re.search(r"^\[  PASSED  \] 1 test\.$", output, re.MULTILINE):
        return None
    lines = [line for line in output.splitlines() if line and not line.startswith(("[---", "[===", "Note:", "Running"))]
    lines.append(f"no end within {CASE_LIMIT} s" if code is None else f"exit code {code}")
    return "\n".join("    " + line for line in lines)


def listed_differences():
    """The cases in which the witness differs, with the reason."""
    listed = {}
    for line in (HERE / "differences.txt").read_text().splitlines():
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
    unlisted = [name for name, difference in results.items() if difference and name not in listed]
    idle = [name for name in listed if name in results and not results[name]]
    for name in unlisted:
        print(f"{name} differs:\n{results[name]}")
    print(f"\n{'program':<14}{'tried':>7}{'held':>7}{'differing':>11}")
    for program in PROGRAMS:
        own = [name for tried, name in cases if tried == program]
        held = sum(results[name] is None for name in own)
        print(f"{program:<14}{len(own):>7}{held:>7}{len(own) - held:>11}")
    for name in unlisted:
        print(f"not in differences.txt: {name}")
    for name in idle:
        print(f"in differences.txt, but it holds: {name}")
    return not unlisted and not idle


def main(build, wanted):
    listed = listed_differences()
    os.umask(0o022)
    directory = pathlib.Path(tempfile.mkdtemp(prefix="zelmo-witness-"))
    # Two, since programs of one session meet at the names that they share.
    prefixes = [Prefix(directory / name) for name in ("first", "second")]
    try:
        copy_programs(build, directory)
        become_ordinary(directory)
        with ThreadPoolExecutor(len(prefixes)) as pool:
            list(pool.map(Prefix.start, prefixes))
        cases = [case for program in PROGRAMS if (directory / f"{program}.exe").exists()
                 for case in cases_of(prefixes[0], program, directory)]
        unknown = [] if wanted else sorted(set(listed) - {name for _, name in cases})
        cases = [case for case in cases if not wanted or any(part in case[1] for part in wanted)]
        results = try_all(cases, prefixes, directory)
        for name in unknown:
            print(f"in differences.txt, but there is no such case: {name}")
        return 0 if report(cases, results, listed) and not unknown else 1
    finally:
        for prefix in prefixes:
            prefix.stop()
        shutil.rmtree(directory, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve(), sys.argv[2:]))
