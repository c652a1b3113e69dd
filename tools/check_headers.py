#!/usr/bin/env python3
"""Checks that each header compiles alone, without the precompiled header.

usage: check_headers.py SOURCE_DIR BUILD_DIR [FOLDER...]

Takes compiler and flags of each folder from BUILD_DIR/compile_commands.json. The probe library's interface is compiled
as C, too. Prints the compiler's messages of each header that fails; the result is 1 if one does. Where there is ccache,
a header whose text and includes haven't changed costs no compilation.
"""

import json
import os
import re
import shlex
import shutil
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

FOLDERS = ["app", "views", "analysis", "framework", "expr", "project", "script", "device", "icache", "elf", "datafile",
           "command", "settings", "base", "probe"]
C_HEADERS = ["probe/novik.h"]
C_COMPILER = {"clang++": "clang", "g++": "gcc"}
COMPILER = re.compile(r"^(clang\+\+|g\+\+|c\+\+)(-\d+)?$")
LAUNCHER = [shutil.which("ccache")] if shutil.which("ccache") else []
PRECOMPILED = re.compile(r"cmake_pch|^-include-pch$|^-Winvalid-pch$|^-fpch-|^-fno-pch-")


def split_command(entry):
    """Compiler and the flags that matter to a header alone."""
    args = entry["arguments"] if "arguments" in entry else shlex.split(entry["command"])
    start = next(i for i, arg in enumerate(args) if COMPILER.match(os.path.basename(arg)))
    source = os.path.join(entry["directory"], entry["file"])
    flags = []
    i = start + 1
    while i < len(args):
        arg = args[i]
        value = args[i + 1] if i + 1 < len(args) else ""
        if arg == "-Xclang":
            if not PRECOMPILED.search(value) and value != "-include":
                flags += [arg, value]
            i += 2
        elif arg == "-include":
            flags += [] if PRECOMPILED.search(value) else [arg, value]
            i += 2
        elif arg in ("-o", "-MF", "-MT", "-MQ"):
            i += 2
        else:
            is_source = os.path.join(entry["directory"], arg) == source
            if arg not in ("-c", "-MD", "-MMD", "--") and not PRECOMPILED.search(arg) and not is_source:
                flags.append(arg)
            i += 1
    return args[start], flags


def commands_by_folder(source_dir, build_dir):
    commands = {}
    for entry in json.loads((build_dir / "compile_commands.json").read_text()):
        path = Path(entry["directory"], entry["file"]).resolve()
        if path.suffix == ".cpp" and source_dir in path.parents and build_dir not in path.parents:
            commands.setdefault(path.relative_to(source_dir).parts[0], split_command(entry) + (entry["directory"],))
    return commands


def compile_alone(job):
    header, language, stub_dir, compiler, flags, directory = job
    if language == "c":
        compiler = C_COMPILER.get(os.path.basename(compiler), "cc")
        flags = [flag for flag in flags if not flag.startswith("-std=")] + ["-std=c11", "-pedantic"]
    stub = stub_dir / (header.replace("/", "-") + (".c" if language == "c" else ".cpp"))
    text = f'#include "{header}"\n'
    if not stub.exists() or stub.read_text() != text:
        stub.write_text(text)
    result = subprocess.run([*LAUNCHER, compiler, *flags, "-g0", "-O0", "-c", str(stub), "-o", str(stub) + ".o"],
                            cwd=directory, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    return header, language, result.returncode, result.stdout


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    source_dir, build_dir = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    commands = commands_by_folder(source_dir, build_dir)
    os.environ.setdefault("CCACHE_BASEDIR", str(source_dir))
    stub_dir = build_dir / "header_check"
    stub_dir.mkdir(exist_ok=True)
    jobs = []
    for folder in sys.argv[3:] or FOLDERS:
        if folder not in commands:
            continue  # not part of this build
        for path in sorted((source_dir / folder).rglob("*.h")):
            header = path.relative_to(source_dir).as_posix()
            jobs += [(header, language, stub_dir, *commands[folder])
                     for language in (["c++", "c"] if header in C_HEADERS else ["c++"])]
    num_failed = 0
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        for header, language, code, output in pool.map(compile_alone, jobs):
            if code != 0:
                num_failed += 1
                print(f"{header} does not compile alone as {language}:\n{output}")
    print(f"{len(jobs)} compilations, {num_failed} failed")
    if not jobs:
        print("no headers found")
    return 1 if num_failed or not jobs else 0


if __name__ == "__main__":
    sys.exit(main())
