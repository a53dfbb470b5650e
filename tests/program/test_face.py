"""The agent's face on a real desktop: a real panel with its tray, a real notification daemon, a real window manager.

Run it with a panel's name as the only argument to try that one alone: test_face.py lxqt-panel. Most cases talk to the
icon as the panel does, which never misses; a few go by the mouse.
"""

import signal
import sys
import time
import unittest

from desktop import Desktop
from suite import Home, wait_for

LAUNCH = "autoupdate Launching Zelmo Dockset"
POPUP = "Zelmo Dockset Agent"
AVAILABLE, DOWNLOADED = 1025, 1026
ROUNDS = 10
# What the layer calls a double-click time; two calls within it are one double click.
DOUBLE_CLICK = 0.5


class Face(unittest.TestCase):
    panel = "xfce4-panel"

    def desktop(self):
        home = Home()
        self.addCleanup(home.close)
        desktop = Desktop(home)
        self.addCleanup(desktop.close)
        self.home = home
        return desktop

    def start_agent(self, desktop, **extra):
        agent = self.home.start_agent(**desktop.for_agent, **extra)
        agent.wait_until_listening()
        return agent

    def running(self, **extra):
        desktop = self.desktop().start(self.panel)
        agent = self.start_agent(desktop, **extra)
        return desktop, agent, desktop.item()

    def test_normal_start_with_a_desktop(self):
        desktop, agent, item = self.running()
        self.assertEqual(agent.lines()[:7], [
            "Loading images", "Creating controls", "Loading messages", "getting messages from agent-en.xml",
            "AppSettings No saved settings found", "AppSettings Saved app settings", "Started listening for devices"])
        self.assertEqual(item.property("Title"), "Zelmo Dockset")
        self.assertFalse(item.property("ItemIsMenu"))
        self.assertGreaterEqual(len(item.property("IconPixmap")), 1)
        self.assertEqual(agent.stop(), 0)
        self.assertEqual(agent.lines()[-1], "joining scanner thread")
        wait_for("the icon gone", lambda: not desktop.items())

    def test_single_click_opens_the_popup_and_losing_focus_closes_it(self):
        desktop, agent, item = self.running()
        other = desktop.start_other_window()
        for _ in range(ROUNDS):
            item.click()
            (popup,) = wait_for("the popup", lambda: desktop.windows(POPUP))
            x, y, width, height = desktop.window_rectangle(popup)
            self.assertEqual((width, height), (348, 287))
            self.assertTrue(0 <= x <= 800 - width and 0 <= y <= 570 - height, "outside of the work area")
            desktop.xdotool("windowfocus", "--sync", other)
            wait_for("the popup closed", lambda: not desktop.windows(POPUP))
            item.click()  # within the double-click time: nothing
            time.sleep(0.1)
            self.assertEqual(desktop.windows(POPUP), [])
            time.sleep(DOUBLE_CLICK)
        self.assertNotIn("agent Failed", "\n".join(agent.lines()))

    def test_double_click_starts_the_application(self):
        desktop, agent, item = self.running()
        for count in range(1, ROUNDS + 1):
            item.click()
            item.click()
            agent.wait_for_line(LAUNCH, count)
            time.sleep(DOUBLE_CLICK)
        self.assertEqual(agent.lines().count(LAUNCH), ROUNDS)
        wait_for("the application", lambda: "started" in self.home.application_lines())

    def test_menu_and_balloons_by_state(self):
        desktop, agent, item = self.running()
        launches = 0
        for _ in range(ROUNDS):
            self.assertEqual([label for _, label in item.open_menu()], ["Launch", "", "Close"])
            item.choose("Launch")
            launches += 1
            agent.wait_for_line(LAUNCH, launches)
            for message, entry, starts in ((AVAILABLE, "Download update", 1), (DOWNLOADED, "Install update", 0)):
                for by_balloon in (True, False):
                    self.home.post("ZelmoDocksetAgent", message)
                    wait_for("the balloon", lambda: desktop.notifications() == 1)
                    labels = [label for _, label in item.open_menu()]
                    self.assertEqual(labels, ["Launch", entry, "", "Close"])
                    if by_balloon:
                        desktop.output(["dunstctl", "action", "0"])
                    else:
                        item.choose(entry)
                    wait_for("the entry gone", lambda: len(item.open_menu()) == 3)
                    launches += starts
                    agent.wait_for_line(LAUNCH, launches)
                    desktop.output(["dunstctl", "close-all"])
                    wait_for("the balloon gone", lambda: desktop.notifications() == 0)
        # An offer to fetch gives way to the offer to install.
        self.home.post("ZelmoDocksetAgent", AVAILABLE)
        self.home.post("ZelmoDocksetAgent", DOWNLOADED)
        wait_for("the second entry", lambda: [text for _, text in item.open_menu()][1] == "Install update")
        self.assertEqual(agent.lines().count(LAUNCH), launches)
        item.choose("Close")
        self.assertEqual(agent.process.wait(10), 0)

    def test_by_the_mouse(self):
        desktop, agent, item = self.running()
        x, y = self.find_icon(desktop, item)
        before = desktop.mapped_windows()
        desktop.xdotool("mousemove", x, y, "click", 3)
        menu = wait_for("the panel's menu", lambda: desktop.mapped_windows() - before)
        # The first entry by keys: places inside of a menu differ from panel to panel.
        # A menu takes the keyboard some time after it is on the screen; what comes earlier is lost.

        def choose_first():
            desktop.xdotool("key", "Down", "Return")
            time.sleep(0.5)
            return not desktop.mapped_windows() & menu
        wait_for("the menu closed", choose_first)
        agent.wait_for_line(LAUNCH)
        desktop.xdotool("mousemove", x, y, "click", "--repeat", 2, "--delay", 80, 1)
        agent.wait_for_line(LAUNCH, 2)

    def find_icon(self, desktop, item):
        """The icon's place: where a click of the mouse opens the popup."""
        for x in (785, 780, 790, 770, 760, 795):
            desktop.xdotool("mousemove", x, 585, "click", 1)
            try:
                wait_for("the popup", lambda: desktop.windows(POPUP), 1)
            except AssertionError:
                continue
            desktop.xdotool("windowfocus", "--sync", desktop.start_other_window())
            wait_for("the popup closed", lambda: not desktop.windows(POPUP))
            time.sleep(DOUBLE_CLICK + 0.1)
            return x, 585
        self.fail("no icon under the mouse")

    def test_languages(self):
        _, agent, item = self.running(LANGUAGE="xx:de")
        self.assertIn("getting messages from agent-de.xml", agent.lines())
        self.assertEqual([label for _, label in item.open_menu()], ["Starten", "", "Schließen"])

    def test_panel_restarts_comes_late_and_is_missing(self):
        desktop = self.desktop()
        desktop.start_display()
        desktop.start_bus()
        desktop.start_window_manager()
        agent = self.start_agent(desktop)
        agent.wait_for_line("Shell_NotifyIcon(NIM_ADD) failed with 1460.")
        desktop.start_notifications()
        self.home.post("ZelmoDocksetAgent", AVAILABLE)  # no panel: the balloon comes all the same
        wait_for("the balloon", lambda: desktop.notifications() == 1)
        desktop.start_panel(self.panel)
        self.assertEqual([label for _, label in desktop.item().open_menu()][1], "Download update")
        for count in range(1, 3):
            desktop.kill("panel")
            wait_for("the watcher gone", lambda: not desktop.has_name("org.kde.StatusNotifierWatcher"))
            desktop.start_panel(self.panel)
            self.assertIn("Download update", [label for _, label in desktop.item().open_menu()])
            agent.wait_for_line("taskbar restart", count)
        self.assertIsNone(agent.process.poll())

    def test_hanging_programs_hold_nothing_up(self):
        desktop, agent, item = self.running()
        for name in ("panel", "dunst"):
            desktop.signal(name, signal.SIGSTOP)
        self.home.post("ZelmoDocksetAgent", AVAILABLE)
        item.choose("Launch")
        agent.wait_for_line(LAUNCH, seconds=3)
        self.assertEqual(agent.stop(6), 0)
        for name in ("panel", "dunst"):
            desktop.signal(name, signal.SIGCONT)

    def test_bus_and_display_die(self):
        desktop, agent, item = self.running()
        item.click()
        wait_for("the popup", lambda: desktop.windows(POPUP))
        desktop.kill("Xvfb")
        time.sleep(0.5)
        self.assertIsNone(agent.process.poll())
        for name in ("panel", "dunst", "openbox", "bus"):
            desktop.kill(name)
        time.sleep(0.5)
        self.assertIsNone(agent.process.poll())
        desktop.start(self.panel)
        item = desktop.item()
        item.click()
        wait_for("the popup on the new display", lambda: desktop.windows(POPUP), 20)
        self.assertEqual(agent.stop(), 0)


class FaceOnLxqt(Face):
    panel = "lxqt-panel"


if __name__ == "__main__":
    if sys.argv[-1] in ("xfce4-panel", "lxqt-panel"):
        Face.panel = FaceOnLxqt.panel = sys.argv.pop()
        del FaceOnLxqt
    unittest.main()
