"""A lid switch for a logind of a test's own, which closes once and at a known time."""
import os
import pathlib
import subprocess
import sys

import harness

UNSEEN = 77
LID_CLOSES_AFTER = 4.0  # seconds from logind's start
LID_DEVICE = f"""P: /devices/LNXSYSTM:00/LNXSYBUS:00/PNP0C0D:00/input/input0
E: SUBSYSTEM=input
E: NAME="Lid Switch"
A: name=Lid Switch
A: capabilities/sw=1

P: /devices/LNXSYSTM:00/LNXSYBUS:00/PNP0C0D:00/input/input0/event0
N: input/event0
E: DEVNAME=/dev/input/event0
E: SUBSYSTEM=input
E: MAJOR=13
E: MINOR=64
A: dev=13:64
"""
LID_ANSWERS = f"""@DEV /dev/input/event0
EVIOCGNAME(0) 11 {b'Lid Switch'.ljust(256, bytes(1)).hex().upper()}
EVIOCGBIT(0) 8 2100000000000000
EVIOCGBIT(5) 8 0100000000000000
EVIOCGSW(0) 8 0000000000000000
"""
LID_EVENTS = f"""E: 0.000000 0000 0000 0
E: {LID_CLOSES_AFTER:.6f} 0005 0000 1
E: {LID_CLOSES_AFTER:.6f} 0000 0000 0
"""


def run_with_lid(test, script, scenario):
    """Runs one scenario of the script, its exit code, below a logind and a lid of its own, which closes once."""
    folder = test.folder()
    files = {"lid.umockdev": LID_DEVICE, "lid.ioctl": LID_ANSWERS, "lid.events": LID_EVENTS}
    for name, content in files.items():
        (folder / name).write_text(content)
    device = "/dev/input/event0="
    prefix = harness.own_processes()
    if prefix is None:
        test.skipTest("this user may make no name spaces here")
    code = subprocess.run(
        [*prefix, harness.SOURCE / "tools" / "with-logind", "-r", "-m", "-t", "power-switch:c13:64",
         "-d", folder / "lid.umockdev", "-i", device + str(folder / "lid.ioctl"),
         "-e", device + str(folder / "lid.events"), "--", sys.executable, "-B", script, f"Scenario.{scenario}"],
        timeout=60).returncode
    if code == UNSEEN:
        test.skipTest("the logind of this system does not see a played switch")
    return code


# In a scenario, on Debian 13 for one: no device that is played reaches its logind.
if "VIGILO_LOGIND_LOG" in os.environ:
    if "Watching system buttons" not in pathlib.Path(os.environ["VIGILO_LOGIND_LOG"]).read_text():
        sys.exit(UNSEEN)
