"""The global shortcut while X servers and portals end, hang and return, and while others have the keys."""
import signal
import subprocess
import time

import harness
import shortcut
from harness import wait_for
from shortcut import PORTAL, RETRY, UNAVAILABLE, WITH_X, Host

shortcut.run_on_own_buses()


class XServerTest(shortcut.XServerTestCase):
    def test_a_changed_keyboard_is_followed(self):
        host = self.start_host()
        subprocess.run(["setxkbmap", "-display", self.display, "us", "dvorak"], check=True, timeout=20)

        def takes_the_key():
            before = host.triggered()
            self.press()
            return wait_for("any", lambda: host.triggered() > before, 1)

        def eventually():
            try:
                return takes_the_key()
            except AssertionError:
                return False

        wait_for("the key where l is now", eventually)

    def test_keys_that_another_program_has_are_taken_when_it_ends(self):
        first = self.start_host()
        second = Host(self, DISPLAY=self.display)
        second.wait_for_shortcut("another program has taken Alt+Super+L")
        self.assertIn("shortcut    not available: another program has taken Alt+Super+L",
                      second.vigilo("status").stdout)
        self.assertEqual(first.program.stop(), 0)
        second.wait_for_shortcut(WITH_X, True)
        self.assertEqual(len(second.program.log_lines(UNAVAILABLE)), 1)
        self.press()
        wait_for("the toggle", lambda: not second.is_enabled(), 2)

    def test_a_server_that_ends_and_returns_costs_the_shortcut_meanwhile(self):
        host = self.start_host()
        self.x.stop(signal.SIGKILL)
        host.wait_for_shortcut(f"no X server runs on display {self.display}")
        self.start_x()
        host.wait_for_shortcut(WITH_X, True)
        self.press()
        wait_for("the toggle", lambda: not host.is_enabled(), 2)

    def test_a_server_that_hangs_does_not_keep_the_host(self):
        self.x.process.send_signal(signal.SIGSTOP)
        self.addCleanup(self.x.process.send_signal, signal.SIGCONT)
        host = Host(self, DISPLAY=self.display)
        host.wait_for_shortcut("the X server does not answer")
        other = Host(self, DISPLAY=self.display)
        self.assertEqual(other.program.stop(), 0)
        self.x.process.send_signal(signal.SIGCONT)
        host.wait_for_shortcut(WITH_X, True)


class PortalTest(shortcut.PortalTestCase):
    def test_a_portal_that_ends_or_ends_the_session_is_asked_anew(self):
        self.start_portal()
        host = self.start_host()
        host.wait_for_shortcut(PORTAL, True)
        self.end_portal()
        wait_for("the loss", lambda: not host.status()["shortcut"]["isRegistered"])
        self.start_portal()
        host.wait_for_shortcut(PORTAL, True)
        self.assert_toggles(host)
        self.tell("close")
        wait_for("a new session", lambda: self.log.read_text().count("BindShortcuts") == 2, RETRY)
        host.wait_for_shortcut(PORTAL, True)
        self.assert_toggles(host)

    def test_a_session_bus_that_ends_and_returns_costs_the_shortcut_meanwhile(self):
        socket = self.folder() / "bus"
        address = {"DBUS_SESSION_BUS_ADDRESS": f"unix:path={socket}"}

        def start_bus():
            bus = harness.Program(self, ["dbus-daemon", "--session", "--nofork", "--nopidfile",
                                         f"--address=unix:path={socket}"])
            wait_for("the bus", socket.exists)
            return bus

        bus = start_bus()
        self.start_portal(**address)
        host = self.start_host(**address)
        host.wait_for_shortcut(PORTAL, True)
        bus.stop(signal.SIGKILL)
        wait_for("the loss", lambda: "no session bus" in host.status()["shortcut"]["description"])
        socket.unlink()
        start_bus()
        self.end_portal()
        self.start_portal(**address)
        host.wait_for_shortcut(PORTAL, True)
        self.assert_toggles(host)

    def test_a_user_who_declines_is_not_asked_again(self):
        self.start_portal(answer=1)
        host = self.start_host()
        host.wait_for_shortcut("declined when the desktop asked for it")
        time.sleep(3)  # beyond the first pauses
        self.assertEqual(self.log.read_text().count("CreateSession"), 1)

    def test_a_portal_that_comes_late_or_hangs_is_taken_when_it_serves(self):
        host = self.start_host()
        host.wait_for_shortcut("no desktop portal runs in this session")
        self.start_portal()
        host.wait_for_shortcut(PORTAL, True)
        self.portal.send_signal(signal.SIGSTOP)
        hanging = self.start_host()
        hanging.wait_for_shortcut("the desktop portal does not answer")
        self.assertEqual(hanging.program.stop(), 0)
        self.assertTrue(host.status()["shortcut"]["isRegistered"])


if __name__ == "__main__":
    harness.main()
