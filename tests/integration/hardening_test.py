"""That the programs are built as distributions build their own daemons, read from the built programs."""
import os
import re
import subprocess
import unittest

import harness


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def own_functions(program):
    """The disassembled functions of this system's own code."""
    code = output("objdump", "-dC", "--no-show-raw-insn", harness.BIN / program)
    return [body for body in code.split("\n\n") if re.match(r"[0-9a-f]+ <(vigilo::|\(anonymous)", body)]


@unittest.skipUnless(os.environ.get("VIGILO_HARDENED"), "built without optimisation, or with sanitizers")
class HardeningTest(harness.TestCase):
    def test_stacks_are_guarded_and_programs_lie_where_the_system_puts_them(self):
        for program in ("VigiloHelper", "vigilo-relay"):
            guarded = sum("__stack_chk_fail" in body for body in own_functions(program))
            self.assertGreater(guarded, 3, program)
            self.assertIn("Position-Independent Executable", output("readelf", "-h", harness.BIN / program))

    def test_the_helper_calls_the_checked_functions(self):
        self.assertTrue(re.search(r"U __\w+_chk@", output("nm", "-D", harness.BIN / "VigiloHelper")))

    @unittest.skipUnless(os.uname().machine == "x86_64", "another processor")
    def test_jumps_go_only_where_they_are_meant_to(self):
        for program in ("VigiloHelper", "vigilo-relay"):
            marked = sum("endbr64" in body for body in own_functions(program))
            self.assertGreater(marked, 3, program)


if __name__ == "__main__":
    harness.main()
