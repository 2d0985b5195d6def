#!/usr/bin/env python3
"""Holds measured coverage against the list of exceptions and prints it as a table.

usage: check.py BUILD-DIRECTORY EXCEPTIONS    (from the root of the tree)
"""
import collections
import json
import pathlib
import shlex
import subprocess
import sys

GCOV = "x86_64-w64-mingw32-gcov-posix"

BRANCHES_WANTED = 95  # percent, the exceptions not taken off

# What no test reaches: a line, or `count` branches of one that is reached. By its text, because
# numbers of lines change.
Line = collections.namedtuple("Line", "number text count branches")
Gap = collections.namedtuple("Gap", "file kind count text")


def read_exceptions(path):
    """How often each gap is expected, and the gaps that may stand in its place: the same line with
    another count that the list allows."""
    expected, places, as_good = collections.Counter(), {}, {}
    file = None
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if not line or line[0] in "# ":  # a reason is indented
            continue
        kind, _, rest = line.partition(" ")
        if kind == "file":
            file = rest
            continue
        if kind == "branches":
            count, _, rest = rest.partition(" ")
        elif kind == "line":
            count = "1"
        else:
            sys.exit(f"{path}:{number}: not understood: {line}")
        least, _, most = count.partition("-")
        gap = Gap(file, kind, int(most or least), rest.strip())
        for fewer in range(int(least), gap.count):
            as_good[gap._replace(count=fewer)] = gap
        expected[gap] += 1
        places.setdefault(gap, f"{path}:{number}")
    return expected, places, as_good


def notes_of(build):
    """The compiler's notes beside the objects. Notes of a source that is gone stay in the directory,
    so only those of sources that are still built count."""
    built = set()
    for entry in json.loads((build / "compile_commands.json").read_text()):
        words = shlex.split(entry["command"])
        if "-o" in words and pathlib.Path(entry["file"]).exists():
            built.add((build / words[words.index("-o") + 1]).with_suffix(".gcno"))
    return sorted(str(path) for path in build.rglob("*.gcno")
                  if path in built and "googletest" not in path.parts)


def read_counts(build):
    """By file and line: how often it was run, and the counts of its branches.

    Instantiations of a template count as one: what any of them ran was run. Branches that only an
    exception takes are left out, and lines of brackets alone, where only the compiler puts code.
    """
    output = subprocess.run([GCOV, "--json-format", "--stdout", "--branch-probabilities",
                             *notes_of(build)],
                            check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
    runs = collections.defaultdict(collections.Counter)
    branches = collections.defaultdict(dict)
    root = str(pathlib.Path.cwd()) + "/"
    for unit in map(json.loads, output.splitlines()):
        for entry in unit["files"]:
            file = entry["file"].removeprefix(root)
            if not file.startswith("src/"):
                continue
            places = {function["name"]: (function["start_line"], function["start_column"])
                      for function in entry["functions"]}
            for line in entry["lines"]:
                number = line["line_number"]
                runs[file][number] += line["count"]
                counts = [branch["count"] for branch in line["branches"] if not branch["throw"]]
                key = (number, places.get(line.get("function_name")), len(counts))
                known = branches[file].setdefault(key, [0] * len(counts))
                branches[file][key] = list(map(sum, zip(known, counts)))
    return {file: list(lines_of(file, runs[file], branches[file])) for file in runs}


def lines_of(file, runs, branches):
    source = pathlib.Path(file).read_text().splitlines()
    of_line = collections.defaultdict(list)
    for (number, _, _), counts in branches.items():
        of_line[number] += counts
    for number, count in sorted(runs.items()):
        text = source[number - 1].strip()
        if text.strip("{}();"):
            yield Line(number, text, count, of_line[number])


def find_gaps(file, lines):
    """The gaps of a file, with their line numbers."""
    for line in lines:
        missed = line.branches.count(0)
        if line.count == 0:
            yield line.number, Gap(file, "line", 1, line.text)
        elif missed:
            yield line.number, Gap(file, "branches", missed, line.text)


def count(lines):
    """Lines reached, lines, branches reached, branches."""
    branches = [taken > 0 for line in lines for taken in line.branches]
    return sum(line.count > 0 for line in lines), len(lines), sum(branches), len(branches)


def print_row(name, numbers):
    shares = [f"{reached:5} of {total:5} {100 * reached / total if total else 100:6.1f} %"
              for reached, total in (numbers[:2], numbers[2:])]
    print(f"{name:62} {'   '.join(shares)}")


def main():
    unseen, places, as_good = read_exceptions(pathlib.Path(sys.argv[2]))
    problems = []
    total = (0, 0, 0, 0)
    print(f"{'':62} {'lines':>22}   {'branches':>22}")
    for file, lines in sorted(read_counts(pathlib.Path(sys.argv[1])).items()):
        print_row(file, count(lines))
        total = tuple(map(sum, zip(total, count(lines))))
        for number, found in find_gaps(file, lines):
            gap = as_good.get(found, found)
            if unseen[gap] > 0:
                unseen[gap] -= 1
            else:
                what = "never run" if gap.kind == "line" else f"{gap.count} branches never taken"
                problems.append(f"{gap.file}:{number}: {what}: {gap.text}")
    print_row("all", total)

    problems += [f"{places[gap]}: no longer so: {gap.text}" for gap in unseen.elements()
                 if gap._replace(count=0) not in as_good]
    if total[2] * 100 < total[3] * BRANCHES_WANTED:
        problems.append(f"fewer than {BRANCHES_WANTED} % of the branches are taken")
    if not total[1]:
        problems.append("nothing was measured")
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
