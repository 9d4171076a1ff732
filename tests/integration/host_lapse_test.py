"""A real lease that nobody renews any more: what a killed host leaves behind ends by itself."""
import os
import signal
import subprocess
import time

import harness
from harness import inhibitors, wait_for

harness.run_with_logind()

LEASE_SECONDS = 60
WATCHDOG_SECONDS = 5


class HostLapseTest(harness.TestCase):
    def test_the_deep_hold_of_a_killed_host_ends_with_its_lease_and_not_before(self):
        env = {**os.environ, "HOME": str(self.folder())}
        self.start_helper()
        host = harness.Program(self, [harness.BIN / "vigilo", "run"], env=env)
        wait_for("the host listens", lambda: "HookEventReceiver started" in host.log() or "hooks  " in host.log())
        subprocess.run([harness.BIN / "vigilo-relay", "--agent", "claude", "--state", "working"], env=env, check=True,
                       stdin=subprocess.DEVNULL)
        wait_for("both holds", lambda: len(inhibitors()) == 2, 2)
        # Renewals keep it for longer than one lease.
        until = time.monotonic() + LEASE_SECONDS + WATCHDOG_SECONDS + 1
        while time.monotonic() < until:
            self.assertEqual(len(inhibitors()), 2)
            time.sleep(1)
        killed = time.monotonic()
        host.stop(signal.SIGKILL)
        wait_for("the idle hold is gone", lambda: len(inhibitors()) == 1, 0.5)
        wait_for("the lease lapses", lambda: not inhibitors(), LEASE_SECONDS + WATCHDOG_SECONDS + 1)
        # The last acquisition was at most five seconds old.
        self.assertGreater(time.monotonic() - killed, LEASE_SECONDS - 6)


if __name__ == "__main__":
    harness.main()
