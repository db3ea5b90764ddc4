"""Reads the JUnit reports of a run of the tests. A module for the tools beside it."""

import xml.etree.ElementTree as ElementTree
from pathlib import Path

# Stands for the tests of a report that has none.
NO_TEST = "holds no test"


def outcome(case):
    """How one <testcase> ended."""
    if case.find("failure") is not None or case.find("error") is not None:
        return "failed"
    if case.find("skipped") is not None or case.get("status") == "notrun":
        return "skipped"
    return "passed"


def read(folder):
    """(report, class, test, outcome) for each test of a folder's reports, sorted.

    A report that holds no test, or cannot be read, is a test of its own that failed: a suite that
    died without a word must not look like a suite without mistakes.
    """
    tests = []
    for report in Path(folder).glob("*.xml"):
        try:
            cases = list(ElementTree.parse(report).iter("testcase"))
        except ElementTree.ParseError:
            cases = []
        if not cases:
            tests.append((report.name, "", NO_TEST, "failed"))
        for case in cases:
            tests.append(
                (report.name, case.get("classname", ""), case.get("name", ""), outcome(case))
            )
    return sorted(tests)
