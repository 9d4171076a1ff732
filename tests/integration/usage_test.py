"""Usage from the agents' own files to the commands: recorded once, kept over restarts, the same with and without a
host, and never at the agents' expense."""
import hashlib
import json
import os
import re
import shutil
import signal
import sqlite3
import subprocess

import harness
from harness import wait_for

harness.run_with_logind()

CLAUDE_TURN = {"type": "assistant", "sessionId": "c353", "uuid": "u1", "timestamp": "2026-11-21T06:00:00.123Z",
               "message": {"id": "msg_1", "model": "claude-opus-5-5", "role": "assistant",
                           "usage": {"input_tokens": 1200, "cache_creation_input_tokens": 300,
                                     "cache_read_input_tokens": 800, "output_tokens": 45}}}
CODEX_CONTEXT = {"type": "turn_context", "ordinal": 1, "payload": {"model": "gpt-5.6-terra"}}
CODEX_TURN = {"type": "event_msg", "ordinal": 17, "payload": {
    "type": "token_count", "info": {
        "total_token_usage": {"input_tokens": 1200, "output_tokens": 45, "total_tokens": 1245},
        "last_token_usage": {"input_tokens": 1200, "output_tokens": 45, "total_tokens": 1245},
        "model_context_window": 258400},
    "rate_limits": {"primary": {"used_percent": 92.5, "window_minutes": 300, "resets_at": 4102444800}}}}


class UsageTest(harness.TestCase):
    def setUp(self):
        super().setUp()
        self.home = self.folder()
        self.claude = self.home / ".claude/projects/-me-proj/c353.jsonl"
        self.codex = self.home / ".codex/sessions/2026/11/21/rollout-2026-11-21T06-58-39-01a1.jsonl"
        self.opencode = self.home / ".local/share/opencode/opencode.db"
        for file, lines in ((self.claude, [CLAUDE_TURN]), (self.codex, [CODEX_CONTEXT, CODEX_TURN])):
            file.parent.mkdir(parents=True)
            file.write_text("".join(json.dumps(line) + "\n" for line in lines))
        self.opencode.parent.mkdir(parents=True)
        with sqlite3.connect(self.opencode) as database:
            database.execute("CREATE TABLE message (id text PRIMARY KEY, session_id text NOT NULL, "
                             "time_created integer NOT NULL, time_updated integer NOT NULL, data text NOT NULL)")
            database.execute("INSERT INTO message VALUES ('m1', 'ses_1', 1795262400000, 0, ?)", [json.dumps(
                {"role": "assistant", "modelID": "mock", "cost": 0.0021,
                 "tokens": {"total": 1245, "input": 400, "output": 33, "reasoning": 12,
                            "cache": {"read": 800, "write": 0}}})])
        database.close()

    def start_host(self):
        host = harness.Program(self, [harness.BIN / "vigilo", "run"], env={"HOME": str(self.home)})
        wait_for("the host answers", lambda: self.vigilo("status").returncode == 0)
        return host

    def vigilo(self, *arguments, **options):
        return subprocess.run([harness.BIN / "vigilo", *arguments], env={**os.environ, "HOME": str(self.home)},
                              capture_output=True, text=True, timeout=20, **options)

    def all_usage(self):
        """Of all times: the database dates its own."""
        return json.loads(self.vigilo("usage", "--from", "2001-01-01", "--json").stdout)

    def agents_files(self):
        return {str(file): hashlib.sha256(file.read_bytes()).hexdigest()
                for folder in (".claude", ".codex", ".local") for file in (self.home / folder).rglob("*")
                if file.is_file()}

    def test_the_agents_logs_are_recorded_once_over_restarts_and_left_alone(self):
        before = self.agents_files()
        for _ in range(3):
            host = self.start_host()
            wait_for("three turns", lambda: self.all_usage()["turnCount"] == 3)
            wait_for("the budgets, after a restart too",
                     lambda: len(json.loads(self.vigilo("budgets", "--json").stdout)) == 3)
            host.stop(signal.SIGKILL)
        self.assertEqual(self.all_usage()["turnCount"], 3)
        self.assertEqual(self.agents_files(), before)
        host = self.start_host()
        with open(self.claude, "a") as log:
            second = {**CLAUDE_TURN, "message": {**CLAUDE_TURN["message"], "id": "msg_2"}}
            log.write(json.dumps(second) + "\n" + json.dumps(second) + "\n")
        wait_for("the new turn within one polling period", lambda: self.all_usage()["turnCount"] == 4, 4)

    def test_the_answers_are_the_same_with_and_without_a_host(self):
        host = self.start_host()
        wait_for("three turns", lambda: self.all_usage()["turnCount"] == 3)
        commands = (["usage"], ["usage", "today", "--json"], ["usage", "sessions"], ["usage", "sessions", "--limit", "1"],
                    ["usage", "--from", "2026-11-01", "--to", "2027-01-01", "--json"], ["budgets"])
        def answers():
            """Without what counts down."""
            return [re.sub(r"\(in [^)]*\)", "", self.vigilo(*command).stdout) for command in commands]
        running = answers()
        export = json.loads(self.vigilo("usage", "export").stdout)
        host.stop()
        self.assertEqual(answers(), running)
        self.assertIn("Account quota is critically low (8% remaining)", running[-1])
        self.assertIn("Quota unavailable", running[-1])
        without = json.loads(self.vigilo("usage", "export").stdout)
        del export["exportedAt"], without["exportedAt"]
        self.assertEqual(without, export)
        self.assertEqual(export["eventCount"], 3)

    def test_budgets_without_a_host_record_nothing(self):
        self.assertEqual(len(json.loads(self.vigilo("budgets", "--json").stdout)), 3)
        self.assertFalse((self.home / "Library").exists())

    def test_status_tells_usage_and_alerts(self):
        self.start_host()
        wait_for("three turns", lambda: self.all_usage()["turnCount"] == 3)
        status = json.loads(self.vigilo("status", "--json").stdout)
        self.assertEqual(status["lowBudgetAlerts"]["codex"]["level"], "critical")
        self.assertEqual(set(status["latestBudgetReports"]), {"claude", "codex", "opencode"})
        self.assertIn("byAgent", status["todaySummary"])

    def test_usage_that_a_hook_carries_is_recorded(self):
        self.start_host()
        wait_for("three turns", lambda: self.all_usage()["turnCount"] == 3)
        with harness.connect(str(self.home / harness.BELOW_HOME / "vigilo.sock")) as hook:
            hook.send(json.dumps({"agent": "gemini", "state": "working", "session_id": "g", "turn_id": "1",
                                  "input_tokens": 10, "output_tokens": 10**15}).encode())
            hook.recv(64)
        wait_for("the hook's turn", lambda: self.all_usage()["byAgent"].get("gemini", {}).get("inputTokens") == 10)
        self.assertEqual(self.all_usage()["byAgent"]["gemini"]["outputTokens"], 0, "an absurd count reads as absent")

    def test_a_reset_asks_first_and_forgets(self):
        for running in (True, False):
            host = self.start_host()
            wait_for("turns", lambda: self.all_usage()["turnCount"] > 0)
            refused = self.vigilo("usage", "reset", stdin=subprocess.DEVNULL)
            self.assertEqual(refused.returncode, 64)
            self.assertGreater(self.all_usage()["turnCount"], 0)
            if not running:
                host.stop()
            self.assertEqual(self.vigilo("usage", "reset", "--yes").returncode, 0)
            self.assertEqual(self.all_usage()["turnCount"], 0)
            if running:
                host.stop()

    def test_an_export_goes_where_the_user_says_but_never_into_an_agents_folder(self):
        self.start_host().stop()
        for name, code in (("report.json", 0), (".claude/report.json", 77), ("../" + self.home.name + "/.ssh/x", 77)):
            result = self.vigilo("usage", "export", name, cwd=self.home)
            self.assertEqual((result.returncode, (self.home / name).exists()), (code, code == 0), result.stderr)

    def test_folders_that_variables_and_settings_name_are_read_and_protected(self):
        moved = self.folder()
        shutil.move(self.home / ".claude", moved / "claude")
        shutil.move(self.home / ".codex", moved / "codex")
        self.assertEqual(self.vigilo("settings", "set", "codexFolders", f"{moved}/codex").returncode, 0)
        os.environ["CLAUDE_CONFIG_DIR"] = str(moved / "claude")
        self.addCleanup(os.environ.pop, "CLAUDE_CONFIG_DIR")
        self.assertEqual({report["agentType"] for report in json.loads(self.vigilo("budgets", "--json").stdout)},
                         {"claude", "codex", "opencode"})
        self.start_host()
        wait_for("three turns", lambda: self.all_usage()["turnCount"] == 3)
        for folder in ("claude", "codex"):
            self.assertEqual(self.vigilo("usage", "export", str(moved / folder / "x.json")).returncode, 77)

    def test_an_export_is_of_one_moment_however_long_it_is(self):
        sessions = [{**CLAUDE_TURN, "sessionId": f"s{number}", "timestamp": f"{day}T12:00:00Z",
                     "message": {**CLAUDE_TURN["message"], "id": f"m{number}"}}
                    for number, day in enumerate(["2026-01-01", "2126-01-01"] * 300)]
        self.claude.write_text("".join(json.dumps(line) + "\n" for line in sessions))
        host = self.start_host()
        wait_for("all turns", lambda: self.all_usage()["turnCount"] == 602)
        export = json.loads(self.vigilo("usage", "export").stdout)
        self.assertEqual((len(export["sessions"]), export["eventCount"]), (602, 602))
        self.assertNotIn("claude", export["todaySummary"]["byAgent"], "today has an end, too")
        host.stop()
        without = json.loads(self.vigilo("usage", "export").stdout)
        self.assertEqual({**without, "exportedAt": ""}, {**export, "exportedAt": ""})

    def test_a_store_that_cannot_be_read_is_kept(self):
        store = self.home / "Library/Application Support/Vigilo/usage_store.json"
        store.parent.mkdir(parents=True)
        store.write_bytes(b"{\"events\": rubbish \xff")
        for command in (["usage"], ["usage", "--json"], ["usage", "sessions"], ["usage", "export"]):
            result = self.vigilo(*command)
            self.assertEqual((result.returncode, result.stdout), (69, ""), "unreadable is not empty")
            for part in (f"{store} cannot be read: not valid JSON", "the next host", "….unreadable"):
                self.assertIn(part, result.stderr)
        self.assertTrue(store.exists(), "reading moves nothing")
        self.start_host()
        wait_for("three turns", lambda: self.all_usage()["turnCount"] == 3)
        self.assertEqual((store.parent / "usage_store.json.unreadable").read_bytes(), b"{\"events\": rubbish \xff")


if __name__ == "__main__":
    harness.main()
