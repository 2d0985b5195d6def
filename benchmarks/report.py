#!/usr/bin/env python3
"""Makes a table and a JSON file of measured lines.

usage: report.py LINES JSON    (prints the table in Markdown)
The sides of a comparison were measured in turn: the n-th times of two sides make a pair, and what
counts is the median of the ratios of all pairs.
"""
import collections
import json
import pathlib
import statistics
import sys

TYPES = ["empty", "number", "long number", "text", "bytes", "list"]
COMMANDS = ["-getLogLevel", "-setLogLevel Debug", "-resetAllLogSettings"]

# What is wanted of the measured subjects: against which side, and at most which ratio; or, without
# a side, at most which amount. What has no limit is shown for comparison.
Target = collections.namedtuple("Target", "subject side limit")


def targets():
    for command in COMMANDS:
        yield Target(f"ostrel {command}, wall time", "platform", 1.05)
        yield Target(f"ostrel {command}, processor time", "platform", 1.10)
        yield Target(f"ostrel {command}, wall time", "reg.exe", 0.75)
    for command in COMMANDS:
        yield Target(f"platform calls, {command.split()[0]}", "platform", 1)
    for operation in ("GetValue", "SetValue"):
        for kind in TYPES + ["expanded text"] * (operation == "GetValue"):
            yield Target(f"{operation}, {kind}", "platform", 1.03)
    for operation in ("GetValue", "SetValue"):
        for kind in ("number", "long number", "text"):
            yield Target(f"own {operation}, {kind}", None, 250)
            subject = f"allocations of {operation}, {kind}"
            yield Target(subject, None, 3 if kind == "text" else 2)
    yield Target("allocations of Create and release", None, 6)
    for count in (10, 100, 1000, 10_000, 100_000):
        yield Target(f"iterate, entries {count}", "platform", 1.05)
    for count in (1, 10, 100, 1000):
        yield Target(f"Emit, slots {count}", "Boost.Signals2", 1)
        yield Target(f"Emit, slots {count}", "bare loop", 1.1)
    yield Target("build and parse", "CLI11", 0.1)
    yield Target("build and parse", "cxxopts", None)  # the slower of the two
    yield Target("build and parse", "as many heap blocks", None)
    yield Target("allocations of build and parse", None, 50)
    for kind in ("work items", "work items with an argument"):
        for threads in (1, 2, 3, 4):
            yield Target(f"{kind}, threads {threads}", "platform", 1.3)
    for kind, side in (
        ("work items", "platform and lock"),
        ("work items with an argument", "platform, lock and queue"),
    ):
        for threads in (1, 2, 3, 4):
            yield Target(f"{kind}, threads {threads}", side, None)
    yield Target("timer", "platform", 1.1)
    yield Target("wait", "platform", 1.1)
    yield Target("size of ostrel.exe", None, 500 * 1024)


def read(path):
    """The amounts by subject and side, and the unit of each subject."""
    measured = collections.defaultdict(lambda: collections.defaultdict(list))
    units = {}
    for line in path.read_text().splitlines():
        result = json.loads(line)
        subject, side = result.pop("subject"), result.pop("side")
        ((units[subject], amount),) = result.items()
        measured[subject][side].append(amount)
    return measured, units


def shown(amount, unit):
    if unit != "ns":
        return f"{amount:,.0f}"
    for limit, divisor, name in ((1e3, 1, "ns"), (1e6, 1e3, "µs")):
        if amount < limit:
            return f"{amount / divisor:.3g} {name}"
    return f"{amount / 1e6:.3g} ms"


def rows(measured, units):
    for target in targets():
        sides = measured[target.subject]
        if not sides:
            sys.exit(f"report: not measured: {target.subject}")
        own = sides["tessel"]
        row = {**target._asdict(), "unit": units[target.subject], "tessel": statistics.median(own)}
        result = row["tessel"]
        if target.side:
            other = sides[target.side]
            ratios = sorted(ours / theirs for ours, theirs in zip(own, other, strict=True))
            row["other"] = statistics.median(other)
            result = row["ratio"] = statistics.median(ratios)
            row["quartiles"] = [ratios[len(ratios) // 4], ratios[len(ratios) * 3 // 4]]
        # What is quicker must not be as quick.
        row["holds"] = target.limit is None or (
            result < 1 if target.side == "Boost.Signals2" else result <= target.limit)
        yield row


def print_table(table):
    print("| what | ours | against | theirs | ratio (quartiles) | at most | holds |")
    print("|---|---|---|---|---|---|---|")
    for row in table:
        unit = row["unit"]
        theirs = ratio = limit = holds = ""
        if row["side"]:
            theirs = shown(row["other"], unit)
            low, high = row["quartiles"]
            ratio = f"{row['ratio']:.3f} ({low:.3f} to {high:.3f})"
        if row["limit"] is not None:
            limit = f"{row['limit']:g}" if row["side"] else shown(row["limit"], unit)
            holds = "yes" if row["holds"] else "no"
        cells = [row["subject"], shown(row["tessel"], unit), row["side"] or "", theirs, ratio,
                 limit, holds]
        print("| " + " | ".join(cells) + " |")


def main():
    measured, units = read(pathlib.Path(sys.argv[1]))
    table = list(rows(measured, units))
    medians = {
        subject: {side: statistics.median(amounts) for side, amounts in sides.items()}
        for subject, sides in measured.items() if sides
    }
    pathlib.Path(sys.argv[2]).write_text(
        json.dumps({"targets": table, "medians": medians}, indent=1) + "\n")
    print_table(table)


main()
