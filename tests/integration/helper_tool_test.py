"""The built helper on a machine whose sleep setting is reached through /usr/bin/pmset: a fake tool, put there in a
mount namespace of this test's own."""
import json
import os
import pathlib
import signal
import subprocess
import sys
import time

import harness
from harness import ask, wait_for

harness.run_in_own_mounts()

TOOL = pathlib.Path("/usr/bin/pmset")
FAKE = f"""#!{sys.executable} -IS
# Keeps the setting, what it was called with, and the descriptors that it was given, beside each other.
import os, pathlib, sys, time
def is_open(fd):
    try:
        return bool(os.fstat(fd))
    except OSError:
        return False
descriptors = [fd for fd in range(1024) if is_open(fd)]
here, arguments = pathlib.Path("/run/fake"), sys.argv[1:]
(here / "descriptors").write_text(repr(descriptors))
with open(here / "calls", "a") as calls:
    print(*arguments, file=calls)
setting = here / "setting"
if (here / "hangs").exists():
    time.sleep(60)
if arguments[0] == "-g":
    print("Battery Power:\\n sleep 1\\nAC Power:\\n  disablesleep   " + setting.read_text())
elif (here / "refuses").exists():
    sys.exit(3)
else:
    setting.write_text(arguments[2] + "\\n")
"""


def mount(*arguments):
    subprocess.run(["mount", "-n", *arguments], check=True)


def put_fake_tool():
    """A /usr/bin with one more file: links to all that is in the real one, which itself stays as it is."""
    mount("-t", "tmpfs", "-o", "mode=755", "private-run", "/run")
    real = pathlib.Path("/run/usr-bin")
    real.mkdir()
    mount("--bind", "/usr/bin", str(real))
    names = os.listdir(real)
    mount("-t", "tmpfs", "-o", "mode=755", "fake-usr-bin", "/usr/bin")
    for name in names:
        if name != TOOL.name:
            os.symlink(real / name, TOOL.parent / name)


class HelperToolTest(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.state = pathlib.Path("/run/fake")
        self.state.mkdir(exist_ok=True)
        for entry in self.state.iterdir():
            entry.unlink()
        (self.state / "setting").write_text("0\n")
        TOOL.write_text(FAKE)
        TOOL.chmod(0o755)

    def calls(self):
        calls = (self.state / "calls").read_text().splitlines()
        (self.state / "calls").unlink()
        return calls

    def record(self):
        return json.loads(pathlib.Path("/run/vigilo-helper-state.json").read_text())

    def setting(self):
        return (self.state / "setting").read_text().strip()

    def test_a_hold_switches_the_setting_on_and_a_release_off(self):
        helper = self.start_helper()
        self.assertEqual(self.calls(), ["-g custom"])
        self.assertTrue(helper.log_lines("reached through the tool /usr/bin/pmset"))
        self.assertTrue(ask("acquire")["status"]["currentSystemSleepDisabled"])
        self.assertEqual(self.calls(), ["-g custom", "-a disablesleep 1", "-g custom"])
        self.assertFalse(ask("release")["status"]["currentSystemSleepDisabled"])
        self.assertEqual(self.calls(), ["-a disablesleep 0", "-g custom"])
        self.assertTrue(helper.log_lines("info  [power] Executed pmset -a disablesleep 1"))
        self.assertTrue(helper.log_lines("info  [power] Executed pmset -a disablesleep 0"))

    def test_a_tool_that_refuses_is_logged_and_the_lease_stands(self):
        (self.state / "refuses").touch()
        helper = self.start_helper()
        answer = ask("acquire")
        self.assertTrue(answer["ok"] and answer["status"]["isDeepHoldActive"])
        self.assertFalse(answer["status"]["currentSystemSleepDisabled"])
        self.assertTrue(helper.log_lines("error [power] Failed to execute pmset -a disablesleep 1, status: 3"))
        (self.state / "refuses").unlink()
        wait_for("the next tick tries again", lambda: self.setting() == "1", 8)

    def test_a_restoration_that_fails_is_owed_until_it_succeeds_also_by_the_next_helper(self):
        helper = self.start_helper()
        ask("acquire", leaseId="a")
        (self.state / "refuses").touch()
        self.assertFalse(ask("release", leaseId="a")["status"]["isDeepHoldActive"])
        self.assertTrue(self.record()["owesRestoration"])
        helper.stop(signal.SIGKILL)
        (self.state / "refuses").unlink()
        self.start_helper()
        wait_for("the first tick", lambda: self.setting() == "0", 8)
        wait_for("nothing is owed", lambda: "owesRestoration" not in self.record())

    def test_a_tool_that_hangs_is_killed_and_costs_a_request_two_seconds_at_most(self):
        helper = self.start_helper()
        (self.state / "hangs").touch()
        begin = time.monotonic()
        self.assertTrue(ask("acquire")["ok"])
        self.assertFalse(ask("status")["status"]["currentSystemSleepDisabled"])
        self.assertLess(time.monotonic() - begin, 4, "the reading that hung is not repeated at once")
        self.assertEqual(len(helper.log_lines("was killed: it did not end within two seconds")), 1)
        self.assertEqual(self.setting(), "0")
        (self.state / "hangs").unlink()
        wait_for("it is held once the tool works", lambda: self.setting() == "1", 20)

    def test_a_tool_that_cannot_be_run_reads_as_off(self):
        TOOL.chmod(0o644)
        helper = self.start_helper()
        self.assertFalse(ask("acquire")["status"]["currentSystemSleepDisabled"])
        self.assertTrue(helper.log_lines("error [power] Cannot launch /usr/bin/pmset"))

    def test_no_descriptor_reaches_the_tool(self):
        self.start_helper()
        with harness.connect():
            ask("acquire")
        self.assertEqual((self.state / "descriptors").read_text(), "[0, 1, 2]")

    def test_the_setting_outlives_the_helper_and_is_restored_when_its_lease_has_lapsed(self):
        helper = self.start_helper()
        ask("acquire", ttlSeconds=0.1)
        helper.stop()
        self.assertEqual(self.setting(), "1")
        self.assertTrue(self.record()["isHolding"])
        self.start_helper()
        self.assertEqual(self.setting(), "1", "starting changes nothing")
        wait_for("the first tick", lambda: self.setting() == "0", 8)


if __name__ == "__main__":
    put_fake_tool()
    harness.main()
