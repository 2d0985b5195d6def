#!/usr/bin/python3
"""Draws how costs grow with the number of things.

usage: plot.py JSON SVG    (JSON as benchmarks/report.py writes it)
"""
import json
import math
import pathlib
import re
import sys

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams["svg.hashsalt"] = "ostrel"  # or each drawing would have other names inside
matplotlib.rcParams["svg.fonttype"] = "none"  # text instead of the outlines of its letters
from matplotlib import pyplot, ticker  # noqa: E402: the backend comes first

# What is drawn in each field: for a beginning of the subjects, which end in a number, what the user does,
# and whether their times are for all things together.
FIELDS = {
    "A key with more values": {
        "GetValue, values": ("read one value", False),
        "iterate, entries": ("go on to the next entry", True),
    },
    "A signal with more slots": {
        "Emit, slots": ("call each slot", True),
        "connect and disconnect, slots": ("connect and disconnect one", False),
    },
    "An executor with more open tasks": {
        "create and close, tasks": ("create and close one task", True),
    },
    "A command line with more options": {
        "build and parse, options": ("add and parse one option", True),
    },
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
    figure.suptitle("The time of one operation, as the number of things around it grows")
    for field, (title, subjects) in zip(fields.flat, FIELDS.items()):
        for prefix, (operation, together) in subjects.items():
            for side, times in series(medians, prefix).items():
                if side not in STYLES:
                    continue
                counts = sorted(times)
                each = [times[count] / (count if together else 1) * 1e-9 for count in counts]
                field.loglog(counts, each, STYLES[side], label=f"{operation}: {side}")
        field.set_title(title)
        field.minorticks_off()
        field.xaxis.set_major_formatter(ticker.StrMethodFormatter("{x:,.0f}"))
        field.yaxis.set_major_formatter(ticker.EngFormatter("s"))
        lowest, highest = field.dataLim.intervaly  # whole powers of ten, so that each field has labels
        field.set_ylim(10 ** math.floor(math.log10(lowest)), 10 ** math.ceil(math.log10(highest)))
        field.grid(alpha=0.3)
        field.legend(fontsize="small")
    figure.savefig(sys.argv[2], metadata={"Date": None})


main()
