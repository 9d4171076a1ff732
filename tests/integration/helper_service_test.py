"""The helper as a service: what it tells the service manager, which is played here, and the hold that the manager
keeps while the service is being restarted. With a real logind."""
import json
import os
import pathlib
import signal
import socket
import subprocess
import sys

import harness
from harness import ask, inhibitors

harness.run_with_logind()

STATE = pathlib.Path("/var/run/vigilo-helper-state.json")
# A process finds what the manager kept for it as descriptor 3, and its own number in a variable.
LAUNCH = """import os, sys
kept = int(sys.argv[1])
os.dup2(kept, 3)
if kept != 3: os.close(kept)
os.environ |= {"LISTEN_PID": str(os.getpid()), "LISTEN_FDS": "1", "LISTEN_FDNAMES": "deep-hold"}
os.execv(sys.argv[2], sys.argv[2:])"""


class Manager:
    """Listens at $NOTIFY_SOCKET as the service manager does, and keeps what it is handed."""

    def __init__(self, test):
        self.path = str(test.folder() / "notify")
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(self.path)
        self.socket.settimeout(10)
        self.kept = []
        test.addCleanup(self.close)

    def next(self):
        """The next message as a dictionary; descriptors are kept and given up as it says."""
        text, fds, _, _ = socket.recv_fds(self.socket, 4096, 4)
        message = dict(line.split("=", 1) for line in text.decode().splitlines())
        assert message.get("FDNAME", "deep-hold") == "deep-hold"
        self.kept += fds
        if "FDSTOREREMOVE" in message:
            self.forget()
        return message

    def until(self, key):
        while True:
            message = self.next()
            if key in message:
                return message

    def forget(self):
        while self.kept:
            os.close(self.kept.pop())

    def close(self):
        self.forget()
        self.socket.close()


class HelperServiceTest(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.manager = Manager(self)

    def start(self):
        """The helper as the manager starts it, with what was kept; ready when this returns."""
        command = [harness.BIN / "VigiloHelper"]
        if self.manager.kept:
            command = [sys.executable, "-c", LAUNCH, self.manager.kept[0], *command]
        helper = harness.Program(self, command, env={"NOTIFY_SOCKET": self.manager.path}, pass_fds=self.manager.kept)
        self.manager.until("READY")
        return helper

    def test_it_says_that_it_is_ready_alive_and_stopping(self):
        helper = self.start()
        self.assertTrue(ask("status")["ok"], "ready means that it accepts")
        self.assertEqual(self.manager.next(), {"WATCHDOG": "1"}, "a request served is progress")
        self.assertEqual(self.manager.next(), {"WATCHDOG": "1"}, "and so is a tick of the watchdog")
        helper.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.manager.next(), {"STOPPING": "1"})
        self.assertEqual(helper.wait(), -signal.SIGTERM)

    def test_the_hold_outlives_a_crash_and_has_one_holder_afterwards(self):
        first = self.start()
        ask("acquire", leaseId="a", ttlSeconds=600)
        self.assertEqual(self.manager.until("FDSTORE")["FDPOLL"], "0")
        first.stop(signal.SIGKILL)
        self.assertEqual([pid for pid, _ in inhibitors()], [first.pid], "kept by the manager")
        second = self.start()
        self.assertEqual([pid for pid, _ in inhibitors()], [second.pid])
        self.assertEqual(len(self.manager.kept), 1)
        self.assertEqual(second.descriptors(of="/inhibit/"), 1, "the one inherited is closed")
        self.assertTrue(ask("release", leaseId="a")["ok"])
        self.manager.until("FDSTOREREMOVE")
        self.assertEqual(inhibitors(), [])

    def test_a_hold_whose_lease_has_lapsed_meanwhile_ends_with_the_start(self):
        first = self.start()
        ask("acquire", leaseId="a", ttlSeconds=600)
        self.manager.until("FDSTORE")
        first.stop(signal.SIGKILL)
        STATE.write_text(json.dumps({**json.loads(STATE.read_text()), "expiresAt": harness.now() - 1}))
        self.start()
        self.assertEqual(self.manager.kept, [])
        self.assertEqual(inhibitors(), [])

    def test_in_the_units_surroundings_it_holds_and_saves(self):
        """No capability, no network, and nothing writable but /run, as its unit has it. System calls are not filtered
        here."""
        sandbox = ["unshare", "--mount", "--net", "--propagation", "private", "sh", "-c",
                   "mount -o remount,bind,ro / && mount -o remount,bind,ro /run/systemd && "
                   "exec setpriv --no-new-privs --bounding-set=-all --inh-caps=-all -- \"$@\"", "sh"]
        if subprocess.run([*sandbox, "true"], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("this root cannot be restricted like that")
        helper = self.start_helper(prefix=sandbox)
        self.assertEqual(helper.proc("status").read_text().split("CapEff:")[1].split()[0], "0" * 16)
        self.assertTrue(ask("acquire", ttlSeconds=600)["status"]["currentSystemSleepDisabled"])
        self.assertTrue(json.loads(STATE.read_text())["isHolding"])


if __name__ == "__main__":
    harness.main()
