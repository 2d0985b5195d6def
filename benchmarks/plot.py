#!/usr/bin/python3
"""Draws how costs grow with the number of things.

usage: plot.py JSON SVG    (JSON as benchmarks/report.py writes it)
"""
import json
import pathlib
import re
import sys

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams["svg.hashsalt"] = "ostrel"  # or each drawing would have other names inside
from matplotlib import pyplot  # noqa: E402: the backend comes first

# What is drawn in each field: the beginning of the subjects that end in a number, and whether their
# times are for all things together.
FIELDS = {
    "Values in a key": [("GetValue, values", False), ("iterate, entries", True)],
    "Slots of a signal": [("Emit, slots", True), ("connect and disconnect, slots", False)],
    "Open tasks": [("create and close, tasks", True)],
    "Options": [("build and parse, options", True)],
}
STYLES = {"tessel": "o-", "platform": "x--", "bare loop": "x--", "Boost.Signals2": "+:"}


def series(medians, prefix):
    """The times of each side by the number of things."""
    sides = {}
    for subject, times in medians.items():
        if match := re.fullmatch(re.escape(prefix) + r" (\d+)", subject):
            for side, time in times.items():
                sides.setdefault(side, {})[int(match[1])] = time
    return sides


def main():
    medians = json.loads(pathlib.Path(sys.argv[1]).read_text())["medians"]
    figure, fields = pyplot.subplots(2, 2, figsize=(10, 8), layout="constrained")
    for field, (title, subjects) in zip(fields.flat, FIELDS.items()):
        for prefix, together in subjects:
            for side, times in series(medians, prefix).items():
                if side not in STYLES:
                    continue
                counts = sorted(times)
                each = [times[count] / (count if together else 1) for count in counts]
                field.loglog(counts, each, STYLES[side], label=f"{prefix.split(',')[0]}, {side}")
        field.set_title(title)
        field.set_xlabel("number")
        field.set_ylabel("ns for one")
        field.set_ylim(bottom=1)
        field.grid(alpha=0.3)
        field.legend(fontsize="small")
    figure.savefig(sys.argv[2], metadata={"Date": None})


main()
