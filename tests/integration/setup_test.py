"""Setting agents up as a user does: what `vigilo setup` prints is put where it belongs and run the way the agent runs
it, with what the agent hands over, against a running host; `vigilo agents` and `setup --check` then tell what came."""
import json
import os
import pathlib
import re
import shutil
import subprocess
import time
import tomllib

import harness
from harness import wait_for

harness.run_with_logind()

PLAIN_CLAUDE = {"UserPromptSubmit": "working", "PreToolExecution": "working", "PostToolExecution": "working",
                "Stop": "idle", "SessionEnd": "completed"}
CURRENT_CLAUDE = {"SessionStart": "idle", "UserPromptSubmit": "working", "PreToolUse": "working",
                  "PermissionRequest": "waiting", "PostToolUse": "working", "PostToolUseFailure": "working",
                  "Stop": "idle", "StopFailure": "idle", "SessionEnd": "completed"}
PLAIN_GEMINI = {"BeforeAgent": "working", "AfterAgent": "idle", "BeforeTool": "working", "AfterTool": "working",
                "SessionStart": "working", "SessionEnd": "completed"}
CURRENT_GEMINI = {"SessionStart": "idle", "BeforeAgent": "working", "BeforeTool": "working", "Notification": "waiting",
                  "AfterTool": "working", "AfterAgent": "idle", "SessionEnd": "completed"}
CURRENT_CODEX = {"SessionStart": "idle", "UserPromptSubmit": "working", "PreToolUse": "working",
                 "PermissionRequest": "waiting", "PostToolUse": "working", "Stop": "idle", "SessionEnd": "completed"}

# Calls the plug-in as OpenCode does: `calls` is a list of arguments for the handler or the event hook.
DRIVER = """
import { VigiloPlugin } from './vigilo.mjs';
const calls = JSON.parse(process.argv[2]);
const plugin = typeof VigiloPlugin === 'function' ? await VigiloPlugin({}) : VigiloPlugin;
for (const call of calls) {
  if (plugin.event) await plugin.event({ event: call });
  else plugin.onSessionStatus(call);
}
"""


def status_event(kind, session="ses_1"):
    return {"type": "session.status", "properties": {"sessionID": session, "status": {"type": kind}}}


def event(kind, session="ses_1", **properties):
    return {"type": kind, "properties": {"sessionID": session, **properties}}


class SetupTest(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.home = self.folder()
        # Hooks must run the relay wherever it lies.
        self.relay = self.home / 'it\'s a "relay"' / "vigilo-relay"
        self.relay.parent.mkdir()
        shutil.copy(harness.BIN / "vigilo-relay", self.relay)
        self.bin = self.home / "bin"
        self.bin.mkdir()

    def environment(self):
        kept = {name: value for name, value in os.environ.items()
                if not name.startswith(("CLAUDE", "CODEX", "GEMINI", "XDG_CONFIG"))}
        return {**kept, "HOME": str(self.home), "PATH": f"{self.bin}:/usr/bin:/bin"}

    def start_host(self):
        self.host = harness.Program(self, [harness.BIN / "vigilo", "run", "--verbose"], env={"HOME": str(self.home)})
        wait_for("the host answers", lambda: self.vigilo("status").returncode == 0)

    def vigilo(self, *arguments):
        return subprocess.run([harness.BIN / "vigilo", *arguments], env=self.environment(), capture_output=True,
                              text=True, timeout=30)

    def variants(self, agent, relay):
        report = json.loads(self.vigilo("setup", agent, "--relay", relay, "--json").stdout)
        current, plain = report["variants"]  # what works comes first
        self.assertEqual((plain["isRecommended"], current["isRecommended"]), (False, True))
        return plain, current

    def updates(self):
        return re.findall(r"Updated session (\S+): agent=(\S+) state=(\S+)", self.host.log())

    def run_hooks(self, agent, hooks, states):
        """Runs each command line as the agent does, and finds its state in the host."""
        self.assertEqual(list(hooks), list(states))
        for name, command in hooks.items():
            before = len(self.updates())
            call = {"session_id": f"{agent}-42", "cwd": str(self.home), "hook_event_name": name}
            done = subprocess.run(["/bin/sh", "-c", command], input=json.dumps(call), env=self.environment(), text=True,
                                  capture_output=True, timeout=10)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
            wait_for("the event", lambda: len(self.updates()) > before)
            self.assertEqual(self.updates()[-1], (f"{agent}-42", agent, states[name]), command)

    def run_plugin(self, source, calls):
        folder = self.folder()
        (folder / "vigilo.mjs").write_text(source)
        (folder / "driver.mjs").write_text(DRIVER)
        done = subprocess.run(["node", folder / "driver.mjs", json.dumps(calls)], env={**os.environ, "HOME": str(self.home)},
                              capture_output=True, text=True, timeout=30)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def executable(self, name, script):
        path = self.bin / name
        path.write_text("#!/bin/sh\n" + script)
        path.chmod(0o755)
        return path


class SnippetTest(SetupTest):
    def test_hooks_in_json_reach_the_host_with_the_state_they_mean(self):
        self.start_host()
        for agent, plain_states, current_states, timeouts in (
                ("claude", PLAIN_CLAUDE, CURRENT_CLAUDE, (5000, 5)),
                ("gemini", PLAIN_GEMINI, CURRENT_GEMINI, (10000, 10000))):
            with self.subTest(agent):
                plain = self.variants(agent, harness.BIN / "vigilo-relay")[0]["snippet"]
                comment, _, document = plain.partition("\n")
                self.assertRegex(comment, r'^// Add to the "hooks" object in ~/\.\S+json:$')
                self.check_json(agent, document, plain_states, timeouts[0], nested=agent == "gemini")
                # What is to be pasted into a file of its own holds no comment.
                current = self.variants(agent, self.relay)[1]["snippet"]
                self.check_json(agent, current, current_states, timeouts[1], nested=True)

    def check_json(self, agent, text, states, timeout, nested):
        hooks = {}
        for name, entries in json.loads(text)["hooks"].items():
            (entry,) = entries
            if nested:
                self.assertEqual(list(entry), ["hooks"])
                (entry,) = entry["hooks"]
            self.assertEqual((entry["type"], entry["timeout"]), ("command", timeout))
            hooks[name] = entry["command"]
        self.run_hooks(agent, hooks, states)

    def test_a_hook_whose_relay_is_gone_blocks_no_agent(self):
        for agent in ("claude", "gemini"):
            document = json.loads(self.variants(agent, self.home / "gone")[1]["snippet"])
            command = document["hooks"]["SessionEnd"][0]["hooks"][0]["command"]
            self.assertEqual(subprocess.run(["/bin/sh", "-c", command], stderr=subprocess.DEVNULL).returncode, 0)

    def test_codex(self):
        self.start_host()
        plain, current = (tomllib.loads(variant["snippet"]) for variant in self.variants("codex", self.relay))
        self.assertEqual(plain, {"notify": [str(self.relay), "--agent", "codex", "--state", "working"]})
        notification = {"type": "agent-turn-complete", "thread-id": "codex-7", "cwd": str(self.home)}
        subprocess.run([*plain["notify"], json.dumps(notification)], env=self.environment(), check=True,
                       stdin=subprocess.DEVNULL)
        wait_for("the end of a turn", lambda: self.updates()[-1:] == [("codex-7", "codex", "idle")])
        hooks = {}
        for name, entries in current["hooks"].items():
            ((hook,),) = (entry["hooks"] for entry in entries)
            self.assertEqual((hook["type"], hook["timeout"]), ("command", 3 if name == "SessionEnd" else 5))
            hooks[name] = hook["command"]
        self.run_hooks("codex", hooks, CURRENT_CODEX)

    def test_the_plain_opencode_plugin_runs_the_relay_for_each_status(self):
        recorded = self.home / "recorded"
        recorder = self.executable("recorder", f'echo "$@" >> "{recorded}"\n')
        plugin = self.variants("opencode", recorder)[0]["snippet"]
        for call, arguments in (({"id": "a", "status": "busy"}, "working --session-id a"),
                                ({"id": "a", "status": "running"}, "working --session-id a"),
                                ({"id": "b", "status": "done"}, "idle --session-id b"),
                                ({}, "idle --session-id opencode-default")):
            recorded.write_text("")
            self.run_plugin(plugin, [call])
            wait_for("the relay", recorded.read_text)
            self.assertEqual(recorded.read_text(), f"--agent opencode --state {arguments}\n")
        # Nothing of it reaches OpenCode.
        self.run_plugin(self.variants("opencode", self.home / "gone")[0]["snippet"], [{"id": "a"}, None])

    def test_the_opencode_plugin_tells_changes_only_and_in_order(self):
        recorded = self.home / "recorded"
        # Were two relays to run at once, the one that ends a turn would overtake the others.
        recorder = self.executable("recorder", 'case "$4" in idle) ;; *) sleep 0.2 ;; esac\n'
                                               f'echo "$@" >> "{recorded}"\n')
        busy = status_event("busy")
        calls = [event("session.created", info={"id": "ses_1"}), event("session.updated"), busy, event("message.updated"),
                 busy, event("permission.asked"), event("permission.replied"), status_event("retry"),
                 status_event("busy", "ses_2"), busy, status_event("idle"), event("session.idle"),
                 event("session.error", "ses_2"), status_event("idle", "ses_2"), {"type": "server.connected"},
                 {"type": "session.status", "properties": None}, {"type": "session.deleted",
                                                                 "properties": {"info": {"id": "ses_1"}}}]
        self.run_plugin(self.variants("opencode", recorder)[1]["snippet"], calls)
        expected = [("idle", 1), ("working", 1), ("waiting", 1), ("working", 1), ("working", 2), ("idle", 1),
                    ("idle", 2), ("completed", 1)]
        wait_for("all of them", lambda: recorded.read_text().count("\n") >= len(expected))
        self.assertEqual(recorded.read_text().splitlines(),
                         [f"--agent opencode --state {state} --session-id ses_{number}" for state, number in expected])

    def test_a_relay_that_hangs_holds_the_opencode_plugin_up_for_three_seconds_only(self):
        recorded = self.home / "recorded"
        # The first ends while the second runs: that must not let the third go beside the second.
        recorder = self.executable("recorder", f'echo "$4" >> "{recorded}"\n'
                                               'case "$4" in working) sleep 4.2 ;; waiting) sleep 2.4 ;; esac\n'
                                               f'echo end >> "{recorded}"\n')
        self.run_plugin(self.variants("opencode", recorder)[1]["snippet"],
                        [status_event("busy"), event("permission.asked"), status_event("idle")])
        self.assertEqual(recorded.read_text().split(), ["working", "waiting", "end", "end", "idle", "end"])

    def test_the_opencode_plugin_reaches_the_host(self):
        self.start_host()
        plugin = self.variants("opencode", self.relay)[1]["snippet"]
        self.run_plugin(plugin, [status_event("busy"), status_event("busy"), status_event("idle")])
        wait_for("both events", lambda: self.updates() == [("ses_1", "opencode", "working"), ("ses_1", "opencode", "idle")])
        self.run_plugin(self.variants("opencode", self.home / "gone")[1]["snippet"], [status_event("busy")])


class CommandTest(SetupTest):
    def rows(self):
        return {row["agent"]: row for row in json.loads(self.vigilo("agents", "--json").stdout)}

    def test_agents_that_hang_are_asked_at_once_and_killed_with_what_they_started(self):
        pids = self.home / "pids"
        for name in ("claude", "codex", "opencode"):
            self.executable(name, f'trap "" TERM\nsleep 600 &\necho $! >> "{pids}"\nwait\n')
        self.executable("gemini", 'echo left > "$HOME/left"\necho "$HOME"\n')
        started = time.monotonic()
        rows = self.rows()
        self.assertLess(time.monotonic() - started, 4, "three seconds, and what a busy machine adds")
        for name in ("claude", "codex", "opencode"):
            self.assertTrue(rows[name]["status"]["isInstalled"])
            self.assertNotIn("agentVersion", rows[name]["status"])
        home = pathlib.Path(rows["gemini"]["status"]["agentVersion"])
        self.assertTrue(home.is_absolute() and home != self.home and not home.exists())
        for pid in pids.read_text().split():
            wait_for("its end", lambda pid=pid: not pathlib.Path(f"/proc/{pid}").exists()
                     or ") Z " in pathlib.Path(f"/proc/{pid}/stat").read_text())

    def test_a_user_is_led_from_nothing_to_events_that_arrive(self):
        self.executable("claude", "echo '2.1.329 (Claude Code)'\n")
        self.assertIn("`vigilo setup claude` shows how", self.rows()["claude"]["nextStep"])
        plain, current = self.variants("claude", self.relay)
        (self.home / ".claude").mkdir()
        (self.home / ".claude.json").write_text(plain["snippet"].partition("\n")[2])
        row = self.rows()["claude"]
        self.assertEqual((row["status"]["statusMessage"], row["hostRuns"]), ("Hook active", False))
        self.assertIn("~/.claude/settings.json", row["nextStep"])
        (self.home / ".claude/settings.json").write_text(plain["snippet"])
        self.assertIn("line 1, column 1", self.rows()["claude"]["nextStep"])
        (self.home / ".claude/settings.json").write_text(current["snippet"])
        self.assertIn("vigilo run", self.rows()["claude"]["nextStep"])
        self.start_host()
        self.assertIn("--check", self.rows()["claude"]["nextStep"])

        check = harness.Program(self, [harness.BIN / "vigilo", "setup", "claude", "--check"], env=self.environment())
        wait_for("it waits", lambda: "give it a prompt now" in check.log())
        command = json.loads(current["snippet"])["hooks"]["PermissionRequest"][0]["hooks"][0]["command"]
        subprocess.run(["/bin/sh", "-c", command], input=b'{"session_id": "c353", "cwd": "/me/proj"}',
                       env=self.environment(), check=True)
        self.assertEqual(check.wait(), 0)
        self.assertIn("Claude Code reached Vigilo: it is waiting, session c353, in /me/proj.", check.log())
        row = self.rows()["claude"]
        self.assertEqual(row["lastHookReport"]["state"], "waiting")
        self.assertNotIn("nextStep", row)
        self.assertRegex(self.vigilo("agents").stdout, r"Claude Code +yes +2\.1\.329 \(Claude Code\) +Hook active +waiting, ")

    def test_a_check_without_an_event_says_what_to_look_at(self):
        self.assertEqual(self.vigilo("setup", "gemini", "--check").returncode, 3)
        self.start_host()
        # Another agent's event is none of this one's.
        subprocess.run([self.relay, "--agent", "claude", "--state", "idle"], env=self.environment(), check=True,
                       stdin=subprocess.DEVNULL)
        result = self.vigilo("setup", "gemini", "--check", "--wait", "1s")
        self.assertEqual(result.returncode, 1)
        self.assertIn("No configuration of Gemini CLI runs vigilo-relay", result.stderr)

    def test_hooks_that_can_tell_nothing_are_told_before_and_when_they_run(self):
        self.executable("claude", "echo 2.1.329\n")
        file = self.home / ".claude/settings.json"
        file.parent.mkdir()
        right = self.variants("claude", self.relay)[1]["snippet"]
        for wrong, told in ((right.replace("vigilo-relay", "gone/vigilo-relay"), "gone/vigilo-relay, which is not there"),
                            (right.replace("--state idle", "--state idel"), 'Did you mean "idle"?'),
                            (right.replace("--agent claude", "--agent cladue"), 'it must say "claude"')):
            file.write_text(wrong)
            self.assertIn(told, self.rows()["claude"]["nextStep"])
            self.assertIn(told, self.vigilo("agents").stdout)
            check = self.vigilo("setup", "claude", "--check")
            self.assertEqual((check.returncode, check.stdout), (1, ""))
            self.assertIn(told, check.stderr)
        file.write_text(right)
        # What a script says cannot be read off the configuration.
        self.start_host()
        for words, told in ((["--agent", "claude", "--state", "workng"], 'Did you mean "working"?'),
                            (["--agent", "cladue", "--state", "working"], 'Did you mean "claude"?')):
            check = harness.Program(self, [harness.BIN / "vigilo", "setup", "claude", "--check", "--wait", "2s"],
                                    env=self.environment())
            wait_for("it waits", lambda check=check: "give it a prompt now" in check.log())
            subprocess.run([self.relay, *words], env=self.environment(), check=True, stdin=subprocess.DEVNULL)
            self.assertEqual(check.wait(), 1)
            self.assertIn("`vigilo log` tells", check.log())
            self.assertIn(told, self.vigilo("log").stdout)

    def test_names_relays_and_agents_without_hooks(self):
        unknown = self.vigilo("setup", "clod")
        self.assertEqual((unknown.returncode, unknown.stdout), (64, ""))
        self.assertIn("claude, codex, gemini, opencode, antigravity, cursor, windsurf, aider", unknown.stderr)
        self.assertIn("monitored automatically", self.vigilo("setup", "cursor").stdout)
        self.assertEqual(self.vigilo("setup", "cursor", "--check").returncode, 64)
        text = self.vigilo("setup", "codex").stdout
        self.assertIn(f'notify = ["{harness.BIN}/vigilo-relay", "--agent"', text)
        self.assertLess(text.index("Variant 1, for current releases: TAKE THIS ONE"), text.index("Variant 2"))
        alone = self.bin / "vigilo"
        shutil.copy(harness.BIN / "vigilo", alone)
        result = subprocess.run([alone, "setup", "codex"], env=self.environment(), capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn("--relay PATH", result.stderr)


if __name__ == "__main__":
    harness.main()
