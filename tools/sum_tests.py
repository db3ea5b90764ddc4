#!/usr/bin/python3
"""Adds up test reports: tools/sum_tests.py FOLDER reads every JUnit XML file in FOLDER.

The one line it prints is "N passed, M failed, K skipped"; the exit status is 0 when M is 0.
"""

import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path


def outcome(case):
    """How one <testcase> ended."""
    if case.find("failure") is not None or case.find("error") is not None:
        return "failed"
    if case.find("skipped") is not None or case.get("status") == "notrun":
        return "skipped"
    return "passed"


def main():
    counts = {"passed": 0, "failed": 0, "skipped": 0}
    for report in sorted(Path(sys.argv[1]).glob("*.xml")):
        try:
            cases = list(ElementTree.parse(report).iter("testcase"))
        except ElementTree.ParseError:
            cases = []
        if not cases:
            # A suite that died without a word must not look like a suite without mistakes.
            print(f"{report.name} holds no test", file=sys.stderr)
            counts["failed"] += 1
        for case in cases:
            counts[outcome(case)] += 1
    print(f"{counts['passed']} passed, {counts['failed']} failed, {counts['skipped']} skipped")
    return 1 if counts["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
