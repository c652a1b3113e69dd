#!/usr/bin/env python3
"""Checks that all sources are formatted as .clang-format says. Arguments: the checkout's root, clang-format.

With --fix behind them the files are rewritten instead."""
import pathlib
import subprocess
import sys

FOLDERS = ("app", "views", "analysis", "framework", "expr", "project", "script", "device", "icache", "elf", "datafile",
           "command", "settings", "base", "probe", "tests", "bench", "fuzz", "firmware", "examples")
SUFFIXES = {".h", ".cpp"}


def sources(root):
    for folder in FOLDERS:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in SUFFIXES:
                yield path


def main():
    root, tool = pathlib.Path(sys.argv[1]), sys.argv[2]
    files = [str(path) for path in sources(root)]
    if not files:
        print(f"no sources below {root}")
        return 1
    mode = ["-i"] if "--fix" in sys.argv[3:] else ["--dry-run", "--Werror"]
    return subprocess.run([tool, "--style=file", *mode, *files], check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
