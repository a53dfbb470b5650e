#!/usr/bin/python3
"""Shows the agent's main job: a phone is plugged in, and the suite's main application starts.

Runs in a home directory of its own, with a virtual phone, on the desktop that it finds or, without one, on a desktop of
its own that nobody sees. Prints the agent's log lines as they come and leaves pictures of its face in out/demo. Ends
with 0, or says at which step what should have happened didn't.
"""

import os
import sys
import threading
import time

import suite
from desktop import Desktop
from suite import Home, Phones, under_virtual_bus, wait_for

PICTURES = suite.ROOT / "out/demo"
POPUP = "Zelmo Dockset Agent"
UPDATE_AVAILABLE = 1025
LAUNCH = "autoupdate Launching Zelmo Dockset"


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


def find_desktop(home):
    """The desktop of the person who runs this if there is one, else one of its own."""
    desktop = Desktop(home)
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


def demonstrate(home, phones, tell, desktop):
    tell.step("the agent starts, with no phone connected")
    agent = home.start_agent(**desktop.for_agent)
    tell.follow(agent)
    agent.wait_until_listening()
    agent.wait_for_look()

    tell.step("a phone is plugged in: the main application starts")
    plugged = time.monotonic()
    phones.plug("1-1", serial="DEMOPHONE")
    agent.wait_for_line(LAUNCH)
    wait_for("the main application's start", lambda: "started" in home.application_lines())
    delay = time.monotonic() - plugged

    tell.step("it is unplugged and plugged in again: it counts as new")
    phones.unplug("1-1")
    agent.wait_for_look()
    phones.plug("1-1", serial="DEMOPHONE")
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
    return delay, agent


def main():
    under_virtual_bus()
    begun = time.monotonic()
    phones = Phones()
    with Home(phones) as home:
        tell = Narrator(home)
        desktop = None
        try:
            tell.step("a desktop to show it on")
            desktop = find_desktop(home)
            delay, agent = demonstrate(home, phones, tell, desktop)
        except (AssertionError, OSError, suite.subprocess.SubprocessError) as error:
            tell.end()
            print(f"\nFAILED at {tell.step_text}\n{error}", file=sys.stderr)
            return 1
        finally:
            if desktop is not None:
                desktop.close()
        print(f"\nThe demo went through in {time.monotonic() - begun:.0f} s: "
              f"{agent.lines().count(LAUNCH)} starts of the main application, the first {delay:.1f} s after its phone came, "
              f"{home.application_lines().count('ended')} ended in order, and the agent's log has "
              f"{len(agent.lines())} lines. Pictures: {PICTURES.relative_to(suite.ROOT)}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
