"""Measures speed and size, each beside a yardstick, prints the table and writes it to docs/performance.md.

With --quick the idle agent is watched for 10 s instead of 60 s, and the page is left as it is.
"""

import datetime
import json
import os
import pathlib
import platform
import random
import re
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/release"
PAGE = ROOT / "docs/performance.md"
sys.path.insert(0, str(ROOT / "stage"))

from desktop import Desktop  # noqa: E402
from suite import Home, Phones, proportional_memory, under_virtual_bus, wait_for  # noqa: E402

LAUNCH = "autoupdate Launching Zelmo Dockset"
LISTENING = "Started listening for devices"
PERIOD = 2.0
SLEEP_GRAIN = 0.0156
POLL = 0.010
PHONES = 10
ARRIVALS = 8
STARTS = 15
FACE_STARTS = 5
FILES = 100_000

INTRODUCTION = """# Performance

`./dev bench` makes this page. Each figure stands beside a yardstick that was measured in the same run on the same
machine: the library's or the system's bare way to do the work. Trust the ratios; the absolute figures are this
machine's. The documents and the phones are generated, and the agent is the program as it ships, in a home directory of
its own. "To reach" is the bound that must hold on any machine.

Library figures are medians of five runs, taken in turns, each in a process of its own: those of the tree depend on what
the heap has gone through. The processor time of the idle rows has the scanner's looks in it; a pass of the main loop is
the main thread's alone.

Two choices cost lines and are kept for what they gain, measured once with a desktop, medians of nine starts:

- The XML library is linked as an archive: 14.6 MB of memory (PSS) at the start and 25 ms to the icon, against 15.9 MB
  and 29 ms as a shared library, which brings a second HTTP stack and its TLS library into the process.
- Posts of other processes announce themselves by a signal (`win32/linux/windows/window_link.cpp`), so that an idle pass
  of the main loop makes no system call for them: the idle agent's processor time is 1.2 times a bare loop's, against
  1.5 with a `poll` in each pass.

Loading libcurl and OpenSSL at their first use, and linking small libraries as archives, gained 2 to 5 ms of start and
went.
"""


def own_environment():
    return {name: value for name, value in os.environ.items() if name not in ("LD_PRELOAD", "UMOCKDEV_DIR")}


def run_benchmarks(pattern, environment):
    """The results by name: the median of five runs, taken in turns, each in a process with a heap of its own."""
    def bench(*options):
        return subprocess.run([BUILD / "bench", *options], env=environment, check=True, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout

    names = bench(f"--benchmark_filter={pattern}", "--benchmark_list_tests").split()
    runs = {name: [] for name in names}
    for name in 5 * names:
        output = bench(f"--benchmark_filter=^{name}$", "--benchmark_format=json")
        result, = json.loads(output)["benchmarks"]
        if result.get("error_occurred"):
            raise RuntimeError(f"benchmark failed: {name}")
        runs[name].append(result)
    return {name.split("/")[0]: sorted(results, key=lambda result: result["real_time"])[len(results) // 2]
            for name, results in runs.items()}


def row(what, figure, yardstick, ratio, bound, good):
    verdict = "" if good is None else "ok" if good else "**no**"
    return [what, figure, yardstick, "" if ratio is None else f"{ratio:.2f}", bound, verdict]


def throughput(results, what, mine, library, bound):
    own, bare = (results[name]["bytes_per_second"] / 1e6 for name in (mine, library))
    to_reach = f"ratio at least {bound}" if bound else ""
    return row(what, f"{own:.0f} MB/s", f"{bare:.0f} MB/s", own / bare, to_reach, own / bare >= bound if bound else None)


def library_rows():
    results = run_benchmarks("^(xml|json|tree|settings|log)", own_environment())
    yield throughput(results, "`parseXml` of a device list of 20 MB; the library's pull", "xmlToTree",
                     "xmlLibraryPull", 0.65)
    yield throughput(results, "the same and the tree's destruction", "xmlToTreeAndGone", "xmlLibraryPull", None)
    yield throughput(results, "`parseJson` of 5 MB; `json_loadb`", "jsonToTree", "jsonLibraryLoad", 0.5)
    yield throughput(results, "`toJsonBytes` of that tree; `json_dumpb`", "treeToJson", "jsonLibraryDump", 1.0)
    own, bare = (results[name]["median_ms"] for name in ("settingsReload", "settingsRead"))
    yield row("`AppSettings::settings()` with its reload; `open`, `read`, `close` of the file", f"{own:.3f} ms",
              f"{bare:.4f} ms", own / bare, "under 0.5 ms", own < 0.5)
    own, bare = (results[name]["items_per_second"] for name in ("logLine", "logBareWrite"))
    yield row("log lines of four threads; `write` of the same bytes", f"{own / 1e3:.0f} 000/s", f"{bare / 1e3:.0f} 000/s",
              own / bare, "ratio at least 0.5", own / bare >= 0.5)


def plug_phones(phones):
    for number in range(PHONES):
        phones.plug(f"1-{number + 1}", serial=f"SERIAL{number}")


def enumeration_rows():
    """The row, and the length of a pass in seconds."""
    phones = Phones()
    plug_phones(phones)
    results = run_benchmarks("^enumeration", {**own_environment(), **phones.environment})
    own, bare = results["enumeration"], results["enumerationBareScan"]
    if own["devices"] != PHONES or bare["devices"] != PHONES:
        raise RuntimeError(f"the looks saw {own['devices']} and {bare['devices']} of {PHONES} phones")
    ratio = own["real_time"] / bare["real_time"]
    return row(f"a look at the devices, {PHONES} phones; a bare scan of the same attributes",
               f"{own['real_time'] / 1e3:.2f} ms", f"{bare['real_time'] / 1e3:.2f} ms", ratio, "ratio at most 1.5",
               ratio <= 1.5), own["real_time"] / 1e6


def arrival_row(pass_seconds):
    """Phones arrive at chance moments of the scanner's period. The log is polled, which counts in the bound."""
    waits = []
    phones = Phones()
    with Home(phones) as home:
        agent = home.start_agent()
        agent.wait_for_scan()
        for number in range(ARRIVALS):
            time.sleep(random.uniform(0, PERIOD))
            phones.plug(f"1-{number + 1}", serial=f"SERIAL{number}")
            begin = time.monotonic()
            agent.wait_for_line(LAUNCH, number + 1)
            waits.append(time.monotonic() - begin)
            # An arrival in the same look as the one before would start nothing of its own.
            agent.wait_for_scan()
        agent.stop()
    bound = PERIOD + SLEEP_GRAIN + pass_seconds + POLL
    return row(f"a phone's arrival to the start of the application, the worst of {ARRIVALS}; the scanner's period",
               f"{max(waits):.2f} s", f"{PERIOD:g} s", max(waits) / PERIOD, f"at most {bound:.2f} s, a period with its sleep's grain and a look",
               max(waits) <= bound)


def start_row():
    def start():
        with Home() as home:
            begin = time.monotonic()
            agent = home.start_agent()
            deadline = begin + 5
            while LISTENING not in agent.lines() and time.monotonic() < deadline:
                time.sleep(0.0005)
            taken = time.monotonic() - begin
            agent.stop()
            return taken

    def start_nothing():
        begin = time.monotonic()
        subprocess.run([BUILD / "bench_nothing"], env=own_environment(), check=True)
        return time.monotonic() - begin

    own, bare = (1e3 * statistics.median(act() for _ in range(STARTS)) for act in (start, start_nothing))
    return row("start of the agent to its readiness; start and end of an empty program", f"{own:.0f} ms",
               f"{bare:.1f} ms", own / bare, "under 50 ms", own < 50)


def du_seconds(directory):
    begin = time.monotonic()
    subprocess.run(["du", "-sb", directory], stdout=subprocess.DEVNULL, check=True)
    return time.monotonic() - begin


def platform_rows():
    with tempfile.TemporaryDirectory() as directory:
        for number in range(FILES):
            folder = pathlib.Path(directory, str(number // 1000))
            if number % 1000 == 0:
                folder.mkdir()
            (folder / f"file {number}").write_bytes(b"x")
        du = 1e3 * statistics.median(du_seconds(directory) for _ in range(5))
        results = run_benchmarks("^platform", {**own_environment(), "ZD_BENCH_DIRECTORY": directory,
                                               "ZD_BENCH_PROGRAM": str(BUILD / "bench_nothing")})
    if results["platformDirectorySize"]["bytes"] != FILES or results["platformStorageInfo"]["writable"] != 1:
        raise RuntimeError("the platform saw other files than there are, or a disk that isn't healthy")
    own, bare, size, storage = (results[name]["real_time"] / 1e3 for name in (
        "platformStartProcess", "platformBareSpawn", "platformDirectorySize", "platformStorageInfo"))
    yield row("`startProcess` of an empty program to its exit; bare `posix_spawn` and `waitpid`", f"{own:.2f} ms",
              f"{bare:.2f} ms", own / bare, "ratio at most 1.3", own <= 1.3 * bare)
    yield row(f"`getDirectorySize` of {FILES} files; `du -sb`", f"{size:.0f} ms", f"{du:.0f} ms", size / du,
              "ratio at most 1.5", size <= 1.5 * du)
    yield row("`getStorageInfo`", f"{storage:.2f} ms", "", None, "under 5 ms", storage < 5)


class Usage:
    """What a process has used up to now: wake-ups, and seconds of processor time."""

    def __init__(self, pid):
        tasks = list(pathlib.Path(f"/proc/{pid}/task").iterdir())
        switches = (re.search(r"\nvoluntary_ctxt_switches:\s+(\d+)", (task / "status").read_text()) for task in tasks)
        self.wake_ups = sum(int(found.group(1)) for found in switches)
        self.seconds = sum(int((task / "schedstat").read_text().split()[0]) for task in tasks) / 1e9


def icon_row():
    """From the start of a program to its icon standing in the panel's list."""
    times = {}
    for name in ("agent", "bare"):
        times[name] = []
        for _ in range(FACE_STARTS):
            with Home() as home:
                desktop = Desktop(home)
                try:
                    desktop.start()
                    begin = time.monotonic()
                    if name == "agent":
                        agent = home.start_agent(**desktop.for_agent)
                    else:
                        desktop.start_program("bare", [BUILD / "bench_tray_item"])
                    while not desktop.items():
                        time.sleep(0.0005)
                    times[name].append(time.monotonic() - begin)
                    if name == "agent":
                        agent.stop()
                finally:
                    desktop.close()
    own, bare = (1e3 * statistics.median(times[name]) for name in ("agent", "bare"))
    return row("start to the icon in the panel; a bare sd-bus program with the same item", f"{own:.0f} ms",
               f"{bare:.0f} ms", own / bare, "ratio at most 3.5", own <= 3.5 * bare)


def main_thread(pid):
    """Seconds of processor time and wake-ups of a process's main thread."""
    task = pathlib.Path(f"/proc/{pid}/task/{pid}")
    seconds = int((task / "schedstat").read_text().split()[0]) / 1e9
    return seconds, int(re.search(r"\nvoluntary_ctxt_switches:\s+(\d+)", (task / "status").read_text()).group(1))


def wait_for_first_pass(agent):
    """With which the agent gives back what only its start needed."""
    wait_for("the first pass over the device lists", lambda: any("Next update in" in line for line in agent.lines()))
    agent.wait_for_scan()


def face_rows(seconds):
    with Home() as home:
        desktop = Desktop(home)
        try:
            desktop.start()
            agent = home.start_agent(**desktop.for_agent)
            wait_for_first_pass(agent)
            item = desktop.item()
            item.click()
            wait_for("the popup", lambda: desktop.windows("Zelmo Dockset Agent"))
            desktop.xdotool("windowfocus", "--sync", desktop.start_other_window())
            item.open_menu()
            memory = proportional_memory(agent.process.pid)
            loop = subprocess.Popen([BUILD / "bench_idle_loop"], env=own_environment())
            try:
                before = [main_thread(pid) for pid in (agent.process.pid, loop.pid)]
                time.sleep(seconds)
                after = [main_thread(pid) for pid in (agent.process.pid, loop.pid)]
            finally:
                loop.kill()
                loop.wait()
            agent.stop()
            *growth, look = [[float(number) for number in line.split()]
                             for line in desktop.output([BUILD / "bench_face_growth"]).splitlines()]
        finally:
            desktop.close()
    own, bare = (1e6 * (end[0] - start[0]) / (end[1] - start[1]) for start, end in zip(before, after))
    yield row("memory (PSS) with icon, popup and menu shown", f"{memory:.1f} MB", "", None, "at most 8 MB", memory <= 8)
    yield row("a pass of the main loop with the face up, the sleep aside; of a bare loop", f"{look[0]:.1f} us", "0 us",
              None, "at most 3 us more", look[0] <= 3)
    yield row("the same with the sleep, after which the caches are cold; a bare loop with the same sleep",
              f"{own:.1f} us", f"{bare:.1f} us", own / bare, "", None)
    for name, (size, handles, later_size, later_handles) in zip(("balloons", "openings of the popup"), growth):
        yield row(f"growth from 1 000 to 10 000 {name}: memory, descriptors", f"{later_size - size:.0f} kB, {later_handles - handles:.0f}",
                  f"{size:.0f} kB, {handles:.0f}", None, "none (256 kB are the heap's own)",
                  later_size - size <= 256 and later_handles <= handles)


def idle_rows(seconds):
    with Home() as home:
        agent = home.start_agent()
        wait_for_first_pass(agent)
        loop = subprocess.Popen([BUILD / "bench_idle_loop"], env=own_environment())
        try:
            pids = (agent.process.pid, loop.pid)
            before = [Usage(pid) for pid in pids]
            begin = time.monotonic()
            time.sleep(seconds)
            after = [Usage(pid) for pid in pids]
            span = time.monotonic() - begin
            memory = [proportional_memory(pid) for pid in pids]
        finally:
            loop.kill()
            loop.wait()
        agent.stop()
    wakes = [(end.wake_ups - start.wake_ups) / span for start, end in zip(before, after)]
    cpu = [100 * (end.seconds - start.seconds) / span for start, end in zip(before, after)]
    beside = f"idle agent, {seconds} s; a bare loop with the same sleep"
    return [
        row(f"memory (PSS), {beside}", f"{memory[0]:.1f} MB", f"{memory[1]:.1f} MB", memory[0] / memory[1],
            "at most 12 MB", memory[0] <= 12),
        row(f"wake-ups, {beside}", f"{wakes[0]:.1f}/s", f"{wakes[1]:.1f}/s", wakes[0] / wakes[1], "at most 70/s",
            wakes[0] <= 70),
        row(f"processor time, {beside}", f"{cpu[0]:.3f} %", f"{cpu[1]:.3f} %", cpu[0] / cpu[1], "ratio at most 1.5",
            cpu[0] <= 1.5 * cpu[1]),
    ]


def network_rows():
    output = subprocess.run([sys.executable, ROOT / "bench/network_rows.py", BUILD / "bench", "^(net|cache|list)"],
                            env=own_environment(), check=True, text=True, stdout=subprocess.PIPE).stdout
    results = json.loads(output)

    def beside(what, own, bare, bound, unit="ms"):
        mine, theirs = results[own]["real_time"], results[bare]["real_time"]
        return row(what, f"{mine:.2f} {unit}", f"{theirs:.2f} {unit}", mine / theirs, f"ratio at most {bound}",
                   mine <= bound * theirs)

    yield beside("`getUrlCached` of 1 MB over TLS, answered with 200; a bare request by libcurl", "netCached200", "netBare200", 1.3)
    yield beside("the same, answered with 304; a bare request by libcurl", "netCached304", "netBare304", 1.3)
    yield beside("a request with pinned keys; one without", "netPinned", "netUnpinned", 1.1)
    for count in (10, 100, 1000):
        for operation in ("Get", "Put"):
            # With few entries the lock and the two files to be written cost as much as the parsing.
            bound = 2.3 if (operation, count) == ("Put", 10) else 2
            yield beside(f"cache `{operation.lower()}` among {count} entries; parsing the index", f"cache{operation}/{count}",
                         f"cacheIndex/{count}", bound, "us")
    yield beside("a list of 100 000 variants, from the request to the match with ten phones; parsing it", "listPass",
                 "listParse", 1.3)
    settled, last = results["listGrowth"]["settled"], results["listGrowth"]["last"]
    yield row("memory (PSS) after 100 more passes over the lists; after the first 20", f"{last / 1024:.1f} MB",
              f"{settled / 1024:.1f} MB", last / settled, "128 kB more, the heap's own", last <= settled + 128)
    memory = results["agent"]
    yield row("memory (PSS), the agent after its first pass; before it", f"{memory['after']:.1f} MB",
              f"{memory['before']:.1f} MB", memory["after"] / memory["before"], "at most 8 MB more",
              memory["after"] <= memory["before"] + 8)


def update_rows():
    results = run_benchmarks("^update", own_environment())
    own, bare = (results[name]["real_time"] for name in ("updateVerify", "updateLibraryVerify"))
    yield row("`verifyManifest` of 100 KB; OpenSSL's verification of the same bytes", f"{own:.0f} us", f"{bare:.0f} us",
              own / bare, "ratio at most 3", own <= 3 * bare)
    # In a process of its own, since it lives on a network of its own.
    output = subprocess.run([sys.executable, ROOT / "bench/update_memory.py"], env=own_environment(), check=True,
                            text=True, stdout=subprocess.PIPE).stdout
    grown, size = (float(word) for word in output.split())
    yield row("memory above idle at the most while an installer is fetched, verified and written; its size",
              f"{grown:.0f} MB", f"{size:.0f} MB", grown / size, "ratio at most 1.2", grown <= 1.2 * size)


def machine():
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    memory = re.search(r"MemTotal:\s+(\d+)", pathlib.Path("/proc/meminfo").read_text())
    return (f"{model.group(1) if model else platform.machine()}, {os.cpu_count()} cores, "
            f"{int(memory.group(1)) / 1024 / 1024:.0f} GB of memory, Linux {platform.release()}, "
            f"{datetime.date.today():%d %B %Y}")


def table(rows):
    head = ["what; beside what", "figure", "yardstick", "ratio", "to reach", ""]
    return "\n".join("| " + " | ".join(cells) + " |" for cells in [head, ["---"] * len(head), *rows])


def main():
    quick = "--quick" in sys.argv
    under_virtual_bus()
    rows = list(library_rows())
    enumeration, pass_seconds = enumeration_rows()
    rows += [enumeration, arrival_row(pass_seconds), start_row(), *idle_rows(10 if quick else 60), icon_row(),
             *face_rows(10 if quick else 60), *network_rows(), *update_rows(), *platform_rows()]
    text = table(rows)
    print(text)
    if not quick:
        PAGE.parent.mkdir(exist_ok=True)
        PAGE.write_text(f"{INTRODUCTION}\n## {machine()}\n\n{text}\n")


if __name__ == "__main__":
    main()
