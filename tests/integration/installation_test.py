"""What `make install` installs: the units as systemd reads them, manual pages and completions as true as the program,
and what goes again with `make uninstall`."""
import json
import os
import pathlib
import plistlib
import re
import shutil
import subprocess

import harness

BUILD = harness.BIN.parent
# Of ten, in tenths. What is left is that it runs as root and speaks to sockets.
EXPOSURE_LIMIT = 9


def run(*command, **options):
    return subprocess.run([*map(str, command)], capture_output=True, text=True, **options)


def help_of(path):
    """The commands below a command, and its own options, as its help lists them."""
    text = run(harness.BIN / "vigilo", *path, "--help", check=True).stdout
    commands = re.search(r"^Subcommands:\n((?:  .*\n?)*)", text, re.M)
    names = re.findall(r"^  (\S+)", commands.group(1), re.M) if commands else []
    listed = re.search(r"^Options:\n((?:  .*\n?)*)", text, re.M)
    options = re.findall(r"--[a-z-]+", "\n".join(line[:30] for line in listed.group(1).splitlines())) if listed else []
    return names, [option for option in options if option not in ("--help", "--version")]


def all_commands(path=()):
    names, options = help_of(path)
    yield path, options
    for name in names:
        yield from all_commands((*path, name))


class InstallationTest(harness.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.commands = list(all_commands())

    def install(self, prefix, destination=""):
        lists = self.folder() / "installed.txt"
        variables = [f"BUILD={BUILD}", f"PREFIX={prefix}", f"DESTDIR={destination}", f"INSTALLED={lists}"]
        done = run("make", "-C", harness.SOURCE, "install", *variables)
        self.assertEqual(done.returncode, 0, done.stderr)
        return variables

    def test_what_is_installed_is_uninstalled(self):
        root = self.folder()
        variables = self.install("/opt/some", root)
        for name in ("bin/vigilo", "bin/vigilo-relay", "libexec/vigilo/VigiloHelper"):
            self.assertEqual(run(root / "opt/some" / name, "--version").returncode, 0)
        self.assertEqual([path.name for path in root.iterdir()], ["opt"], "everything lies below the prefix")
        unit = (root / "opt/some/lib/systemd/system/vigilo-helper.service").read_text()
        self.assertIn("ExecStart=/opt/some/libexec/vigilo/VigiloHelper\n", unit, "without the staging folder")
        run("make", "-C", harness.SOURCE, "uninstall", *variables, check=True)
        self.assertEqual([path for path in root.rglob("*") if not path.is_dir()], [])

    def test_what_is_to_be_uninstalled_is_known_after_cleaning(self):
        build, root = self.folder(), self.folder()
        (build / "bin").mkdir()
        (build / "installed.txt").write_text("/opt/some/vigilo\n")
        (root / "opt/some").mkdir(parents=True)
        (root / "opt/some/vigilo").touch()
        for target in ("clean", "uninstall", "clean"):
            run("make", "-C", harness.SOURCE, target, f"BUILD={build}", f"DESTDIR={root}", check=True)
        self.assertEqual(list((root / "opt/some").iterdir()), [])
        self.assertFalse(build.exists())

    def test_missing_and_old_libraries_are_named(self):
        modules = self.folder()
        (modules / "sdbus-c++.pc").write_text("Name: old\nDescription: old\nVersion: 1.1.0\n")
        done = run("cmake", "-S", harness.SOURCE, "-B", self.folder() / "build", "-DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON",
                   env={**os.environ, "PKG_CONFIG_PATH": str(modules)})
        self.assertNotEqual(done.returncode, 0)
        said = " ".join(done.stderr.split())
        self.assertRegex(said, r"needs CLI11 [\d.]+ or later \(there is none\), sdbus-c\+\+ 1.2 or later \(here is 1.1.0\)\.")

    def test_systemd_takes_the_units_and_finds_little_to_expose(self):
        prefix = self.folder()
        self.install(prefix)
        helper = prefix / "lib/systemd/system/vigilo-helper.service"
        for arguments in (["--system", helper], ["--user", prefix / "lib/systemd/user/vigilo.service"]):
            # A user manager wants a folder of its own.
            done = run("systemd-analyze", arguments[0], "verify", "--man=no", arguments[1],
                       env={**os.environ, "XDG_RUNTIME_DIR": str(prefix)})
            # Some releases miss a running system's bus, and go on.
            said = [line for line in (done.stdout + done.stderr).splitlines() if "connect to system bus" not in line]
            self.assertEqual((done.returncode, said), (0, []))
        done = run("systemd-analyze", "security", "--offline=true", f"--threshold={EXPOSURE_LIMIT}", "--no-pager", helper)
        self.assertEqual(done.returncode, 0, done.stdout[-400:])

    def test_the_property_list_starts_the_installed_helper(self):
        with open(harness.SOURCE / "packaging/launchd/com.vigilo.helper.plist", "rb") as file:
            properties = plistlib.load(file)
        self.assertEqual(properties["Label"], "com.vigilo.helper")
        prefix = pathlib.Path("/usr/local")
        self.assertEqual(properties["ProgramArguments"], [str(prefix / "libexec/vigilo/VigiloHelper")])

    def test_the_manual_pages_are_sound_and_know_every_command(self):
        pages = sorted((harness.SOURCE / "packaging/man").iterdir())
        self.assertEqual(len(pages), 3)
        for page in pages:
            done = run("mandoc", "-T", "lint", "-W", "warning", page)
            self.assertEqual((done.returncode, done.stdout), (0, ""))
        text = run("mandoc", "-T", "ascii", "-O", "width=200", harness.SOURCE / "packaging/man/vigilo.1", check=True).stdout
        plain = re.sub(".\b", "", text)
        heads = [re.sub(r"[\[\]|]", " ", line).split() for line in plain.splitlines()
                 if re.match(r" {5}\S", line)]
        for path, options in self.commands[1:]:
            described = [head for head in heads if head[0] == path[0] and set(path) <= set(head)]
            self.assertTrue(described, f"vigilo(1) does not know: {' '.join(path)}")
            for option in options:
                self.assertTrue(any(option in head for head in described),
                                f"vigilo(1) does not know: {' '.join(path)} {option}")

    def test_the_manual_page_says_of_each_setting_what_the_program_says(self):
        page = run("mandoc", "-T", "ascii", "-O", "width=300", harness.SOURCE / "packaging/man/vigilo.1", check=True).stdout
        plain = re.sub(".\b", "", page)
        listed = run(harness.BIN / "vigilo", "settings", "--json", env={"HOME": str(self.folder())}, check=True).stdout
        for setting in json.loads(listed):
            self.assertTrue(setting["meaning"])
            self.assertIn("{key} ({allowed}; default {defaultValue})".format(**setting), plain)
            self.assertIn(f"  {setting['meaning']}\n", plain)

    def completed_by_bash(self, *words):
        script = harness.SOURCE / "packaging/completions/vigilo.bash"
        line = f'. {script}; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); compopt() {{ echo files; }}; _vigilo; ' \
               'printf "%s\\n" "${COMPREPLY[@]}"'
        return run("bash", "-c", line, "bash", harness.BIN / "vigilo", *words, check=True).stdout.split()

    def completed_by_zsh(self, *words):
        script = harness.SOURCE / "packaging/completions/_vigilo"
        line = 'CURRENT=$#; words=("$@"); _describe() { print -l -- ${(P)2} }; _files() { print files }; ' \
               f'complete() {{ . {script} }}; complete'
        done = run("zsh", "-f", "-c", line, "zsh", harness.BIN / "vigilo", *words).stdout
        return [entry.split(":")[0] for entry in done.splitlines()]

    def completed_by_fish(self, *words):
        script = harness.SOURCE / "packaging/completions/vigilo.fish"
        home = self.folder()
        done = run("fish", "--no-config", "-c", f"source {script}; complete -C '{' '.join(['vigilo', *words])}'",
                   cwd=home, env={"HOME": str(home), "PATH": f"{harness.BIN}:{os.environ['PATH']}"}, check=True).stdout
        return [entry.split("\t")[0] for entry in done.splitlines()]

    def test_the_shells_complete_what_the_program_knows(self):
        (top, _), (settings, _) = help_of(()), help_of(("settings",))
        for shell in ("bash", "zsh", "fish"):
            if not shutil.which(shell):
                print(f"{shell} is not installed")
                continue
            complete = getattr(self, f"completed_by_{shell}")
            with self.subTest(shell):
                self.assertEqual(sorted(complete("")), sorted(top))
                self.assertEqual(sorted(complete("settings", "")), sorted(settings))
                self.assertEqual(complete("settings", "get", "batt"), ["batteryFloorPercent"])
                self.assertEqual(sorted(complete("hold", "")), ["off", "on"])
                self.assertEqual(complete("usage", "sessions", "--lim"), ["--limit"])
                self.assertEqual(complete("usage", "--from", ""), [])
                if shell != "fish":  # which lists the folder's files, and there are none
                    self.assertEqual(complete("usage", "export", ""), ["files"])


if __name__ == "__main__":
    harness.main()
