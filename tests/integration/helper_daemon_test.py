"""The built helper on its real socket, with a real logind."""
import json
import os
import pathlib
import shutil
import signal
import socket
import stat
import subprocess
import time

import harness
from harness import ask, connect, exchange, inhibitors, wait_for

harness.run_with_logind()

HOLD = "sleep:handle-lid-switch"
STATE = pathlib.Path("/var/run/vigilo-helper-state.json")


class HelperDaemonTest(harness.TestCase):
    def saved(self):
        return json.loads(STATE.read_text())

    def mode(self, path):
        return stat.S_IMODE(os.stat(path).st_mode)

    def test_everyone_may_ask_and_the_record_is_the_owners(self):
        helper = self.start_helper(umask=0o077)
        self.assertTrue(stat.S_ISSOCK(os.stat(harness.ROOT_HELPER_SOCKET).st_mode))
        self.assertEqual(self.mode(harness.ROOT_HELPER_SOCKET), 0o666)
        self.assertEqual(os.stat(harness.ROOT_HELPER_SOCKET).st_uid, os.geteuid())
        self.assertFalse(STATE.exists(), "starting writes no record")
        self.assertTrue(ask("acquire", leaseId="a", ttlSeconds=90)["ok"])
        self.assertEqual(self.mode(STATE), 0o600)
        self.assertEqual(inhibitors(), [(helper.pid, HOLD)])
        status = ask("status")["status"]
        self.assertTrue(status["isDeepHoldActive"] and status["currentSystemSleepDisabled"])
        self.assertAlmostEqual(status["leaseExpiresAt"], harness.now() + 90, delta=10)
        self.assertTrue(ask("release", leaseId="a")["ok"])
        self.assertEqual(inhibitors(), [])
        self.assertEqual(self.saved(), {"isHolding": False, "originalSleepDisabled": False})
        self.assertEqual([p.name for p in STATE.parent.glob("vigilo-helper-state.json*")], [STATE.name])

    def test_without_root_it_lives_in_the_home_folder_and_says_what_it_may_not_do(self):
        as_user = harness.as_nobody()
        if as_user is None:
            self.skipTest("this root cannot become another user")
        home = self.folder()
        os.chown(home, 65534, 65534)
        program = shutil.copy(harness.BIN / "VigiloHelper", self.folder())
        helper = harness.Program(self, [program], env={"HOME": str(home)}, prefix=as_user, umask=0o077)
        path = str(home / harness.BELOW_HOME / "vigilo-helper.sock")
        wait_for("the helper listens", lambda: helper.log_lines("active on " + path))
        self.assertEqual(self.mode(path), 0o666)
        self.assertEqual(self.mode(home / harness.BELOW_HOME), 0o755)
        for _ in range(2):
            self.assertTrue(ask("acquire", path)["ok"])
        status = ask("status", path)["status"]
        self.assertTrue(status["isDeepHoldActive"])
        self.assertFalse(status["currentSystemSleepDisabled"], "policy does not let this user hold the lid")
        self.assertEqual(len(helper.log_lines("Failed to take the logind inhibitor")), 1)
        self.assertEqual(len(helper.log_lines("access denied by policy")), 1)
        state = home / harness.BELOW_HOME / STATE.name
        self.assertEqual(self.mode(state), 0o600)

    def test_a_start_that_cannot_bind_says_so_and_fails(self):
        os.mkdir(harness.ROOT_HELPER_SOCKET)
        self.addCleanup(os.rmdir, harness.ROOT_HELPER_SOCKET)
        helper = harness.Program(self, [harness.BIN / "VigiloHelper"])
        self.assertEqual(helper.wait(), 1)
        self.assertEqual(len(helper.log_lines(
            "error [daemon] Helper failed to bind socket at /var/run/vigilo-helper.sock: 98")), 1)

    def test_a_second_helper_leaves_the_living_one_its_socket(self):
        first = self.start_helper()
        ask("acquire", leaseId="a", ttlSeconds=600)
        for state in (signal.SIGCONT, signal.SIGSTOP):
            first.process.send_signal(state)
            second = harness.Program(self, [harness.BIN / "VigiloHelper"])
            self.assertEqual(second.wait(), 1)
            self.assertEqual(len(second.log().splitlines()), 1, second.log())
            self.assertTrue(second.log_lines("A helper serves /var/run/vigilo-helper.sock already"))
        first.process.send_signal(signal.SIGCONT)
        self.assertEqual(ask("status")["status"]["activeLeaseId"], "a")
        self.assertEqual(inhibitors(), [(first.pid, HOLD)])

    def test_a_read_is_a_request(self):
        self.start_helper()
        with connect() as pieces:
            pieces.send(b'{"command":')
            self.assertIn(b"Invalid helper command: ", pieces.recv(8192))
        with connect() as empty:
            empty.shutdown(socket.SHUT_WR)
            self.assertEqual(empty.recv(8192), b"")
        fill = len(json.dumps({"command": "status", "leaseId": ""}))
        self.assertTrue(ask("status", leaseId="x" * (8192 - fill))["ok"])
        with connect() as long:
            long.send(json.dumps({"command": "status", "leaseId": "x" * (8193 - fill)}).encode())
            self.assertIn(b"Invalid helper command: ", long.recv(8192))
        with connect() as slow:
            self.assertTrue(ask("status")["ok"], "a silent client is nobody's problem")
            slow.send(b'{"command":"status"}')
            answer = slow.recv(8192)
            self.assertTrue(json.loads(answer)["ok"])
            self.assertEqual(slow.recv(8192), b"", "one exchange a connection")

    def test_a_thousand_silent_connections_hinder_nobody(self):
        helper = self.start_helper()
        before = helper.descriptors()
        silent = []
        self.addCleanup(lambda: [connection.close() for connection in silent])
        slowest = 0.0
        for index in range(1000):
            silent.append(connect())
            if index % 50 == 0:
                start = time.monotonic()
                self.assertTrue(ask("status")["ok"])
                slowest = max(slowest, time.monotonic() - start)
        self.assertLess(slowest, 1.0)
        wait_for("the oldest are closed", lambda: helper.descriptors() <= before + 16)
        silent[-1].send(b'{"command":"status"}')
        self.assertTrue(json.loads(silent[-1].recv(8192))["ok"], "the newest still waits")
        self.assertEqual(silent[0].recv(8192), b"", "the oldest was closed without an answer")

    def test_a_signal_leaves_the_record_and_the_next_start_takes_the_hold_again(self):
        for how in (signal.SIGTERM, signal.SIGKILL):
            first = self.start_helper()
            ask("acquire", leaseId="a", ttlSeconds=600)
            record = self.saved()
            self.assertTrue(record["isHolding"])
            self.assertEqual(first.stop(how), -how)
            self.assertEqual(self.saved(), record)
            wait_for("the hold ends with its process", lambda: inhibitors() == [])
            second = self.start_helper()
            self.assertEqual(inhibitors(), [(second.pid, HOLD)], "taken before anybody is served")
            self.assertEqual(ask("status")["status"]["activeLeaseId"], "a")
            ask("release")
            second.stop()

    def test_a_hold_that_logind_lost_is_taken_again(self):
        helper = self.start_helper()
        ask("acquire", ttlSeconds=600)
        for entry in pathlib.Path("/run/systemd/inhibit").iterdir():
            entry.unlink()
        os.kill(int(os.environ["VIGILO_WITH_LOGIND_PID"]), signal.SIGUSR1)
        wait_for("the watchdog's tick", lambda: len(helper.log_lines("Took the logind inhibitor")) == 2, 15)
        self.assertEqual(inhibitors(), [(helper.pid, HOLD)])

    def test_without_a_bus_the_lease_is_asked_for_but_not_in_force_until_there_is_one(self):
        folder = self.folder()
        address = "unix:path=" + str(folder / "bus")
        helper = self.start_helper(env={"DBUS_SYSTEM_BUS_ADDRESS": address})
        self.assertEqual(len(helper.log_lines("not to be had now: no system bus")), 1)
        for _ in range(2):
            self.assertTrue(ask("acquire", ttlSeconds=600)["ok"])
        self.assertFalse(ask("status")["status"]["currentSystemSleepDisabled"])
        self.assertEqual(len(helper.log_lines("Failed to take the logind inhibitor")), 1)
        os.symlink(os.environ["DBUS_SYSTEM_BUS_ADDRESS"].split("=")[1], folder / "bus")
        self.assertTrue(ask("acquire", ttlSeconds=600)["status"]["currentSystemSleepDisabled"])
        self.assertEqual(len(helper.log_lines("Took the logind inhibitor sleep:handle-lid-switch after")), 1)

    def test_masked_sleep_is_the_administrators_and_stays(self):
        units = pathlib.Path("/run/systemd/system")
        units.mkdir()
        self.addCleanup(shutil.rmtree, units)
        (units / "suspend.target").symlink_to("/dev/null")
        helper = self.start_helper()
        status = ask("acquire")["status"]
        self.assertTrue(status["currentSystemSleepDisabled"] and status["originalSleepDisabledState"])
        self.assertEqual(inhibitors(), [])
        (units / "suspend.target").unlink()
        wait_for("held once it is no longer masked", lambda: inhibitors() == [(helper.pid, HOLD)], 15)

    def test_a_logind_that_hangs_holds_up_nobody(self):
        helper = self.start_helper()
        logind = next(int(path.parent.name) for path in pathlib.Path("/proc").glob("[0-9]*/comm")
                      if path.read_text().strip() == "systemd-logind")
        self.addCleanup(os.kill, logind, signal.SIGCONT)

        def slowest(*commands):
            took = []
            for command in commands:
                begin = time.monotonic()
                self.assertTrue(ask(command, leaseId="a", ttlSeconds=600)["ok"])
                took.append(time.monotonic() - begin)
            return max(took)

        os.kill(logind, signal.SIGSTOP)
        self.assertLess(slowest("acquire", "status", "renew", "acquire"), 1.0, "what a client waits")
        os.kill(logind, signal.SIGCONT)
        wait_for("held", lambda: ask("status")["status"]["currentSystemSleepDisabled"], 15)
        self.assertEqual(inhibitors(), [(helper.pid, HOLD)])
        os.kill(logind, signal.SIGSTOP)
        self.assertLess(slowest("release", "acquire", "release"), 1.0)
        self.assertEqual(helper.descriptors(of="/inhibit/"), 0)
        os.kill(logind, signal.SIGCONT)
        time.sleep(1)  # What was asked for and is wanted no longer has come by now.
        self.assertEqual(inhibitors(), [])

    def test_uninstall_gives_the_hold_back_and_the_service_goes_on(self):
        helper = self.start_helper()
        ask("acquire", leaseId="a")
        answer = ask("uninstall")
        self.assertTrue(answer["ok"])
        self.assertFalse(answer["status"]["isDeepHoldActive"])
        self.assertEqual(inhibitors(), [])
        time.sleep(0.7)  # Longer than the delay of the end that nobody serves.
        self.assertTrue(helper.is_running())
        self.assertTrue(ask("status")["ok"])

    def test_arguments_name_nothing_to_it(self):
        def run(*arguments):
            done = subprocess.run([harness.BIN / "VigiloHelper", *arguments], capture_output=True, text=True)
            return done.returncode, done.stdout.split()[:1], done.stderr.split()[:1]
        self.assertEqual(run("--version"), (0, ["VigiloHelper"], []))
        self.assertEqual(run("--help"), (0, ["Usage:"], []))
        for wrong in (["/tmp/other.sock"], ["--socket", "/tmp/x"], ["--version", "x"], [""]):
            self.assertEqual(run(*wrong), (64, [], ["Usage:"]))
        self.assertFalse(os.path.exists(harness.ROOT_HELPER_SOCKET))


if __name__ == "__main__":
    harness.main()
