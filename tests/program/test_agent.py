"""The whole program, started as a user starts it, with real files, pipes, mutexes and a virtual bus of phones."""

import os
import signal
import subprocess
import time
import unittest

from suite import Agent, Home, Phones, under_virtual_bus, wait_for

LAUNCH = "autoupdate Launching Zelmo Dockset"
# There is no session bus in these tests.
FACE = ["Loading images", "Creating controls", "Loading messages", "getting messages from agent-en.xml",
        "Shell_NotifyIcon(NIM_ADD) failed with 1460."]
NORMAL_START = FACE + [
    "AppSettings No saved settings found",
    "AppSettings Saved app settings",
    "Started listening for devices",
]
FAILED_QUIT = ["base Could not open pipe, 2", "Failed to send piped message, QUIT", "joining scanner thread",
               "Shell_NotifyIcon(NIM_DELETE) failed."]


class ClosedAgent(Agent):
    """Started without any of the three standard descriptors."""

    def command(self, home):
        return ["/bin/sh", "-c", 'exec "$0" <&- >&- 2>&-', *super().command(home)]


class StartAndStop(unittest.TestCase):
    def test_first_run_and_orderly_stop(self):
        with Home() as home:
            agent = home.start_agent()
            agent.wait_until_listening()
            self.assertEqual(os.readlink(f"/proc/{agent.process.pid}/fd/0"), "/dev/null")
            self.assertEqual(agent.stop(), 0)
            self.assertEqual(agent.lines(), NORMAL_START + FAILED_QUIT)
            self.assertRegex(agent.log_path.name, r"^agent_log_\d{4}_\d\d_\d\dT\d\d_\d\d_\d\dZ\.txt$")
            settings = home.settings()
            uuid = settings.pop("instance_uuid")
            self.assertRegex(uuid, r"^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$")
            self.assertEqual(settings, {
                "dockset_photo_custom_destination": "", "proxy_setting": "system", "send_usage_data": True,
                "proxy": {"address": "", "exception": "<local>", "port": 0, "scripturl": ""},
                "start_agent_on_system_start": True, "start_zd_on_device_connection": True})
            self.assertTrue(home.settings_path.read_bytes().startswith(
                b'{\r\n "dockset_photo_custom_destination": "",\r\n "instance_uuid": "'))

            time.sleep(1.1)  # logs are named by the second
            agent = home.adopt(ClosedAgent(home, {}))
            agent.wait_until_listening()
            self.assertEqual([os.readlink(f"/proc/{agent.process.pid}/fd/{number}") for number in range(3)], 3 * ["/dev/null"])
            self.assertEqual(home.settings()["instance_uuid"], uuid)

    def test_second_instance_leaves_its_line_and_nothing_else(self):
        with Home() as home:
            first = home.start_agent()
            first.wait_until_listening()
            settings = home.settings_path.stat().st_mtime_ns
            time.sleep(1.1)
            second = home.start_agent()
            self.assertEqual(second.process.wait(10), 0)
            self.assertEqual(second.lines(), ["Another instance is running. Exiting."])
            self.assertEqual(home.settings_path.stat().st_mtime_ns, settings)
            self.assertIsNone(first.process.poll())
            # The name goes with its holder, also with one that is killed.
            first.process.kill()
            first.process.wait()
            time.sleep(1.1)
            home.start_agent().wait_until_listening()

    def test_garbage_in_every_file_counts_as_absent(self):
        for garbage in (b"", b"\xff\xfe\x00garbage", b"<config><a></config>", b"[" * 100000, b"{\"a\":", os.urandom(4096)):
            with self.subTest(garbage=garbage[:20]), Home() as home:
                for name in ("zd-config.xml", "app_settings.json", "zd-pro-app-settings.xml"):
                    (home.support / name).write_bytes(garbage)
                hive = home.path / ".config/zelmo-dockset/current_user.json"
                hive.parent.mkdir(parents=True)
                hive.write_bytes(garbage)
                agent = home.start_agent()
                agent.wait_until_listening()
                self.assertEqual(agent.lines()[:8], NORMAL_START)
                self.assertIn("instance_uuid", home.settings())
                self.assertTrue(home.autostart_path.exists())
                self.assertEqual(agent.stop(), 0)

    @unittest.skipIf(os.getuid() == 0 and not os.path.exists("/usr/bin/setpriv"), "root may write everywhere")
    def test_home_that_takes_no_writes(self):
        with Home() as home:
            drop = []
            if os.getuid() == 0:
                drop = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
                subprocess.run(["chown", "-R", "65534:65534", home.path], check=True)
                subprocess.run(["chmod", "711", home.path], check=True)
            subprocess.run(["chmod", "-R", "a-w", home.path / "Documents", home.path], check=True)
            subprocess.run(["chmod", "-R", "u+w", home.runtime], check=True)
            agent = subprocess.Popen([*drop, home.suite / "ZelmoDocksetAgent"], env=home.environment(), cwd="/")
            self.addCleanup(agent.kill)
            windows = home.runtime / "zelmo-dockset"
            wait_for("the window", lambda: windows.exists() and any(windows.rglob("*")))
            post = [*drop, home.suite / "zdpost", "ZelmoDocksetAgent", "16"]  # WM_CLOSE
            wait_for("the post", lambda: subprocess.run(post, env=home.environment(), stderr=subprocess.DEVNULL,
                                                        check=False).returncode == 0)
            self.assertEqual(agent.wait(10), 0)
            self.assertFalse(home.settings_path.exists())


class Settings(unittest.TestCase):
    def test_autostart_entry_follows_the_setting(self):
        with Home() as home:
            home.start_agent().wait_until_listening()
            entry = home.autostart_path
            subprocess.run(["desktop-file-validate", entry], check=True)
            program = f"{home.suite}/ZelmoDocksetAgent"
            self.assertIn(f'\nTryExec={program}\nExec="{program}"\n', entry.read_text())
            self.assertIn(f'\\"{home.suite}/ZelmoDocksetAgent.exe\\"',
                          (home.path / ".config/zelmo-dockset/current_user.json").read_text())
        with Home() as home:
            home.settings_path.write_text('{"start_agent_on_system_start":false}')
            home.autostart_path.parent.mkdir(parents=True)
            home.autostart_path.write_text("[Desktop Entry]\n")
            home.start_agent().wait_until_listening()
            self.assertFalse(home.autostart_path.exists())

    def test_directories_may_have_any_name_of_any_length(self):
        name = b'zd "h`ome"\n%20$x\xc3\xa9\xe9-CORP\\name' + b"-long" * 40
        value = name.replace(b"\\", b"\\\\").replace(b"\n", b"\\n")
        written = b'zd \\\\"h\\\\`ome\\\\"\\n%%20\\\\$x\xc3\xa9\xe9-CORP\\\\\\\\name' + b"-long" * 40
        with Home(prefix=os.fsdecode(name)) as home:
            agent = home.start_agent()
            agent.wait_until_listening()
            self.assertEqual(agent.lines()[:8], NORMAL_START)
            program = os.fsencode(home.suite) + b"/ZelmoDocksetAgent"
            self.assertIn(b"\nTryExec=" + program.replace(name, value) + b'\nExec="' + program.replace(name, written) + b'"\n',
                          home.autostart_path.read_bytes())
            home.post("ZelmoDocksetAgent", 1028)
            wait_for("the application", home.application_lines)
            self.assertEqual(agent.stop(), 0)


class Devices(unittest.TestCase):
    def setUp(self):
        self.phones = Phones()
        self.home = Home(self.phones)
        self.addCleanup(self.home.close)

    def launches(self, agent):
        return agent.lines().count(LAUNCH)

    def test_arrival_starts_the_application_once_and_stop_quits_it(self):
        self.phones.plug("1-1")
        agent = self.home.start_agent()
        agent.wait_for_scan()
        self.assertEqual(self.launches(agent), 0, "what was there before is no arrival")
        # Two at once, and one that is no phone.
        self.phones.plug("1-2", serial="SECOND")
        self.phones.plug("1-3", product="4ee2", serial="THIRD", interface=("ff", "ff", "00"))
        self.phones.plug("1-4", product="0001", serial="KEYBOARD", interface=("03", "01", "01"), name="HID")
        agent.wait_for_line(LAUNCH)
        wait_for("the main application", lambda: "started" in self.home.application_lines())
        agent.wait_for_scan()
        self.assertEqual(self.launches(agent), 1)
        (application,) = self.home.application_pids()
        self.assertEqual(sorted(os.listdir(f"/proc/{application}/fd"))[:3], ["0", "1", "2"])
        inherited = [os.readlink(f"/proc/{application}/fd/{number}") for number in os.listdir(f"/proc/{application}/fd")]
        self.assertFalse([path for path in inherited if "agent_log" in path])
        # The thread that serves the pipe never sleeps in the loop's way, so it shows what the program was given.
        server = sorted(int(thread) for thread in os.listdir(f"/proc/{application}/task"))[1]
        with open(f"/proc/{server}/timerslack_ns", encoding="ascii") as slack:
            if os.geteuid() == 0:  # nobody else may look
                self.assertEqual(slack.read(), "50000\n")

        self.phones.unplug("1-2")
        agent.wait_for_scan()
        self.assertEqual(self.launches(agent), 1)
        self.phones.plug("1-2", serial="SECOND")
        agent.wait_for_line(LAUNCH, 2)
        wait_for("the second start", lambda: "runs already" in self.home.application_lines())

        self.assertEqual(agent.stop(), 0)
        wait_for("the main application's end", lambda: self.home.application_lines()[-2:] == ['received "QUIT"', "ended"])
        self.assertEqual(agent.lines()[-4:-1],
                         ["base Message sent to server, receiving reply as follows: ", "base SUCCESS",
                          "joining scanner thread"])

    def test_setting_is_read_at_each_arrival(self):
        self.home.settings_path.write_text('{"start_zd_on_device_connection":false}')
        agent = self.home.start_agent()
        agent.wait_for_scan()
        self.phones.plug("1-1")
        agent.wait_for_line("AppSettings App settings requested")
        agent.wait_for_scan()
        settings = self.home.settings_path.read_text()
        self.home.settings_path.write_text(settings.replace('connection": false', 'connection": true'))
        agent.wait_for_scan()
        self.assertEqual(self.launches(agent), 0, "a phone that was noted starts nothing later")
        self.phones.plug("1-2", serial="OTHER")
        agent.wait_for_line(LAUNCH)

    def test_unrecognized_devices_don_t_count_without_the_word(self):
        self.home.configure("<config><device-support><accept-unrecognized-devices>Yes</accept-unrecognized-devices>"
                            "</device-support></config>")
        agent = self.home.start_agent()
        agent.wait_for_scan()
        self.phones.plug("1-1")
        agent.wait_for_scan()
        agent.wait_for_scan()
        self.assertEqual(self.launches(agent), 0)

    def test_device_that_doesn_t_tell_its_identifiers(self):
        agent = self.home.start_agent()
        agent.wait_for_scan()
        self.phones.plug("1-1", vendor=None)
        agent.wait_for_line(LAUNCH)

    def test_restart_of_the_application(self):
        agent = self.home.start_agent()
        agent.wait_for_scan()
        self.home.post("ZelmoDocksetAgent", 1028)
        agent.wait_for_line(LAUNCH)
        wait_for("the main application", lambda: "started" in self.home.application_lines())
        self.home.post("ZelmoDockset", 1025)
        agent.wait_for_line(LAUNCH, 2)
        wait_for("the second start", lambda: self.home.application_lines().count("started") == 2)
        self.assertEqual(self.home.application_lines()[:4], ["started", "asks for a restart", "ended", "started"])
        self.assertEqual(len(self.home.application_pids()), 2)

    def test_application_that_never_answers(self):
        agent = self.home.start_agent(ZELMO_DOCKSET_STAND_IN="silent")
        agent.wait_for_scan()
        self.phones.plug("1-1")
        wait_for("the main application", lambda: "started" in self.home.application_lines())
        agent.process.send_signal(signal.SIGTERM)
        wait_for("QUIT", lambda: 'received "QUIT"' in self.home.application_lines())
        self.assertIsNone(agent.process.poll(), "the stop waits for the answer")
        agent.process.send_signal(signal.SIGTERM)
        self.assertEqual(agent.process.wait(5), -signal.SIGTERM)


if __name__ == "__main__":
    under_virtual_bus()
    unittest.main()
