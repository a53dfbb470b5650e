#!/usr/bin/python3
"""Nothing may outlast a test run: no process, and no file outside of the build tree.

"left_behind.py begin" makes the run's directory for temporary files, which TMPDIR names. "left_behind.py end" fails if
something is still in it, or else where the tests' displays have their sockets, or if a program still runs.
"""

import json
import os
import pathlib
import shutil
import sys

from suite import BUILD, processes, wait_for

TEMPORARY = pathlib.Path(os.environ["TMPDIR"])
BEFORE = BUILD / "before_the_tests.json"
DISPLAYS = "/tmp/.X11-unix"


def is_ours(process):
    """Started from the build tree, or with a home or a directory for temporary files below that of the run."""
    return process.program.startswith(f"{BUILD}/") or any(f"={TEMPORARY}" in word for word in process.environment)


def dead_displays():
    """Sockets of X servers that listen no more."""
    listening = pathlib.Path("/proc/net/unix").read_text()
    return {str(path) for path in pathlib.Path(DISPLAYS).glob("X*") if f"{path}\n" not in listening}


def left():
    ours = [f"process {process.pid}: {' '.join(process.arguments)}" for process in processes()
            if process.pid != os.getpid() and is_ours(process)]
    return ours + sorted(map(str, TEMPORARY.iterdir())) + sorted(dead_displays() - set(json.loads(BEFORE.read_text())))


def begin():
    shutil.rmtree(TEMPORARY, ignore_errors=True)
    TEMPORARY.mkdir()
    TEMPORARY.chmod(0o1777)
    BEFORE.write_text(json.dumps(sorted(dead_displays())))


def end():
    try:
        wait_for("the end of all that the tests began", lambda: not left(), 10)
    except AssertionError:
        sys.exit("\n".join(["left behind:", *left()]))
    TEMPORARY.rmdir()


if __name__ == "__main__":
    {"begin": begin, "end": end}[sys.argv[1]]()
