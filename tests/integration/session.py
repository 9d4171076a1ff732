"""A desktop session of a test's own, and a host that runs in it."""
import json
import os
import pathlib
import re
import subprocess

import harness
from harness import wait_for

MOCK = ["/usr/bin/python3", "-u", "-m", "dbusmock", "--template", "notification_daemon"]


class Session:
    """A desktop session of a test's own; the options are those of tools/with-session-bus."""

    def __init__(self, test, *options):
        self.test = test
        environment = test.folder() / "environment"
        self.program = harness.Program(
            test, ["sh", "-c", 'env -0 >"$0.new" && mv "$0.new" "$0" && exec sleep infinity', environment],
            prefix=["setpriv", "--pdeathsig", "TERM", "--", harness.SOURCE / "tools" / "with-session-bus", *options, "--"])
        wait_for("the session", lambda: environment.exists() or not self.program.is_running(), 20)
        test.assertTrue(self.program.is_running(), self.program.log())
        self.environment = dict(line.split("=", 1) for line in environment.read_text().split("\0") if line)
        self.environment["CANBERRA_DRIVER"] = "pulse"

    def start(self, *command):
        return harness.Program(self.test, command, env=self.environment)

    def start_service(self):
        service = self.start(*MOCK)
        wait_for("the service", lambda: self.has("org.freedesktop.Notifications"))
        return service

    def has(self, name):
        """Whether somebody has the name on the bus, which answers."""
        return subprocess.run(["busctl", "--user", "status", name], capture_output=True,
                              env=self.environment).returncode == 0

    def notices(self):
        """What the recording service of option -n was asked to show."""
        return notices_in(pathlib.Path(self.environment["VIGILO_NOTIFY_LOG"]).read_text())

    def bus(self):
        """The process id of the bus, and how to start it again."""
        status = subprocess.run(["busctl", "--user", "status", "org.freedesktop.DBus"], check=True, text=True,
                                capture_output=True, env=self.environment).stdout
        pid = re.search("^PID=([0-9]+)", status, re.M)[1]
        return int(pid), pathlib.Path(f"/proc/{pid}/cmdline").read_text().split("\0")[:-1]


def notices_in(log):
    return re.findall(r'Notify "Vigilo" (.*)', log)


class SessionTest(harness.TestCase):
    def start_host(self, session, *command):
        self.environment = {**session.environment, "HOME": str(self.folder())}
        self.vigilo("settings", "set", "releaseDelaySeconds", "0")
        host = harness.Program(self, command or [harness.BIN / "vigilo", "run"], env=self.environment)
        wait_for("the host answers", lambda: not host.is_running() or self.vigilo("status").returncode == 0)
        self.assertTrue(host.is_running(), host.log())
        return host

    def vigilo(self, *arguments):
        return subprocess.run([harness.BIN / "vigilo", *arguments], env=self.environment, capture_output=True,
                              text=True, timeout=20)

    def agent(self, state):
        """The agent changes its state, and the host has decided."""
        subprocess.run([harness.BIN / "vigilo-relay", "--agent", "claude", "--state", state], check=True,
                       env=self.environment, stdin=subprocess.DEVNULL)
        decision = {"working": "hold", "idle": "release"}[state]
        wait_for(decision, lambda: decision in json.loads(self.vigilo("status", "--json").stdout)["currentDecision"])
