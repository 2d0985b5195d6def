#!/usr/bin/env -S python3 -B
"""Tries all faults of the lists, or those of some files. script/mutate calls this."""
import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import queue
import sys

from lists import ROOT, ListError, read_faults
from trial import WORK, Verdict, Worker, build_base

RECORD = WORK / "verdicts"
NOTICED = (Verdict.KILLED, Verdict.BY_LIMIT)


def in_parallel(workers, action, items):
    """Yields the items and the results of action(worker, item), as they come."""
    free = queue.Queue()
    for worker in workers:
        free.put(worker)

    def on_free_worker(item):
        worker = free.get()
        try:
            return action(worker, item)
        finally:
            free.put(worker)

    items = list(items)
    with concurrent.futures.ThreadPoolExecutor(len(workers)) as pool:
        futures = {pool.submit(on_free_worker, item): item for item in items}
        for future in concurrent.futures.as_completed(futures):
            yield futures[future], future.result()


def together_then_alone(workers, action, items, section_of):
    """Runs the trials side by side, then those of the real executable one at a time: these all work on
    the same registry."""
    yield from in_parallel(workers, action, [i for i in items if not section_of(i).end_to_end])
    yield from in_parallel(workers[:1], action, [i for i in items if section_of(i).end_to_end])


def in_turns(faults):
    """The first fault of each file, then the second ones, so that a run that is cut short has tried
    some of every file."""
    seen = collections.Counter()
    turns = []
    for fault in faults:
        seen[fault.section.file] += 1
        turns.append((seen[fault.section.file], fault))
    return [fault for _, fault in sorted(turns, key=lambda turn: turn[0])]


def read_record(faults):
    """The faults that the last run found killed, with their verdicts."""
    known = dict(map(json.loads, RECORD.read_text().splitlines())) if RECORD.exists() else {}
    verdicts = {fault.key(): Verdict(known[fault.key()]) for fault in faults
                if fault.key() in known}
    return {key: verdict for key, verdict in verdicts.items() if verdict in NOTICED}


def report(results):
    rows = collections.defaultdict(collections.Counter)
    for fault, verdict in results:
        for row in (fault.section.file, f"all of {fault.list}", "total"):
            rows[row][verdict] += 1
    columns = ["faults", "killed", "by the time limit", *(v.value for v in Verdict
                                                          if v not in NOTICED)]
    width = max(map(len, rows)) + 1
    print("\n" + " " * width + "".join(f"{column:>{len(column) + 2}}" for column in columns))
    for row, counts in sorted(rows.items(), key=lambda item: (item[0] == "total",
                                                              item[0].startswith("all of"), item)):
        numbers = [counts.total(), counts[Verdict.KILLED] + counts[Verdict.BY_LIMIT],
                   counts[Verdict.BY_LIMIT], *(counts[v] for v in Verdict if v not in NOTICED)]
        print(f"{row:{width}}" + "".join(f"{number:{len(column) + 2}}"
                                         for column, number in zip(columns, numbers)))
    return 0 if all(verdict in NOTICED for _, verdict in results) else 1


def run_all(faults, done):
    """Yields the faults and their verdicts: those of `done`, and those that the tests give."""
    yield from ((fault, done[fault.key()]) for fault in faults if fault.key() in done)
    faults = [fault for fault in faults if fault.key() not in done]
    commands = {} if all(fault.section.schedules for fault in faults) else build_base()
    workers = [Worker(number, commands) for number in range(len(os.sched_getaffinity(0)))]

    sections = {fault.section.key(): fault.section for fault in faults}
    print(f"mutate: {len(sections)} groups of tests without a fault", file=sys.stderr)
    limits = {section.key(): limit for section, limit in together_then_alone(
        workers, Worker.measure, sections.values(), lambda section: section)}
    for fault in faults:
        fault.section.limit = limits[fault.section.key()]

    print(f"mutate: {len(faults)} faults", file=sys.stderr)
    late = []
    for fault, (verdict, detail) in together_then_alone(workers, Worker.try_fault, in_turns(faults),
                                                        lambda fault: fault.section):
        if verdict == Verdict.BY_LIMIT:
            late.append(fault)
            continue
        yield told(fault, verdict, detail)
    # The machine may have been busy: each once more, with nothing beside it.
    print(f"mutate: {len(late)} exceeded the time limit", file=sys.stderr)
    for fault in late:
        yield told(fault, *workers[0].try_fault(fault, patience=2))


def told(fault, verdict, detail):
    print(f"{verdict.value:9} {fault.label()}{f'  ({detail})' if detail else ''}", flush=True)
    return fault, verdict


def main():
    parser = argparse.ArgumentParser(prog="script/mutate")
    parser.add_argument("--check", action="store_true", help="only hold the lists against the sources")
    parser.add_argument("--continue", action="store_true", dest="go_on",
                        help="take over what the last run found killed")
    parser.add_argument("files", nargs="*", metavar="FILE")
    options = parser.parse_args()
    faults = read_faults([os.path.relpath(pathlib.Path(file).resolve(), ROOT)
                          for file in options.files])
    if options.check:
        return 0
    done = read_record(faults) if options.go_on else {}
    WORK.mkdir(parents=True, exist_ok=True)
    results = []
    with RECORD.open("a" if options.go_on else "w") as record:
        for fault, verdict in run_all(faults, done):
            results.append((fault, verdict))
            if fault.key() not in done:
                print(json.dumps([fault.key(), verdict.value]), file=record, flush=True)
    return report(results)


if __name__ == "__main__":
    try:
        sys.exit(main())
    except ListError as error:
        sys.exit(f"mutate: {error}")
