"""A real lease: what a killed host leaves behind ends by itself, and a living host keeps it whatever hangs."""
import json
import os
import signal
import socket
import subprocess
import threading
import time

import harness
from harness import inhibitors, wait_for

harness.run_with_logind()

LEASE_SECONDS = 60
WATCHDOG_SECONDS = 5
WATCHED_SECONDS = 35


class FakeHelper(threading.Thread):
    """A helper of the user's own that grants everything, and notes when the lease was asked for or extended."""

    def __init__(self, path):
        super().__init__(daemon=True)
        path.parent.mkdir(parents=True, exist_ok=True)
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.bind(str(path))
        self.socket.listen()
        self.extended = []

    def run(self):
        while True:
            connection, _ = self.socket.accept()
            with connection:
                if json.loads(connection.recv(8192))["command"] in ("acquire", "renew"):
                    self.extended.append(time.monotonic())
                connection.send(json.dumps({"ok": True, "status": {
                    "isHelperInstalled": True, "isDeepHoldActive": bool(self.extended),
                    "leaseExpiresAt": harness.now() + LEASE_SECONDS, "originalSleepDisabledState": False,
                    "currentSystemSleepDisabled": bool(self.extended)}}).encode())


class HostLapseTest(harness.TestCase):
    def start_working(self, env):
        host = harness.Program(self, [harness.BIN / "vigilo", "run"], env=env)
        wait_for("the host listens", lambda: "hooks  " in host.log())
        subprocess.run([harness.BIN / "vigilo-relay", "--agent", "claude", "--state", "working"], env=env, check=True,
                       stdin=subprocess.DEVNULL)
        return host

    def test_a_bus_that_hangs_costs_no_lease(self):
        home = self.folder()
        env = {**os.environ, "HOME": str(home)}
        helper = FakeHelper(home / harness.BELOW_HOME / "vigilo-helper.sock")
        helper.start()
        self.start_working(env)
        wait_for("the lease", lambda: helper.extended, 3)
        bus = int(os.environ["VIGILO_BUS_PID"])
        self.addCleanup(os.kill, bus, signal.SIGCONT)
        os.kill(bus, signal.SIGSTOP)
        until = time.monotonic() + WATCHED_SECONDS
        while time.monotonic() < until:
            # The lid is asked for.
            subprocess.run([harness.BIN / "vigilo", "status"], env=env, stdout=subprocess.DEVNULL, timeout=20)
            time.sleep(1)
        moments = [*helper.extended, time.monotonic()]
        gaps = [after - before for before, after in zip(moments, moments[1:])]
        self.assertLess(max(gaps), LEASE_SECONDS / 3)

    def test_the_deep_hold_of_a_killed_host_ends_with_its_lease_and_not_before(self):
        env = {**os.environ, "HOME": str(self.folder())}
        self.start_helper()
        host = self.start_working(env)
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
