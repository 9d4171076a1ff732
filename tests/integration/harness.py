"""What the integration tests share: programs that are started and surely stopped, homes of a test's own, waiting
for conditions instead of sleeping, and the helper's socket.

Two variables come from the build: VIGILO_BIN, the folder of the built programs, and VIGILO_SANITIZED, set where
sanitizers make sizes and times meaningless.
"""
import json
import os
import pathlib
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BIN = pathlib.Path(os.environ.get("VIGILO_BIN", SOURCE / "build" / "bin"))
SANITIZED = bool(os.environ.get("VIGILO_SANITIZED"))
ROOT_HELPER_SOCKET = "/var/run/vigilo-helper.sock"
BELOW_HOME = "Library/Application Support/Vigilo/run"
# Seconds from 1970 to the reference date of every date on the wire.
REFERENCE = 978307200

if "VIGILO_TEST_INSIDE" not in os.environ:
    # The desktop of whoever runs the tests neither sees nor hears anything of them.
    for name in ("DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"):
        os.environ.pop(name, None)
    os.environ["CANBERRA_DRIVER"] = "null"

skip_if_sanitized = unittest.skipIf(SANITIZED, "sanitizers change what this measures")


# --- Surroundings -------------------------------------------------------------------------------------------------

def run_inside(*wrapper):
    """Starts this script again as the command of `wrapper`, once."""
    if "VIGILO_TEST_INSIDE" not in os.environ:
        os.environ["VIGILO_TEST_INSIDE"] = "1"
        command = [str(part) for part in wrapper] + [sys.executable, "-B", *sys.argv]
        os.execvp(command[0], command)


def run_with_logind(*options):
    """The rest of the script has a real logind on a system bus, and an empty /run, of its own."""
    run_inside(*or_end(own_processes()), SOURCE / "tools" / "with-logind", "-r", *options, "--")
    hide_journal()


def run_among_own_processes():
    """The rest of the script, and the hosts that it starts, see no other processes than its own."""
    if "VIGILO_TEST_PROCESSES" not in os.environ:
        os.environ["VIGILO_TEST_PROCESSES"] = "1"
        command = [*or_end(own_processes()), sys.executable, "-B", *sys.argv]
        os.execvp(command[0], command)


def own_processes():
    """A prefix that gives a command process ids and a /proc of its own: a host looks for agents among all processes,
    and must find neither those of this machine's user nor those of other tests. None where that cannot be had."""
    return unshare("--pid", "--fork", "--kill-child", "--mount-proc")


def unshare(*flags):
    """A prefix that gives a command these name spaces of its own; None where they cannot be had."""
    for more in ([], ["--user", "--map-root-user"]):
        prefix = ["unshare", *more, *flags, "--"]
        if subprocess.run([*prefix, "true"], stderr=subprocess.DEVNULL).returncode == 0:
            return prefix
    return None


def or_end(prefix):
    """In many a container there are no name spaces to be had: the script ends, which ctest counts as skipped."""
    if prefix is None and "VIGILO_TEST_INSIDE" not in os.environ:
        print("skipped: this user may make no name spaces here")
        sys.exit(77)
    return prefix or []


def hide_journal():
    """What programs log is to be found in their output, also on a machine that has a journal, whose socket stays
    reachable below with-logind."""
    if os.path.ismount("/run/systemd/journal"):
        subprocess.run(["umount", "-n", "-l", "/run/systemd/journal"], check=True)


def run_in_own_mounts():
    """The rest of the script may mount what it likes, unseen by others, as root."""
    run_inside(*or_end(unshare("--mount", "--propagation", "private")))


def wait_for(what, condition, seconds=10.0):
    """The first true value that `condition` gives; fails when it gives none in time."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {seconds} s: {what}")
        time.sleep(0.01)


# --- Programs -----------------------------------------------------------------------------------------------------

class Program:
    """A program that runs until it is stopped, at the latest with its test."""

    def __init__(self, test, command, env=None, prefix=(), umask=-1, pass_fds=()):
        self.output = tempfile.TemporaryFile()
        environment = {**os.environ, **(env or {})}
        # Dies with this script, even if the script is killed outright, and has no terminal to ring.
        self.process = subprocess.Popen(
            [*map(str, prefix), "setpriv", "--pdeathsig", "KILL", "--", *map(str, command)], env=environment,
            stdin=subprocess.DEVNULL, stdout=self.output, stderr=self.output, umask=umask, pass_fds=pass_fds,
            start_new_session=True)
        test.addCleanup(self._clean_up, test)

    @property
    def pid(self):
        return self.process.pid

    def is_running(self):
        return self.process.poll() is None

    def log(self):
        return os.pread(self.output.fileno(), 1 << 24, 0).decode(errors="replace")

    def log_lines(self, text):
        return [line for line in self.log().splitlines() if text in line]

    def stop(self, how=signal.SIGTERM):
        """Ends the program and returns its exit status, negative for a signal."""
        if self.is_running():
            self.process.send_signal(how)
        return self.wait()

    def wait(self, seconds=10):
        return self.process.wait(seconds)

    def proc(self, name):
        return pathlib.Path(f"/proc/{self.pid}/{name}")

    def status(self, key):
        """A number of /proc/PID/status, such as VmRSS in kB."""
        for line in self.proc("status").read_text().splitlines():
            if line.startswith(key + ":"):
                return int(line.split()[1])
        raise KeyError(key)

    def context_switches(self):
        """How often its threads have gone to sleep by themselves: how often it has been woken."""
        total = 0
        for task in self.proc("task").iterdir():
            for line in (task / "status").read_text().splitlines():
                if line.startswith("voluntary_ctxt_switches:"):
                    total += int(line.split()[1])
        return total

    def descriptors(self, of=""):
        """How many it has open, or how many of files with this in their path."""
        count = 0
        for link in self.proc("fd").iterdir():
            try:
                count += of in os.readlink(link)
            except FileNotFoundError:
                pass  # closed since the folder was listed
        return count

    def _clean_up(self, test):
        try:
            self.stop()
        except subprocess.TimeoutExpired:
            self.stop(signal.SIGKILL)
            test.fail("did not end on SIGTERM")
        finally:
            log = self.log()
            self.output.close()
            if "Sanitizer" in log or "runtime error:" in log or test_failed(test):
                print(f"--- output of process {self.pid}:\n{log}", file=sys.stderr)
        test.assertNotIn("Sanitizer", log)
        test.assertNotIn("runtime error:", log)


def test_failed(test):
    result = getattr(test._outcome, "result", None)
    return result is not None and any(case is test for case, _ in result.failures + result.errors)


class TestCase(unittest.TestCase):
    def setUp(self):
        # In a /run of this script's own, each test starts with a helper that remembers nothing.
        if "VIGILO_TEST_INSIDE" in os.environ:
            for path in pathlib.Path("/var/run").glob("vigilo-helper*"):
                path.unlink()

    def folder(self):
        """A folder of the test's own that other users may enter."""
        path = pathlib.Path(tempfile.mkdtemp(prefix="vigilo-test."))
        path.chmod(0o755)
        self.addCleanup(shutil.rmtree, path, ignore_errors=True)
        return path

    def start_helper(self, socket_path=ROOT_HELPER_SOCKET, **options):
        """A helper that listens on the path, and answers."""
        helper = Program(self, [BIN / "VigiloHelper"], **options)
        wait_for("the helper listens",
                 lambda: not helper.is_running() or helper.log_lines("Vigilo Helper Daemon active on"))
        self.assertTrue(helper.is_running(), helper.log())
        self.assertTrue(os.path.exists(socket_path))
        return helper


# --- The helper's socket ------------------------------------------------------------------------------------------

def connect(path=ROOT_HELPER_SOCKET, seconds=10):
    """A connection with the kernel's own time-outs, as the client has them: Python's would make connecting fail
    where the backlog is full for a moment."""
    connection = socket.socket(socket.AF_UNIX)
    for option in (socket.SO_RCVTIMEO, socket.SO_SNDTIMEO):
        connection.setsockopt(socket.SOL_SOCKET, option, struct.pack("ll", seconds, 0))
    try:
        connection.connect(path)
    except OSError:
        connection.close()
        raise
    return connection


def exchange(data, path=ROOT_HELPER_SOCKET):
    """What the helper answers to these bytes, and nothing where it closes without an answer."""
    with connect(path) as connection:
        connection.send(data)
        return connection.recv(8192)


def ask(command, path=ROOT_HELPER_SOCKET, **fields):
    return json.loads(exchange(json.dumps({"command": command, **fields}).encode(), path))


def now():
    """The present as dates on the wire tell it."""
    return time.time() - REFERENCE


# --- logind -------------------------------------------------------------------------------------------------------

def logind(*arguments):
    command = ["busctl", "--json=short", arguments[0], "org.freedesktop.login1", "/org/freedesktop/login1",
               "org.freedesktop.login1.Manager", *arguments[1:],
               "--address=" + os.environ["DBUS_SYSTEM_BUS_ADDRESS"]]
    return json.loads(subprocess.run(command, check=True, capture_output=True).stdout)["data"]


def inhibitors():
    """The pid and the kinds of each inhibitor that logind lists under this system's name."""
    return [(row[5], row[0]) for row in logind("call", "ListInhibitors")[0] if row[1] == "Vigilo"]


def as_nobody():
    """A prefix that makes a command another, existing user's; none where this root may not do that."""
    prefix = ["setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups", "--"]
    return prefix if subprocess.run([*prefix, "true"], stderr=subprocess.DEVNULL).returncode == 0 else None


def main():
    unittest.main(verbosity=2)
