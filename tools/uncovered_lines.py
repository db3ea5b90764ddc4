#!/usr/bin/python3
"""Compares the lines that no test runs with the list of those that none has to.

    tools/uncovered_lines.py build/coverage/report.json docs/coverage.md

The report is gcovr's, as JSON. Lines without a covered one between them are a block. The list has a
heading for each file and an entry for each block: its first line, how many lines it has when there
are more than one, how often such a block is there when there are several, and the reason.

    ### src/store/checksum.cpp

    - `return {};` (2 lines, 3 times): the processor has no such number.

Prints what is missing in the list, what the list has too much, and the totals. The exit status is 1
when the list does not agree or when less than 95 % of lines or 90 % of branches were run.
"""

import collections
import json
import re
import sys
from pathlib import Path

LEAST = {"lines": 95.0, "branches": 90.0}
HEADING = re.compile(r"### (\S+\.(?:cpp|h))$")
ENTRY = re.compile(r"- `(.+?)`(?: \(([^()]*)\))?: (?=\S)")


def blocks_of(file, source):
    """(first line's text, number of lines) of each block of a file that was not run."""
    blocks = []
    begun = False
    for line in sorted(file["lines"], key=lambda line: line["line_number"]):
        if line.get("gcovr/noncode"):
            continue
        if line["count"] > 0:
            begun = False
        elif begun:
            blocks[-1][1] += 1
        else:
            blocks.append([source[line["line_number"] - 1].strip(), 1])
            begun = True
    return [tuple(block) for block in blocks]


def uncovered(report, root):
    """How often each (file, first line, number of lines) is there."""
    found = collections.Counter()
    for file in report["files"]:
        source = (root / file["file"]).read_text(encoding="utf-8").splitlines()
        found.update((file["file"], *block) for block in blocks_of(file, source))
    return found


def listed(text):
    """The same of a list."""
    found = collections.Counter()
    file = None
    for line in text.splitlines():
        if heading := HEADING.match(line):
            file = heading[1]
        elif file and (entry := ENTRY.match(line)):
            notes = entry[2] or ""
            lines = re.search(r"(\d+) lines", notes)
            times = re.search(r"(\d+) times", notes)
            found[file, entry[1], int(lines[1]) if lines else 1] += int(times[1]) if times else 1
    return found


def shown(key, times):
    """An entry of the list without its reason."""
    file, text, lines = key
    notes = [f"{lines} lines"] * (lines > 1) + [f"{times} times"] * (times > 1)
    return f"{file}\n- `{text}`{' (' + ', '.join(notes) + ')' if notes else ''}:"


def totals(report):
    """{kind: (run, all)}"""
    lines = [line for file in report["files"] for line in file["lines"]]
    lines = [line for line in lines if not line.get("gcovr/noncode")]
    branches = [branch for line in lines for branch in line["branches"]]
    return {
        "lines": (sum(line["count"] > 0 for line in lines), len(lines)),
        "branches": (sum(branch["count"] > 0 for branch in branches), len(branches)),
    }


def main():
    report = json.loads(Path(sys.argv[1]).read_text(encoding="utf-8"))
    list_file = Path(sys.argv[2])
    found = uncovered(report, Path.cwd())
    known = listed(list_file.read_text(encoding="utf-8"))
    is_fine = found == known
    for title, rest in [
        ("No test runs, and the list does not have:", found - known),
        ("In the list, and run by a test or not there:", known - found),
    ]:
        if rest:
            print(title, *(shown(*item) for item in sorted(rest.items())), sep="\n")
    for kind, (run, every) in totals(report).items():
        share = 100 * run / every
        is_fine = is_fine and share >= LEAST[kind]
        print(f"{kind}: {run} of {every}, {share:.1f} % (at least {LEAST[kind]:.0f} %)")
    sys.exit(0 if is_fine else 1)


if __name__ == "__main__":
    main()
