"""The helper's hold against a real logind that has a lid: does the machine go to sleep when it should, and only
then? A suspend that logind starts is recorded by a stand-in for the service manager."""
import os
import pathlib
import subprocess
import sys
import time

import harness
from harness import ask, logind, wait_for

LID_CLOSES_AFTER = 4.0  # seconds from logind's start
LID_DEVICE = f"""P: /devices/LNXSYSTM:00/LNXSYBUS:00/PNP0C0D:00/input/input0
E: SUBSYSTEM=input
E: NAME="Lid Switch"
A: name=Lid Switch
A: capabilities/sw=1

P: /devices/LNXSYSTM:00/LNXSYBUS:00/PNP0C0D:00/input/input0/event0
N: input/event0
E: DEVNAME=/dev/input/event0
E: SUBSYSTEM=input
E: MAJOR=13
E: MINOR=64
A: dev=13:64
"""
LID_ANSWERS = f"""@DEV /dev/input/event0
EVIOCGNAME(0) 11 {b'Lid Switch'.ljust(256, bytes(1)).hex().upper()}
EVIOCGBIT(0) 8 2100000000000000
EVIOCGBIT(5) 8 0100000000000000
EVIOCGSW(0) 8 0000000000000000
"""
LID_EVENTS = f"""E: 0.000000 0000 0000 0
E: {LID_CLOSES_AFTER:.6f} 0005 0000 1
E: {LID_CLOSES_AFTER:.6f} 0000 0000 0
"""


def run_with_lid(test, scenario):
    """Runs one scenario below a logind and a lid of its own, which closes once."""
    folder = test.folder()
    files = {"lid.umockdev": LID_DEVICE, "lid.ioctl": LID_ANSWERS, "lid.events": LID_EVENTS}
    for name, content in files.items():
        (folder / name).write_text(content)
    device = "/dev/input/event0="
    return subprocess.run(
        [harness.SOURCE / "tools" / "with-logind", "-r", "-m", "-t", "power-switch:c13:64",
         "-d", folder / "lid.umockdev", "-i", device + str(folder / "lid.ioctl"),
         "-e", device + str(folder / "lid.events"), "--", sys.executable, "-B", __file__, f"Scenario.{scenario}"],
        timeout=60).returncode


class HelperLidTest(harness.TestCase):
    def test_a_held_machine_stays_awake_and_sleeps_when_the_hold_ends(self):
        self.assertEqual(run_with_lid(self, "held"), 0)

    def test_a_machine_that_is_not_held_sleeps(self):
        self.assertEqual(run_with_lid(self, "not_held"), 0)


class Scenario(harness.TestCase):
    def setUp(self):
        super().setUp()
        harness.hide_journal()

    def suspends(self):
        return pathlib.Path(os.environ["VIGILO_SYSTEMD1_LOG"]).read_text().splitlines()

    def is_lid_closed(self):
        return logind("get-property", "LidClosed")

    def held(self):
        self.start_helper()
        ask("acquire", leaseId="a")
        self.assertFalse(self.is_lid_closed(), "too slow: the hold must stand before the lid closes")
        wait_for("the lid closes", self.is_lid_closed)
        # A suspend would follow within milliseconds, and again and again.
        until = time.monotonic() + 1
        while time.monotonic() < until:
            ask("acquire", leaseId="a")
        self.assertEqual(self.suspends(), [])
        self.assertTrue(ask("release", leaseId="a")["ok"])
        wait_for("a suspend", self.suspends)
        self.assertTrue(self.suspends()[0].startswith("StartUnit suspend.target"))

    def not_held(self):
        self.start_helper()
        self.assertEqual(self.suspends(), [])
        wait_for("a suspend", self.suspends)
        self.assertTrue(self.is_lid_closed())


if __name__ == "__main__":
    harness.main()
