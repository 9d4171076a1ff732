"""The helper's hold against a real logind that has a lid: does the machine go to sleep when it should, and only
then? A suspend that logind starts is recorded by a stand-in for the service manager."""
import os
import pathlib
import time

import harness
from harness import ask, logind, wait_for
from lid import run_with_lid

class HelperLidTest(harness.TestCase):
    def test_a_held_machine_stays_awake_and_sleeps_when_the_hold_ends(self):
        self.assertEqual(run_with_lid(self, __file__, "held"), 0)

    def test_a_machine_that_is_not_held_sleeps(self):
        self.assertEqual(run_with_lid(self, __file__, "not_held"), 0)


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
