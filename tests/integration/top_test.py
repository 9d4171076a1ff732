"""The live view in a real terminal: tmux plays one, keys go in, the screen is read back."""
import os
import pathlib
import shlex
import signal
import subprocess

import harness
from harness import wait_for

harness.run_with_logind()


class TopTest(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.home = self.folder()
        self.socket = None

    def tmux(self, *arguments, check=True):
        environment = {key: value for key, value in os.environ.items() if key != "TMUX"}
        result = subprocess.run(["tmux", "-S", str(self.socket), "-f", "/dev/null", *arguments],
                                env={**environment, "LC_ALL": "C.UTF-8"}, capture_output=True, text=True, timeout=20)
        if check:
            self.assertEqual(result.returncode, 0, result.stderr)
        return result.stdout

    def screen(self):
        return self.tmux("capture-pane", "-p")

    def wait_for_screen(self, *texts, absent=()):
        def shown():
            screen = self.screen()
            return all(text in screen for text in texts) and not any(text in screen for text in absent)
        try:
            wait_for(f"{texts} on the screen", shown)
        except AssertionError as error:
            raise AssertionError(f"{error}\n{self.screen()}") from None

    def press(self, *keys):
        self.tmux("send-keys", *keys)

    def open(self, width=80, height=24, **environment):
        """A shell in which a script runs the live view, and tells how it ended and what the terminal's modes are.
        Each in a terminal of its own; the one before is closed."""
        if self.socket:
            self.tmux("kill-server")
        self.socket = self.folder() / "tmux"
        self.addCleanup(self.tmux, "-S", str(self.socket), "kill-server", check=False)
        settings = " ".join(f"{name}={shlex.quote(value)}" for name, value in environment.items())
        (self.home / "script").write_text(f"trap : INT; stty -g > before; env {settings} {shlex.quote(str(harness.BIN / 'vigilo'))} "
                                          "top; echo ended with $?; stty -g > after\n")
        self.tmux("new-session", "-d", "-x", str(width), "-y", str(height), "-c", str(self.home),
                  "-e", f"HOME={self.home}", "-e", "PS1=$ ", "sh", "-i")
        self.wait_for_screen("$")
        self.press("sh script", "Enter")

    def pid(self):
        """Of the live view, which the script runs in the shell of the pane."""
        pid = self.tmux("display-message", "-p", "#{pane_pid}").strip()
        for _ in range(2):
            [pid] = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
        return int(pid)

    def expect_clean_end(self, code):
        self.wait_for_screen(f"ended with {code}\n$")
        self.assertNotIn("Agents", self.screen())
        self.assertEqual((self.home / "after").read_text(), (self.home / "before").read_text())
        self.assertEqual(self.tmux("display-message", "-p", "#{alternate_on} #{cursor_flag}").strip(), "0 1")

    def start_host(self):
        host = harness.Program(self, [harness.BIN / "vigilo", "run"], env={"HOME": str(self.home)})
        wait_for("the host answers", lambda: self.vigilo("status").returncode == 0)
        return host

    def vigilo(self, *arguments, program="vigilo"):
        return subprocess.run([harness.BIN / program, *arguments], env={**os.environ, "HOME": str(self.home)},
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=20)

    def work(self, session="c353"):
        self.vigilo("--agent", "claude", "--state", "working", "--session-id", session, program="vigilo-relay")

    def test_it_shows_the_decision_and_the_family_and_follows_the_size(self):
        self.start_host()
        self.work()
        self.open()
        self.wait_for_screen("Claude Code working", "1 agent", "● Working", "── Recent", "holding: Claude Code")
        self.assertIn("── Tokens", self.screen().splitlines()[18])
        self.tmux("resize-window", "-x", "120", "-y", "40")
        self.wait_for_screen("1 session, 1 active ──  ── Budgets")
        self.assertIn("q quit", self.screen().splitlines()[39])
        self.work("second")
        self.wait_for_screen("2 sessions, 2 active", "2 active")
        self.tmux("resize-window", "-x", "30", "-y", "6")
        self.wait_for_screen("AWAKE", absent=["Budgets"])
        self.press("q")
        self.expect_clean_end(0)

    def test_keys_steer_the_host_and_say_what_became_of_it(self):
        self.start_host()
        self.open()
        self.wait_for_screen("nothing is held")
        self.press("p")
        self.wait_for_screen("2 30 min")
        self.press("2")
        self.wait_for_screen("Protection paused", "paused for 30 min")
        self.press("r")
        self.wait_for_screen("the pause has ended", "nothing is held")
        self.press("h")
        self.wait_for_screen("Manual hold requested")
        self.press("h")
        self.wait_for_screen("nothing is held")
        self.press("e")
        self.wait_for_screen("Master switch disabled")
        self.press("?")
        self.wait_for_screen("Help", "PgDn", absent=["Budgets"])
        self.press("x")
        self.wait_for_screen("Budgets")
        settings = self.home / "Library/Preferences/com.vigilo.app.toml"
        settings.write_text("masterEnabled = maybe\n")
        self.press("e")
        self.wait_for_screen("not done: the settings file cannot be used")
        self.press("C-c")
        self.expect_clean_end(0)

    def test_it_waits_for_a_host_and_takes_up_again(self):
        self.open()
        self.wait_for_screen("No host runs, so nothing is held")
        self.press("p")
        self.wait_for_screen("start one with vigilo run")
        host = self.start_host()
        self.wait_for_screen("nothing is held", "No active agent sessions")
        host.stop(signal.SIGKILL)
        self.wait_for_screen("The host went away at")
        self.start_host()
        self.work()
        self.wait_for_screen("Claude Code working")
        process = pathlib.Path(f"/proc/{self.pid()}")
        self.tmux("kill-session")
        wait_for("it ends with its terminal", lambda: not process.exists())

    def test_a_stop_and_a_kill_give_the_terminal_back(self):
        self.start_host()
        self.open()
        self.wait_for_screen("nothing is held")
        pid = self.pid()
        self.press("C-z")
        wait_for("it has stopped", lambda: pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(") ")[-1][0] == "T")
        # The shell was faster than the script's end: its first prompt went to the screen that is gone.
        self.press("Enter")
        self.wait_for_screen("\n$", absent=["Agents"])
        self.press("fg", "Enter")
        self.wait_for_screen("nothing is held", "Agents")
        os.kill(pid, signal.SIGTERM)
        self.expect_clean_end(0)
        self.tmux("clear-history", ";", "send-keys", "clear; sh script", "Enter")
        self.wait_for_screen("nothing is held")
        os.kill(self.pid(), signal.SIGABRT)
        self.expect_clean_end(134)

    def test_plain_terminals_get_plain_signs(self):
        self.start_host()
        self.work()
        for environment, sign in (({"LC_ALL": "C"}, "* Working"), ({"TERM": "vt100"}, "● Working"),
                                  ({"TERM": "linux"}, "■ Working"), ({"NO_COLOR": "1"}, "● Working")):
            with self.subTest(**environment):
                self.open(**environment)
                self.wait_for_screen("Claude Code working", sign)
                colours = "[32m" in self.tmux("capture-pane", "-p", "-e")
                self.assertEqual(colours, "LC_ALL" in environment or environment.get("TERM") == "linux", self.screen())
                self.press("q")
                self.expect_clean_end(0)

    def test_without_a_terminal_it_says_so(self):
        result = self.vigilo("top")
        self.assertEqual((result.returncode, result.stdout), (69, ""))
        self.assertIn("needs a terminal", result.stderr)
        for term, problem in ("nonsense", "is not known"), ("dumb", "cannot be drawn on"):
            # What the terminal library made before it refused the terminal, it leaves to the process's end.
            self.open(TERM=term, ASAN_OPTIONS="detect_leaks=0")
            self.wait_for_screen(f"this terminal {problem} (TERM is {term})", "ended with 69")

    def test_the_log_is_told_without_the_view(self):
        self.assertEqual(self.vigilo("log").returncode, 3)
        self.start_host()
        self.work()
        wait_for("the decision", lambda: "decision    holding: Claude Code working" in self.vigilo("log").stdout)
        self.assertIn('"category": "session"', self.vigilo("log", "--json").stdout)


if __name__ == "__main__":
    harness.main()
