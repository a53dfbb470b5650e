#!/usr/bin/env python3
"""The whole program against real web servers and a real proxy: the device lists' way from the server to a phone.

An agent's first pass begins five seconds after its start, so all agents of a class of tests start at once and wait
together.
"""

import tempfile
import unittest

from network import (Authority, DOWNLOADS, LISTS, Network, NetworkAgent, PROXY_PORT, device_list, in_private_network,
                     lay_pins)
from suite import Home, Phones, under_virtual_bus, wait_for

TAG = "DeviceFilterHandler "
AGAIN_IN_A_DAY = TAG + "Next update in 24 hours."
AGAIN_IN_AN_HOUR = TAG + "Next update in 1 hour."
FAILED = TAG + "Failed to download device list!"
USING_LOCAL = TAG + "Cannot find remote devices XML, using local"
SERVER_REVISION = 40
SERVERS = TAG + f"Remote devices XML revision: {SERVER_REVISION}"
LAUNCH = "autoupdate Launching Zelmo Dockset"
PHONE = ("3a5f", "0f01")  # in the server's list alone
STRANGER = ("18d1", "4ee1")


class Case:
    """An installed suite with an agent that is running in the network."""

    def __init__(self, network, phones, pins, address, roots, prepare=None, interval=None, **environment):
        self.home = Home(phones, accept_unrecognized=None)
        lay_pins(self.home, *pins)
        if interval:
            self.home.configure(f"<config><device-support><update-interval>{interval}</update-interval>"
                                "</device-support></config>")
        if prepare:
            prepare(self.home)
        self._network = network
        self._view = network.enter(address, roots)
        self._environment = environment
        self.start()

    def start(self):
        """Also anew, after the agent's end."""
        self.agent = self.home.adopt(NetworkAgent(self.home, self._view, **self._environment))

    def pass_lines(self, last):
        """The lines of the first pass, which must end with `last`."""
        self.agent.wait_for_line(last, seconds=40)
        lines = [line for line in self.agent.lines() if line.startswith(TAG)]
        return lines[:lines.index(last) + 1]


def with_settings(text):
    def prepare(home):
        home.settings_path.write_text(text)
    return prepare


def manual_proxy(port):
    return with_settings('{"proxy_setting": "manual", "proxy": {"address": "127.0.0.1", "port": %d}}' % port)


def script_of_kde(script):
    def prepare(home):
        settings = home.path / ".config/kioslaverc"
        settings.parent.mkdir()
        settings.write_text(f"[Proxy Settings]\nProxyType=2\nProxy Config Script=file://{script}\n")
    return prepare


class NetworkTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = tempfile.TemporaryDirectory(prefix="zd-network-")
        cls.addClassCleanup(cls.directory.cleanup)
        network = cls.network = Network(cls.directory.name)
        cls.addClassCleanup(network.close)
        good, strange, curve = (Authority(network.directory, name, key)
                                for name, key in (("Good", "rsa:2048"), ("Strange", "rsa:2048"), ("Curve", "P-256")))
        chain = good.leaf(DOWNLOADS)
        places = {
            "good": network.add_server(chain),
            "curve": network.add_server(curve.leaf(DOWNLOADS)),
            "strange": network.add_server(strange.leaf(DOWNLOADS)),
            "misnamed": network.add_server(good.leaf("other.tavrin.example")),
            "slow": network.add_server(chain, "limit_rate 300;"),
        }
        padding = "<!-- " + "x" * 1500 + " -->"  # which takes the slow server a while
        for kind in ("supported", "unsupported"):
            lists = network.files / LISTS
            lists.mkdir(parents=True, exist_ok=True)
            (lists / f"zd-{kind}-devices.xml").write_text(device_list(SERVER_REVISION, [PHONE]) + padding)
        network.start_servers()
        network.start_proxy()
        cls.phones = Phones()
        cls.phones.plug("1-1", *PHONE)
        cls.phones.plug("1-2", *STRANGER)
        leaf, intermediate = good.public_key(DOWNLOADS), good.public_key("intermediate")
        foreign = strange.public_key("root")
        dead = f"http://127.0.0.1:{PROXY_PORT + 1}"
        alive = f"http://127.0.0.1:{PROXY_PORT}"
        script = network.directory / "proxy.pac"
        script.write_text('function FindProxyForURL(url, host) { return host == "%s" ? "PROXY 127.0.0.1:%d" : "DIRECT"; }'
                          % (DOWNLOADS, PROXY_PORT))

        cls.cases = {}

        def case(name, pins, address, trusted=good, **options):
            cls.cases[name] = Case(network, cls.phones, pins, places.get(address), [trusted.root], **options)
            cls.addClassCleanup(cls.cases[name].home.close)

        case("pinned leaf", [foreign, leaf], "good")
        case("pinned intermediate", [intermediate], "good", interval="SysTest")
        case("offline", [leaf], None)
        case("wrong pin", [foreign], "good")
        case("curve", [leaf], "curve", trusted=curve)
        case("untrusted", [strange.public_key(DOWNLOADS)], "strange")
        case("misnamed", [intermediate], "misnamed")
        case("manual proxy", [leaf], None, prepare=manual_proxy(PROXY_PORT))
        case("system proxy", [leaf], None, https_proxy=alive)
        case("system script", [leaf], None, prepare=script_of_kde(script), XDG_CURRENT_DESKTOP="KDE")
        case("dead proxy", [leaf], "good", prepare=manual_proxy(PROXY_PORT + 1))
        case("no proxy", [leaf], "good", prepare=with_settings('{"proxy_setting": "none"}'), https_proxy=dead)
        cls.start_slow = lambda: case("slow", [leaf], "slow")

    def test_fresh_lists_bring_the_phone_to_the_application(self):
        case = self.cases["pinned leaf"]
        lines = case.pass_lines(AGAIN_IN_A_DAY)
        self.assertEqual(lines, [
            TAG + "Start device filter update loop.", TAG + "Updating supported devices...", SERVERS,
            TAG + "Updating unsupported devices...", SERVERS, TAG + "Device lists are up to date.", AGAIN_IN_A_DAY])
        case.agent.wait_for_line(LAUNCH)
        self.assertEqual(case.agent.lines().count(LAUNCH), 1, "the phone that no list names starts nothing")

        self.assertEqual(case.agent.stop(), 0)
        before = len(self.network.requests())
        case.start()
        self.assertIn(SERVERS, case.pass_lines(AGAIN_IN_A_DAY))
        again = wait_for("two answers that nothing has changed", lambda: (
            lines if len(lines := [line for line in self.network.requests()[before:] if " 304 " in line]) >= 2 else None))
        self.assertNotIn('"-"', again[0])
        case.agent.wait_for_line(LAUNCH)

    def test_a_pinned_intermediate_will_do_and_systest_comes_again_sooner(self):
        lines = self.cases["pinned intermediate"].pass_lines(TAG + "Next update in 5 minutes.")
        self.assertEqual(lines[:2], [TAG + "Systest is enabled. Will use shorter update intervals.",
                                     TAG + "Start device filter update loop."])
        self.assertIn(SERVERS, lines)

    def test_without_a_network_the_packaged_lists_hold(self):
        case = self.cases["offline"]
        lines = case.pass_lines(AGAIN_IN_AN_HOUR)
        self.assertEqual([line for line in lines if line in (FAILED, USING_LOCAL)], 2 * [FAILED, USING_LOCAL])
        self.assertIn(TAG + "At least one list is not guaranteed to be up to date. Will try again sooner.", lines)
        self.phones.plug("1-3", "3a5f", "0110", serial="PACKAGED")
        case.agent.wait_for_line(LAUNCH)

    def test_no_list_comes_from_a_server_that_is_not_the_pinned_one(self):
        for name in ("wrong pin", "curve", "untrusted", "misnamed"):
            with self.subTest(name):
                lines = self.cases[name].pass_lines(AGAIN_IN_AN_HOUR)
                self.assertEqual(lines.count(FAILED), 2)
                self.assertNotIn(SERVERS, lines)
                reason = {"wrong pin": "No certificate has a pinned key: ", "curve": "No certificate has a pinned key: ",
                          "untrusted": "Certificate not accepted: "}.get(name, "")
                self.assertTrue(any(("CURLHTTP " + reason) in line for line in self.cases[name].agent.lines()))

    def test_lists_come_through_the_users_and_the_systems_proxy(self):
        for name in ("manual proxy", "system proxy", "system script"):
            with self.subTest(name):
                self.assertIn(SERVERS, self.cases[name].pass_lines(AGAIN_IN_A_DAY))
        self.assertGreaterEqual(self.network.proxied(), 6)
        again = self.cases["manual proxy"]
        self.assertEqual(again.agent.stop(), 0)
        unchanged = self._unchanged()
        again.start()
        again.pass_lines(AGAIN_IN_A_DAY)
        wait_for("answers that nothing has changed, through the proxy", lambda: self._unchanged() >= unchanged + 2)

    def _unchanged(self):
        return sum(" 304 " in line for line in self.network.requests())

    def test_a_dead_proxy_fails_and_none_means_none(self):
        self.assertIn(FAILED, self.cases["dead proxy"].pass_lines(AGAIN_IN_AN_HOUR))
        self.assertIn(SERVERS, self.cases["no proxy"].pass_lines(AGAIN_IN_A_DAY))

    def test_stops_in_every_state(self):
        type(self).start_slow()
        slow, case = self.cases["slow"], self.cases["no proxy"]
        case.pass_lines(AGAIN_IN_A_DAY)
        self.assertEqual(case.agent.stop(5), 0, "while it waits")
        case.start()
        case.agent.wait_until_listening()
        self.assertEqual(case.agent.stop(10), 0, "while it settles")
        slow.agent.wait_for_line(TAG + "Updating supported devices...")
        self.assertEqual(slow.agent.stop(8), 0, "while a list arrives, whose transfer ends")
        self.assertNotIn(AGAIN_IN_A_DAY, slow.agent.lines(), "the log has gone before")

    def test_z_a_server_that_went_away_leaves_the_cached_lists(self):
        case = self.cases["pinned intermediate"]
        case.pass_lines(TAG + "Next update in 5 minutes.")
        self.assertEqual(case.agent.stop(), 0)
        self.network.stop("nginx")
        case.start()
        lines = case.pass_lines(TAG + "Next update in 1 minute.")
        self.assertIn(SERVERS, lines)
        self.assertNotIn(FAILED, lines)


if __name__ == "__main__":
    in_private_network()
    under_virtual_bus()
    unittest.main()
