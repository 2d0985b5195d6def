#!/usr/bin/env python3
"""Lets clang-cl read our sources and headers as MSVC would, and makes nothing of them.

usage: read.py BUILD [FILE...]

BUILD is a build directory whose compile commands are taken. Without a FILE all sources are read, and
those headers of the product that no source of it includes before anything else.
"""

import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
# What takes most of the time in reading a test. That tests include what they use shows with clang's build.
PRECOMPILED = ROOT / "tests/msvc/precompiled.h"
# A project of its own.
BORROWED = {"tests/consumer/main.cpp": "examples/guide.cpp"}
LEFT_OUT = re.compile(
    r"tests/(fuzz|sanitizers|schedules|threads)/"  # programs for Linux
    r"|tests/support/trap_report\.cpp$"  # of builds that trap on undefined behaviour: none of MSVC's
    r"|benchmarks/signal_benchmark\.cpp$"  # Boost wants MSVC's std::type_info
)


def listed(pattern):
    command = ["git", "ls-files", "--cached", "--others", "--exclude-standard", "--", pattern]
    result = subprocess.run(command, cwd=ROOT, check=True, stdout=subprocess.PIPE, text=True)
    return [name for name in result.stdout.splitlines() if not LEFT_OUT.match(name)]


def read_commands(build):
    """The command for each source, without its name and the names of what is made of it."""
    commands = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        *command, _, source = shlex.split(entry["command"])
        source = pathlib.Path(entry["directory"], source).resolve()
        if source.suffix == ".cpp" and source.is_relative_to(ROOT):
            command = [part for part in command if not re.match(r"/F[od]|-c$", part)]
            commands.setdefault(str(source.relative_to(ROOT)), command)
    for source, lender in BORROWED.items():
        commands[source] = commands[lender]
    return commands


def is_test(command):
    return any("googletest" in part for part in command)


def is_product(name, commands):
    return name.startswith("src/") and not is_test(commands[name])


def everything(commands):
    sources = listed("*.cpp")
    forgotten = [source for source in sources if source not in commands]
    if forgotten:
        sys.exit("msvc: nothing compiles " + ", ".join(forgotten))
    first = set()
    for source in sources:
        if is_product(source, commands):
            include = re.search(r'^#include ["<](.*)[">]$', (ROOT / source).read_text(), re.M)
            first.add(pathlib.PurePath(include[1]).name)
    return sources + [name for name in listed("src/*.h") if pathlib.PurePath(name).name not in first]


def header_command(header, commands):
    """That of a source in its directory, or in the nearest one above."""
    for directory in pathlib.PurePath(header).parents:
        for source, command in commands.items():
            if pathlib.PurePath(source).parent == directory and not is_test(command):
                return command
    sys.exit(f"msvc: nothing is compiled near {header}")


def definitions(command):
    return {part for part in command if part.startswith("-D")}


def run(command):
    result = subprocess.run(
        command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True
    )
    print(result.stdout.replace(f"{ROOT}/", ""), end="", flush=True)
    return result.returncode == 0


class Precompiled:
    """What serves all tests that define nothing of their own."""

    def __init__(self, build):
        self._options = [f"/FI{PRECOMPILED}", f"/Fp{build}/tests.pch"]
        self._object = f"/Fo{build}/tests.obj"
        self._command = None

    def options(self, command):
        if not self._command:
            self._command = command
            make = [*command, *self._options, f"/Yc{PRECOMPILED}", self._object, "-c"]
            if not run([*make, "--", os.devnull]):
                sys.exit(f"msvc: cannot read {PRECOMPILED}")
        if not definitions(command) <= definitions(self._command):
            return []
        return [*self._options, f"/Yu{PRECOMPILED}"]


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    commands = read_commands(build)
    names = [os.path.relpath(os.path.realpath(file), ROOT) for file in sys.argv[2:]]
    precompiled = Precompiled(build)
    todo = []
    for name in names or everything(commands):
        if name.endswith(".h"):
            command = header_command(name, commands)
            todo.append([*command, "/Zs", f"/FI{ROOT / name}", "--", os.devnull])
        elif name in commands:
            command = commands[name]
            options = precompiled.options(command) if is_test(command) else []
            todo.append([*command, *options, "/Zs", "--", str(ROOT / name)])
        else:
            sys.exit(f"msvc: nothing compiles {name}")
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        passed = all([*pool.map(run, todo)])
    print(f"msvc: {len(todo)} files read", file=sys.stderr)
    sys.exit(0 if passed else 1)


main()
