#!/usr/bin/env python3
"""Writes one compilation database for clang's tools, of all that clang can read.

usage: compile_commands.py OUTPUT CROSS_BUILD [HOST_BUILD...]

CROSS_BUILD is a build directory for Windows, whose commands get clang's arguments for that; those of
the HOST_BUILDs are taken as they are. Sources that none of them compiles borrow the arguments of others;
one that is not known here is an error, so that none is left out by mistake.
"""

import json
import pathlib
import shlex
import subprocess
import sys

import tidy

ROOT = pathlib.Path(__file__).resolve().parents[2]
BORROWED = {  # a project of its own; a part of the debug build alone
    "tests/consumer/main.cpp": "examples/guide.cpp",
    "tests/support/trap_report.cpp": "tests/support/import_hook.cpp",
}
LEFT_OUT = "tests/sanitizers/"  # clang does not know winegcc's ways


def lines_of(*command):
    result = subprocess.run(command, cwd=ROOT, check=True, stdout=subprocess.PIPE, text=True)
    return result.stdout.splitlines()


def read(build):
    entries = []
    for entry in json.loads((pathlib.Path(build) / "compile_commands.json").read_text()):
        source = pathlib.Path(entry["directory"], entry["file"]).resolve()
        if source.suffix != ".cpp" or not source.is_relative_to(ROOT):
            continue
        # The linter's configuration decides what is an error, with CI=true and without.
        arguments = [part for part in shlex.split(entry["command"]) if part != "-Werror"]
        output = arguments.index("-o")
        del arguments[output : output + 2]
        entries.append(
            {"directory": entry["directory"], "file": str(source), "arguments": arguments}
        )
    return entries


def borrow(entries, source, lender):
    source, lender = str(ROOT / source), str(ROOT / lender)
    entry = next(entry for entry in entries if entry["file"] == lender)
    arguments = [source if argument == lender else argument for argument in entry["arguments"]]
    return entry | {"file": source, "arguments": arguments}


def main():
    output, cross, *host = sys.argv[1:]
    flags = lines_of(ROOT / "cmake/clang-mingw++", "--flags")
    entries = read(cross)
    entries += [borrow(entries, *pair) for pair in BORROWED.items()]
    for entry in entries:
        entry["arguments"][1:1] = flags
    for build in host:
        entries += read(build)
    for entry in entries:
        entry["arguments"][0:1] = [f"clang++-{tidy.VERSION}"]  # its own headers, not its neighbour's
    seen = {}
    for entry in entries:  # a source that two programs share is checked once
        seen.setdefault(entry["file"], entry)
    for name in lines_of("git", "ls-files", "--cached", "--others", "--exclude-standard", "*.cpp"):
        if not name.startswith(LEFT_OUT) and str(ROOT / name) not in seen:
            sys.exit(f"lint: no build compiles {name}")
    path = pathlib.Path(output)
    path.parent.mkdir(parents=True, exist_ok=True)
    text = json.dumps(list(seen.values()), indent=1)
    if not path.exists() or path.read_text() != text:
        path.write_text(text)


main()
