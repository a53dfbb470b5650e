"""A Windows to try programs in: Wine, as a witness of how Windows behaves."""

import os
import pwd
import subprocess
import tempfile
import time

WINE = "/usr/lib/wine/wine64"
SET_UP_LIMIT = 300
OVERRIDES = "winedbg.exe=d;mscoree,mshtml=d"


class Prefix:
    """A Windows of its own, its desktop on a display of its own. All of it runs behind the words of `enter`."""

    def __init__(self, path, enter=()):
        self.path = path
        self._enter = enter
        self._running = []
        self._home = path.parent / f"{path.name}-home"
        self._environment = {
            "PATH": os.environ["PATH"], "LANG": "C.UTF-8", "HOME": str(self._home), "WINEPREFIX": str(path),
            "WINEARCH": "win64", "WINEDEBUG": "-all", "WINEDLLOVERRIDES": OVERRIDES,
            "ZELMO_TEST_USER": "this one"}

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

    def run(self, *command, limit=60, directory=None, overrides=None, enter=None):
        """The exit code, None after the limit, and what was printed."""
        environment = {**self._environment, "WINEDLLOVERRIDES": ";".join(filter(None, (OVERRIDES, overrides)))}
        with tempfile.TemporaryFile() as output:
            words = self._enter if enter is None else enter
            process = subprocess.Popen([*words, WINE, *command], env=environment, cwd=directory or self._home,
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
        for option in ("-k", "-w"):  # ends it, waits for that
            subprocess.run(["/usr/lib/wine/wineserver64", option], env=self._environment, check=False)
        for process in reversed(self._running):
            process.terminate()
            process.wait()


def become_ordinary(directory):
    """Root may write what is read-only, so that the cases are an ordinary user's."""
    if os.getuid() == 0:
        user = pwd.getpwnam("nobody")
        for path in (directory, *directory.rglob("*")):
            os.chown(path, user.pw_uid, user.pw_gid)
        os.setgroups([])
        os.setgid(user.pw_gid)
        os.setuid(user.pw_uid)
