#!/usr/bin/env python3
"""Runs the built vigilo-relay against a listening socket, the way agents run it.

VIGILO_BIN names the folder of the built programs.
"""
import json
import os
import pty
import socket
import subprocess
import tempfile
import threading
import time
import unittest

RELAY = os.path.join(os.path.abspath(os.environ["VIGILO_BIN"]), "vigilo-relay")
BELOW_HOME = "Library/Application Support/Vigilo/run/vigilo.sock"
WORKING = ["--agent", "claude", "--state", "working"]
HOOK = {"session_id": "c353b3b5", "transcript_path": "/t.jsonl", "cwd": "/Users/me/proj",
        "hook_event_name": "PreToolUse", "tool_name": "Bash",
        "tool_input": {"command": "echo hi", "session_id": "no", "cwd": "/no"}}
NOTIFICATION = {"type": "agent-turn-complete", "thread-id": "01a1fce6", "turn-id": "0", "cwd": "/Users/me/proj",
                "input-messages": ["Please"], "last-assistant-message": "Done: \"session_id\":\"no\""}


class Host:
    """Listens where the relay looks, and keeps what arrives: one read a connection, as the receiver does."""

    def __init__(self, home, answers=True):
        path = os.path.join(home, BELOW_HOME)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        self.received = []
        self.answers = answers
        self.kept = []
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.bind(path)
        self.socket.listen(64)
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()

    def serve(self):
        while True:
            connection, _ = self.socket.accept()
            self.kept.append(connection)
            message = connection.recv(65536)
            if message == b"end":
                return
            self.received.append(message)
            if self.answers:
                connection.sendall(b'{"ok":true}\n')
                self.kept.pop().close()

    def close(self):
        ending = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        ending.connect(self.socket.getsockname())
        ending.sendall(b"end")
        self.thread.join()
        for each in [ending, self.socket, *self.kept]:
            each.close()


class RelayTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="vigilo-")
        self.home = self.folder.name
        self.addCleanup(self.folder.cleanup)

    def host(self, **options):
        host = Host(self.home, **options)
        self.addCleanup(host.close)
        return host

    def run_relay(self, arguments, stdin=b"", **options):
        """The outcome, after checking what holds for every run: no output, and over within a second."""
        begin = time.monotonic()
        source = {"input": stdin} if isinstance(stdin, bytes) else {"stdin": stdin}
        outcome = subprocess.run([RELAY, *arguments], capture_output=True, timeout=10,
                                 env={"HOME": self.home}, **source, **options)
        self.assertLess(time.monotonic() - begin, 1.0)
        self.assertEqual((outcome.returncode, outcome.stdout, outcome.stderr), (0, b"", b""))
        return outcome

    def event(self, arguments, stdin=b"", **options):
        host = self.host()
        self.run_relay(arguments, stdin, **options)
        self.assertEqual(len(host.received), 1)
        return json.loads(host.received[0].decode("utf-8"))

    def test_sends_what_the_hook_object_and_the_arguments_say(self):
        begin = time.time()
        event = self.event(WORKING, json.dumps(HOOK).encode())
        self.assertEqual(list(event), ["schema", "agent", "session_id", "state", "timestamp", "cwd"])
        self.assertAlmostEqual(event.pop("timestamp"), begin, delta=1)
        self.assertEqual(event, {"schema": 1, "agent": "claude", "session_id": "c353b3b5", "state": "working",
                                 "cwd": "/Users/me/proj"})

    def test_who_the_session_is(self):
        notification = json.dumps(NOTIFICATION)
        hook = json.dumps(HOOK).encode()
        cases = [
            # arguments, standard input, session id, state, cwd
            (WORKING, b"", None, "working", None),
            (WORKING, b"hello", None, "working", None),
            (WORKING, hook[:-40], "c353b3b5", "working", "/Users/me/proj"),
            ([*WORKING, "--session-id", "mine"], b"", "mine", "working", None),
            (["--agent", "codex", "--state", "working", notification], b"", "01a1fce6", "idle", "/Users/me/proj"),
            ([*WORKING, "--verbose", "extra", "--session-id", "mine", "--unknown"], b"", "mine", "working", None),
            ([*WORKING, "--session-id"], hook, "c353b3b5", "working", "/Users/me/proj"),
            ([*WORKING, "--session-id", "{not an object}"], b"", "{not an object}", "working", None),
        ]
        for arguments, stdin, session, state, cwd in cases:
            with self.subTest(arguments=arguments, stdin=stdin):
                event = self.event(arguments, stdin)
                self.assertEqual((event.get("session_id"), event["state"], event.get("cwd")), (session, state, cwd))
                self.doCleanups()
                self.setUp()

    def test_a_given_id_takes_the_folder_from_a_file_on_standard_input(self):
        with tempfile.TemporaryFile() as file:
            file.write(json.dumps(HOOK).encode())
            file.seek(0)
            event = self.event([*WORKING, "--session-id", "mine"], file)
        self.assertEqual((event["session_id"], event["cwd"]), ("mine", "/Users/me/proj"))

    def test_drains_a_large_object_and_finds_what_stands_at_its_end(self):
        large = dict(tool_response={"stdout": "x\"\\é" * 150000}, **HOOK)
        self.assertEqual(self.event(WORKING, json.dumps(large).encode()).get("session_id"), "c353b3b5")

    def test_waits_for_an_object_that_comes_late_and_not_for_one_that_cannot_come(self):
        pair = lambda: [end.detach() for end in socket.socketpair()]
        for ends, late, session, most in [(os.pipe, json.dumps(HOOK).encode(), "c353b3b5", 1), (os.pipe, b"", None, 0.55),
                                          (pair, json.dumps(HOOK).encode(), "c353b3b5", 1), (pair, b"", None, 0.55)]:
            with self.subTest(ends=ends, late=late):
                reading, writing = ends()
                writer = threading.Timer(0.2, lambda: (late and os.write(writing, late), os.close(writing)))
                writer.start()
                begin = time.monotonic()
                self.assertEqual(self.event(WORKING, reading).get("session_id"), session)
                self.assertGreaterEqual(time.monotonic() - begin, 0.2)
                self.assertLess(time.monotonic() - begin, most)
                writer.join()
                os.close(reading)
                self.doCleanups()
                self.setUp()

    def test_waits_below_a_second_for_an_object_that_never_ends(self):
        for stdin, arguments, least, most in [(b"", WORKING, 0.55, 1), (b'{"session_id":"s"', WORKING, 0.55, 1),
                                              (b"", [*WORKING, "--session-id", "s"], 0, 0.09)]:
            with self.subTest(stdin=stdin, arguments=arguments):
                reading, writing = os.pipe()
                os.write(writing, stdin)
                begin = time.monotonic()
                self.event(arguments, reading)
                self.assertGreaterEqual(time.monotonic() - begin, least)
                self.assertLess(time.monotonic() - begin, most)
                os.close(reading)
                os.close(writing)
                self.doCleanups()
                self.setUp()

    def test_an_endless_flood_on_standard_input_ends_in_time(self):
        with open("/dev/zero", "rb") as zeros:
            self.event(WORKING, zeros)
        self.doCleanups()
        self.setUp()
        flood = subprocess.Popen(["sh", "-c", "printf '{'; yes '\"a\":[1],'"], stdout=subprocess.PIPE,
                                 stderr=subprocess.DEVNULL)
        self.event([*WORKING, "--session-id", "s"], flood.stdout)
        flood.stdout.close()
        flood.kill()
        flood.wait()

    def test_never_reads_a_terminal_and_survives_a_closed_standard_input(self):
        leader, terminal = pty.openpty()
        begin = time.monotonic()
        self.event(WORKING, terminal)
        self.assertLess(time.monotonic() - begin, 0.09)
        os.close(leader)
        os.close(terminal)
        self.doCleanups()
        self.setUp()
        host = self.host()
        subprocess.run(["sh", "-c", 'exec "$@" <&- >&- 2>&-', "sh", RELAY, *WORKING], check=True,
                       env={"HOME": self.home})
        self.assertEqual(len(host.received), 1)

    def test_succeeds_silently_when_nobody_listens(self):
        self.run_relay(WORKING)
        os.makedirs(os.path.dirname(os.path.join(self.home, BELOW_HOME)))
        dead = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        dead.bind(os.path.join(self.home, BELOW_HOME))
        dead.close()
        self.run_relay(WORKING)
        self.home = os.path.join(self.home, "x" * 5000)
        self.run_relay(WORKING)

    def test_is_over_within_a_second_when_the_host_does_not_answer(self):
        host = self.host(answers=False)
        self.run_relay(WORKING)
        self.assertEqual(len(host.received), 1)

    def test_is_over_within_a_second_when_the_host_does_not_accept(self):
        path = os.path.join(self.home, BELOW_HOME)
        os.makedirs(os.path.dirname(path))
        full = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        full.bind(path)
        full.listen(0)
        waiting = [socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) for _ in range(4)]
        for each in waiting:
            each.setblocking(False)
            try:
                each.connect(path)
            except BlockingIOError:
                break
        reading, writing = os.pipe()
        self.run_relay(WORKING, reading)
        for each in [full, *waiting]:
            each.close()
        os.close(reading)
        os.close(writing)

    def test_only_a_missing_agent_or_state_is_an_error(self):
        for arguments in [[], ["--agent", "claude"], ["--state", "working"], ["--agent", "--state", "working"],
                          ["--agent", "", "--state", "idle"], ["--state", "idle", "--agent"]]:
            with self.subTest(arguments=arguments):
                outcome = subprocess.run([RELAY, *arguments], capture_output=True, stdin=subprocess.DEVNULL)
                self.assertEqual(outcome.returncode, 1)
                self.assertEqual(outcome.stdout, b"")
                self.assertEqual(outcome.stderr.count(b"\n"), 1)


if __name__ == "__main__":
    unittest.main()
