#!/usr/bin/python3
"""Every call fails once: every_call.py [SAMPLE] [SEED].

Each scenario runs once undisturbed, which tells how often it calls each operation of the layer; then once for each of
these calls and each error of it, with that one call failing. The programs are built with sanitizers and with the layer
that can be scripted. After each run: no program has crashed, leaked or hung, the agent went on or said in its log why it
ended, every document is whole, and an undisturbed agent starts on what is left. What an operation's caller makes of each
failure is the unit tests' to show.

With SAMPLE only so many of these runs are made, chosen by SEED.
"""

import collections
import http.server
import json
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
os.environ["SUITE_BUILD"] = str(ROOT / "build/faults")
sys.path.insert(0, str(ROOT / "stage"))

from suite import Home, Phones, under_virtual_bus, wait_for  # noqa: E402

# A call that is made again and again fails at its first times only.
TIMES = 6
CODES = {  # by what the operation reports with: some of the codes that its documentation names, or that come from below
    "last error": (5, 8),
    "LSTATUS": (5, 1450),
    "HRESULT": (0x80004005, 0x8007000E),
    "CONFIGRET": (0x13, 0x33),
    "GpStatus": (1, 3),
    "RPC_STATUS": (1740,),
    "DWORD": (5,),
    "UINT": (5,),
}
OWN_CODES = {
    "CreateFileW": (2, 3, 5, 32, 80, 112, 123),
    "ReadFile": (5, 33, 109, 1117),
    "WriteFile": (5, 33, 112, 1117),
    "MoveFileExW": (2, 5, 32, 112),
    "DeleteFileW": (2, 5, 32),
    "SetEndOfFile": (5, 112),
    "FlushFileBuffers": (5, 112),
    "CreateProcessW": (2, 5, 193, 740),
    "ShellExecuteExW": (2, 5, 1223),
    "WaitForSingleObject": (6,),
    "GlobalAlloc": (8,),
}
FAULT = re.compile(r"AddressSanitizer|LeakSanitizer|runtime error:|terminate called|Assertion")
LISTENING = "Started listening for devices"
# What the agent says before it ends by itself.
GIVES_UP = ("Failed to initialize agent.", "Another instance is running. Exiting.")


class Fault(Exception):
    """What must not be."""


def require(condition, what):
    if not condition:
        raise Fault(what)


def kinds():
    """What each operation reports with, as its implementation says."""
    found = {}
    for path in (ROOT / "win32/linux").rglob("*.cpp"):
        text = path.read_text()
        found.update({name: "last error" for name in re.findall(r'WIN32_MAY_FAIL\(\s*"([^"]+)"', text)})
        found.update(re.findall(r'WIN32_MAY_RETURN\(\s*"([^"]+)",\s*(\w+)', text))
    return found


class Stage:
    """A home that is emptied for each run; the programs' environment has the failure of the run."""

    def __init__(self, phones=None):
        self.home = Home(phones, accept_unrecognized=None)
        self.failure = None
        self.notes = self.home.path / "calls"
        self.empty()

    def empty(self):
        for path in self.home.path.iterdir():
            if path not in (self.home.suite, self.home.runtime, self.home.temporary):
                shutil.rmtree(path) if path.is_dir() else path.unlink()
        for place in (self.home.runtime, self.home.temporary):
            shutil.rmtree(place)
            place.mkdir(mode=0o700)
        self.home.support.mkdir(parents=True)
        self.home.configure("<config><device-support><accept-unrecognized-devices>yes</accept-unrecognized-devices>"
                            "</device-support></config>")

    def environment(self):
        scripted = {"WIN32_NOTE_CALLS": str(self.notes)} if self.failure is None else {"WIN32_FAIL_CALL": self.failure}
        return self.home.environment(
            **scripted, ASAN_OPTIONS="verify_asan_link_order=0:detect_leaks=1", UBSAN_OPTIONS="print_stacktrace=1")

    def start(self, *command):
        return subprocess.Popen(command, env=self.environment(), cwd="/", text=True, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE)

    def finish(self, process, allowed=(0,)):
        try:
            out, errors = process.communicate(timeout=40)
        except subprocess.TimeoutExpired:
            process.kill()
            raise Fault(f"it hangs: {process.communicate()[1][-2000:]}") from None
        require(not FAULT.search(errors), errors[-6000:])
        require(process.returncode in allowed, f"it ended with {process.returncode}: {errors[-2000:]}")
        return out

    def platform(self, *arguments):
        return json.loads(self.finish(self.start(self.home.suite / "zdplatform", *arguments)))

    def log(self):
        found = sorted(self.home.logs.glob("agent_log_*.txt")) if self.home.logs.exists() else []
        return re.sub(r"(?m)^\d+ms ", "", found[-1].read_text()).splitlines() if found else []

    def forget_logs(self):
        shutil.rmtree(self.home.logs, ignore_errors=True)


def check_files(stage):
    """Each document is whole. The settings are written in place, and may be empty."""
    for path in stage.home.path.rglob("*.json"):
        if stage.home.suite in path.parents:
            continue
        text = path.read_bytes()
        if path == stage.home.settings_path and not text:
            continue
        try:
            json.loads(text)
        except ValueError:
            raise Fault(f"{path.name} is no document: {text[:200]}") from None


def run_agent(stage, until=lambda lines: LISTENING in lines):
    """Gives the log. The agent may end by itself where it says so, or where its log can't be opened."""
    stage.forget_logs()
    process = stage.start(stage.home.suite / "ZelmoDocksetAgent")
    deadline = time.monotonic() + 12
    while process.poll() is None and not until(stage.log()) and time.monotonic() < deadline:
        time.sleep(0.02)
    ended = process.poll() is not None
    if not ended:
        process.send_signal(signal.SIGTERM)
    stage.finish(process)
    lines = stage.log()
    # Without a log nothing is known but that it didn't crash.
    require(not ended or not lines or any(line in GIVES_UP for line in lines), f"it ended by itself: {lines}")
    require(ended or not lines or LISTENING in lines, f"it didn't come to listen: {lines}")
    check_files(stage)
    return lines


def first_start(stage):
    stage.empty()
    run_agent(stage)


def second_start(stage):
    """With everything there."""
    stage.empty()
    failure, stage.failure = stage.failure, ""
    run_agent(stage)
    stage.failure = failure
    run_agent(stage)


def launch(stage):
    """A phone is there, and the main application is started."""
    stage.empty()
    started = stage.home.logs / "ZelmoDockset.log"
    run_agent(stage, lambda seen: started.exists() or "Failed to launch" in "\n".join(seen))
    wait_for("the end of the application", lambda: "ZelmoDockset" not in [
        pathlib.Path(f"/proc/{pid}/comm").read_text().strip() for pid in stage.home.application_pids()
        if pathlib.Path(f"/proc/{pid}/comm").exists()], 20)


class Server(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        fresh = self.headers.get("If-Modified-Since") is not None
        self.send_response(304 if fresh else 200)
        self.send_header("Last-Modified", "Mon, 23 Nov 2026 12:00:00 GMT")
        self.send_header("Content-Length", "0" if fresh else "4")
        self.end_headers()
        if not fresh:
            self.wfile.write(b"data")

    def log_message(self, *_):
        pass


def fetch(stage):
    """Into the cache, and from it: a failing cache costs a request at most, never the data."""
    stage.empty()
    address = f"http://127.0.0.1:{stage.server.server_address[1]}/list"
    for _ in range(2):
        told = stage.platform("fetch", address)
        check_files(stage)
        require(not told["done"] or told["data"] == "data", told)


def engine(stage):
    """The Update Engine is installed by the service, found, ended and removed."""
    stage.empty()
    service = subprocess.Popen([stage.home.suite / "zdservice", "SUCCESS", "SUCCESS driver 0"], text=True,
                               stdout=subprocess.PIPE, env={**stage.home.environment(), "ASAN_OPTIONS": "detect_leaks=0"})
    try:
        service.stdout.readline()
        program = str(stage.home.suite / "zdengine")
        stage.platform("engine-reinstall", program, program)
        for verb in ("path", "uninstall-string", "terminate", "uninstall"):
            stage.platform(f"engine-{verb}")
    finally:
        service.kill()
        service.communicate()
    check_files(stage)


def one_call(*arguments):
    def run(stage):
        stage.empty()
        stage.platform(*arguments)
        check_files(stage)
    run.__name__ = f"zdplatform {arguments[0]}"
    return run


SCENARIOS = (
    first_start, second_start, launch, fetch, engine,
    one_call("describe"), one_call("devices"), one_call("run", "5000", "/", "/bin/true", "x"),
    one_call("awake", "work", "/bin/true"), one_call("id", "5"), one_call("request", "GET", "http://127.0.0.1:9/"),
    one_call("size", "/usr/lib/udev"), one_call("free", "/"), one_call("storage"), one_call("pick-file", "/", "txt"),
    one_call("pick-folder", "/", "1", "state"), one_call("pick-music"), one_call("permissions", "/"),
    one_call("addresses"), one_call("port"), one_call("proxies", "http://127.0.0.1:9/"), one_call("window"),
)


def runs_of(stage, scenario, kind_of):
    """The failures to try."""
    stage.failure = None
    stage.notes.unlink(missing_ok=True)
    scenario(stage)
    notes = stage.notes.read_text().split() if stage.notes.exists() else []
    counts = collections.Counter(notes)
    stage.notes.unlink(missing_ok=True)
    return [f"{operation} {number} {code}" for operation, count in sorted(counts.items())
            for number in range(1, min(count, TIMES) + 1)
            for code in OWN_CODES.get(operation, CODES[kind_of.get(operation, "last error")])]


def disturbed(stage, scenario, failure):
    stage.failure = failure
    scenario(stage)
    stage.failure = ""
    if scenario in (first_start, second_start, launch):
        lines = run_agent(stage)
        require(LISTENING in lines, f"the next start fails: {lines}")


def main():
    under_virtual_bus()
    sample = int(sys.argv[1]) if len(sys.argv) > 1 else None
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else random.randrange(1_000_000)
    phones = Phones()
    phones.plug("1-1", serial="SERIAL1")
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Server)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    stages = {scenario: Stage(phones if scenario is launch else None) for scenario in SCENARIOS[:5]}
    shared = stages[first_start]
    kind_of = kinds()
    tried = []
    for scenario in SCENARIOS:
        stage = stages.get(scenario, shared)
        stage.server = server
        tried += [(stage, scenario, failure) for failure in runs_of(stage, scenario, kind_of)]
    every = len(tried)
    if sample is not None:
        tried = random.Random(seed).sample(tried, min(sample, every))
    made = collections.Counter()
    faults = 0
    for stage, scenario, failure in tried:
        try:
            disturbed(stage, scenario, failure)
        except (Fault, AssertionError, ValueError) as fault:
            faults += 1
            print(f"{scenario.__name__}, {failure}: {fault}", flush=True)
        made[scenario.__name__] += 1
    for stage in stages.values():
        stage.home.close()
    for name, count in made.items():
        print(f"{name}: {count} runs")
    print(f"{len(tried)} of {every} runs, seed {seed}: {faults} faults")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
