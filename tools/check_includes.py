#!/usr/bin/env python3
"""Checks that no folder includes a folder above it.

usage: check_includes.py SOURCE_DIR

Each folder may include itself and the folders below it. Of probe/ the others see its C header only, and probe/ sees
nothing of them. Prints one line for each include that breaks a rule; the result is 1 if there is one.
"""

import re
import sys
from pathlib import Path

# Top to bottom. Folders in one row don't know each other, but for those in ALLOWED_ASIDE.
LEVELS = [
    ["app"],
    ["views"],
    ["analysis"],
    ["framework"],
    ["expr"],
    ["project", "script"],
    ["device"],
    ["icache"],
    ["elf", "datafile"],
    ["command", "settings"],
    ["base"],
]
ALLOWED_ASIDE = {("project", "script"), ("datafile", "elf")}
PROBE = "probe"
PROBE_HEADER = "probe/novik.h"

INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>)')
SUFFIXES = {".h", ".hpp", ".c", ".cpp", ".inl"}


def level_of(folder):
    for number, folders in enumerate(LEVELS):
        if folder in folders:
            return number
    return None


def reason_against(folder, target):
    """Why a file of the folder may not include the target path; None if it may."""
    target_folder = target.split("/")[0]
    if target_folder == folder:
        return None
    if folder == PROBE:
        return "probe/ sees nothing of the other folders"
    if target_folder == PROBE:
        return None if target == PROBE_HEADER else f"only {PROBE_HEADER} is open to other folders"
    target_level = level_of(target_folder)
    if target_level is None:
        return f"{target_folder}/ is no folder of the product"
    if target_level > level_of(folder) or (folder, target_folder) in ALLOWED_ASIDE:
        return None
    return f"{target_folder}/ does not stand below {folder}/"


def problems_of(root, path, folder):
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        match = INCLUDE.match(line)
        if not match:
            continue
        quoted, angled = match.groups()
        place = f"{path.relative_to(root)}:{number}"
        if angled:
            # A header of the product in angle brackets would slip past the rules.
            if "/" in angled and (root / angled).is_file():
                yield f"{place}: <{angled}>: headers of the product stand in double quotes"
            continue
        if not (root / quoted).is_file():
            yield f'{place}: "{quoted}": no such file from the root'
            continue
        reason = reason_against(folder, quoted)
        if reason:
            yield f'{place}: "{quoted}": {reason}'


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    root = Path(sys.argv[1]).resolve()
    num_files = 0
    problems = []
    for folder in [name for level in LEVELS for name in level] + [PROBE]:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in SUFFIXES:
                num_files += 1
                problems += problems_of(root, path, folder)
    for problem in problems:
        print(problem)
    print(f"{num_files} files, {len(problems)} problems")
    if num_files == 0:
        print("no source files found")
    return 1 if problems or num_files == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
