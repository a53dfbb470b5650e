"""What the demo, the measurements and the tests of the whole program share: a home directory of its own, a virtual bus
of phones, and the programs of the suite as child processes.

Nothing here sleeps blindly: wait_for polls a condition until a deadline, which says what was missed.
"""

import collections
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = pathlib.Path(os.environ.get("SUITE_BUILD", ROOT / "build/release"))
SUITE = BUILD / "suite"


def wait_for(what, condition, seconds=15.0):
    """Gives the condition's first true result."""
    deadline = time.monotonic() + seconds
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {seconds:g} s in vain: {what}")
        time.sleep(0.01)


Process = collections.namedtuple("Process", "pid program arguments environment")


def processes():
    """All that run, as far as this user may look; those that have ended and wait to be collected have nothing left."""
    found = []
    for place in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            arguments, environment = (os.fsdecode((place / name).read_bytes()).split("\0")
                                      for name in ("cmdline", "environ"))
            found.append(Process(int(place.name), os.readlink(place / "exe"), arguments, environment))
        except OSError:
            continue
    return found


def proportional_memory(pid):
    """In MB; what is shared with other processes counts in part."""
    rollup = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    return int(re.search(r"\nPss:\s+(\d+)", rollup).group(1)) / 1024


def preload_library():
    return str(sorted(pathlib.Path("/usr/lib").glob("*/libumockdev-preload.so.0"))[-1])


def under_virtual_bus():
    """Starts this very script anew with the library preloaded that shows it the virtual bus, unless it has it."""
    if "umockdev" not in os.environ.get("LD_PRELOAD", ""):
        os.execve(sys.executable, [sys.executable, *sys.argv], {**os.environ, "LD_PRELOAD": preload_library()})


class Phones:
    """A virtual USB bus; the programs that get `environment` see it in place of the real one."""

    def __init__(self):
        import gi
        gi.require_version("UMockdev", "1.0")
        from gi.repository import UMockdev
        self._testbed = UMockdev.Testbed.new()
        self._plugged = {}

    @property
    def environment(self):
        return {"LD_PRELOAD": preload_library(), "UMOCKDEV_DIR": self._testbed.get_root_dir()}

    def plug(self, port, vendor="18d1", product="4ee1", serial="SERIAL1", interface=("06", "01", "01"), name="MTP",
             interfaces=1):
        """A device with one interface that counts. Without a vendor it keeps its identifiers to itself."""
        attributes = [] if vendor is None else ["idVendor", vendor, "idProduct", product]
        attributes += ["serial", serial, "bNumInterfaces", f"{interfaces:2}"]
        device = self._testbed.add_device("usb", port, None, attributes, ["DEVTYPE", "usb_device"])
        node = self._testbed.add_device(
            "usb", f"{port}:1.0", device,
            ["bInterfaceClass", interface[0], "bInterfaceSubClass", interface[1], "bInterfaceProtocol", interface[2],
             "bInterfaceNumber", "00", "interface", name],
            ["DEVTYPE", "usb_interface", "PRODUCT", f"{vendor or '18d1'}/{product}/440"])
        self._plugged[port] = (node, device)

    def unplug(self, port):
        for path in self._plugged.pop(port):
            self._testbed.remove_device(path)


class Home:
    """A home directory, with the suite installed in it, that goes when the object is closed."""

    def __init__(self, phones=None, accept_unrecognized="yes", prefix="zd-home-"):
        self.path = pathlib.Path(tempfile.mkdtemp(prefix=prefix))
        self.runtime = self.path / "runtime"
        self.runtime.mkdir(mode=0o700)
        self.temporary = self.path / "tmp"
        self.temporary.mkdir()
        self.temporary.chmod(0o1777)
        self.suite = self.path / "installed suite"
        shutil.copytree(SUITE, self.suite)
        self.support = self.path / "Documents/Tavrin/Zelmo Dockset"
        self.logs = self.support / "logs"
        self.support.mkdir(parents=True)
        self.phones = phones
        self._children = []
        if accept_unrecognized is not None:
            self.configure(f"<config><device-support><accept-unrecognized-devices>{accept_unrecognized}"
                           "</accept-unrecognized-devices></device-support></config>")

    def configure(self, xml):
        (self.support / "zd-config.xml").write_text(xml)

    @property
    def settings_path(self):
        return self.support / "app_settings.json"

    def settings(self):
        return json.loads(self.settings_path.read_text())

    @property
    def autostart_path(self):
        return self.path / ".config/autostart/ZelmoDocksetAgent.desktop"

    def environment(self, **extra):
        kept = {"PATH": os.environ["PATH"], "LANG": "C.UTF-8"}
        phones = self.phones.environment if self.phones else {}
        return {**kept, "HOME": str(self.path), "XDG_RUNTIME_DIR": str(self.runtime), "TMPDIR": str(self.temporary),
                **phones, **extra}

    def start_agent(self, **extra):
        return self.adopt(Agent(self, extra))

    def adopt(self, agent):
        """Has an agent end with the home."""
        self._children.append(agent.process)
        return agent

    def post(self, window_class, message, parameter=0):
        subprocess.run([self.suite / "zdpost", window_class, str(message), str(parameter)], env=self.environment(), check=True)

    def application_lines(self):
        """What the stand-in main application noted, without its process numbers."""
        path = self.logs / "ZelmoDockset.log"
        return [line.split(" ", 1)[1] for line in path.read_text().splitlines()] if path.exists() else []

    def application_pids(self):
        path = self.logs / "ZelmoDockset.log"
        return sorted({int(line.split(" ", 1)[0]) for line in path.read_text().splitlines()}) if path.exists() else []

    def close(self):
        for child in self._children:
            if child.poll() is None:
                child.kill()
            child.wait()
        # What these have started, too, whether it came as far as to tell of itself or not.
        wait_for("the end of all programs of this home", self._end_programs)
        subprocess.run(["chmod", "-R", "u+rwx", self.path], check=False)
        shutil.rmtree(self.path, ignore_errors=True)

    def _end_programs(self):
        own = [process.pid for process in processes() if f"HOME={self.path}" in process.environment]
        for pid in own:
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        return not own

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


class Agent:
    """A running agent and its log."""

    def __init__(self, home, extra):
        self._home = home
        self._before = set(home.logs.glob("agent_log_*.txt"))
        self.process = subprocess.Popen(self.command(home), env=home.environment(**extra), cwd="/")

    def command(self, home):
        return [home.suite / "ZelmoDocksetAgent"]

    @property
    def log_path(self):
        new = set(self._home.logs.glob("agent_log_*.txt")) - self._before
        return sorted(new)[-1] if new else None

    def lines(self):
        """The log's lines without their times."""
        path = self.log_path
        text = path.read_text() if path else ""
        return [re.sub(r"^\d+ms ", "", line) for line in text.splitlines()]

    def wait_for_line(self, line, count=1, seconds=15.0):
        wait_for(f'{count} x "{line}" in the log, which has {self.lines()}',
                 lambda: self.lines().count(line) >= count, seconds)

    def wait_until_listening(self):
        self.wait_for_line("Started listening for devices")

    def _scanner_pauses(self):
        """How often the scanner's thread has gone to sleep, once it has slept for a while; else None."""
        tasks = sorted(int(path.name) for path in pathlib.Path(f"/proc/{self.process.pid}/task").iterdir())
        if len(tasks) < 2:
            return None

        def sleeps():
            status = pathlib.Path(f"/proc/{self.process.pid}/task/{tasks[1]}/status").read_text()
            state = re.search(r"State:\s+(\w)", status).group(1)
            return int(re.search(r"\nvoluntary_ctxt_switches:\s+(\d+)", status).group(1)) if state == "S" else None

        before = sleeps()
        time.sleep(0.1)
        return before if before and before == sleeps() else None

    def wait_for_scan(self):
        """Returns once the scanner pauses after a look that began after this call, or after its first look."""
        begun = self._scanner_pauses() if hasattr(self, "_looked") else 0
        self._looked = True
        if begun is None:
            begun = wait_for("the scanner's pause", self._scanner_pauses)
        wait_for("a look of the scanner", lambda: (self._scanner_pauses() or 0) > begun)

    def stop(self, seconds=15.0):
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(seconds)
