#!/usr/bin/python3
"""The platform's operations on this machine, through zdplatform: beside the kernel's own words, logind, a real portal and
stand-ins for the background service and the Update Engine."""

import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import unittest

from desktop import Desktop
from suite import Home, wait_for

INSTALLED = "SUCCESS driver 0"


class PlatformTest(unittest.TestCase):
    def setUp(self):
        self.home = Home(accept_unrecognized=None)
        self.addCleanup(self.home.close)

    def begin(self, *arguments, prefix=(), **extra):
        process = subprocess.Popen([*prefix, self.home.suite / "zdplatform", *map(str, arguments)], text=True, cwd="/",
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=self.home.environment(**extra))
        self.addCleanup(self.end, process)
        return process

    def end(self, process):
        if process.poll() is None:
            process.kill()
        process.wait()
        process.stdout.close()
        if process.stderr:
            process.stderr.close()

    def finish(self, process, seconds=30):
        """The JSON and the log's lines."""
        out, log = process.communicate(timeout=seconds)
        self.assertEqual(process.returncode, 0, log)
        return json.loads(out), log.splitlines()

    def ask(self, *arguments, **options):
        return self.finish(self.begin(*arguments, **options))[0]


class SystemTest(PlatformTest):
    def test_describes_this_machine(self):
        told = self.ask("describe", LANG="fr_CA.UTF-8", LANGUAGE="fr_CA:pt_BR")
        self.assertEqual(told["preferredLocales"], ["fr-CA", "pt-BR"])
        release = os.uname().release
        self.assertEqual(told["version"], re.match(r"\d+\.\d+", release).group())
        self.assertTrue(told["versionIdentifier"].endswith(" 64 bit" if os.uname().machine == "x86_64" else " "))
        model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text()).group(1)
        self.assertEqual(told["cpu"].strip(), model.strip())
        kilobytes = int(re.search(r"MemTotal:\s+(\d+)", pathlib.Path("/proc/meminfo").read_text()).group(1))
        self.assertEqual(told["ram"], f"{(kilobytes * 1024 + 0x20000000) >> 30} GB")
        self.assertEqual((told["locale"], told["country"], told["supportedLocale"]), ("fr-CA", "CA", "fr-ca"))
        space = os.statvfs("/")
        self.assertAlmostEqual(self.ask("free", "/")["bytes"], space.f_bavail * space.f_frsize, delta=2**28)
        self.assertEqual(self.ask("addresses", "loopback")["addresses"], ["localhost", "127.0.0.1"])
        directory = os.fsencode(self.home.path) + b"/not UTF-8: \xe9\\"
        os.mkdir(directory)
        pathlib.Path(os.fsdecode(directory + b"/\xff")).write_bytes(bytes(1234))
        self.assertEqual(self.ask("size", os.fsdecode(directory)), {"size": 1234, "walked": True})


class SleepTest(PlatformTest):
    def setUp(self):
        super().setUp()
        address = f"unix:path={self.home.runtime}/system"
        self.bus = {"DBUS_SYSTEM_BUS_ADDRESS": address}
        configuration = self.home.path / "bus.conf"
        configuration.write_text(f"""<busconfig><type>system</type><listen>{address}</listen><policy context="default">
            <allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy></busconfig>""")
        self.start(["dbus-daemon", "--nofork", f"--config-file={configuration}"])
        wait_for("the bus", lambda: pathlib.Path(f"{self.home.runtime}/system").exists())

    def start(self, command):
        process = subprocess.Popen(command, env={**os.environ, **self.bus}, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)

    def inhibitors(self):
        """What logind lists, as "what|who|why|mode"."""
        answer = subprocess.run(["busctl", f"--address={self.bus['DBUS_SYSTEM_BUS_ADDRESS']}", "--json=short", "call",
                                 "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                                 "ListInhibitors"], capture_output=True, text=True, check=False).stdout
        return ["|".join(entry[:4]) for entry in json.loads(answer)["data"][0]] if answer else None

    def test_logind_sees_that_sleep_is_forbidden(self):
        self.start(["/usr/bin/python3", "-m", "dbusmock", "--system", "--template", "logind"])
        wait_for("logind", lambda: self.inhibitors() == [])
        fifo = self.home.path / "go"
        os.mkfifo(fifo)
        process = self.begin("awake", "a long copy", "/bin/cat", fifo, **self.bus)
        wait_for("the inhibitor", lambda: self.inhibitors() == ["sleep|Zelmo Dockset|a long copy|block"])
        fifo.write_text("go")
        told, _ = self.finish(process)
        self.assertEqual((told["allowedMeanwhile"], told["allowedAfter"]), (False, True))
        process = self.begin("awake", "work", "/bin/cat", fifo, **self.bus)
        wait_for("the inhibitor", lambda: "sleep|Zelmo Dockset|work|block" in self.inhibitors())
        process.kill()
        wait_for("sleep after a crash", lambda: "sleep|Zelmo Dockset|work|block" not in self.inhibitors())
        fifo.write_text("go")

    def test_without_logind_the_failure_is_logged(self):
        told, log = self.finish(self.begin("awake", "work", "/bin/true", **self.bus))
        self.assertIn("base Failed to enable no-sleep mode, 0x32", log)
        self.assertFalse(told["allowedMeanwhile"])


class UpdateEngineTest(PlatformTest):
    def serve(self, *replies):
        service = subprocess.Popen([self.home.suite / "zdservice", *replies], stdout=subprocess.PIPE, text=True,
                                   env=self.home.environment())
        service.stderr = None
        self.addCleanup(self.end, service)
        self.assertEqual(service.stdout.readline(), "serving\n")
        return service

    def reinstall(self, **extra):
        engine = self.home.suite / "zdengine"
        return self.finish(self.begin("engine-reinstall", engine, engine, **extra), 60)

    def test_installs_finds_ends_and_removes_the_engine(self):
        service = self.serve("SUCCESS", "FAILURE", INSTALLED)
        told, log = self.reinstall()
        self.assertEqual(told, {"done": True, "error": "", "userCancelled": 0})
        self.assertIn("PlatformWin32 installUEFromService successful with info driver 0 and code 0", log)
        engine = str(self.home.suite / "zdengine")
        self.assertIn(f'received UE_DRIVER_INSTALL "{engine}" "{engine}"', service.stdout.read())
        self.assertEqual(self.ask("engine-path")["path"], engine)
        self.assertEqual(self.ask("engine-uninstall-string"), {"path": engine, "status": "HKCU"})
        running = [subprocess.Popen([engine], env=self.home.environment()) for _ in range(2)]
        try:
            wait_for("the engines", lambda: all(os.readlink(f"/proc/{p.pid}/exe") == engine for p in running))
            # What is registered is but a link, and later what runs has been replaced.
            os.rename(engine, f"{engine}-2")
            os.symlink(f"{engine}-2", engine)
            self.assertEqual(self.ask("engine-terminate")["result"], 2)
            wait_for("one to end", lambda: [p.poll() for p in running].count(-signal.SIGKILL) == 1)
            shutil.copy(engine, f"{engine}-new")
            os.rename(f"{engine}-new", f"{engine}-2")
            told, log = self.finish(self.begin("engine-uninstall", ZELMO_DOCKSET_ENGINE_EXIT="5"))
            self.assertEqual(told, {"done": False, "status": "HKCU EXIT5"})
            self.assertIn("PlatformWin32 ERROR UE uninstaller exited with 5", log)
            wait_for("the other to end", lambda: all(p.poll() is not None for p in running))
        finally:
            for process in running:
                process.kill()
                process.wait()
        self.assertEqual(self.ask("engine-uninstall"), {"done": True, "status": ""})
        self.assertEqual(self.ask("engine-path")["path"], "")

    def test_waits_for_a_silent_service_until_it_dies(self):
        service = self.serve("silence")
        engine = self.home.suite / "zdengine"
        process = self.begin("engine-reinstall", engine, engine, ZELMO_DOCKSET_ENGINE_EXIT="4")
        self.assertTrue(service.stdout.readline().startswith("received UE_DRIVER_INSTALL"))
        self.assertIsNone(process.poll())
        service.kill()
        told, log = self.finish(process)
        self.assertEqual((told["done"], told["error"]), (False, "WaitExit 4"))
        self.assertIn("PlatformWin32 Failed to send install message.", log)


class StorageTest(PlatformTest):
    def report(self, setup, **extra):
        """The report in a mount namespace of its own, after the commands."""
        prefix = ["unshare", "-r", "-m", "sh", "-ec", setup + '\nexec "$@"', "sh"]
        return self.finish(self.begin("storage", prefix=prefix, **extra))

    def test_reports_healthy_disks(self):
        with Home(accept_unrecognized=None, prefix="long-" * 48) as self.home:  # its directories have over 260 characters
            told = self.ask("storage")
            self.assertEqual(told["writable"], [True, True, True])
            self.assertEqual(list(self.home.support.rglob("*.tmp")), [])

    def test_reports_a_read_only_mount(self):
        support = self.home.support
        told, _ = self.report(f"mkdir '{support}/Backups'; mount --bind '{support}' '{support}'\n"
                              f"mount -o remount,bind,ro '{support}'")
        self.assertEqual(told["writable"], [True, False, False])
        self.assertEqual(told["readOnlyVolume"], [False, True, True])

    def test_reports_a_full_disk(self):
        backups = self.home.support / "Backups"
        told, log = self.report(f"mkdir '{backups}'; mount -t tmpfs -o size=64k,nr_inodes=8 tmpfs '{backups}'\n"
                                f"for i in 1 2 3 4 5 6 7 8; do touch '{backups}/'$i || true; done 2>/dev/null")
        self.assertEqual((told["writable"], told["driveType"][2]), ([True, True, False], 6))
        self.assertIn("STORAGEINFO CreateFile failed with 112", log)

    def test_reports_missing_directories(self):
        (self.home.support / "Backups").write_text("in the way")
        told, log = self.finish(self.begin("storage"))
        self.assertEqual((told["writable"], told["freeBytes"][2]), ([True, True, False], 0))
        self.assertEqual(told["freeSpaceError"][2], 267)
        told, _ = self.finish(self.begin("storage", TMPDIR="/none"))
        self.assertEqual((told["tempPath"], told["extraTemp"]["freeSpaceError"]), ("/none", 3))
        self.assertTrue(told["documentsPath"].endswith("/Documents") and told["documentsIdListed"])

    @unittest.skipUnless(os.geteuid() == 0, "needs another user")
    def test_reports_a_directory_without_rights(self):
        backups = self.home.support / "Backups"
        backups.mkdir()
        (self.home.support / "logs").mkdir()
        subprocess.run(["chown", "-R", "nobody", self.home.path], check=True)
        subprocess.run(["chown", "root", backups], check=True)
        user = ["setpriv", "--reuid=nobody", "--clear-groups", "--"]
        told, log = self.finish(self.begin("storage", prefix=user, TMPDIR=str(self.home.runtime)))
        self.assertEqual(told["writable"], [True, True, False])
        self.assertIn("STORAGEINFO CreateFile failed with 5", log)


class ApplicationTest(PlatformTest):
    def test_restarts_and_ends_the_main_application(self):
        agent = self.home.start_agent()
        agent.wait_until_listening()
        application = subprocess.Popen([self.home.suite / "ZelmoDockset"], env=self.home.environment())
        self.addCleanup(application.kill)
        wait_for("its window", lambda: self.ask("window")["found"])
        self.ask("restart")
        self.assertEqual(application.wait(15), 0)
        wait_for("another application", lambda: self.home.application_lines()[-2:] == ["ended", "started"])
        wait_for("its window", lambda: self.ask("window")["found"])
        self.ask("exit")
        wait_for("its end", lambda: self.home.application_lines()[-1] == "ended")
        agent.stop()
        self.assertEqual(self.home.application_lines().count("started"), 2)


class PickerTest(PlatformTest):
    """Real dialogs of the desktop's portal."""

    def setUp(self):
        super().setUp()
        self.desktop = Desktop(self.home)
        self.addCleanup(self.desktop.close)
        self.desktop.environment.update(XDG_CURRENT_DESKTOP="GNOME", GTK_USE_PORTAL="0", GDK_BACKEND="x11")
        self.desktop.start_display()
        self.desktop.start_bus()
        self.desktop.start_window_manager()
        for name, program in (("org.freedesktop.impl.portal.desktop.gtk", "xdg-desktop-portal-gtk"),
                              ("org.freedesktop.portal.Desktop", "xdg-desktop-portal")):
            self.desktop.start_program(program, [f"/usr/libexec/{program}"])
            wait_for(program, lambda: self.desktop.has_name(name), 30)

    def dialog(self, title, *arguments, **extra):
        wait_for("the dialog before gone", lambda: not self.desktop.windows(title))
        process = self.begin(*arguments, **self.desktop.for_agent, **extra)
        self.desktop.focus(lambda: wait_for(f"the dialog {title}", lambda: self.desktop.windows(title), 30)[0])
        return process

    def answer(self, title, *keys, text=""):
        """Gives a path, if any, and keys to the dialog until it goes; a busy one loses the first."""
        def closed():
            if text:
                self.desktop.xdotool("key", "ctrl+a")
                self.desktop.xdotool("type", "--delay", "30", text)
            self.desktop.xdotool("key", *keys)
            try:
                return wait_for("the dialog closed", lambda: not self.desktop.windows(title), 5)
            except AssertionError:
                return False
        wait_for("the dialog answered", closed, 30)

    def path_of(self, told):
        return bytes.fromhex(told["result"]["pathBytes"]).decode("utf-16-le")

    def test_picks_and_cancels(self):
        folder = self.home.path / "a folder"
        folder.mkdir()
        backup = self.home.path / "phone.dbk"
        backup.write_text("backup")
        title = "Seleziona la cartella di esportazione"
        process = self.dialog(title, "pick-folder", folder, 1, "state", LANGUAGE="it", LANG="it_IT.UTF-8")
        self.answer(title, "Return", text=str(folder))
        self.assertEqual(self.path_of(self.finish(process)[0]), str(folder))
        title = "Select an iTunes backup location"
        process = self.dialog(title, "pick-folder", folder, 0, "state")
        self.answer(title, "Escape")
        self.assertEqual(self.finish(process)[0]["result"], {"hasDirPath": False, "returnToState": "state"})
        for title, verb in (("Select file", ("pick-file", folder)), ("Select a PC Dockset backup .*", ("pick-backup",))):
            process = self.dialog(title, *verb, "dbk")
            self.answer(title, "Return", text=str(backup))
            self.assertEqual(self.path_of(self.finish(process)[0]), str(backup))
            process = self.dialog(title, *verb, "")
            self.answer(title, "Escape")
            self.assertEqual(self.finish(process)[0], {})

    def test_ends_when_the_portal_goes(self):
        process = self.dialog("Select export folder", "pick-folder", self.home.path, 1, "state")
        self.desktop.kill("xdg-desktop-portal")
        self.assertEqual(self.finish(process)[0]["result"], {"hasDirPath": False})


class NoDesktopTest(PlatformTest):
    def test_gives_up_a_bus_that_says_nothing(self):
        address = f"{self.home.runtime}/silent"
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(address)
            listener.listen(5)
            picker = self.begin("pick-folder", "/", 1, "state", DBUS_SESSION_BUS_ADDRESS=f"unix:path={address}")
            awake = self.begin("awake", "work", "/bin/true", DBUS_SYSTEM_BUS_ADDRESS=f"unix:path={address}")
            self.assertEqual(self.finish(picker)[0]["result"], {"hasDirPath": False})
            self.assertIn("base Failed to enable no-sleep mode, 0x5b4", self.finish(awake)[1])

    def test_pickers_fail_at_once(self):
        self.assertEqual(self.ask("pick-folder", "/", 1, "state")["result"], {"hasDirPath": False})
        self.assertEqual(self.ask("pick-file", "/", "dbk"), {})
        told, log = self.finish(self.begin("pick-music"))
        self.assertIn("Mediasession Failed to show dialog, 80070032", log)
        self.assertFalse(told["chosen"])


if __name__ == "__main__":
    unittest.main()
