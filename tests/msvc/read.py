#!/usr/bin/env python3
"""Lets clang-cl read our sources and headers as MSVC would, without making objects.

usage: read.py BUILD [FILE...]

BUILD is a build directory whose compile commands are taken. Without a FILE all sources are read, and
those headers of the product that no source of it includes before anything else.

Precompiled headers take half of the time away. That each file includes what it uses shows in the
release build and to the linter, which have none, but the same headers of the platform and of the C++
library.
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
BATCH = 14
# A project of its own.
BORROWED = {"tests/consumer/main.cpp": "examples/guide.cpp"}
TOGETHER = re.compile(r"_test\.cpp$|^tests/faults/")
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
    """The command for each source, without the names of the source and of its output."""
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
    """The command for a header: that of a source in its directory, or in the nearest one above."""
    for directory in pathlib.PurePath(header).parents:
        for source, command in commands.items():
            if pathlib.PurePath(source).parent == directory and not is_test(command):
                return command
    sys.exit(f"msvc: nothing is compiled near {header}")


def run(command):
    result = subprocess.run(
        command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True
    )
    print(result.stdout.replace(f"{ROOT}/", ""), end="", flush=True)
    return result.returncode == 0


def definitions(command):
    return {part for part in command if part.startswith("-D")}


class Precompiled:
    """A precompiled header. It serves all commands with the same definitions as the one that it is made
    with, which is chosen so that it serves the most."""

    def __init__(self, header, build, commands):
        def served(command):
            return sum(definitions(other) <= definitions(command) for other in commands)

        self._header = header
        self._options = [f"/FI{header}", f"/Fp{build}/{header.stem}.pch"]
        self._object = f"/Fo{build}/{header.stem}.obj"
        self._command = max(commands, key=served)

    def make(self):
        make = [f"/Yc{self._header}", self._object, "-c", "--", os.devnull]
        return run([*self._command, *self._options, *make])

    def options(self, command):
        serves = definitions(command) <= definitions(self._command)
        return [*self._options, f"/Yu{self._header}"] if serves else []


class Reader:
    def __init__(self, build):
        self.commands = read_commands(build)
        tests = [command for command in self.commands.values() if is_test(command)]
        others = [command for command in self.commands.values() if not is_test(command)]
        self._tests = Precompiled(ROOT / "tests/msvc/googletest.h", build, tests)
        self._others = Precompiled(ROOT / "tests/msvc/platform.h", build, others)

    def read(self, names):
        with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
            wanted = {self._precompiled(self._command(name)) for name in names}
            batches = [*self._batches(names)]
            return all([*pool.map(Precompiled.make, wanted)]) and all([*pool.map(self._read, batches)])

    def _batches(self, names):
        """Files that are read at once, so that what they all include is read once: tests of one
        program. The other builds compile these together as well, so no two have a name in common."""
        alike = {}
        for name in names:
            alone = None if TOGETHER.search(name) else name
            alike.setdefault((alone, *self._command(name)), []).append(name)
        for group in alike.values():
            for begin in range(0, len(group), BATCH):
                yield group[begin : begin + BATCH]

    def _read(self, batch):
        command = self._command(batch[0])
        options = [*self._precompiled(command).options(command), "/Zs"]
        return run([*command, *options, *(f"/FI{ROOT / name}" for name in batch), "--", os.devnull])

    def _command(self, name):
        header = name.endswith(".h")
        return header_command(name, self.commands) if header else self.commands[name]

    def _precompiled(self, command):
        return self._tests if is_test(command) else self._others


def main():
    reader = Reader(pathlib.Path(sys.argv[1]).resolve())
    names = [os.path.relpath(os.path.realpath(file), ROOT) for file in sys.argv[2:]]
    for name in names:
        if name not in reader.commands and not name.endswith(".h"):
            sys.exit(f"msvc: nothing compiles {name}")
    names = names or everything(reader.commands)
    passed = reader.read(names)
    print(f"msvc: {len(names)} files read", file=sys.stderr)
    sys.exit(0 if passed else 1)


main()
