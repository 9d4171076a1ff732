"""What the helper costs a machine on which nothing happens."""
import re
import subprocess
import time

import harness
from harness import ask

harness.run_with_logind()

LIBRARIES = {"libsdbus-c++.so.1", "libsystemd.so.0", "libstdc++.so.6", "libgcc_s.so.1", "libc.so.6"}
RESIDENT_LIMIT_KB = 6 * 1024
WATCHDOG_SECONDS = 5


@harness.skip_if_sanitized
class HelperFootprintTest(harness.TestCase):
    def test_it_loads_only_the_libraries_that_it_is_known_to_need(self):
        section = subprocess.run(["readelf", "-d", harness.BIN / "VigiloHelper"], capture_output=True, text=True,
                                 check=True).stdout
        self.assertEqual(set(re.findall(r"\(NEEDED\).*\[(.*)\]", section)), LIBRARIES)

    def test_it_stays_small(self):
        helper = self.start_helper()
        self.assertLess(helper.status("VmRSS"), RESIDENT_LIMIT_KB)
        for _ in range(200):
            ask("acquire")
        self.assertLess(helper.status("VmRSS"), RESIDENT_LIMIT_KB)

    def test_nothing_but_the_watchdog_wakes_it(self):
        helper = self.start_helper()
        before = helper.context_switches()
        seconds = 20
        time.sleep(seconds)
        # A tick sleeps once in the poller; the one at the end may or may not be in.
        self.assertLessEqual(helper.context_switches() - before, seconds / WATCHDOG_SECONDS + 1)


if __name__ == "__main__":
    harness.main()
