"""A host among services that hang: the system's bus, logind, the helper. It ends in time all the same."""
import os
import signal
import subprocess
import time

import harness
from harness import inhibitors, wait_for

harness.run_with_logind()

STOP_SECONDS = 10 if harness.SANITIZED else 5


def is_stopped(pid):
    with open(f"/proc/{pid}/stat", encoding="ascii") as stat:
        return stat.read().rpartition(") ")[2][0] == "T"


class HostHangTest(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.home = self.folder()
        self.env = {**os.environ, "HOME": str(self.home)}

    def start_host(self):
        host = harness.Program(self, [harness.BIN / "vigilo", "run"], env=self.env)
        wait_for("the host listens", lambda: "hooks  " in host.log())
        return host

    def relay(self, state, session="s"):
        subprocess.run([harness.BIN / "vigilo-relay", "--agent", "claude", "--state", state, "--session-id", session],
                       env=self.env, check=True, stdin=subprocess.DEVNULL)

    def vigilo_in_background(self, *arguments):
        process = subprocess.Popen([harness.BIN / "vigilo", *arguments], env=self.env, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)

    def freeze(self, pid):
        self.addCleanup(self.thaw, pid)
        os.kill(pid, signal.SIGSTOP)
        wait_for("it hangs", lambda: is_stopped(pid))

    @staticmethod
    def thaw(pid):
        try:
            os.kill(pid, signal.SIGCONT)
        except ProcessLookupError:
            pass  # the helper of a test that has ended

    def stops_in_time(self, pid, holds):
        """Ends a host that holds, or that is about to, while that process hangs."""
        host = self.start_host()
        if holds:
            self.relay("working")
            wait_for("both holds", lambda: len(inhibitors()) == 2)
        self.freeze(pid)
        self.relay("working")
        self.vigilo_in_background("status")
        time.sleep(0.3)
        self.relay("idle")
        self.relay("working")
        started = time.monotonic()
        self.assertEqual(host.stop(), 0, host.log())
        self.assertLess(time.monotonic() - started, STOP_SECONDS)
        self.thaw(pid)
        return host

    def test_a_stop_ends_in_time_whoever_hangs(self):
        for name in ("VIGILO_BUS_PID", "VIGILO_LOGIND_PID"):
            for holds in (True, False):
                with self.subTest(name, holds=holds):
                    helper = self.start_helper()
                    self.stops_in_time(int(os.environ[name]), holds)
                    helper.stop(signal.SIGKILL)
                    wait_for("nothing is held", lambda: not inhibitors())

    def test_what_a_hanging_helper_holds_is_left_to_its_lease_and_said(self):
        helper = self.start_helper()
        host = self.stops_in_time(helper.pid, holds=True)
        self.assertTrue(host.log_lines("lease"), host.log())


if __name__ == "__main__":
    harness.main()
