"""Launch at login as the session's own generator sees it, and as the commands tell it, with and without a host."""
import json
import os
import pathlib
import shlex
import shutil
import subprocess
import unittest

import harness
from harness import wait_for

harness.run_in_own_mounts()

GENERATOR = pathlib.Path("/lib/systemd/user-generators/systemd-xdg-autostart-generator")


class LoginTest(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.home = self.folder()
        self.config = self.home / "my config"
        self.entry = self.config / "autostart/vigilo.desktop"
        self.environment = {**os.environ, "HOME": str(self.home), "XDG_CONFIG_HOME": str(self.config),
                            "XDG_CURRENT_DESKTOP": "GNOME"}

    def vigilo(self, *arguments, program=harness.BIN / "vigilo"):
        return subprocess.run([program, *arguments], env=self.environment, capture_output=True, text=True, timeout=20)

    def start_host(self):
        host = harness.Program(self, [harness.BIN / "vigilo", "run"], env=self.environment)
        wait_for("the host answers", lambda: not host.is_running() or self.vigilo("status").returncode == 0)
        return host

    def status(self):
        return json.loads(self.vigilo("login", "status", "--json").stdout)

    def started_at_login(self):
        """The command that the session would start, as the generator writes it; None where it starts nothing."""
        folders = [self.folder() for _ in range(3)]
        subprocess.run([GENERATOR, *folders], env=self.environment, check=True, capture_output=True)
        units = [unit for folder in folders for unit in folder.glob("app-vigilo@autostart.service")]
        if not units:
            return None
        return next(shlex.split(line[len("ExecStart=:"):]) for line in units[0].read_text().splitlines()
                    if line.startswith("ExecStart="))

    def switch(self, on):
        for command in (["login", "on" if on else "off"],
                        ["settings", "set", "launchAtLogin", "true" if on else "false"]):
            yield command

    @unittest.skipUnless(GENERATOR.exists(), "no generator of the service manager here")
    def test_the_session_starts_what_is_registered(self):
        for running in (False, True):
            host = self.start_host() if running else None
            for on, off in zip(self.switch(True), self.switch(False)):
                self.assertEqual(self.vigilo(*on).returncode, 0)
                self.assertEqual(self.started_at_login(), [str(harness.BIN / "vigilo"), "run"])
                self.assertEqual((self.status()["status"], self.status()["launchAtLogin"]), ("Enabled", True))
                self.assertEqual(self.vigilo(*off).returncode, 0)
                self.assertIsNone(self.started_at_login())
                self.assertEqual((self.status()["status"], self.status()["launchAtLogin"]), ("Not Registered", False))
            if host:
                host.stop()

    @unittest.skipUnless(GENERATOR.exists(), "no generator of the service manager here")
    def test_a_program_whose_path_must_be_quoted_is_found_and_one_that_is_gone_is_told(self):
        folder = self.folder() / "a b" / "'c' \"d\""
        folder.mkdir(parents=True)
        shutil.copy(harness.BIN / "vigilo", folder)
        self.assertEqual(self.vigilo("login", "on", program=folder / "vigilo").returncode, 0)
        self.assertEqual(self.started_at_login(), [str(folder / "vigilo"), "run"])
        (folder / "vigilo").unlink()
        self.assertIsNone(self.started_at_login())
        self.assertEqual(self.status()["status"], "App Not Found")

    @unittest.skipUnless(GENERATOR.exists(), "no generator of the service manager here")
    def test_what_the_desktops_settings_switch_off_is_told_and_can_be_switched_on_again(self):
        self.vigilo("login", "on")
        self.entry.write_text(self.entry.read_text().replace("Hidden=false", "Hidden=true"))
        self.assertIsNone(self.started_at_login())
        told = self.vigilo("login", "status").stdout
        self.assertIn("Requires User Approval in System Settings", told)
        self.assertIn("launchAtLogin is true", told)
        self.vigilo("login", "on")
        self.assertIsNotNone(self.started_at_login())

    def test_what_is_switched_off_or_broken_is_taken_off_too(self):
        for line, change in (("Hidden=false", "Hidden=true"), ("TryExec=", "TryExec=/nowhere")):
            for running in (False, True):
                self.vigilo("login", "on")
                self.entry.write_text(self.entry.read_text().replace(line, change))
                host = self.start_host() if running else None
                result = self.vigilo("login", "off")
                self.assertEqual((result.returncode, self.entry.exists()), (0, False), change)
                self.assertEqual(self.status()["status"], "Not Registered")
                if host:
                    host.stop()

    def test_a_registration_that_fails_leaves_the_setting_and_says_why(self):
        self.entry.parent.mkdir(parents=True)
        self.entry.write_text("[Desktop Entry]\nExec=/opt/other --tray\n")
        for running in (False, True):
            if running:
                self.start_host()
            for command in self.switch(True):
                result = self.vigilo(*command)
                self.assertEqual(result.returncode, 1)
                self.assertIn(str(self.entry), result.stderr)
            self.assertEqual(self.vigilo("settings", "get", "launchAtLogin").stdout, "false\n")
        self.assertEqual(self.entry.read_text(), "[Desktop Entry]\nExec=/opt/other --tray\n")

    def test_an_enabled_unit_is_the_only_one(self):
        unit = self.home / "vigilo.service"
        unit.write_text("[Service]\n")
        link = self.config / "systemd/user/default.target.wants/vigilo.service"
        link.parent.mkdir(parents=True)
        link.symlink_to(unit)
        self.assertEqual(self.status()["status"], "Enabled")
        self.assertEqual(self.vigilo("login", "on").returncode, 0)
        self.assertFalse(self.entry.exists())
        self.assertEqual(self.vigilo("login", "off").returncode, 0)
        self.assertFalse(link.is_symlink())
        self.assertTrue(unit.exists())

    def test_telling_the_status_writes_nothing(self):
        self.assertEqual(self.status()["status"], "Not Registered")
        self.assertEqual(list(self.home.iterdir()), [])


if __name__ == "__main__":
    harness.main()
