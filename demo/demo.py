#!/usr/bin/python3
"""Shows the agent's main job: the lists of supported phones arrive, one of these phones is plugged in, and the suite's
main application starts.

Runs in a home directory of its own, with virtual phones and a download server on a network of its own, on the desktop
that it finds or, without one, on a desktop of its own that nobody sees. Prints the agent's log lines as they come and
leaves pictures of its face in out/demo. Ends with 0, or says at which step what should have happened didn't.
"""

import contextlib
import os
import pathlib
import subprocess
import sys
import tempfile
import threading
import time

# The rig is that of the tests of the whole program.
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "stage"))

import suite  # noqa: E402
from desktop import Desktop  # noqa: E402
from network import (  # noqa: E402
    DOWNLOADS, LISTS, PROXY_PORT, Authority, Network, NetworkAgent, device_list, in_private_network, lay_pins)
from suite import Home, Phones, under_virtual_bus, wait_for  # noqa: E402

PICTURES = suite.ROOT / "out/demo"
POPUP = "Zelmo Dockset Agent"
UPDATE_AVAILABLE = 1025
LAUNCH = "autoupdate Launching Zelmo Dockset"
UP_TO_DATE = "DeviceFilterHandler Device lists are up to date."
SUPPORTED = {"vendor": "3a5f", "product": "0f01"}
UNSUPPORTED = {"vendor": "18d1", "product": "4ee1"}


class Narrator:
    """Numbers the steps, and prints new lines of the agent's log and of the main application as they come."""

    def __init__(self, home):
        self._home = home
        self._agent = None
        self._told = {"agent": 0, "ZelmoDockset": 0}
        self._step = 0
        self._done = threading.Event()
        self._lock = threading.Lock()
        self._thread = threading.Thread(target=self._follow, daemon=True)

    @property
    def step_text(self):
        return self._text

    def step(self, text):
        self._tell_new()
        self._step += 1
        self._text = f"step {self._step}: {text}"
        print(f"\n== {self._text}", flush=True)

    def follow(self, agent):
        self._agent = agent
        self._thread.start()

    def end(self):
        self._done.set()
        if self._thread.is_alive():
            self._thread.join()
        self._tell_new()

    def _follow(self):
        while not self._done.wait(0.05):
            self._tell_new()

    def _tell_new(self):
        with self._lock:
            self._tell_new_lines()

    def _tell_new_lines(self):
        sources = {"agent": self._agent.lines() if self._agent else [],
                   "ZelmoDockset": self._home.application_lines()}
        for source, lines in sources.items():
            for line in lines[self._told[source]:]:
                print(f"   {source:>12} | {line}", flush=True)
            self._told[source] = max(self._told[source], len(lines))


class DownloadServer:
    """A web server with the lists, which can be reached only through a proxy."""

    def __init__(self, directory):
        self._authority = Authority(directory / "keys")
        self.network = Network(directory / "network")
        self.network.add_server(self._authority.leaf(DOWNLOADS))
        lists = self.network.files / LISTS
        lists.mkdir(parents=True)
        (lists / "zd-supported-devices.xml").write_text(device_list(1000, [(SUPPORTED["vendor"], SUPPORTED["product"])]))
        (lists / "zd-unsupported-devices.xml").write_text(device_list(1000))
        self.network.start_servers()
        self.network.start_proxy()

    def start_agent(self, home, **extra):
        lay_pins(home, self._authority.public_key("intermediate"))
        view = self.network.enter(None, [self._authority.root])
        return home.adopt(NetworkAgent(home, view, https_proxy=f"http://127.0.0.1:{PROXY_PORT}", **extra))


def find_desktop(home, closing):
    """The desktop of the person who runs this if there is one, else one of its own."""
    desktop = Desktop(home)
    closing.callback(desktop.close)
    if os.environ.get("DISPLAY") and os.environ.get("DBUS_SESSION_BUS_ADDRESS"):
        return desktop.adopt()
    return desktop.start()


def picture(desktop, name):
    time.sleep(0.5)  # what was just asked for takes a moment to be painted, and nothing tells when it is
    desktop.screenshot(PICTURES / f"{name}.png")


def show_face(home, desktop, agent, tell):
    tell.step("its icon stands in the panel; a click opens the popup, and losing the focus closes it")
    item = desktop.item()
    picture(desktop, "icon")
    item.click()
    wait_for("the popup", lambda: desktop.windows(POPUP))
    picture(desktop, "popup")
    desktop.xdotool("windowfocus", "--sync", desktop.start_other_window())
    wait_for("the popup closed", lambda: not desktop.windows(POPUP))
    desktop.kill("xev")

    tell.step("an update is announced: a balloon, and an entry in the menu")
    home.post("ZelmoDocksetAgent", UPDATE_AVAILABLE)
    wait_for("the entry", lambda: "Download update" in [label for _, label in item.open_menu()])
    picture(desktop, "balloon")
    starts = agent.lines().count(LAUNCH)
    item.choose("Download update")
    agent.wait_for_line(LAUNCH, starts + 1)


def demonstrate(home, tell, directory, closing):
    phones = home.phones
    tell.step("a desktop to show it on, and a server to download from")
    desktop = find_desktop(home, closing)
    server = DownloadServer(directory)
    closing.callback(server.network.close)

    tell.step("the agent starts, with no phone connected")
    agent = server.start_agent(home, **desktop.for_agent)
    tell.follow(agent)
    agent.wait_until_listening()
    agent.wait_for_scan()

    tell.step("the lists of phones arrive through the system's proxy, from a server that shows a pinned key")
    agent.wait_for_line(UP_TO_DATE)
    if server.network.proxied() != 2:
        raise AssertionError(f"{server.network.proxied()} connections went through the proxy, not 2")

    tell.step("a phone that isn't in the list is plugged in: nothing happens")
    phones.plug("1-2", **UNSUPPORTED, serial="STRANGER")
    agent.wait_for_scan()
    agent.wait_for_scan()
    if LAUNCH in agent.lines():
        raise AssertionError("a phone that isn't supported started the main application")

    tell.step("a phone that is in the list is plugged in: the main application starts")
    plugged = time.monotonic()
    phones.plug("1-1", **SUPPORTED, serial="DEMOPHONE")
    agent.wait_for_line(LAUNCH)
    wait_for("the main application's start", lambda: "started" in home.application_lines())
    delay = time.monotonic() - plugged

    tell.step("it is unplugged and plugged in again: it counts as new")
    phones.unplug("1-1")
    agent.wait_for_scan()
    phones.plug("1-1", **SUPPORTED, serial="DEMOPHONE")
    agent.wait_for_line(LAUNCH, 2)
    wait_for("the second start, which finds the first", lambda: "runs already" in home.application_lines())

    tell.step("the main application asks to be restarted, and ends: the agent starts it again")
    home.post("ZelmoDockset", 1025)
    agent.wait_for_line(LAUNCH, 3)
    wait_for("the restart", lambda: home.application_lines().count("started") == 2)

    show_face(home, desktop, agent, tell)

    tell.step("the agent is asked to stop: it tells the main application to quit")
    code = agent.stop()
    if code != 0:
        raise AssertionError(f"the agent ended with {code}")
    wait_for("the main application's end", lambda: home.application_lines()[-2:] == ['received "QUIT"', "ended"])
    tell.end()
    return (f"{agent.lines().count(LAUNCH)} starts of the main application, the first {delay:.1f} s after its phone came, "
            f"{home.application_lines().count('ended')} ended in order, and the agent's log has "
            f"{len(agent.lines())} lines. Pictures: {PICTURES.relative_to(suite.ROOT)}")


def run(story, phones=None):
    """Has a story told in a home of its own; what it needs meanwhile it leaves to be closed. Gives the exit code."""
    begun = time.monotonic()
    with (tempfile.TemporaryDirectory(prefix="zd-demo-") as directory, Home(phones, accept_unrecognized=None) as home,
          contextlib.ExitStack() as closing):
        tell = Narrator(home)
        try:
            summary = story(home, tell, pathlib.Path(directory), closing)
        except (AssertionError, OSError, subprocess.SubprocessError) as error:
            tell.end()
            print(f"\nFAILED at {tell.step_text}\n{error}", file=sys.stderr)
            return 1
    print(f"\nThe demo went through in {time.monotonic() - begun:.0f} s: {summary}")
    return 0


if __name__ == "__main__":
    in_private_network()
    under_virtual_bus()
    sys.exit(run(demonstrate, Phones()))
