#!/usr/bin/python3
"""Nothing may outlast a test run: no process, and no file outside of the build tree.

"left_behind.py note" at the beginning of a run writes down what is there, "left_behind.py check" at its end fails for
whatever has come since and stays.
"""

import json
import os
import pathlib
import sys
import tempfile

from suite import BUILD, processes, wait_for

NOTE = BUILD / "before_the_tests.json"


def is_ours(process):
    """Started from the build tree, or by a test: those have its path in their environment."""
    return process.program.startswith(f"{BUILD}/") or f"SUITE_BUILD={BUILD}" in process.environment


def temporary_files():
    """The temporary directory's entries, and displays, whose sockets lie a floor lower."""
    temporary = pathlib.Path(tempfile.gettempdir())
    return {str(path) for place in (temporary, pathlib.Path("/tmp/.X11-unix")) if place.exists()
            for path in place.iterdir() if path.name != ".X11-unix"}


def left(before):
    """What is here now and wasn't before. Files that other people's running programs speak of are theirs."""
    running = processes()
    ours = [process for process in running if process.pid != os.getpid() and is_ours(process)]
    spoken_of = "\n".join(word for process in running for word in process.arguments + process.environment)
    files = temporary_files() - set(before["files"])
    return ([f"process {process.pid}: {' '.join(process.arguments)}" for process in ours
             if process.pid not in before["processes"]] + sorted(path for path in files if path not in spoken_of))


def main():
    if sys.argv[1:] == ["note"]:
        noted = {"files": sorted(temporary_files()), "processes": [process.pid for process in processes()]}
        NOTE.write_text(json.dumps(noted))
        return 0
    before = json.loads(NOTE.read_text())
    try:
        wait_for("the end of all that the tests began", lambda: not left(before), 10)
    except AssertionError:
        print("\n".join(["left behind:", *left(before)]), file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
