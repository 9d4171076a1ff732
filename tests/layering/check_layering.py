#!/usr/bin/env python3
"""Fails when an #include points up the list of folders, or when a library is used outside its one place.

    check_layering.py SOURCE_ROOT

A folder may include from itself and from folders below it. The rules that go with that: system-specific #if only in
platform/ and support/, the bus library only behind platform/linux/Bus.h, the JSON library only behind the coder, the
terminal library in one file.
"""
import pathlib
import re
import sys

# From the bottom up.
FOLDERS = ["support", "platform", "agents", "helper", "policy", "usage", "app", "coordinators", "programs"]
PROGRAMS = {"VigiloHelper", "VigiloRelay", "VigiloApp"}
INCLUDE = re.compile(r'^\s*#\s*include\s+(["<])([^">]+)[">]')


def folder_of(path):
    """The folder's place in the list for a path below the source root, None outside the house."""
    parts = path.parts
    if parts[0] in PROGRAMS:
        return "programs"
    if parts[0] != "VigiloCore":
        return None
    return parts[1] if len(parts) > 2 else "coordinators"


def target_of(name):
    first = name.split("/")[0]
    if first in PROGRAMS:
        return "programs"
    if "/" not in name:
        return "coordinators"
    return first if first in FOLDERS else None


def faults(root):
    for path in sorted(root.glob("Vigilo*/**/*")):
        if path.suffix not in {".h", ".cpp"}:
            continue
        relative = path.relative_to(root)
        folder = folder_of(relative)
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            where = f"{relative}:{number}"
            if re.match(r"^\s*#\s*(if|ifdef|ifndef)\b", line) and folder not in {"platform", "support"}:
                yield f"{where}: conditional compilation outside platform/ and support/"
            include = INCLUDE.match(line)
            if not include:
                continue
            quoted, name = include.group(1) == '"', include.group(2)
            if name.startswith("sdbus-c++") and "platform/linux/" not in str(relative):
                yield f"{where}: the bus library outside platform/linux/"
            if name.startswith("nlohmann") and relative.name not in {"RecordCoding.h", "RecordCoding.cpp"}:
                yield f"{where}: the JSON library outside the record coder"
            if name in {"curses.h", "ncurses.h", "term.h"} and relative.name != "TopTerminal.cpp":
                yield f"{where}: the terminal library outside the one file that draws"
            if name.startswith("toml++") and relative.name != "TomlParsing.h":
                yield f"{where}: the TOML library outside support/TomlParsing.h"
            if not quoted:
                continue
            target = target_of(name)
            if target is None:
                yield f"{where}: unknown folder in \"{name}\""
            elif FOLDERS.index(target) > FOLDERS.index(folder):
                yield f"{where}: {folder}/ includes {target}/, which stands above it (\"{name}\")"


def main():
    found = list(faults(pathlib.Path(sys.argv[1])))
    print("\n".join(found) if found else "every include points down")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
