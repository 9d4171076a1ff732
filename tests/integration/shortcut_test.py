"""The global shortcut as a user meets it: key presses in a real X server, and a desktop portal that is played."""
import time

import harness
import shortcut
from harness import wait_for
from shortcut import PORTAL, REGISTERED, UNAVAILABLE, WITH_X, Host

shortcut.run_on_own_buses()


class XServerTest(shortcut.XServerTestCase):
    def test_the_keys_turn_protection_off_and_on(self):
        host = self.start_host()
        self.assertTrue(host.is_enabled())
        self.press()
        wait_for("protection is off", lambda: "Master switch disabled" in host.vigilo("status").stdout, 2)
        self.press()
        wait_for("protection is on", host.is_enabled, 2)
        self.assertIn(f"shortcut    {WITH_X}", host.vigilo("status").stdout)
        self.assertEqual(len(host.program.log_lines(REGISTERED)), 1)

    def test_further_modifiers_do_not_matter_and_missing_ones_do(self):
        host = self.start_host()
        for count, keys in enumerate(["alt+super+l", "alt+super+shift+l", "alt+super+ctrl+l", "alt+super+ctrl+shift+l"],
                                     1):
            for others in ("super+l", "alt+l", "shift+ctrl+l", "l", "alt+super+k"):
                self.press(others)
            self.press(keys)
            # The server sends events in order: had the others counted, there would be more by now.
            wait_for(keys, lambda: host.triggered() >= count, 2)
            self.assertEqual(host.triggered(), count, keys)
        for count, lock in enumerate(["Caps_Lock", "Num_Lock"], 5):
            self.press(lock)
            self.press()
            self.press(lock)
            wait_for(lock, lambda: host.triggered() == count, 2)

    def test_held_down_it_counts_once(self):
        host = self.start_host()
        self.xdotool("keydown", "alt", "keydown", "super", "keydown", "l")
        time.sleep(1.2)  # the server repeats a key after 0.66 s
        self.xdotool("keyup", "l", "keyup", "super", "keyup", "alt")
        self.press()
        wait_for("the press after it", lambda: host.triggered() >= 2, 2)
        self.assertEqual(host.triggered(), 2)


class PortalTest(shortcut.PortalTestCase):
    def test_a_bound_shortcut_toggles_and_nothing_else_does(self):
        self.start_portal()
        host = self.start_host()
        host.wait_for_shortcut(PORTAL, True)
        self.assertEqual(self.log.read_text().splitlines(), [
            "Register vigilo", "CreateSession",
            "BindShortcuts True toggle ALT+LOGO+l Turn Vigilo's protection on or off"])
        self.tell("nonsense")
        self.tell("press", "/org/freedesktop/portal/desktop/session/other", "toggle")
        self.assert_toggles(host)
        self.assertEqual(host.triggered(), 1)

    def test_a_session_without_a_desktop_says_so_once(self):
        host = Host(self)
        host.wait_for_shortcut("this session has neither an X server nor a Wayland desktop")
        self.assertEqual(len(host.program.log_lines(UNAVAILABLE)), 1)
        self.assertIn("shortcut    not available: this session has neither", host.vigilo("status").stdout)


if __name__ == "__main__":
    harness.main()
