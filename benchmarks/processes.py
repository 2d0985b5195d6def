#!/usr/bin/env python3
"""Measures whole processes: the tool, the floor and reg.exe with one query or one write, in turn.

usage: processes.py TURNS WINE DIRECTORY    (WINEPREFIX and the like are set by the caller)
Writes a line of JSON for each wall time and each processor time (user and system, of the process
itself: what it makes Wine's server do is not in it).
"""
import json
import os
import sys
import time

KEY = r"HKLM\SOFTWARE\Kestrane, Inc.\Kestrane Vantor Telemetry\Service\Config\Log"
QUERY = ["reg", "query", KEY, "/v", "LogLevel"]
WRITE = ["reg", "add", KEY, "/v", "LogLevel", "/d", "Debug", "/f"]
COMMANDS = {
    "-setLogLevel Debug": WRITE,
    "-getLogLevel": QUERY,
    "-resetAllLogSettings": WRITE,
}


def run(arguments):
    """The wall time and the processor time of a process in ns."""
    begin = time.perf_counter_ns()
    null = [(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0)]
    process = os.posix_spawn(arguments[0], arguments, os.environ, file_actions=null)
    _, status, usage = os.wait4(process, 0)
    wall = time.perf_counter_ns() - begin
    if status != 0:
        sys.exit(f"processes: status {status}: {' '.join(arguments)}")
    return wall, (usage.ru_utime + usage.ru_stime) * 1e9


def main():
    turns, wine, directory = int(sys.argv[1]), sys.argv[2], sys.argv[3]
    for command, reg in COMMANDS.items():
        sides = {
            "tessel": [wine, f"{directory}/ostrel.exe", *command.split()],
            "platform": [wine, f"{directory}/floor.exe", *command.split()],
            "reg.exe": [wine, *reg],
        }
        for turn in range(turns):
            # Backwards every other time, so that none of them always follows the same one.
            for side, arguments in list(sides.items())[::1 if turn % 2 == 0 else -1]:
                for kind, amount in zip(("wall time", "processor time"), run(arguments)):
                    subject = f"ostrel {command}, {kind}"
                    print(json.dumps({"subject": subject, "side": side, "ns": amount}))


main()
