#!/usr/bin/env python3
"""Runs clang-tidy on the files of a compilation database that have not passed before.

usage: tidy.py DATABASE [--all] [--changed-since REVISION] [FILE...]

Without a FILE it takes all files of the database. With --changed-since it takes only those that differ
from REVISION of git, or that include such a file. --all checks again what has passed.
"""

import argparse
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys

import memory

VERSION = "22"  # says which checks there are; Debian 12 and 13 both have it
TOOL = f"clang-tidy-{VERSION}"
# Path analysis takes minutes in what the macros of tests and benchmarks expand to and in the cases of the
# instruments, and finds nothing there.
NO_PATH_ANALYSIS = re.compile(r"_(test|encounters|rounds|round_tasks)\.cpp$|^(benchmarks|tests/faults)/")
# Checks that the macros of tests set off. In a test an exception that ends the program is a failure like
# any other.
TEST = re.compile(r"_test\.cpp$|^(benchmarks|tests)/")
NOT_IN_TESTS = [
    "bugprone-chained-comparison",
    "bugprone-crtp-constructor-accessibility",
    "bugprone-throwing-static-initialization",
    "bugprone-unchecked-optional-access",
    "misc-multiple-inheritance",
]
ARGUMENTS = [
    "--quiet",
    "--extra-arg=-Wreserved-identifier",
    "--extra-arg=-Wreserved-macro-identifier",
]


class Unit:
    """A source file with the arguments of its compilation and all files that it includes."""

    def __init__(self, root, entry, included):
        self.path = entry["file"]
        self.name = os.path.relpath(self.path, root)
        self.included = included  # None: they could not be found out
        self.compilation = [entry["directory"], *entry["arguments"]]
        left_out = list(NOT_IN_TESTS) if TEST.search(self.name) else []
        if NO_PATH_ANALYSIS.search(self.name):
            left_out.append("clang-analyzer-*")
        self.arguments = [*ARGUMENTS, "--checks=" + ",".join("-" + check for check in left_out)]


def output_of(*command, cwd=None):
    return subprocess.run(command, cwd=cwd, check=True, capture_output=True, text=True).stdout


def scan(database, jobs):
    """The files that each source includes, by clang's own preprocessor."""
    result = subprocess.run(
        [f"clang-scan-deps-{VERSION}", "--compilation-database", database, "-j", str(jobs)],
        capture_output=True,
        text=True,
    )
    included = {}
    for rule in result.stdout.replace("\\\n", " ").splitlines():
        paths = re.findall(r"(?:\\ |\S)+", rule.partition(": ")[2])
        if paths:
            paths = [os.path.realpath(path.replace("\\ ", " ")) for path in paths]
            included[paths[0]] = sorted(set(paths))
    return included


def read_units(root, database, jobs):
    included = scan(database, jobs)
    entries = json.loads(pathlib.Path(database).read_text())
    return [Unit(root, entry, included.get(os.path.realpath(entry["file"]))) for entry in entries]


class Keys:
    """The key of a unit: a digest of everything that decides what clang-tidy says about it."""

    def __init__(self, root):
        self._root = str(root)
        self._version = output_of(TOOL, "--version")
        # Of all directories: headers may lie below other configurations than their sources.
        self._configurations = sorted(map(str, pathlib.Path(root).glob("**/.clang-tidy")))
        self._known = {}

    def of(self, unit):
        """The key for the files as they are now. A file that several units include is read once."""
        return self._digest(unit, self._known)

    def still(self, unit, key):
        return self._digest(unit, {}) == key

    def _digest(self, unit, known):
        if unit.included is None:
            return None
        parts = [self._version, *unit.arguments]
        parts += [part.replace(self._root, ".") for part in unit.compilation]
        try:
            for path in self._configurations + unit.included:
                if path not in known:
                    known[path] = hashlib.sha256(pathlib.Path(path).read_bytes()).hexdigest()
                parts.append(path.replace(self._root, ".") + "=" + known[path])
        except OSError:
            return None
        return hashlib.sha256("\0".join(parts).encode()).hexdigest()


def changed_since(root, revision):
    names = output_of("git", "diff", "--name-only", "-z", revision, "--", cwd=root)
    names += output_of("git", "ls-files", "-z", "--others", "--exclude-standard", cwd=root)
    return {os.path.realpath(os.path.join(root, name)) for name in names.split("\0") if name}


def check(unit, database):
    command = [TOOL, *unit.arguments, "-p", os.path.dirname(database), unit.path]
    result = subprocess.run(command, capture_output=True, text=True, errors="replace")
    said = result.stdout + re.sub(r".* warnings? generated\.\n", "", result.stderr)
    return result.returncode == 0, said


def parse_arguments():
    parser = argparse.ArgumentParser(add_help=False)
    parser.add_argument("database", type=os.path.abspath)
    parser.add_argument("--root", type=os.path.realpath, default=os.getcwd())
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--changed-since")
    parser.add_argument("files", nargs="*")
    return parser.parse_intermixed_args()  # files may stand behind options


def main():
    arguments = parse_arguments()
    jobs = len(os.sched_getaffinity(0))
    units = read_units(arguments.root, arguments.database, jobs)
    if arguments.files:
        wanted = {os.path.realpath(file) for file in arguments.files}
        units = [unit for unit in units if os.path.realpath(unit.path) in wanted]
        for path in sorted(wanted - {os.path.realpath(unit.path) for unit in units}):
            name = os.path.relpath(path, arguments.root)
            print(f"lint: clang-tidy has no compile command for {name}", file=sys.stderr)
    if arguments.changed_since:
        changed = changed_since(arguments.root, arguments.changed_since)
        if not any(path.endswith(".clang-tidy") for path in changed):
            units = [u for u in units if u.included is None or changed.intersection(u.included)]

    passed = memory.Memory(memory.default_directory())
    keys = Keys(arguments.root)
    todo = []
    for unit in units:
        key = keys.of(unit)
        if arguments.all or key is None or not passed.has(key):
            todo.append((key, unit))
    print(
        f"lint: clang-tidy, {len(units)} files, {len(units) - len(todo)} of them passed before",
        file=sys.stderr,
    )

    failed = False
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        checks = {pool.submit(check, unit, arguments.database): (key, unit) for key, unit in todo}
        for done in concurrent.futures.as_completed(checks):
            succeeded, said = done.result()
            print(said, end="", flush=True)
            failed |= not succeeded
            key, unit = checks[done]
            if succeeded and key and keys.still(unit, key):  # not edited meanwhile
                passed.add(key)
    passed.forget_unused()
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
