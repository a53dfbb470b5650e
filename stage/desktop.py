"""A real desktop for tests, on a display of its own: X server, session bus, window manager, a panel with a tray and a
notification daemon. Nothing of it touches the desktop of the person who runs the tests."""

import os
import pathlib
import re
import shutil
import signal
import subprocess

from gi.repository import Gio, GLib

from suite import wait_for

PANELS = pathlib.Path(__file__).resolve().parent / "panels"


class Desktop:
    """The pieces start one by one, so that a test can leave one out, kill it or start it later."""

    def __init__(self, home):
        self._home = home
        self._running = {}
        self.environment = {**home.environment(), "XDG_CURRENT_DESKTOP": "XFCE", "NO_AT_BRIDGE": "1",
                            "GTK_A11Y": "none", "XDG_CONFIG_HOME": str(home.path / ".config"),
                            "GSETTINGS_BACKEND": "memory", "QT_QPA_PLATFORM": "xcb"}
        self.environment.pop("LD_PRELOAD", None)
        self.connection = None

    def start_program(self, name, command, **options):
        with open(self._home.path / f"{name}.log", "wb") as log:
            self._running[name] = subprocess.Popen(command, env=self.environment, stderr=log, stdout=log, cwd="/",
                                                   start_new_session=True, **options)

    def kill(self, name, number=signal.SIGKILL):
        process = self._running.pop(name)
        try:
            os.killpg(process.pid, number)
        except ProcessLookupError:
            pass
        process.wait()

    def signal(self, name, number):
        os.killpg(self._running[name].pid, number)

    def start_display(self, screen="800x600x24"):
        number = self.environment.get("DISPLAY", ":").lstrip(":")
        read, write = os.pipe()
        # A display that is started again keeps its number, so that programs find it.
        command = ["Xvfb", *([f":{number}"] if number else []), "-displayfd", str(write), "-screen", "0", screen,
                   "-nolisten", "tcp", "-noreset"]
        self.start_program("Xvfb", command, pass_fds=[write])
        os.close(write)
        with os.fdopen(read) as announcement:  # to the line's end: the server dies when it can't write that
            self.environment["DISPLAY"] = ":" + announcement.readline().strip()

    def start_bus(self):
        address = f"unix:path={self._home.runtime}/bus"
        pathlib.Path(f"{self._home.runtime}/bus").unlink(missing_ok=True)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        self.start_program("bus", ["dbus-daemon", "--session", "--nofork", f"--address={address}"])
        self._connect(address)

    def _connect(self, address):
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION

        def connect():
            try:
                return Gio.DBusConnection.new_for_address_sync(address, flags, None, None)
            except GLib.Error:
                return None
        self.connection = wait_for("the session bus", connect)
        self.connection.set_exit_on_close(False)

    def start_window_manager(self):
        self.start_program("openbox", ["openbox", "--sm-disable"])
        wait_for("the window manager", lambda: "_NET_SUPPORTING_WM_CHECK(WINDOW)" in self.output(
            ["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"]))

    def start_panel(self, kind="xfce4-panel"):
        folder, configuration, options = {
            "xfce4-panel": ("xfce4/xfconf/xfce-perchannel-xml", "xfce4-panel.xml", ["--disable-wm-check"]),
            "lxqt-panel": ("lxqt", "panel.conf", [])}[kind]
        place = self._home.path / ".config" / folder
        place.mkdir(parents=True, exist_ok=True)
        shutil.copy(PANELS / configuration, place)
        self.start_program("panel", [kind, *options])
        wait_for("the panel's tray", lambda: self.has_name("org.kde.StatusNotifierWatcher"), 30)

    def start_notifications(self):
        self.start_program("dunst", ["dunst"])
        wait_for("the notification daemon", lambda: self.has_name("org.freedesktop.Notifications"))

    def start_other_window(self):
        """A window that can take the focus."""
        self.start_program("xev", ["xev", "-geometry", "100x100+10+10", "-event", "property"])
        return wait_for("another window", lambda: self.windows("Event Tester"))[0]

    def start(self, panel="xfce4-panel"):
        self.start_display()
        self.start_bus()
        self.start_window_manager()
        self.start_notifications()
        self.start_panel(panel)
        return self

    def output(self, command):
        return subprocess.run(command, env=self.environment, capture_output=True, text=True, check=False).stdout

    def call(self, name, path, interface, method, arguments=None, seconds=5):
        return self.connection.call_sync(name, path, interface, method, arguments, None, Gio.DBusCallFlags.NONE,
                                         int(seconds * 1000), None).unpack()

    def has_name(self, name):
        return self.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
                         GLib.Variant("(s)", (name,)))[0]

    def items(self):
        """The notification items that the panel knows, as (bus name, object path)."""
        try:
            names = self.call("org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher", "org.freedesktop.DBus.Properties",
                              "Get", GLib.Variant("(ss)", ("org.kde.StatusNotifierWatcher",
                                                           "RegisteredStatusNotifierItems")))[0]
        except GLib.Error:
            return []
        return [(name.partition("/")[0], "/" + name.partition("/")[2]) for name in names]

    def item(self):
        """The agent's item, once the panel knows it."""
        def find():
            items = (Item(self, *names) for names in self.items())
            return next((item for item in items if item.property("Id") == "ZelmoDocksetAgent"), None)
        return wait_for("the icon in the panel", find, 20)

    @property
    def for_agent(self):
        """What a program must know to meet this desktop."""
        names = ("DISPLAY", "DBUS_SESSION_BUS_ADDRESS")
        return {name: self.environment[name] for name in names if name in self.environment}

    def windows(self, name):
        """The visible windows of that title."""
        found = self.output(["xdotool", "search", "--onlyvisible", "--name", f"^{name}$"])
        return found.split()

    def mapped_windows(self):
        """All windows on the screen, those without a title and the menus of panels too."""
        tree = self.output(["xwininfo", "-root", "-tree"])
        windows = re.findall(r"^\s+(0x[0-9a-f]+) ", tree, re.MULTILINE)
        return {window for window in windows if "IsViewable" in self.output(["xwininfo", "-id", window])}

    def window_rectangle(self, window):
        text = self.output(["xwininfo", "-id", window])
        fields = [re.search(rf"{label}:\s+(-?\d+)", text) for label in
                  ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")]
        return tuple(int(field.group(1)) for field in fields)

    def xdotool(self, *arguments):
        subprocess.run(["xdotool", *map(str, arguments)], env=self.environment, check=True)

    def focus(self, find):
        """Gives the keyboard to the window that find() gives, anew while that window goes as it is asked for."""
        def focused():
            window = find()
            command = ["xdotool", "windowfocus", "--sync", window]
            return window if subprocess.run(command, env=self.environment, check=False).returncode == 0 else None
        return wait_for("the focus", focused)

    def screenshot(self, path):
        path.parent.mkdir(parents=True, exist_ok=True)
        subprocess.run(["scrot", "-o", str(path)], env=self.environment, check=True)

    def notifications(self):
        """How many balloons are on the screen."""
        return int(self.output(["dunstctl", "count", "displayed"]).strip() or 0)

    def adopt(self):
        """Takes the desktop of the person who runs this, in place of one of its own."""
        for name in ("DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XAUTHORITY", "XDG_RUNTIME_DIR"):
            if name in os.environ:
                self.environment[name] = os.environ[name]
        self._connect(self.environment["DBUS_SESSION_BUS_ADDRESS"])
        return self

    def close(self):
        for name in reversed(list(self._running)):
            # The X server takes its socket and its lock away only if it is asked to end.
            self.kill(name, signal.SIGTERM if name == "Xvfb" else signal.SIGKILL)


class Item:
    """The agent's icon and menu, as a panel talks to them."""

    def __init__(self, desktop, name, path):
        self._desktop = desktop
        self.name = name
        self._path = path

    def property(self, name):
        return self._desktop.call(self.name, self._path, "org.freedesktop.DBus.Properties", "Get",
                                  GLib.Variant("(ss)", ("org.kde.StatusNotifierItem", name)))[0]

    def click(self, x=700, y=585):
        self._desktop.call(self.name, self._path, "org.kde.StatusNotifierItem", "Activate",
                           GLib.Variant("(ii)", (x, y)))

    def _menu(self, method, arguments):
        return self._desktop.call(self.name, self.property("Menu"), "com.canonical.dbusmenu", method, arguments)

    def open_menu(self):
        """Opens the menu as a right click does; gives (id, label) of its entries, a separator without a label."""
        self._menu("AboutToShow", GLib.Variant("(i)", (0,)))
        _, (_, _, entries) = self._menu("GetLayout", GLib.Variant("(iias)", (0, -1, [])))
        return [(entry[0], entry[1].get("label", "")) for entry in entries]

    def choose(self, label):
        (number,) = [number for number, text in self.open_menu() if text == label]
        self._menu("Event", GLib.Variant("(isvu)", (number, "clicked", GLib.Variant("s", ""), 0)))
