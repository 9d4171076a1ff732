"""The diagnostics report of a running host with real inhibitors, whole however many sessions there are, and what is
told without a host; and the commands that tell how things are."""
import json
import os
import signal
import subprocess

import harness
from harness import wait_for

harness.run_with_logind()


class CommandTest(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.home = self.folder()

    def vigilo(self, *arguments, **options):
        return subprocess.run([harness.BIN / "vigilo", *arguments], env={**os.environ, "HOME": str(self.home)},
                              capture_output=True, text=True, timeout=20, **options)

    def start_host(self):
        host = harness.Program(self, [harness.BIN / "vigilo", "run"], env={"HOME": str(self.home)})
        wait_for("the host answers", lambda: not host.is_running() or self.vigilo("status").returncode == 0)
        return host

    def event(self, state, session):
        with harness.connect(str(self.home / harness.BELOW_HOME / "vigilo.sock")) as hook:
            hook.send(json.dumps({"agent": "codex", "state": state, "session_id": session,
                                  "cwd": "/home/me/ü \"q\""}).encode())
            hook.recv(64)

    def json(self, *arguments, code=0):
        result = self.vigilo(*arguments)
        self.assertEqual(result.returncode, code, result.stderr)
        return json.loads(result.stdout)


class DiagnosticsTest(CommandTest):
    def test_it_tells_what_is_held_and_by_whom(self):
        self.start_helper()
        self.start_host()
        self.event("working", "s1")
        self.event("idle", "s2")
        wait_for("both holds", lambda: len(harness.inhibitors()) == 2)
        result = self.vigilo("diagnostics")
        self.assertIn("folders in which agents work", result.stderr)
        report = json.loads(result.stdout)
        self.assertEqual(json.dumps(report, indent=2, sort_keys=True, ensure_ascii=False) + "\n", result.stdout)
        self.assertEqual((report["isHolding"], report["activeAgentCount"]), (True, 1))
        self.assertEqual(report["policyDecision"], "Active (1 working agent) — Codex CLI working")
        self.assertTrue(report["deepHelperStatus"]["currentSystemSleepDisabled"])
        self.assertEqual({session["id"] for session in report["sessions"]}, {"s1", "s2"})
        for pid, what in harness.inhibitors():
            rows = [line.split() for line in report["systemAssertionsSummary"].splitlines()]
            self.assertIn(["Vigilo", str(os.geteuid()), str(pid), what, "block"], [row[:5] for row in rows])

    def test_no_session_is_lost_however_many_there_are(self):
        host = self.start_host()
        for number in range(1200):
            self.event("idle", f"session-{number}")
        wait_for("all of them", lambda: self.json("status", "--json").get("omittedSessions", 0) > 0)
        report = self.json("diagnostics")
        self.assertEqual({session["id"] for session in report["sessions"]},
                         {f"session-{number}" for number in range(1200)})
        self.assertTrue(all(session["cwd"] == "/home/me/ü \"q\"" for session in report["sessions"]))
        self.assertTrue(host.is_running())

    def test_without_a_host_it_tells_what_it_can_and_says_so(self):
        self.start_helper()
        report = self.json("diagnostics", code=3)
        self.assertEqual(report["policyDecision"], "Sleep enabled — no host runs")
        self.assertTrue(report["deepHelperStatus"]["isHelperInstalled"])
        self.assertIn("No inhibitors", report["systemAssertionsSummary"])
        self.assertFalse((self.home / "Library").exists())

    def test_a_host_that_hangs_is_reported_on_as_well(self):
        host = self.start_host()
        os.kill(host.pid, signal.SIGSTOP)
        try:
            report = self.json("diagnostics", code=69)
        finally:
            os.kill(host.pid, signal.SIGCONT)
        self.assertIn("does not answer", report["policyDecision"])

    def test_a_file_is_its_owners_and_never_in_an_agents_folder(self):
        self.start_host()
        result = self.vigilo("diagnostics", "report.json", cwd=self.home)
        self.assertEqual((result.returncode, result.stdout), (0, ""))
        file = self.home / "report.json"
        self.assertEqual(file.stat().st_mode & 0o777, 0o600)
        self.assertEqual(json.loads(file.read_text())["appName"], "Vigilo")
        self.assertEqual(self.vigilo("diagnostics", str(self.home / ".codex/report.json")).returncode, 77)

    def test_a_folder_that_is_not_there_is_not_made(self):
        missing = self.home / "reprots"
        for running in (False, True):
            if running:
                self.start_host()
            for command in (["diagnostics"], ["usage", "export"]):
                result = self.vigilo(*command, str(missing / "deeper/report.json"))
                self.assertEqual(result.returncode, 1)
                self.assertIn(f"vigilo: {missing}/deeper: No such file or directory\n", result.stderr)
                self.assertFalse(missing.exists())


class TellingTest(CommandTest):
    def test_the_helpers_state_and_since_when_it_holds(self):
        self.assertFalse(self.json("helper", "status", "--json", code=3)["isRunning"])
        self.assertIn("what to do", self.vigilo("helper", "status").stdout)
        self.start_helper()
        self.start_host()
        self.assertNotIn("holdingSince", self.json("helper", "status", "--json"))
        self.event("working", "s1")
        wait_for("both holds", lambda: len(harness.inhibitors()) == 2)
        status = self.json("helper", "status", "--json")
        self.assertEqual(status["holdingSince"], self.json("status", "--json")["protectionStartedAt"])
        self.assertTrue(status["status"]["isDeepHoldActive"])
        self.assertEqual(status["socket"], harness.ROOT_HELPER_SOCKET)

    def test_alone_it_tells_how_things_are(self):
        result = self.vigilo()
        self.assertEqual(result.returncode, 0)
        self.assertIn("vigilo run", result.stdout)
        self.start_host()
        self.event("working", "s1")
        wait_for("the hold", lambda: "holds this machine awake" in self.vigilo().stdout)

    def test_settings_and_the_pause_are_told_as_json(self):
        for running in (False, True):
            if running:
                self.start_host()
            entries = {entry["key"]: entry for entry in self.json("settings", "--json")}
            self.assertEqual(entries["batteryFloorPercent"]["defaultValue"], "15")
            self.assertEqual(self.json("settings", "get", "batteryFloorPercent", "--json"),
                             entries["batteryFloorPercent"])
            self.assertEqual(self.json("pause", "--json"), {"isPaused": False})
            self.vigilo("pause", "1h")
            self.assertTrue(self.json("pause", "--json")["pauseUntil"].endswith("Z"))
            self.assertIn("`vigilo resume` ends it", self.vigilo("pause").stdout)
            self.vigilo("resume")


if __name__ == "__main__":
    harness.main()
