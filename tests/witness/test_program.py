#!/usr/bin/python3
"""The whole program as a Windows user has it, on Wine: installed by its installer, with real servers, and the mouse.

test_program.py BUILD: the directory with zdsetup.exe. Phones can't be tried: there are no portable devices there. Nor can
the popup, as the icon's rectangle isn't to be had there, and a click on a balloon, which isn't reported.
"""

import concurrent.futures
import json
import pathlib
import re
import shutil
import struct
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "stage"))
from network import (Authority, DOWNLOADS, LISTS, Network, PROXY_PORT, device_list, in_private_network,  # noqa: E402
                     lay_pins, run)
from prefix import Prefix  # noqa: E402
from suite import processes, wait_for  # noqa: E402
from updates import HOST  # noqa: E402

AGENT, APPLICATION = "ZelmoDocksetAgent", "ZelmoDockset"
INSTALLED = "drive_c/Program Files/Tavrin/Zelmo Dockset"
RUN_KEY = r"HKCU\Software\Microsoft\Windows\CurrentVersion\Run"
PROXY_KEY = r"HKCU\Software\Microsoft\Windows\CurrentVersion\Internet Settings\Connections"
LISTENING = "Started listening for devices"
LAUNCH = "autoupdate Launching Zelmo Dockset"
UP_TO_DATE = "DeviceFilterHandler Device lists are up to date."
AGAIN_SOON = "DeviceFilterHandler Next update in 1 hour."
WM_CLOSE, WM_COMMAND, WM_TIMER, CHECK_TIMER, INSTALL = 16, 273, 275, 11, 3
UPDATE_AVAILABLE, RESTART = 1025, 1028
TRAY = (13, 32)  # where the first icon's middle is


class WindowsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory(prefix="zelmo-windows-")
        cls.addClassCleanup(directory.cleanup)
        cls.directory = pathlib.Path(directory.name)
        network = cls.network = Network(cls.directory)
        cls.addClassCleanup(network.close)
        cls.authority = Authority(network.directory, "Windows")
        cls.address = network.add_server(cls.authority.leaf("*.tavrin.example"), "listen 127.0.1.1:8080;")
        cls.zd = network.files / "zd"
        for kind in ("supported", "unsupported"):
            lists = network.files / LISTS
            lists.mkdir(parents=True, exist_ok=True)
            (lists / f"zd-{kind}-devices.xml").write_text(device_list(40))
        cls.zd.mkdir()
        network.start_servers()
        network.start_proxy()
        view = network.enter(cls.address, [cls.authority.root], (DOWNLOADS, HOST))
        cls.prefix = Prefix(cls.directory / "prefix", view)
        cls.addClassCleanup(cls.prefix.stop)
        cls.prefix.start()
        cls.suite = cls.directory / "prefix" / INSTALLED
        documents, = (cls.directory / "prefix/drive_c/users").glob("[!P]*/Documents")
        cls.support = documents.resolve() / "Tavrin/Zelmo Dockset"
        cls.setup("zdsetup.exe", "/passive ZdAutoUpdate=1")
        cls.log = cls.wait_for_start(set())
        cls.first_lines = cls.lines()

    @classmethod
    def setup(cls, file, *arguments):
        code, text = cls.prefix.run(str(BUILD / file), *" ".join(arguments).split())
        assert code == 0, text

    @classmethod
    def logs(cls):
        return set(cls.support.glob("logs/agent_log_*.txt"))

    @classmethod
    def wait_for_start(cls, before):
        """The log of an agent that has started since."""
        log = wait_for("a log", lambda: cls.logs() - before).pop()
        wait_for("the start", lambda: LISTENING in log.read_text())
        return log

    @classmethod
    def lines(cls):
        return [re.sub(r"^\d+ms ", "", line) for line in cls.log.read_text().splitlines()]

    def wait_for_line(self, line, count=1, seconds=15):
        wait_for(f"{line} in {self.lines()}", lambda: self.lines().count(line) >= count, seconds)

    def tool(self, name, *arguments):
        return self.prefix.run(f"./{name}.exe", *map(str, arguments), directory=self.suite)

    def platform(self, *arguments):
        code, text = self.tool("zdplatform", *arguments)
        self.assertEqual(code, 0, text)
        return json.loads(text[text.index("{"):text.rindex("}") + 1]), text

    def post(self, window, message, parameter=0):
        self.assertEqual(self.tool("zdpost", window, message, parameter)[0], 0)

    def runs(self):
        prefix = f"WINEPREFIX={self.prefix.path}"
        return any(AGENT in process.arguments[0] and prefix in process.environment for process in processes())

    def stop(self):
        self.post(AGENT, WM_CLOSE)
        wait_for("the end", lambda: not self.runs(), 30)

    def restart(self, **environment):
        if self.runs():
            self.stop()
        time.sleep(1)  # logs are named by the second
        before = self.logs()
        self.prefix.begin("./ZelmoDocksetAgent.exe", directory=self.suite, **environment)
        type(self).log = self.wait_for_start(before)

    def registry(self, *words):
        return self.prefix.run("reg", *words)[1]

    def set_system_proxy(self, flags, proxy, script):
        """As the system's own dialog stores it."""
        texts = b"".join(struct.pack("<I", len(text)) + text.encode() for text in (proxy, "", script))
        value = struct.pack("<III", 0x46, 1, flags) + texts + bytes(32)
        self.registry("add", PROXY_KEY, "/v", "DefaultConnectionSettings", "/t", "REG_BINARY", "/d", value.hex(), "/f")

    def application_lines(self):
        path = self.support / "logs/ZelmoDockset.log"
        return [line.split(" ", 1)[1] for line in path.read_text().splitlines()] if path.exists() else []

    def windows_of(self, program):
        """Size and place of those that are more than a pixel."""
        found = re.findall(rf'\("{program}\.exe" "[^"]*"\)\s+(\d+)x(\d+)\+\S+\s+\+(-?\d+)\+(-?\d+)', self.prefix.titles())
        return [tuple(map(int, each)) for each in found if each[0] != "1"]

    def mouse(self, *words):
        self.prefix.on_display("xdotool", *map(str, words))

    def show_menu(self):
        """The menu's width and height."""
        before = self.windows_of("zelmodocksetagent")
        self.mouse("mousemove", *TRAY, "click", 3)
        return wait_for("the menu", lambda: [w for w in self.windows_of("zelmodocksetagent") if w not in before])[0][:2]

    def test_1_first_start(self):
        self.assertEqual(self.first_lines[:7], [
            "Loading images", "Creating controls", "Loading messages", "getting messages from agent-en.xml",
            "AppSettings No saved settings found", "AppSettings Saved app settings", LISTENING])
        self.assertTrue(json.loads((self.support / "app_settings.json").read_text())["start_agent_on_system_start"])
        self.assertIn(r'"C:\Program Files\Tavrin\Zelmo Dockset\ZelmoDocksetAgent.exe"', self.registry("query", RUN_KEY))
        time.sleep(1)
        before = self.logs()
        self.assertEqual(self.tool(AGENT)[0], 0)
        self.assertIn("Another instance is running. Exiting.", (self.logs() - before).pop().read_text())

    def test_2_face(self):
        width, height = self.show_menu()
        self.mouse("key", "Down", "Return")
        self.wait_for_line(LAUNCH)
        wait_for("the application", lambda: "started" in self.application_lines())
        self.mouse("mousemove", *TRAY, "click", "--repeat", 2, "--delay", 80, 1)
        self.wait_for_line(LAUNCH, 2)
        self.post(AGENT, UPDATE_AVAILABLE)
        wait_for("the balloon", lambda: [size for size in self.windows_of("explorer") if 200 < size[0] < 1000])
        self.assertGreater(self.show_menu()[1], height, "an entry more")
        self.mouse("key", "Down", "Down", "Return")
        self.wait_for_line(LAUNCH, 3)
        self.post(APPLICATION, UPDATE_AVAILABLE)  # which has it ask for its restart
        self.wait_for_line(LAUNCH, 4)
        wait_for("the second start", lambda: self.application_lines().count("started") == 2)
        self.assertIn("asks for a restart", self.application_lines())
        self.stop()
        wait_for("QUIT", lambda: 'received "QUIT"' in self.application_lines() and self.application_lines()[-1] == "ended")
        self.assertEqual(self.lines()[-1], "joining scanner thread")
        self.restart(LC_ALL="de_DE.UTF-8")
        self.assertIn("getting messages from agent-de.xml", self.lines())
        self.assertNotEqual(self.show_menu()[0], width, "texts of another length")
        self.mouse("key", "Escape")

    def test_3_lists_over_pinned_tls_and_proxies(self):
        class Home:
            suite = self.suite
        settings = self.support / "app_settings.json"

        def passes(line, *keys):
            lay_pins(Home, *keys)
            self.restart()
            self.wait_for_line(line, seconds=60)

        good = self.authority.public_key("*.tavrin.example")
        self.stop()
        before = settings.read_text()
        passes(UP_TO_DATE, good)
        passes(AGAIN_SOON, Authority(self.directory, "Stranger").public_key("root"))
        self.assertTrue(any("No certificate has a pinned key" in line for line in self.lines()))
        self.stop()
        settings.write_text(re.sub(r'"proxy_setting": "\w+"', '"proxy_setting": "manual"', before)
                            .replace('"address": ""', '"address": "127.0.0.1"').replace('"port": 0', f'"port": {PROXY_PORT}'))
        passes(UP_TO_DATE, good)
        manual = self.network.proxied()
        self.assertGreater(manual, 0)
        self.stop()
        settings.write_text(before)
        self.set_system_proxy(3, f"127.0.0.1:{PROXY_PORT}", "")
        passes(UP_TO_DATE, good)
        system = self.network.proxied()
        self.assertGreater(system, manual)
        (self.network.files / "proxy.pac").write_text(
            f'function FindProxyForURL(url, host) {{ return "PROXY 127.0.0.1:{PROXY_PORT}"; }}')
        self.set_system_proxy(5, "", f"http://{self.address}:8080/proxy.pac")
        passes(UP_TO_DATE, good)
        self.assertGreater(self.network.proxied(), system)
        self.set_system_proxy(1, "", "")
        self.assertEqual(self.platform("proxies", f"https://{DOWNLOADS}/")[0]["proxies"], [])

    def test_4_tools(self):
        told, _ = self.platform("describe")
        self.assertEqual((told["version"], told["versionIdentifier"]), ("10.0", "Windows 10  64 bit"))
        self.assertEqual(self.platform("storage")[0]["writable"], [True, True, True])
        (self.support / "folder").mkdir()
        (self.support / "folder/file").write_bytes(bytes(1234))
        self.assertEqual(self.platform("size", f"Z:{self.support}/folder")[0]["size"], 1234)
        self.assertGreater(self.platform("free", "C:\\")[0]["bytes"], 0)
        self.assertEqual(self.platform("run", 20_000, "C:\\", r"C:\windows\system32\cmd.exe", "/c", "exit", "3")[0]["exitCode"], 3)
        self.assertGreater(self.platform("port")[0]["port"], 1023)
        self.assertTrue(self.platform("addresses", "loopback")[0]["addresses"])
        self.assertEqual(self.platform("id", 0)[0], {"isZero": True, "registered": True})
        self.assertEqual(self.platform("engine-path")[0]["path"], "")
        self.assertTrue(self.platform("engine-uninstall")[0]["done"], "there is none")
        self.assertTrue(self.platform("permissions", "C:\\")[0]["result"]["checkPermissions"]["hasPermission"])
        self.assertEqual(self.platform("engine-directory", "C:\\folder")[0]["path"], "C:\\folder")
        self.assertIn("exitCode", self.platform("awake", "work", r"C:\windows\system32\cmd.exe", "/c", "exit")[0])
        url = f"https://{DOWNLOADS}/{LISTS}/zd-supported-devices.xml"
        self.assertEqual(self.platform("request", "GET", url)[0]["status"], 200)
        with concurrent.futures.ThreadPoolExecutor() as pool:
            for told, _ in pool.map(lambda _: self.platform("fetch", url), range(6)):
                self.assertIn("device-set", told["data"], "the cache is shared with the agent and five others")
        self.assertTrue(self.platform("fetch", url)[0]["fresh"])
        self.assertEqual(self.platform("devices")[0]["devices"], [])
        self.registry("delete", r"HKCU\Software\Microsoft\SystemCertificates\Root", "/f")
        self.registry("delete", r"HKLM\Software\Microsoft\SystemCertificates\Root", "/f")
        nobody = self.network.enter(self.address, [], (DOWNLOADS,))
        code, text = self.prefix.run("./zdplatform.exe", "request", "GET", url, directory=self.suite, enter=nobody)
        self.assertIn('"status": -1', text, "no root vouches for the server")

    def test_5_update_to_a_started_installer(self):
        key, public = self.directory / "private.pem", self.suite / "resources/certificates/zd/public-key.pem"
        run("openssl", "genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", key)
        self.stop()
        public.write_text(run("openssl", "pkey", "-in", key, "-pubout").decode())
        lay_public = public.read_text()

        class Home:
            suite = self.suite
        lay_pins(Home, self.authority.public_key("*.tavrin.example"))
        public.write_text(lay_public)
        shutil.copy(BUILD / "zdsetup.exe", self.zd / "zdsetup.exe")
        code, signature = self.tool("zdmanifest", "sign", "--installer", f"Z:{key}", f"Z:{self.zd}/zdsetup.exe")
        self.assertEqual(code, 0, signature)
        manifest = self.zd / "manifest.xml"
        manifest.write_text(f"""<?xml version="1.0" encoding="UTF-8"?>
<manifest>
  <application>
    <id>Zelmo Dockset</id>
    <version>2.19.0.0</version>
    <eula-version>2.0.0.0</eula-version>
    <url>https://{HOST}/zd/zdsetup.exe</url>
    <signature>{signature.strip()}</signature>
  </application>
</manifest>
""")
        self.assertEqual(self.tool("zdmanifest", "sign", f"Z:{key}", f"Z:{manifest}")[0], 0)
        self.assertEqual(self.tool("zdmanifest", "verify", f"Z:{public}", f"Z:{manifest}", f"Z:{self.zd}/zdsetup.exe")[0], 0)
        self.restart()
        self.post(AGENT, WM_TIMER, CHECK_TIMER)
        self.wait_for_line("autoupdate Saving downloaded version", seconds=40)
        self.assertEqual((self.support / "autoupdate/zdsetup.exe").read_bytes(), (BUILD / "zdsetup.exe").read_bytes())
        before = self.logs()
        self.post(AGENT, WM_COMMAND, INSTALL)
        self.wait_for_line("autoupdate Eula is up to date, starting installer in quiet mode.")
        new = self.wait_for_start(before)
        self.assertEqual(self.lines()[-1], "joining scanner thread", "the old one has ended in order")
        self.assertNotEqual(public.read_text(), lay_public, "replaced")
        type(self).log = new

    def test_6_removal(self):
        self.assertIn("DisplayVersion", self.registry("query", r"HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall"
                                                      r"\Zelmo Dockset"))
        self.assertEqual(self.prefix.run("./uninstall.exe", "/S", directory=self.suite)[0], 0)
        wait_for("the folders gone", lambda: not self.suite.parent.exists())
        self.assertEqual(self.lines()[-1], "joining scanner thread")
        self.assertNotIn(AGENT, self.registry("query", RUN_KEY))
        self.assertTrue((self.support / "app_settings.json").exists(), "the user's own stays")


if __name__ == "__main__":
    in_private_network()
    BUILD = pathlib.Path(sys.argv.pop(1)).resolve()
    unittest.main()
