"""What `make run` starts: found from another terminal, and gone with it, however it ends."""
import json
import os
import pathlib
import signal
import subprocess

import harness
from harness import wait_for

harness.run_among_own_processes()

RUN = harness.SOURCE / "tools/run"


class RunTest(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.home = self.folder()
        # As where no logind runs, whatever this machine has.
        self.env = {**os.environ, "HOME": str(self.home), "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nonexistent"}
        self.env.pop("VIGILO_TEST_INSIDE", None)

    def vigilo(self, *arguments):
        return subprocess.run([harness.BIN / "vigilo", *arguments], env=self.env, capture_output=True, text=True,
                              timeout=20)

    def start(self):
        process = subprocess.Popen([RUN, harness.BIN], env=self.env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, start_new_session=True)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.addCleanup(process.stdout.close)
        if b"a real one is started" not in process.stdout.readline():
            self.skipTest("no private logind to be had here")
        wait_for("the host answers", lambda: self.vigilo("status").returncode == 0, 20)
        return process

    def started(self):
        """The programs of the build that run: other processes are not in sight."""
        return [entry.name for entry in pathlib.Path("/proc").glob("[0-9]*")
                if str(harness.BIN.resolve()) in self.link(entry / "exe")]

    @staticmethod
    def link(path):
        try:
            return os.readlink(path)
        except OSError:
            return ""

    def test_the_helper_is_found_beside_it(self):
        process = self.start()
        subprocess.run([harness.BIN / "vigilo-relay", "--agent", "claude", "--state", "working"], env=self.env, check=True,
                       stdin=subprocess.DEVNULL)
        wait_for("the deep hold", lambda: "held by the helper" in self.vigilo("status").stdout)
        done = self.vigilo("helper", "status", "--json")
        report = json.loads(done.stdout)
        self.assertEqual((done.returncode, report["isRunning"], report["isBesideHost"]), (0, True, True))
        self.assertTrue(report["status"]["isDeepHoldActive"])
        self.assertIn("nobody else reaches it", self.vigilo("helper", "status").stdout)
        process.terminate()
        wait_for("all have ended", lambda: not self.started())
        self.assertEqual(self.vigilo("helper", "status").returncode, 3)

    def test_nothing_outlives_it_though_nobody_reads_what_it_says(self):
        for how in (signal.SIGTERM, signal.SIGKILL):
            process = self.start()
            self.assertEqual(len(self.started()), 2)
            process.stdout.close()
            process.send_signal(how)
            wait_for(f"all have ended after {how.name}", lambda: not self.started())

    def test_it_says_why_no_logind_can_be_had(self):
        folder = self.folder()
        for name, text in (("unshare", "echo 'unshare: Operation not permitted' >&2; exit 1"), ("vigilo", "exit 0")):
            (folder / name).write_text(f"#!/bin/sh\n{text}\n")
            (folder / name).chmod(0o755)
        done = subprocess.run([RUN, folder], env={**self.env, "PATH": f"{folder}:{os.environ['PATH']}"}, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=20)
        self.assertIn("may not make a mount namespace of its own (unshare: Operation not permitted)", done.stdout)


if __name__ == "__main__":
    harness.main()
