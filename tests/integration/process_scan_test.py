"""Agents that send no hooks, found by their processes; and how they go together with those that do."""
import ctypes
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
        self.host = harness.Program(self, [harness.BIN / "vigilo", "run"], env=self.env)
        wait_for("the host answers", lambda: not self.host.is_running() or self.vigilo("status").returncode == 0)

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
        opencode.kill()  # nobody looks at its end: it stays as a zombie
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

    def mount_what_hangs(self, folder):
        """A file system over the folder that never answers."""
        folder.mkdir(parents=True)
        try:
            device = os.open("/dev/fuse", os.O_RDWR | os.O_CLOEXEC)
        except OSError as error:
            self.skipTest(f"no file system to be had: {error}")
        options = f"fd={device},rootmode=40000,user_id={os.getuid()},group_id={os.getgid()}"
        failed = ctypes.CDLL(None).mount(b"hangs", str(folder).encode(), b"fuse", 0, options.encode())
        self.addCleanup(os.close, device)  # whoever waits gets an error then
        if failed:
            self.skipTest("no file system may be mounted")
        self.addCleanup(subprocess.run, ["umount", "-n", "-l", folder], check=True)

    def scan_waits(self):
        """Whether the thread of the scans sleeps anywhere but in its queue."""
        for task in self.host.proc("task").iterdir():
            if (task / "comm").read_text().strip() == "processmonitor":
                state = (task / "stat").read_text().rpartition(") ")[2][0]
                return state in "SD" and "epoll" not in (task / "wchan").read_text()
        return False

    def test_a_folder_that_hangs_costs_the_scan_and_nothing_else(self):
        self.mount_what_hangs(self.home / ".gemini/antigravity/brain")
        shutil.copy("/bin/sleep", os.path.join(self.place, "antigravity"))
        self.agent("antigravity", "1000", executable=os.path.join(self.place, "antigravity"))
        waits = [False] * 20

        def hangs():
            waits.append(self.scan_waits())
            return all(waits[-20:])

        wait_for("the scan hangs", hangs)
        self.relay("working")
        wait_for("the hold", inhibitors, 1)
        self.assertEqual(self.sessions(), {"hooked": "working"})
        started = time.monotonic()
        self.assertEqual(self.host.stop(), 0)
        self.assertLess(time.monotonic() - started, 3)
        self.assertEqual(inhibitors(), [])


if __name__ == "__main__":
    harness.main()
