"""Banners and chimes as the user of a desktop gets them: a recording and a real notification service, and a real sound
server."""
import array
import json
import subprocess

import harness
from harness import wait_for
from session import Session, SessionTest

STARTED = '"Vigilo is protecting this Mac" "1 coding agent session working." []'
FINISHED = '"Coding agents finished" "Normal sleep behavior has been restored." []'
CHIMED = '{"desktop-entry": "vigilo", "suppress-sound": True, "urgency": 1} -1'
NOT_CHIMED = '{"desktop-entry": "vigilo", "sound-name": "dialog-information", "urgency": 1} -1'


class NotificationsTest(SessionTest):
    def test_each_end_of_a_hold_is_shown_and_heard(self):
        session = Session(self, "-n", "-s")
        self.start_host(session)
        recording = self.folder() / "recording"
        recorder = harness.Program(self, ["sh", "-c", 'exec parec --latency-msec=20 -d n.monitor --format=s16le >"$0"',
                                          recording], env=session.environment)
        wait_for("the recorder", lambda: recording.exists() and recording.stat().st_size > 0)

        def loudness():
            data = recording.read_bytes()
            return max(map(abs, array.array("h", data[:len(data) // 2 * 2])), default=0)
        self.assertEqual(loudness(), 0)
        self.agent("working")
        wait_for("a chime", lambda: loudness() > 1000)
        recorder.stop()
        self.agent("idle")
        wait_for("both", lambda: len(session.notices()) == 2)
        self.assertEqual(session.notices(), [f'0 "" {STARTED} {CHIMED}', f'0 "" {FINISHED} {CHIMED}'])
        self.agent("working")
        wait_for("the first to be replaced", lambda: session.notices()[2:] == [f'1 "" {STARTED} {CHIMED}'])

    def test_the_settings_are_obeyed(self):
        session = Session(self, "-n")
        self.start_host(session)
        self.vigilo("settings", "set", "notificationsEnabled", "false")
        self.agent("working")
        self.agent("idle")
        self.vigilo("settings", "set", "notificationsEnabled", "true")
        self.vigilo("settings", "set", "soundEnabled", "false")
        self.agent("working")
        wait_for("a notice", session.notices)
        self.assertEqual(session.notices(), [f'0 "" {STARTED} {NOT_CHIMED}'])

    def test_a_real_service_shows_them(self):
        session = Session(self, "-N")
        self.start_host(session)
        for state in ("working", "idle"):
            self.agent(state)

        def shown():
            subprocess.run(["dunstctl", "close-all"], check=True, env=session.environment)
            history = json.loads(subprocess.run(["dunstctl", "history"], check=True, env=session.environment,
                                                capture_output=True).stdout)
            return {(notice["appname"]["data"], notice["summary"]["data"], notice["body"]["data"])
                    for notice in history["data"][0]}
        wait_for("both", lambda: shown() == {
            ("Vigilo", "Vigilo is protecting this Mac", "1 coding agent session working."),
            ("Vigilo", "Coding agents finished", "Normal sleep behavior has been restored.")})

    def test_without_sound_the_terminal_rings_and_the_output_stays_clean(self):
        session = Session(self)
        output = self.folder() / "output"
        terminal = self.start_host(session, "script", "-qefc", f"exec {harness.BIN}/vigilo run >{output} 2>&1",
                                   "/dev/null")
        self.agent("working")
        wait_for("the bell", lambda: "\a" in terminal.log())
        self.assertNotIn("\a", output.read_text())


if __name__ == "__main__":
    harness.main()
