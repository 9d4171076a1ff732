"""A host that ends while hooks report: whatever they say then, it leaves nothing held behind.

VIGILO_STOPS says how often it is ended.
"""
import json
import os
import signal
import subprocess
import threading

import harness
from harness import ask, inhibitors, wait_for

harness.run_with_logind()

STOPS = int(os.environ.get("VIGILO_STOPS", 20))


class Hooks(threading.Thread):
    """Agents at work, some 180 events a second as their hooks send them, until the end."""

    def __init__(self, socket):
        super().__init__()
        self.socket, self.ends, self.sent = socket, threading.Event(), 0

    def run(self):
        while not self.ends.wait(0.005):
            event = {"agent": "claude", "state": ("working", "waiting", "idle")[self.sent % 3],
                     "session_id": f"s{self.sent % 5}"}
            try:
                with harness.connect(self.socket, seconds=1) as hook:
                    hook.send(json.dumps(event).encode())
                    hook.recv(64)
                self.sent += 1
            except OSError:
                pass  # the host has ended


class HostStopTest(harness.TestCase):
    def test_nothing_is_held_after_the_end_whatever_hooks_report_meanwhile(self):
        env = {**os.environ, "HOME": str(self.folder())}
        self.start_helper()
        for stop in range(STOPS):
            with self.subTest(stop=stop):
                self.stop_under_events(env)

    def stop_under_events(self, env):
        host = harness.Program(self, [harness.BIN / "vigilo", "run"], env=env)
        socket = f"{env['HOME']}/{harness.BELOW_HOME}/vigilo.sock"
        hooks = Hooks(socket)
        wait_for("the host listens", lambda: "hooks  " in host.log())
        hooks.start()
        try:
            wait_for("both holds", lambda: len(inhibitors()) == 2)
            relays = [subprocess.Popen([harness.BIN / "vigilo-relay", "--agent", "codex", "--state", "working"],
                                       env=env, stdin=subprocess.DEVNULL) for _ in range(3)]
            self.assertEqual(host.stop(signal.SIGTERM), 0)
            self.assertEqual([relay.wait(10) for relay in relays], [0, 0, 0])
        finally:
            hooks.ends.set()
            hooks.join()
        self.assertGreater(hooks.sent, 0)
        self.assertFalse(ask("status")["status"]["isDeepHoldActive"])
        # logind notices the end of a process a moment later.
        wait_for("nothing is held", lambda: not inhibitors(), 2)


if __name__ == "__main__":
    harness.main()
