"""What becomes of the host, and of its notices, when the service that shows them is missing, hangs or dies."""
import os
import signal
import time

import harness
from harness import wait_for
from session import Session, SessionTest, notices_in

NEW = '0 "" "Vigilo is protecting this Mac"'


class NotificationFaultsTest(SessionTest):
    def test_a_service_may_be_missing_come_and_be_replaced(self):
        session = Session(self)
        host = self.start_host(session)
        wait_for("the answer", lambda: host.log_lines("Notification permission granted: false"))
        for state in ("working", "idle"):
            self.agent(state)
        for _ in range(2):
            service = session.start_service()
            self.agent("working")
            # An id of the one before would be somebody else's with this one.
            wait_for("a new notice", lambda: [notice.startswith(NEW)
                                              for notice in notices_in(service.log())] == [True])
            service.stop(signal.SIGKILL)
            wait_for("its end", lambda: not session.has("org.freedesktop.Notifications"))
            self.agent("idle")
        self.assertEqual(len(host.log_lines("Notification permission granted: true")), 2)
        self.assertEqual(host.log_lines("Failed to post"), [])

    def test_a_service_that_hangs_costs_the_host_nothing(self):
        session = Session(self)
        service = session.start_service()
        self.addCleanup(service.process.send_signal, signal.SIGCONT)
        host = self.start_host(session)
        service.process.send_signal(signal.SIGSTOP)
        for state in ("working", "idle", "working"):
            started = time.monotonic()
            self.agent(state)
            if not harness.SANITIZED:
                self.assertLess(time.monotonic() - started, 1.5)
        wait_for("an error", lambda: host.log_lines("Failed to post notification: "))
        service.process.send_signal(signal.SIGCONT)
        wait_for("the last of each kind", lambda: "protecting" in "".join(notices_in(service.log())))
        service.process.send_signal(signal.SIGSTOP)
        self.agent("idle")
        started = time.monotonic()
        self.assertEqual(host.stop(), 0)
        self.assertLess(time.monotonic() - started, 5)

    def test_a_bus_that_dies_is_taken_up_again(self):
        session = Session(self, "-n")
        host = self.start_host(session)
        self.agent("working")
        wait_for("a notice", lambda: len(session.notices()) == 1)
        bus, again = session.bus()
        os.kill(bus, signal.SIGKILL)
        self.agent("idle")
        wait_for("the answer", lambda: host.log_lines("Notification permission granted: false"))
        session.start(*again)
        wait_for("the bus", lambda: session.has("org.freedesktop.DBus"))
        service = session.start_service()
        self.agent("working")
        wait_for("a new notice", lambda: [notice.startswith(NEW)
                                          for notice in notices_in(service.log())] == [True])
        self.assertEqual(host.stop(), 0)

    def test_a_bus_that_hangs_holds_nobody_up(self):
        session = Session(self)
        host = self.start_host(session)
        bus, _ = session.bus()
        self.addCleanup(os.kill, bus, signal.SIGCONT)
        os.kill(bus, signal.SIGSTOP)
        self.agent("working")
        started = time.monotonic()
        self.assertEqual(host.stop(), 0)
        self.assertLess(time.monotonic() - started, 8)


if __name__ == "__main__":
    harness.main()
