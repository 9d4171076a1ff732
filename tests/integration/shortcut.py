"""What the tests of the global shortcut share: a host, an X server of the test's own, and a played desktop portal."""
import json
import os
import pathlib
import subprocess

import harness
from harness import wait_for

TRIGGERED = "Global shortcut Option+Command+L triggered"
REGISTERED = "Global shortcut monitor registered for Option+Command+L"
UNAVAILABLE = "Global shortcut Option+Command+L is not available: "
PORTAL = "Meta+Alt+L, through the desktop portal"
WITH_X = "Alt+Super+L, through the X server"
# A lost service is tried again after at most ten seconds.
RETRY = 15


def run_on_own_buses():
    """The rest of the script has a system bus with a logind, and a session bus, of its own."""
    tools = harness.SOURCE / "tools"
    harness.run_inside(tools / "with-logind", "-r", "--", tools / "with-session-bus", "--")
    harness.hide_journal()


class Host:
    """A running host with a home of its own."""

    def __init__(self, test, **session):
        self.environment = {**os.environ, "HOME": str(test.folder()), "XDG_SESSION_TYPE": "", **session}
        self.program = harness.Program(test, [harness.BIN / "vigilo", "run"], env=self.environment)
        wait_for("the host answers",
                 lambda: not self.program.is_running() or self.vigilo("status").returncode == 0)
        test.assertTrue(self.program.is_running(), self.program.log())

    def vigilo(self, *arguments):
        return subprocess.run([harness.BIN / "vigilo", *arguments], env=self.environment, capture_output=True,
                              text=True, timeout=20)

    def status(self):
        return json.loads(self.vigilo("status", "--json").stdout)

    def is_enabled(self):
        return self.status()["settings"]["masterEnabled"]

    def triggered(self):
        return len(self.program.log_lines(TRIGGERED))

    def wait_for_shortcut(self, description, is_registered=False):
        expected = {"isRegistered": is_registered, "description": description}
        try:
            wait_for(description, lambda: self.status()["shortcut"] == expected, RETRY)
        except AssertionError as late:
            raise AssertionError(f"{late}; but: {self.status()['shortcut']}") from None


class XServerTestCase(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.number = None
        self.start_x()

    def start_x(self):
        """An X server of the test's own; again under the same number, if there was one before."""
        chosen = self.folder() / "display"
        display = f":{self.number}" if self.number else ""
        self.x = harness.Program(self, ["sh", "-c", 'exec Xvfb $1 -displayfd 3 -noreset -nolisten tcp 3>"$0"', chosen,
                                        display])
        self.number = wait_for("the X server", lambda: chosen.exists() and chosen.read_text().strip())
        self.display = f":{self.number}"

    def start_host(self):
        host = Host(self, DISPLAY=self.display)
        host.wait_for_shortcut(WITH_X, True)
        return host

    def xdotool(self, *arguments):
        subprocess.run(["xdotool", *arguments], env={**os.environ, "DISPLAY": self.display}, check=True, timeout=20)

    def press(self, keys="alt+super+l"):
        self.xdotool("key", keys)


class PortalTestCase(harness.TestCase):
    def start_portal(self, answer=0, **environment):
        self.log = self.folder() / "calls"
        self.portal = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "/usr/bin/python3", "-B",
             pathlib.Path(__file__).with_name("global-shortcuts-portal.py"), self.log, str(answer)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, env={**os.environ, **environment})
        self.addCleanup(self.end_portal)
        self.assertEqual(self.portal.stdout.readline(), "ready\n")

    def end_portal(self):
        self.portal.kill()
        self.portal.communicate()

    def tell(self, *words):
        self.portal.stdin.write(" ".join(words) + "\n")
        self.portal.stdin.flush()

    def start_host(self, **environment):
        return Host(self, XDG_SESSION_TYPE="wayland", **environment)

    def assert_toggles(self, host):
        before = host.is_enabled()
        self.tell("press")
        wait_for("the toggle", lambda: host.is_enabled() != before, 2)
