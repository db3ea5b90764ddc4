#!/usr/bin/python3
"""Adds up test reports: tools/sum_tests.py FOLDER reads every JUnit XML file in FOLDER.

The one line it prints is "N passed, M failed, K skipped"; the exit status is 0 when M is 0.
"""

import sys

from junit_reports import NO_TEST, read


def main():
    counts = {"passed": 0, "failed": 0, "skipped": 0}
    for report, _, name, outcome in read(sys.argv[1]):
        counts[outcome] += 1
        if outcome == "failed" and name == NO_TEST:
            print(f"{report} {name}", file=sys.stderr)
    print(f"{counts['passed']} passed, {counts['failed']} failed, {counts['skipped']} skipped")
    return 1 if counts["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
