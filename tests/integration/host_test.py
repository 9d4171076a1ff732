"""The running host as its user meets it: holds in a real logind, the commands, and what happens when it is killed."""
import json
import os
import pathlib
import random
import signal
import socket
import subprocess
import threading
import time

import harness
from harness import ask, inhibitors, wait_for

harness.run_with_logind()

IDLE = "idle"
DEEP = "sleep:handle-lid-switch"


class HostTest(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.home = self.folder()
        self.run_folder = self.home / harness.BELOW_HOME

    def start_host(self, *arguments):
        host = harness.Program(self, [harness.BIN / "vigilo", "run", *arguments], env={"HOME": str(self.home)})
        wait_for("the host answers", lambda: not host.is_running() or self.vigilo("status").returncode == 0)
        self.assertTrue(host.is_running(), host.log())
        return host

    def vigilo(self, *arguments):
        return subprocess.run([harness.BIN / "vigilo", *arguments], env={**os.environ, "HOME": str(self.home)},
                              capture_output=True, text=True, timeout=20)

    def status(self):
        return json.loads(self.vigilo("status", "--json").stdout)

    def relay(self, state, agent="claude"):
        subprocess.run([harness.BIN / "vigilo-relay", "--agent", agent, "--state", state], check=True,
                       env={**os.environ, "HOME": str(self.home)}, stdin=subprocess.DEVNULL)

    def holds(self):
        return sorted(kind for _, kind in inhibitors())

    def hold(self):
        self.relay("working")
        wait_for("both holds", lambda: self.holds() == [IDLE, DEEP], 1)


class HoldTest(HostTest):
    def test_verbose_shows_what_is_received_also_in_a_file(self):
        host = self.start_host("--verbose")
        self.relay("working")
        wait_for("a line", lambda: host.log_lines("Received event: agent=claude state=working"))

    def test_an_agent_that_works_is_held_within_a_second_and_released_after_the_delay(self):
        self.start_helper()
        self.vigilo("settings", "set", "releaseDelaySeconds", "1")
        host = self.start_host()
        self.hold()
        names = [row[2] for row in harness.logind("call", "ListInhibitors")[0]]
        self.assertIn("Vigilo: Claude Code working", names)
        status = self.status()
        self.assertEqual(status["currentDecision"], {"hold": {
            "activeAgentCount": 1, "reason": "Claude Code working", "requiresDeepHold": True}})
        self.assertTrue(status["idleAssertionActive"])
        self.assertTrue(status["helperStatus"]["currentSystemSleepDisabled"])
        self.assertIn("protectionStartedAt", status)
        self.assertNotIn("; but ", host.log(), "what is not so for a moment only is not said")
        # What was taken for this hold stays until its end, and stays ours.
        self.vigilo("settings", "set", "deepLidProtectionEnabled", "false")
        self.assertIn("held by the helper until this hold ends", self.vigilo("status").stdout)
        self.relay("idle")
        wait_for("the release", lambda: self.holds() == [], 4)
        self.assertNotIn("protectionStartedAt", self.status())
        self.assertEqual(host.log().count("holding: Claude Code working; also with the lid closed"), 1,
                         "a line for each change, not each second")

    def test_a_signal_releases_everything_and_ends_cleanly(self):
        self.start_helper()
        host = self.start_host()
        self.hold()
        started = time.monotonic()
        self.assertEqual(host.stop(signal.SIGINT), 0)
        self.assertLess(time.monotonic() - started, 2)
        wait_for("logind has noticed", lambda: self.holds() == [], 1)
        self.assertFalse(ask("status")["status"]["isDeepHoldActive"])
        self.assertEqual([path.name for path in self.run_folder.iterdir()], ["vigilo.lock"])

    def test_a_killed_host_loses_the_idle_hold_at_once_and_leaves_the_lease(self):
        self.start_helper()
        host = self.start_host()
        self.hold()
        host.stop(signal.SIGKILL)
        wait_for("the idle hold is gone", lambda: self.holds() == [DEEP], 0.5)
        lease = ask("status")["status"]
        self.assertTrue(lease["isDeepHoldActive"])
        self.assertLessEqual(lease["leaseExpiresAt"], harness.now() + 60)
        self.assertIn("no host of yours renews it", self.vigilo("helper", "status").stdout)
        # The next host starts over the sockets that were left.
        self.start_host()
        self.hold()

    def test_without_a_helper_the_host_says_what_follows(self):
        host = self.start_host()
        self.relay("working")
        wait_for("the idle hold", lambda: self.holds() == [IDLE], 1)
        wait_for("a line", lambda: "Claude Code working; but a closed lid suspends: no helper runs" in host.log())
        self.assertIn("so a closed lid suspends", self.vigilo("status").stdout)

    def test_nothing_is_called_held_that_is_not(self):
        nowhere = "unix:path=/nonexistent"
        host = harness.Program(self, [harness.BIN / "vigilo", "run"], env={
            "HOME": str(self.home), "DBUS_SYSTEM_BUS_ADDRESS": nowhere, "DBUS_SESSION_BUS_ADDRESS": nowhere})
        wait_for("the host answers", lambda: self.vigilo("status").returncode == 0)
        self.relay("working")
        wait_for("a line", lambda: "cannot hold: Claude Code working; the idle hold was refused" in host.log())
        self.assertEqual(self.status()["inForce"], {"state": "notHeld", "idle": "refused", "deep": "noHelper"})
        for text in (self.vigilo("status").stdout, self.vigilo().stdout):
            self.assertIn("Vigilo cannot hold this machine awake", text)
            self.assertNotIn("holds this machine awake", text)
        self.assertNotIn("holding", host.log())

    def test_commands_take_effect_within_a_second(self):
        self.start_helper()
        self.start_host()
        for on, off, block in ((["hold", "on"], ["hold", "off"], None), (None, None, "disable"), (None, None, "pause")):
            with self.subTest(on or block):
                if on:
                    self.assertEqual(self.vigilo(*on).returncode, 0)
                    wait_for("the hold", lambda: self.holds() == [IDLE, DEEP], 1)
                    self.vigilo("settings", "set", "releaseDelaySeconds", "0")
                    self.vigilo(*off)
                else:
                    self.hold()
                    self.assertEqual(self.vigilo(*([block, "1h30m"] if block == "pause" else [block])).returncode, 0)
                wait_for("no hold", lambda: self.holds() == [], 1)
                self.vigilo("enable")
                self.vigilo("resume")
        self.assertNotIn("pauseUntil", self.status())


class CommandTest(HostTest):
    def test_one_host_per_user(self):
        host = self.start_host()
        second = self.vigilo("run")
        self.assertEqual(second.returncode, 75)
        self.assertIn(str(host.pid), second.stderr)
        self.relay("working")
        wait_for("the first still receives", lambda: self.holds() == [IDLE])

    def test_without_a_host(self):
        for arguments in (["status"], ["status", "--json"], ["status", "--follow"]):
            result = self.vigilo(*arguments)
            self.assertEqual((result.returncode, result.stdout), (3, ""))
            self.assertIn("no host runs", result.stderr)

    def test_what_steers_the_host_is_no_success_without_one(self):
        # `hold on && long-job` must not run the job unprotected.
        for arguments in (["hold", "on"], ["pause", "30m"], ["resume"], ["disable"], ["enable"]):
            result = self.vigilo(*arguments)
            self.assertEqual((result.returncode, result.stdout), (3, ""), arguments)
            self.assertIn("takes effect when one does", result.stderr)
        # What only writes settings has done all that was asked.
        self.assertEqual(self.vigilo("settings", "set", "soundEnabled", "false").returncode, 0)
        self.assertEqual(self.vigilo("settings", "get", "manualHoldEnabled").stdout, "true\n")
        self.start_host()
        wait_for("the hold", lambda: self.holds() == [IDLE])
        self.assertEqual(self.vigilo("hold", "off").returncode, 0)

    def test_root_does_not_run_in_the_home_of_another_user(self):
        if os.geteuid() != 0 or harness.as_nobody() is None:
            self.skipTest("not root")
        os.chown(self.home, 65534, 65534)
        result = self.vigilo("run")
        self.assertEqual(result.returncode, 77)
        self.assertEqual(list(self.home.iterdir()), [], "nothing is left there")

    def test_wrong_command_lines_say_what_is_possible(self):
        for arguments, text in ((["settings", "set", "batteryFloorPercent", "80"], "5 to 50"),
                                (["settings", "get", "volume"], "batteryFloorPercent"),
                                (["pause", "soon"], "1h30m"), (["pause", "0s"], "30 days"),
                                (["hold", "onn"], 'Did you mean "on"?'), (["fly"], 'no command "fly". `vigilo --help`'),
                                (["stauts", "--json"], 'no command "stauts". Did you mean "status"?'),
                                (["settings", "gett", "onlyOnAC"], 'Did you mean "get"?'),
                                (["settings", "get", "soundEnable"], 'Did you mean "soundEnabled"?'),
                                (["settings", "reset", "onlyonac"], 'Did you mean "onlyOnAC"?'),
                                (["status", "--jsno"], 'Did you mean "--json"?'), (["setup"], "AGENT is required"),
                                (["usage", "sessions", "--limt", "3"], 'Did you mean "--limit"?'),
                                (["setup", "cladue"], 'Did you mean "claude"?')):
            result = self.vigilo(*arguments)
            self.assertEqual((result.returncode, result.stdout), (64, ""), arguments)
            self.assertIn(text, result.stderr)
            self.assertTrue(result.stderr.startswith("vigilo: "), result.stderr)
        self.start_host()
        result = self.vigilo("settings", "set", "batteryFloorPercent", "80")
        self.assertEqual(result.returncode, 64)
        self.assertIn("5 to 50", result.stderr)


class RefusalTest(HostTest):
    def test_every_command_tells_the_hosts_reason_once_behind_the_programs_name(self):
        self.run_folder.mkdir(parents=True)
        server = socket.socket(socket.AF_UNIX)
        self.addCleanup(server.close)
        server.bind(str(self.run_folder / "vigilo-control.sock"))
        server.listen()

        def refuse():
            while True:
                try:
                    connection = server.accept()[0]
                except OSError:
                    return
                with connection:
                    connection.recv(65536)
                    connection.send(b'{"version":1,"exitCode":69,"message":"restart the host"}\n')

        threading.Thread(target=refuse, daemon=True).start()
        for command in ("status", "status --follow", "log", "usage", "usage reset --yes", "budgets", "login status",
                        "login on", "settings", "settings set soundEnabled false", "hold on", "pause 1m"):
            result = self.vigilo(*command.split())
            self.assertEqual((result.returncode, result.stdout, result.stderr), (69, "", "vigilo: restart the host\n"),
                             command)


class ControlSocketTest(HostTest):
    def control(self):
        return str(self.run_folder / "vigilo-control.sock")

    def test_only_the_owner_reaches_the_sockets(self):
        self.start_host()
        for name in ("vigilo.sock", "vigilo-control.sock"):
            self.assertEqual((self.run_folder / name).stat().st_mode & 0o777, 0o600)
        self.assertEqual(self.run_folder.stat().st_mode & 0o777, 0o700)

    def test_a_follower_is_told_each_change_once(self):
        self.start_host()
        with harness.connect(self.control()) as connection:
            connection.send(b'{"version":1,"command":"follow"}\n')
            lines = connection.makefile()
            self.assertIn("release", json.loads(lines.readline())["status"]["currentDecision"])
            self.relay("working")
            while "hold" not in json.loads(lines.readline())["status"]["currentDecision"]:
                pass
        self.assertEqual(self.vigilo("status").returncode, 0)

    def test_the_longest_event_leaves_the_status_readable(self):
        self.start_host()
        with harness.connect(str(self.run_folder / "vigilo.sock")) as hook:
            hook.send(json.dumps({"agent": "codex", "state": "working", "cwd": "/" + "x" * 65000}).encode())
            hook.recv(64)
        self.assertEqual([session["cwd"][:3] for session in self.status()["activeSessionsList"]], ["/xx"])
        self.assertIn("/xx", self.vigilo("status").stdout)

    def test_hostile_input_gets_an_error_or_a_closed_connection_and_others_are_served(self):
        host = self.start_host()
        chance = random.Random(7)
        before = host.descriptors()
        attacks = [b"\n", b"{}\n", b"[" * 60000 + b"\n", b'{"version":1}\n', b'{"version":2,"command":"status"}\n',
                   b'{"version":1e400,"command":"status"}\n', b'{"version":1,"command":"pause","seconds":1e300}\n',
                   b'{"version":1,"command":"setSetting","key":"\xff\xfe","value":"1"}\n', b"x" * 70000,
                   *(chance.randbytes(chance.randrange(1, 3000)) + b"\n" for _ in range(200))]
        for attack in attacks:
            with harness.connect(self.control()) as connection:
                try:
                    connection.sendall(attack)
                    answer = connection.recv(65536)
                except OSError:
                    continue
                if answer:
                    self.assertNotEqual(json.loads(answer)["exitCode"], 0, attack[:80])
        for path in (self.control(), str(self.run_folder / "vigilo.sock")):
            silent = []
            for _ in range(1000):
                connection = harness.connect(path)
                silent.append(connection)
            started = time.monotonic()
            self.assertEqual(self.vigilo("status").returncode, 0)
            self.relay("working")
            self.assertLess(time.monotonic() - started, 2 if harness.SANITIZED else 0.5)
            for connection in silent:
                connection.close()
        wait_for("no descriptor leaks", lambda: host.descriptors() <= before + 2)

    def test_a_follower_that_does_not_read_is_dropped(self):
        self.start_host()
        connection = harness.connect(self.control())
        self.addCleanup(connection.close)
        connection.send(b'{"version":1,"command":"follow"}\n')
        connection.recv(10)
        # Many sessions make each change a line of tens of kilobytes.
        for number in range(150):
            with harness.connect(str(self.run_folder / "vigilo.sock")) as hook:
                hook.send(json.dumps({"agent": "codex", "state": "idle", "session_id": f"s{number}",
                                      "cwd": "/" + "x" * 200}).encode())
                hook.recv(64)
        for number in range(100):
            self.relay(("working", "idle")[number % 2])
            time.sleep(0.01)  # each change is a decision of its own
        # What the kernel and the host had kept comes, and then the end.
        received = 0
        while block := connection.recv(1 << 20):
            received += len(block)
        self.assertLess(received, 2 << 20)
        self.assertEqual(self.vigilo("status").returncode, 0)


if __name__ == "__main__":
    harness.main()
