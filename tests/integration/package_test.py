"""The Debian package on a fresh Debian: installed by apt with what it depends on, run in that folder, and then on a
machine of its own, whose first process is a real systemd: the hold through a crash and an upgrade, and nothing left
after the purge. Needs root, the Debian mirror, and a machine that lets a container boot; what cannot be done is
skipped, and said."""
import contextlib
import json
import os
import pathlib
import platform
import re
import signal
import subprocess
import threading
import unittest

import harness
from harness import wait_for

UNIT = "vigilo-helper.service"
SOCKET = "run/vigilo-helper.sock"
# The package is for the release that it was built on.
RELEASE = platform.freedesktop_os_release()["VERSION_CODENAME"]
SOURCES = [path for path in ("/etc/apt/sources.list.d/debian.sources", "/etc/apt/sources.list.d/ubuntu.sources")
           if os.path.exists(path)]
UNREACHABLE = re.compile("Could not resolve|Temporary failure|Unable to connect|Could not connect|Connection timed out")

if os.geteuid() != 0:
    print("skipped: a package is installed by root only")
elif subprocess.run(["unshare", "--mount", "true"], stderr=subprocess.DEVNULL).returncode != 0:
    print("skipped: this root may not mount")
else:
    harness.run_in_own_mounts()


def output_of(*command):
    done = subprocess.run([*map(str, command)], capture_output=True, text=True)
    assert done.returncode == 0, f"{command}: {done.stdout}{done.stderr}"
    return done.stdout


def ours(root):
    """The files below the folder that go by our name, apart from what dpkg and logs remember."""
    found = subprocess.run(["find", root, "-xdev", "-mindepth", "1", "(", "-path", f"{root}/var/log", "-o", "-path", f"{root}/proc", ")",
                            "-prune", "-o", "-iname", "*vigilo*", "-print"], capture_output=True, text=True).stdout
    return [path for path in found.splitlines() if not path.endswith(".deb")]


class Machine:
    """The folder booted as a container."""

    def __init__(self, test, root):
        self.root = root
        self.cgroups = list(self._make_cgroups(test))
        join = "for group in $0; do echo $$ >$group/cgroup.procs; done; exec \"$@\""
        # Everything in it dies with the outer process.
        self.program = harness.Program(test, [
            "unshare", "--pid", "--fork", "--kill-child", "--mount-proc", "sh", "-c", join, " ".join(self.cgroups),
            "systemd-nspawn", "--quiet", "--register=no", "--keep-unit", "--private-network", "--console=pipe",
            "--kill-signal=SIGRTMIN+3", "--boot", "-D", root])
        test.addCleanup(self.stop)
        self.init = wait_for("the machine's first process", self._find_init, 30)
        wait_for("the machine has booted", self._has_booted, 60)

    def _make_cgroups(self, test):
        """A place of its own for the container in each hierarchy that systemd needs."""
        for line in pathlib.Path("/proc/self/cgroup").read_text().splitlines():
            _, controllers, path = line.split(":", 2)
            if controllers not in ("", "name=systemd"):
                continue
            top = pathlib.Path("/sys/fs/cgroup", "systemd" if controllers else "unified")
            top = top if top.exists() else pathlib.Path("/sys/fs/cgroup")
            group = top / path.lstrip("/") / f"vigilo-test-{os.getpid()}"
            try:
                group.mkdir()
            except OSError as error:
                test.skipTest(f"no machine can be booted here: {error}")
            test.addCleanup(self._remove, group)
            yield str(group)

    @staticmethod
    def _remove(group):
        for folder, _, _ in os.walk(group, topdown=False):
            wait_for(f"{folder} is empty", lambda: not Machine._refuses(os.rmdir, folder))

    @staticmethod
    def _refuses(action, *arguments):
        try:
            action(*arguments)
        except OSError:
            return True
        return False

    def _children(self, pid):
        return [int(each) for each in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]

    def _find_init(self):
        """systemd-nspawn is the child of what was started; its child is the machine."""
        if not self.program.is_running():
            raise unittest.SkipTest(f"no machine can be booted here: {self.program.log()}")
        for spawner in self._children(self.program.pid):
            for pid in self._children(spawner):
                if pathlib.Path(f"/proc/{pid}/comm").read_text().strip() == "systemd":
                    return pid
        return None

    def _has_booted(self):
        done = subprocess.run([*self._inside(), "systemctl", "is-system-running"], capture_output=True, text=True)
        return done.stdout.strip() in ("running", "degraded")

    def _inside(self):
        return ["nsenter", "--target", str(self.init), "--all", "--"]

    def run(self, *command):
        return output_of(*self._inside(), *command)

    def ask(self, command, **fields):
        return harness.ask(command, f"/proc/{self.init}/root/{SOCKET}", **fields)

    def main_pid(self):
        return int(self.run("systemctl", "show", "--property=MainPID", "--value", UNIT))

    def kill_helper(self, number):
        """By the outer number of the process that the machine knows under another one."""
        self.run("sh", "-c", f"kill -{number} {self.main_pid()}")

    def inhibitors(self):
        return [row[5] for row in json.loads(self.run(
            "busctl", "--json=short", "call", "org.freedesktop.login1", "/org/freedesktop/login1",
            "org.freedesktop.login1.Manager", "ListInhibitors"))["data"][0] if row[1] == "Vigilo"]

    @contextlib.contextmanager
    def no_gap_in_the_hold(self, test):
        """logind keeps a file for each inhibitor: there is never none meanwhile."""
        folder, over, gaps = f"/proc/{self.init}/root/run/systemd/inhibit", threading.Event(), []

        def look():
            while not over.is_set():
                if not os.listdir(folder):
                    gaps.append(1)
                over.wait(0.0005)
        thread = threading.Thread(target=look)
        thread.start()
        try:
            yield
        finally:
            over.set()
            thread.join()
        test.assertEqual(len(gaps), 0, "looks that found no inhibitor")

    def stop(self):
        """Orderly, as a machine is switched off."""
        for spawner in self._children(self.program.pid) if self.program.is_running() else []:
            os.kill(spawner, signal.SIGTERM)
        try:
            self.program.wait(30)
        except subprocess.TimeoutExpired:
            self.program.stop(signal.SIGKILL)


@unittest.skipUnless("VIGILO_TEST_INSIDE" in os.environ, "needs a root that may mount")
@harness.skip_if_sanitized
class PackageTest(harness.TestCase):
    def setUp(self):
        """A fresh Debian with the package, as apt installs it where no service manager runs."""
        build = harness.BIN.parent.resolve()
        self.package = pathlib.Path(output_of(harness.SOURCE / "tools/build-deb", build).strip())
        self.root = self.folder()
        # In memory: fast, and gone with this script whatever becomes of it.
        output_of("mount", "-t", "tmpfs", "-o", "mode=755,size=2g", "root", self.root)
        self.addCleanup(subprocess.run, ["umount", "--lazy", self.root])
        done = subprocess.run(
            ["mmdebstrap", "--variant=apt", "--aptopt=APT::Install-Recommends \"false\"",
             f"--customize-hook=copy-in {self.package} /", f"--customize-hook=chroot \"$1\" apt-get install --yes --install-recommends /{self.package.name}",
             RELEASE, self.root, *SOURCES], capture_output=True, text=True)
        if done.returncode != 0 and UNREACHABLE.search(done.stderr):
            self.skipTest("the Debian mirror cannot be reached")
        self.assertEqual(done.returncode, 0, done.stderr[-3000:])

    def in_root(self, *command):
        return output_of("chroot", self.root, *command)

    def test_a_life_with_the_package(self):
        with self.subTest("the programs run in the folder"):
            self.check_folder()
        machine = Machine(self, self.root)
        self.check_service(machine)
        self.check_hold(machine)
        self.check_watchdog(machine)
        self.check_disabled_stays_disabled(machine)
        self.check_purge(machine)

    def check_folder(self):
        version = self.in_root("dpkg-query", "-W", "-f", "${Version}", "vigilo")
        self.assertEqual(self.in_root("vigilo", "--version"), f"vigilo {version}\n")
        self.assertEqual(self.in_root("vigilo-relay", "--agent", "claude", "--state", "working"), "")
        self.assertEqual(self.in_root("dpkg", "--verify", "vigilo"), "")
        others = self.in_root("dpkg-query", "-W", "-f", "${Package}\n").splitlines()
        self.assertEqual([name for name in others if re.match("libx11|libgtk|libasound", name)], [], "no desktop on a server")
        installed = self.in_root("dpkg", "-L", "vigilo").splitlines()
        for name in ("man/man1/vigilo.1.gz", "man/man1/vigilo-relay.1.gz", "man/man8/VigiloHelper.8.gz",
                     "bash-completion/completions/vigilo", "zsh/vendor-completions/_vigilo",
                     "fish/vendor_completions.d/vigilo.fish", "doc/vigilo/copyright", "doc/vigilo/changelog.gz"):
            self.assertIn(f"/usr/share/{name}", installed)
        self.assertTrue((self.root / f"etc/systemd/system/multi-user.target.wants/{UNIT}").is_symlink())
        self.assertEqual(list(self.root.glob("etc/systemd/user/*/vigilo.service")), [], "the host is its user's to enable")
        helper = harness.Program(self, ["chroot", self.root, "/usr/libexec/vigilo/VigiloHelper"])
        wait_for("the helper listens", lambda: helper.log_lines("active on"))
        self.assertTrue(harness.ask("status", str(self.root / SOCKET))["ok"])
        self.assertIn("The helper runs", self.in_root("vigilo", "helper", "status"))
        helper.stop()
        (self.root / SOCKET).unlink()

    def check_service(self, machine):
        """Started with the machine, and restricted."""
        self.assertEqual(machine.run("systemctl", "is-active", UNIT), "active\n")
        self.assertEqual(machine.run("systemctl", "--failed", "--plain", "--no-legend"), "")
        status = machine.run("cat", f"/proc/{machine.main_pid()}/status")
        self.assertRegex(status, r"CapEff:\s0+\n")
        self.assertRegex(status, r"Seccomp:\s2\n")
        self.assertIn("The helper runs", machine.run("vigilo", "helper", "status"))

    def check_hold(self, machine):
        first = machine.main_pid()
        self.assertTrue(machine.ask("acquire", leaseId="a", ttlSeconds=900)["status"]["currentSystemSleepDisabled"])
        self.assertEqual(machine.inhibitors(), [first])
        with machine.no_gap_in_the_hold(self):
            machine.kill_helper("KILL")
            second = wait_for("a new helper holds", lambda: [pid for pid in machine.inhibitors() if pid != first])
        self.assertEqual(machine.inhibitors(), [machine.main_pid()])
        with machine.no_gap_in_the_hold(self):
            machine.run("dpkg", "--install", f"/{self.package.name}")
        self.assertNotEqual(machine.inhibitors(), second, "an upgrade starts the new program")
        self.assertEqual(machine.inhibitors(), [machine.main_pid()])
        self.assertEqual(machine.ask("status")["status"]["activeLeaseId"], "a")

    def check_watchdog(self, machine):
        """A helper that hangs is ended and started again, here sooner than usual, and the hold goes on."""
        drop_in = f"/run/systemd/system/{UNIT}.d"
        machine.run("sh", "-c", f"mkdir -p {drop_in} && printf '[Service]\nWatchdogSec=7\n' >{drop_in}/soon.conf")
        machine.run("systemctl", "daemon-reload")
        machine.run("systemctl", "restart", UNIT)
        hanging = machine.main_pid()
        with machine.no_gap_in_the_hold(self):
            machine.kill_helper("STOP")
            wait_for("a new helper holds", lambda: set(machine.inhibitors()) - {hanging}, 30)
        self.assertEqual(machine.inhibitors(), [machine.main_pid()])
        machine.run("rm", "-r", drop_in)

    def check_disabled_stays_disabled(self, machine):
        machine.run("systemctl", "disable", "--now", UNIT)
        self.assertEqual(machine.inhibitors(), [], "stopped is stopped: nobody keeps the hold")
        machine.run("dpkg", "--install", f"/{self.package.name}")
        self.assertEqual(machine.run("sh", "-c", f"systemctl is-active {UNIT} || :"), "inactive\n")
        machine.run("systemctl", "enable", "--now", UNIT)

    def check_purge(self, machine):
        """Also under a host that runs and holds."""
        home = "HOME=/tmp/home"
        machine.run("mkdir", "/tmp/home")
        machine.run("systemd-run", "--quiet", f"--setenv={home}", "vigilo", "run")
        wait_for("the host runs", lambda: machine.run("sh", "-c", f"{home} vigilo status || :"))
        machine.run("env", home, "vigilo-relay", "--agent", "claude", "--state", "working")
        wait_for("the helper and the host hold", lambda: len(machine.inhibitors()) == 2)
        # Which runs on from a file that is gone then.
        machine.run("dpkg", "--install", f"/{self.package.name}")
        machine.run("dpkg", "--purge", "vigilo")
        wait_for("every hold to end", lambda: machine.inhibitors() == [])
        self.assertEqual(machine.run("sh", "-c", f"systemctl is-active {UNIT} || :"), "inactive\n")
        self.assertEqual(machine.run("systemctl", "--failed", "--plain", "--no-legend"), "")
        self.assertEqual(ours(self.root) + ours(f"/proc/{machine.init}/root/run"), [])


if __name__ == "__main__":
    harness.main()
