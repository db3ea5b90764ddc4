#!/usr/bin/python3
"""Runs the tests several times and compares how they ended.

    tools/repeat_tests.py TIMES REPORTS COMMAND [ARGUMENT]...

Runs COMMAND, which leaves JUnit reports in the folder REPORTS, that often, one run after the other.
Each test has to end in every run as it ended in the first, and no test may be in some runs alone.
Prints a line for each run, with the last line that the command printed, and below it every test that
ended otherwise; all that run N printed is in REPORTS/../repeated/N.log. The exit status is 1 when a
run failed, left no report, or differed.
"""

import argparse
import collections
import shutil
import subprocess
import sys
import time
from pathlib import Path

from junit_reports import read


def differences(first, now):
    """What a list of tests has too little (-) and too much (+), as lines; none when they are alike."""
    missing = collections.Counter(first) - collections.Counter(now)
    added = collections.Counter(now) - collections.Counter(first)
    signed = [(test, "-") for test in missing.elements()]
    signed += [(test, "+") for test in added.elements()]
    return [
        f"  {sign} {outcome}: {report}: {' '.join(filter(None, (suite, name)))}"
        for (report, suite, name, outcome), sign in sorted(signed)
    ]


def run(command, reports, log):
    """The tests of one run, its exit status, its last line, and how many seconds it took."""
    # What an earlier run left behind must not be taken for what this one found.
    for report in reports.glob("*.xml"):
        report.unlink()
    began = time.monotonic()
    with log.open("wb") as output:
        status = subprocess.run(
            command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, check=False
        ).returncode
    took = time.monotonic() - began
    lines = log.read_text(encoding="utf-8", errors="replace").splitlines() or [""]
    return read(reports), status, lines[-1], took


def repeat(times, reports, command):
    """Whether every run went well and ended like the first."""
    logs = reports.parent / "repeated"
    shutil.rmtree(logs, ignore_errors=True)
    logs.mkdir(parents=True)
    first = None
    faults = 0
    for number in range(1, times + 1):
        tests, status, last_line, took = run(command, reports, logs / f"{number}.log")
        if first is None:
            first = tests
        found = differences(first, tests)
        print(f"run {number} of {times}: status {status}, {took:.0f} s, {last_line}", flush=True)
        for line in found:
            print(line, flush=True)
        faults += status != 0 or not tests or bool(found)
    print(f"failed or unlike the first: {faults} of {times} runs")
    return faults == 0


def positive(text):
    number = int(text)
    if number < 1:
        raise argparse.ArgumentTypeError("not a positive number")
    return number


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("times", metavar="TIMES", type=positive)
    parser.add_argument("reports", metavar="REPORTS", type=Path)
    parser.add_argument("command", metavar="COMMAND", nargs=argparse.REMAINDER)
    arguments = parser.parse_args()
    if not arguments.command:
        parser.error("there is no COMMAND")
    return 0 if repeat(arguments.times, arguments.reports.absolute(), arguments.command) else 1


if __name__ == "__main__":
    sys.exit(main())
