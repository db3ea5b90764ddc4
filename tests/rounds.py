"""Runs one check many times and reports each round as a test."""

import argparse
import sys
import tempfile
import time
import xml.etree.ElementTree as ElementTree
from pathlib import Path

# The rooms and the registry of the black-box tests serve here too.
sys.path.insert(0, str(Path(__file__).parent / "blackbox"))


def arguments(description, rounds):
    """The parsed command line; `rounds` is the default of --rounds."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument(
        "--rounds", type=int, default=rounds, help="how often (default %(default)s)"
    )
    parser.add_argument(
        "--seed", type=int, default=time.time_ns() % 1_000_000, help="of the chance"
    )
    parser.add_argument("--junitxml", metavar="FILE", help="write a JUnit report")
    return parser.parse_args()


def differences(expected, found):
    """What differs between two trees, one line for each name."""
    lines = [f"  missing: {name}" for name in expected if name not in found]
    lines += [f"  too much: {name}" for name in found if name not in expected]
    lines += [
        f"  different: {name}"
        for name in expected
        if name in found and expected[name] != found[name]
    ]
    return lines


def report_group(suite, name, figures, complaints):
    """Adds one group of cases to a report and prints its line of the table, what went wrong below
    it. Returns how much went wrong."""
    case = ElementTree.SubElement(suite, "testcase", classname=suite.get("name"), name=name)
    if complaints:
        ElementTree.SubElement(case, "failure").text = "\n".join(complaints)
    print(f"{figures} {len(complaints):4}", *complaints, sep="\n  ", flush=True)
    return len(complaints)


def run_rounds(name, options, one_round):
    """Calls one_round(number, folder) for each round with an empty folder of its own.

    It returns a list of complaints. The exit status is 0 when there was none.
    """
    suite = ElementTree.Element("testsuite", name=name)
    failed = 0
    for number in range(1, options.rounds + 1):
        case = ElementTree.SubElement(suite, "testcase", classname=name, name=f"round {number}")
        with tempfile.TemporaryDirectory(prefix="mos-round-") as folder:
            complaints = one_round(number, Path(folder))
        if complaints:
            failed += 1
            text = "\n".join(complaints)
            print(f"round {number} failed:\n{text}", flush=True)
            ElementTree.SubElement(case, "failure", message=complaints[0]).text = text
    if options.junitxml:
        ElementTree.ElementTree(suite).write(options.junitxml, encoding="utf-8")
    print(f"{name}: {options.rounds - failed} rounds passed, {failed} failed")
    sys.exit(1 if failed else 0)
