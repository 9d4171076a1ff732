"""The settings as people and programs change them: by commands with and without a host, many at once, and by hand."""
import json
import os
import subprocess

import harness
from harness import wait_for

harness.run_among_own_processes()


class SettingsTest(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.home = self.folder()
        self.environment = {**os.environ, "HOME": str(self.home)}

    def start_host(self):
        host = harness.Program(self, [harness.BIN / "vigilo", "run"], env=self.environment)
        wait_for("the host answers", lambda: not host.is_running() or self.vigilo("status").returncode == 0)
        self.assertTrue(host.is_running(), host.log())
        return host

    def vigilo(self, *arguments):
        return subprocess.run([harness.BIN / "vigilo", *arguments], env=self.environment, capture_output=True, text=True,
                              timeout=20)

    def status(self):
        return json.loads(self.vigilo("status", "--json").stdout)

    def file(self):
        return self.home / "Library/Preferences/com.vigilo.app.toml"

    def test_they_are_kept_with_the_users_comments_with_and_without_a_host(self):
        self.file().parent.mkdir(parents=True)
        self.file().write_text("# mine\nonlyOnAC = true  # at my desk\nfuture = [1, 2]\n")
        for running in (False, True):
            if running:
                self.start_host()
            self.assertEqual(self.vigilo("settings", "set", "batteryFloorPercent", str(20 + running)).returncode, 0)
            text = self.file().read_text()
            for part in ("# mine\n", "onlyOnAC = true  # at my desk\n", "future = [1, 2]\n",
                         f"batteryFloorPercent = {20 + running}\n"):
                self.assertIn(part, text)
            self.assertEqual(self.vigilo("settings", "get", "onlyOnAC").stdout, "true\n")

    def test_many_at_once_lose_nothing(self):
        values = {"batteryFloorPercent": "33", "onlyOnAC": "true", "preventDisplaySleep": "true",
                  "releaseDelaySeconds": "7", "soundEnabled": "false", "deepLidProtectionEnabled": "false"}
        for running in (False, True):
            host = self.start_host() if running else None
            self.vigilo("settings", "reset")
            commands = [subprocess.Popen([harness.BIN / "vigilo", "settings", "set", *item],
                                         env=self.environment, stdout=subprocess.DEVNULL)
                        for item in values.items()]
            self.assertEqual([command.wait(30) for command in commands], [0] * len(values))
            for key, value in values.items():
                self.assertEqual(self.vigilo("settings", "get", key).stdout.strip(), value)
            if host:
                host.stop()

    def test_a_file_that_does_not_parse_is_never_rewritten(self):
        self.file().parent.mkdir(parents=True)
        broken = "onlyOnAC = true\nbatteryFloorPercent = = 3\n"
        self.file().write_text(broken)
        for running in (False, True):
            if running:
                self.start_host()
            result = self.vigilo("settings", "set", "soundEnabled", "false")
            self.assertEqual(result.returncode, 78)
            self.assertIn("line 2", result.stderr)
            self.assertIn("column", result.stderr)
            self.assertEqual(self.file().read_text(), broken)
        self.assertFalse(self.status()["settings"]["soundEnabled"], "the running host keeps the change in memory")

    def test_one_goes_back_to_its_default(self):
        for running in (False, True):
            if running:
                self.start_host()
            self.vigilo("settings", "set", "batteryFloorPercent", "33")
            self.vigilo("settings", "set", "onlyOnAC", "true")
            result = self.vigilo("settings", "reset", "batteryFloorPercent")
            self.assertEqual((result.returncode, result.stdout), (0, "batteryFloorPercent = 15\n"))
            self.assertEqual(self.vigilo("settings", "get", "onlyOnAC").stdout, "true\n")

    def test_what_a_hand_wrote_wrong_is_named_wherever_settings_are_shown(self):
        self.file().parent.mkdir(parents=True)
        self.file().write_text('batteryFloorPercent = 99\nonlyOnAC = "yes"\n')
        floor = "batteryFloorPercent = 99: it takes 5 to 50; 50 is in force."
        text = 'onlyOnAC = "yes": it takes true or false; false is in force.'
        for running in (False, True):
            if running:
                host = self.start_host()
            for command in (["settings"], ["settings", "--json"]):
                result = self.vigilo(*command)
                self.assertEqual(result.returncode, 0)
                for problem in (floor, text):
                    self.assertIn(f"vigilo: in the settings file: {problem}\n", result.stderr)
            self.assertNotIn("onlyOnAC", self.vigilo("settings", "get", "batteryFloorPercent").stderr)
        self.assertEqual(self.status()["settingsProblems"], [floor, text])
        self.assertIn(floor, self.vigilo("status").stdout)
        # Whatever comes while the host runs shows too, also a list where a table of values is expected.
        self.file().write_text("onlyOnACC = []\n")
        told = '"onlyOnACC" is no setting, so it has no effect. Did you mean "onlyOnAC"?'
        wait_for("the line", lambda: told in self.vigilo("log").stdout)
        self.assertEqual(self.status()["settingsProblems"], [told])
        self.file().write_text("")
        wait_for("it is in order", lambda: "settingsProblems" not in self.status())
        self.assertTrue(host.is_running())

    def test_an_edit_by_hand_reaches_the_running_host(self):
        self.start_host()
        self.file().parent.mkdir(parents=True, exist_ok=True)
        self.file().write_text("masterEnabled = false\n")
        wait_for("the change", lambda: "blocked" in self.status()["currentDecision"], 2)


if __name__ == "__main__":
    harness.main()
