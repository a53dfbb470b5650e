"""What the suite sees of the phones on a virtual bus, which of them count, and how their paths are composed."""

import json
import subprocess
import unittest

from suite import Home, Phones, under_virtual_bus

GUID = "{6ac27878-a6fa-4155-ba85-f98f491d4f33}"


class PortableDevices(unittest.TestCase):
    def setUp(self):
        self.phones = Phones()
        self.home = Home(self.phones, accept_unrecognized="no")
        self.addCleanup(self.home.close)

    def report(self):
        return json.loads(subprocess.run([self.home.suite / "zdplatform", "devices"], check=True, capture_output=True,
                                         env=self.home.environment()).stdout)

    def devices(self):
        return [[device["path"], device["instanceId"], *device["carriers"]] for device in self.report()["devices"]]

    def test_which_devices_count(self):
        self.assertEqual(self.devices(), [])
        self.phones.plug("1-1", serial="A")                                             # PTP and MTP
        self.phones.plug("1-2", serial="B", interface=("ff", "ff", "00"), name="My MTP Device")
        self.phones.plug("1-3", serial="C", interface=("ff", "ff", "00"), name="ADB Interface")
        self.phones.plug("1-4", serial="D", interface=("06", "01", "02"))
        self.phones.plug("1-5", serial="E", interface=("03", "01", "01"), name="MTP")
        self.assertEqual([device[0] for device in self.devices()],
                         [rf"\\?\usb#vid_18d1&pid_4ee1#{serial}#{GUID}" for serial in "ab"])
        self.phones.unplug("1-1")
        self.assertEqual(len(self.devices()), 1)

    def test_verdicts(self):
        self.phones.plug("1-1", vendor="3a5f", product="f110")  # the lists tell models apart by the low 12 bits
        self.phones.plug("1-2", vendor="1bcf", product="0110")
        for accept, expected in (("no", [(True, True), (False, False)]), ("yes", [(True, True), (False, True)])):
            self.home.configure(f"<config><device-support><accept-unrecognized-devices>{accept}"
                                "</accept-unrecognized-devices></device-support></config>")
            report = self.report()
            self.assertEqual(report["supportedList"]["revision"], 12)
            self.assertEqual([(device["supported"], device["counts"]) for device in report["devices"]], expected)

    def test_how_paths_are_composed(self):
        self.phones.plug("1-1", vendor="0fce", product="1a2b", serial="Se#ri/al 1")
        ((path, instance, *carriers),) = self.devices()
        self.assertEqual((path, instance, carriers),
                         (rf"\\?\usb#vid_0fce&pid_1a2b#se_ri_al_1#{GUID}", r"USB\VID_0FCE&PID_1A2B\SE_RI_AL_1", []))
        self.phones.unplug("1-1")

        # Several interfaces: the function's own node, which the whole device carries.
        self.phones.plug("1-1", serial="S", interfaces=2)
        ((path, instance, carrier),) = self.devices()
        self.assertRegex(path, r"^\\\\\?\\usb#vid_18d1&pid_4ee1&mi_00#6&[0-9a-f]+&0&0000#")
        self.assertRegex(instance, r"^USB\\VID_18D1&PID_4EE1&MI_00\\6&")
        self.assertEqual(carrier, r"USB\VID_18D1&PID_4EE1\S")
        self.phones.unplug("1-1")

        # Without a serial the place in the tree tells devices apart, and stays the same.
        self.phones.plug("1-1", serial="")
        self.phones.plug("1-2", serial="")
        first, second = [device[0] for device in self.devices()]
        self.assertNotEqual(first, second)
        self.assertEqual([device[0] for device in self.devices()], [first, second])
        # And where two of a kind claim the same one.
        self.phones.plug("1-3", serial="SAME")
        self.phones.plug("1-4", serial="SAME")
        self.assertEqual(len({device[0] for device in self.devices()}), 4)

    def test_device_that_doesn_t_tell_its_identifiers(self):
        self.phones.plug("1-1", vendor=None, product="4ee2")
        ((path, _, carrier),) = self.devices()
        self.assertNotIn("vid_", path)
        self.assertRegex(carrier, r"^USB\\VID_18D1&PID_4EE2\\")


if __name__ == "__main__":
    under_virtual_bus()
    unittest.main()
