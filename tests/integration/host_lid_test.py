"""From an agent's hook to a lid that closes: the whole chain against a real logind that would suspend."""
import os
import pathlib
import subprocess
import time

import harness
from harness import inhibitors, logind, wait_for
from lid import run_with_lid


class HostLidTest(harness.TestCase):
    def test_a_closed_lid_does_not_suspend_while_an_agent_works_and_does_after(self):
        self.assertEqual(run_with_lid(self, __file__, "working"), 0)


class Scenario(harness.TestCase):
    def suspends(self):
        return pathlib.Path(os.environ["VIGILO_SYSTEMD1_LOG"]).read_text().splitlines()

    def working(self):
        env = {**os.environ, "HOME": str(self.folder())}

        def call(*command):
            subprocess.run(command, env=env, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)

        call(harness.BIN / "vigilo", "settings", "set", "releaseDelaySeconds", "1")
        self.start_helper()
        harness.Program(self, [harness.BIN / "vigilo", "run"], env=env)
        relay = [harness.BIN / "vigilo-relay", "--agent", "claude", "--state"]
        socket = pathlib.Path(env["HOME"]) / harness.BELOW_HOME / "vigilo.sock"
        wait_for("the hook socket", socket.exists)
        call(*relay, "working")
        wait_for("both holds", lambda: len(inhibitors()) == 2, 1)
        self.assertFalse(logind("get-property", "LidClosed"), "too slow: the holds must stand before the lid closes")
        wait_for("the lid closes", lambda: logind("get-property", "LidClosed"))
        # A suspend would follow within milliseconds, and again and again.
        until = time.monotonic() + 2
        while time.monotonic() < until:
            call(*relay, "working")
        self.assertEqual(self.suspends(), [])
        call(*relay, "idle")
        wait_for("a suspend", self.suspends, 5)


if __name__ == "__main__":
    harness.main()
