"""Agents that send no hooks, found by their processes; and how they go together with those that do."""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

import harness
from harness import inhibitors, wait_for

harness.run_with_logind()

# From its start to its session, and from its end to the session's end.
PATIENCE = 2


class ProcessScanTest(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.home = self.folder()
        self.env = {**os.environ, "HOME": str(self.home)}
        self.vigilo("settings", "set", "releaseDelaySeconds", "0")
        # A line that names this system is passed over: the agents run where no path does.
        self.place = tempfile.mkdtemp(prefix="agents.", dir="/tmp")
        self.addCleanup(shutil.rmtree, self.place)
        host = harness.Program(self, [harness.BIN / "vigilo", "run"], env=self.env)
        wait_for("the host answers", lambda: not host.is_running() or self.vigilo("status").returncode == 0)

    def vigilo(self, *arguments):
        return subprocess.run([harness.BIN / "vigilo", *arguments], env=self.env, capture_output=True, text=True,
                              timeout=20)

    def relay(self, state):
        subprocess.run([harness.BIN / "vigilo-relay", "--agent", "claude", "--state", state, "--session-id", "hooked"],
                       check=True, env=self.env, stdin=subprocess.DEVNULL)

    def sessions(self):
        """The state of each session by its id."""
        listed = json.loads(self.vigilo("status", "--json").stdout)["activeSessionsList"]
        return {session["id"]: session["state"] for session in listed}

    def agent(self, *command, executable="/bin/bash"):
        """A process that shows this command, and waits; the shell does what is written to it."""
        process = subprocess.Popen(command, executable=executable, cwd=self.place, stdin=subprocess.PIPE, text=True)
        self.addCleanup(self.end, process)
        return process

    def end(self, process):
        process.kill()
        process.stdin.close()
        process.wait()

    def await_sessions(self, expected):
        try:
            wait_for("the sessions", lambda: self.sessions() == expected, PATIENCE)
        except AssertionError:
            self.assertEqual(self.sessions(), expected)

    def test_an_agent_is_found_at_its_start_and_lost_at_its_end(self):
        python = ("-c", "import sys; sys.stdin.read()")
        codex = self.agent("codex", *python, "exec", executable=sys.executable)
        opencode = self.agent("opencode", *python, "attach", executable=sys.executable)
        idle = {f"proc-opencode-{opencode.pid}": "idle"}
        self.await_sessions({f"proc-codex-{codex.pid}": "working", **idle})
        wait_for("the hold", inhibitors, PATIENCE)
        self.end(codex)
        self.await_sessions(idle)
        wait_for("no hold", lambda: not inhibitors(), PATIENCE)
        self.end(opencode)
        self.await_sessions({})

    def test_a_shell_that_becomes_an_agent_is_found_and_a_bare_agent_works_while_it_runs_a_tool(self):
        shell = self.agent("sh")
        time.sleep(1.2)  # it has been looked at
        self.assertEqual(self.sessions(), {})
        shell.stdin.write("exec -a claude /bin/bash\n")
        shell.stdin.flush()
        session = f"proc-claude-{shell.pid}"
        self.await_sessions({session: "idle"})
        shell.stdin.write("sleep 1000 & tool=$!\n")
        shell.stdin.flush()
        self.await_sessions({session: "working"})
        shell.stdin.write("kill $tool; wait\n")
        shell.stdin.flush()
        self.await_sessions({session: "idle"})

    def test_hooks_that_were_heard_outrank_the_scan(self):
        process = self.agent("claude", "-s")
        session = f"proc-claude-{process.pid}"
        self.await_sessions({session: "working"})
        self.relay("idle")
        time.sleep(1.2)  # a scan has passed
        self.await_sessions({session: "working", "hooked": "idle"})
        self.relay("working")
        self.await_sessions({session: "working", "hooked": "working"})
        self.relay("idle")
        self.await_sessions({session: "idle", "hooked": "idle"})
        wait_for("the release", lambda: not inhibitors(), PATIENCE)
        self.end(process)
        self.await_sessions({"hooked": "idle"})


if __name__ == "__main__":
    harness.main()
