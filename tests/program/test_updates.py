#!/usr/bin/env python3
"""The whole program's way from a signed manifest on a real server to a started installer, and attacks on that way."""

import signal
import subprocess
import tempfile
import time
import unittest

import suite
from desktop import Desktop
from network import in_private_network
from suite import Home, under_virtual_bus, wait_for
from updates import UpdateServer, check_for_updates, installed

TAG = "autoupdate "
UP_TO_DATE = TAG + "Up to date."
SAVED = TAG + "Saving downloaded version"
NOT_VERIFIED = TAG + "Failed to verify Zelmo Dockset manifest"
OLDER = TAG + "The manifest is older than one seen before, of version 2.20.0.0"
SWAPPED = TAG + "The installer has changed since it was verified, and isn't started."
UPDATE_DOWNLOADED = 1026
INSTALL = 3
WM_COMMAND = 273


class UpdatesTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="zd-updates-")
        self.addCleanup(directory.cleanup)
        self.server = UpdateServer(directory.name, "location /zd/zdsetup-9.0.0.0.exe { limit_rate 20000; }")
        self.addCleanup(self.server.close)
        self.home = Home(accept_unrecognized=None)
        self.addCleanup(self.home.close)
        self.server.install_keys(self.home)

    def check(self, agent, line, count=1):
        check_for_updates(self.home)
        agent.wait_for_line(line, count)

    def install(self, count):
        self.home.post("ZelmoDocksetAgent", WM_COMMAND, INSTALL)
        return wait_for("the installer's start", lambda: installed(self.home)[count - 1:])[0]

    def test_from_the_manifest_to_the_installer(self):
        desktop = Desktop(self.home)
        self.addCleanup(desktop.close)
        desktop.start()
        self.server.publish("2.18.6.0")
        agent = self.server.start_agent(self.home, **desktop.for_agent)
        item = desktop.item()

        def entries():
            return [label for _, label in item.open_menu()]

        self.check(agent, UP_TO_DATE)
        self.server.publish("2.19.0.0")
        self.check(agent, SAVED)
        wait_for("both balloons", lambda: desktop.notifications() >= 1 and "Install update" in entries())
        self.assertEqual((self.home.support / "autoupdate/zdsetup.exe").read_bytes(),
                         self.server.installer("2.19.0.0").read_bytes())
        desktop.output(["dunstctl", "action", "0"])
        wait_for("the installer", lambda: installed(self.home) == ["2.19.0.0:/passive ZdAutoUpdate=1"])
        wait_for("the entry gone", lambda: len(entries()) == 3)

        self.assertEqual(agent.stop(), 0)
        time.sleep(1)  # a log a second
        agent = self.server.start_agent(self.home, **desktop.for_agent)
        item = desktop.item()
        check_for_updates(self.home)
        wait_for("the offer of what lies on the disk", lambda: "Install update" in entries())
        self.assertEqual(self.server.fetched("2.19.0.0"), 1)

        self.server.publish("2.20.0.0", eula="2.0.0.1")
        self.check(agent, SAVED)
        wait_for("the newer offer", lambda: "Install update" in entries())
        item.choose("Install update")
        wait_for("the visible installer", lambda: installed(self.home)[1:] == ["2.20.0.0:"])
        self.assertIn(TAG + "The eula has been updated, starting installer with ui.", agent.lines())
        self.assertEqual(agent.stop(), 0)

    def test_attacks_are_refused(self):
        agent = self.server.start_agent(self.home)
        self.server.publish("2.19.0.0")
        good = self.server.manifest.read_text()
        self.server.manifest.write_text(good.replace("2.19.0.0</version>", "2.29.0.0</version>"))
        self.check(agent, NOT_VERIFIED)
        self.server.manifest.write_text(good)
        installer = self.server.installer("2.19.0.0")
        honest = installer.read_bytes()
        installer.write_bytes(honest + b"# and more\n")
        self.check(agent, TAG + "Failed to verify installer")
        self.assertFalse((self.home.support / "autoupdate").exists())

        self.server.publish("2.20.0.0")
        self.check(agent, SAVED)
        swapped = self.home.support / "autoupdate/zdsetup.exe"
        swapped.write_text('#!/bin/sh\necho swapped >> "$HOME/installed"\n')
        self.home.post("ZelmoDocksetAgent", WM_COMMAND, INSTALL)
        agent.wait_for_line(SWAPPED)
        agent.wait_for_line(SAVED, 2)
        self.assertEqual(installed(self.home), [])
        self.assertEqual(self.install(1), "2.20.0.0:/passive ZdAutoUpdate=1")

        self.assertEqual(agent.stop(), 0)
        self.server.manifest.write_text(good)
        time.sleep(1)  # a log a second
        agent = self.server.start_agent(self.home)
        self.check(agent, OLDER)
        self.assertEqual(self.server.fetched("2.19.0.0"), 1)
        self.assertEqual(agent.stop(), 0)

    def test_stops_while_an_installer_drips(self):
        self.server.publish("9.0.0.0", size=10_000_000)
        agent = self.server.start_agent(self.home)
        self.check(agent, TAG + "Getting installer of version 9.0.0.0")
        agent.process.send_signal(signal.SIGTERM)
        # The scanner's pause goes first, two seconds. The lists may wait for the end of theirs behind it.
        agent.wait_for_line(TAG + "Failed to download installer", seconds=4)
        self.assertEqual(agent.process.wait(15), 0)
        self.assertFalse((self.home.support / "autoupdate").exists())


class ZdmanifestTest(unittest.TestCase):
    def test_tells_by_its_exit_code(self):
        with tempfile.TemporaryDirectory(prefix="zd-manifest-") as directory:
            server = UpdateServer(directory)
            self.addCleanup(server.close)
            server.publish("2.19.0.0")
            key = server.network.directory / "public-key.pem"
            key.write_text(server.public_key)
            good = server.manifest.read_bytes()
            line = good.splitlines(True)[2]

            def verify(manifest, *words):
                server.manifest.write_bytes(manifest)
                done = subprocess.run([suite.SUITE / "zdmanifest", "verify", key, server.manifest, *words],
                                      capture_output=True, text=True, check=False)
                return done.returncode, done.stderr

            self.assertEqual(verify(good, server.installer("2.19.0.0"))[0], 0)
            self.assertEqual(verify(good, key)[0], 1)
            self.assertEqual(verify(good, "/nowhere")[0], 3)
            self.assertEqual(verify(good, "1", "2")[0], 2)
            for manifest, reason in ((good.replace(b"\n", b"\r\n"), "a carriage return"),
                                     (good.replace(b"\n", b"\r\n").replace(line[:-1] + b"\r\n", line), "line ends have changed"),
                                     (good.replace(line, b""), "no manifest-signature"),
                                     (good.replace(line, line + line), "several"),
                                     (good.replace(b">ME", b"> ME"), "blanks or line ends"),
                                     (good[:-1], "has changed"), (good[:-9], "well-formed")):
                code, text = verify(manifest)
                self.assertEqual((code, reason in text), (1, True), (reason, text))
            server.publish("2.18.6.0", more=f"<more>{'x' * 1_000_000}</more><forced>2.20</forced>")
            code, text = verify(server.manifest.read_bytes())
            self.assertEqual(code, 0)
            for warning in ("no agent fetches more than 1000000", "it isn't newer", "forced is above version"):
                self.assertIn(warning, text)


if __name__ == "__main__":
    in_private_network()
    under_virtual_bus()
    unittest.main()
