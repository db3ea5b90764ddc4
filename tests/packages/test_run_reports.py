"""The tools that read the reports of the tests: their sum, and runs that are compared."""

import re
import subprocess
import sys
from pathlib import Path

TOOLS = Path(__file__).resolve().parents[2] / "tools"

PASSED = '<testcase classname="a" name="one"/>'
FAILED = '<testcase classname="a" name="one"><failure message="no"/></testcase>'
BROKEN = '<testcase classname="a" name="one"><error message="no"/></testcase>'
SKIPPED = '<testcase classname="a" name="one"><skipped message="no"/></testcase>'
LEFT_OUT = '<testcase classname="a" name="one" status="notrun"/>'


def suite(*cases):
    return f"<testsuites><testsuite>{''.join(cases)}</testsuite></testsuites>"


def tool(name, *arguments):
    return subprocess.run(
        [sys.executable, "-B", TOOLS / name, *arguments], capture_output=True, text=True, check=False
    )


def summed(folder, reports):
    for name, text in reports.items():
        (folder / name).write_text(text, encoding="utf-8")
    done = tool("sum_tests.py", folder)
    return done.returncode, done.stdout, done.stderr


def test_the_tests_of_all_reports_are_added_up(tmp_path):
    reports = {"a.xml": suite(PASSED, SKIPPED), "b.xml": suite(PASSED, LEFT_OUT), "c.log": FAILED}
    assert summed(tmp_path, reports) == (0, "2 passed, 0 failed, 2 skipped\n", "")


def test_a_failure_and_an_error_count_as_failed(tmp_path):
    reports = {"a.xml": suite(PASSED, FAILED), "b.xml": suite(BROKEN)}
    assert summed(tmp_path, reports) == (1, "1 passed, 2 failed, 0 skipped\n", "")


def test_a_report_without_a_test_counts_as_failed(tmp_path):
    reports = {"a.xml": suite(PASSED), "b.xml": suite(), "c.xml": "<testsuites><testsu"}
    told = "b.xml holds no test\nc.xml holds no test\n"
    assert summed(tmp_path, reports) == (1, "1 passed, 2 failed, 0 skipped\n", told)


def repeated(folder, *scripts):
    """Lets run N be the script N: the status, the lines without their seconds, and the errors."""
    for number, script in enumerate(scripts, 1):
        (folder / f"{number}.sh").write_text(script, encoding="utf-8")
    # Each run takes the next script away.
    (folder / "next.sh").write_text(
        f"cd '{folder}'; set -- [0-9]*.sh; mv $1 now; mkdir -p reports; . ./now\n", encoding="utf-8"
    )
    done = tool(
        "repeat_tests.py", str(len(scripts)), folder / "reports", "sh", folder / "next.sh"
    )
    return done.returncode, re.sub(r"\d+ s,", "S s,", done.stdout).splitlines(), done.stderr


def writes(report, *cases):
    return f"cat >reports/{report} <<'END'\n{suite(*cases)}\nEND\necho told\n"


def test_runs_that_end_alike(tmp_path):
    script = writes("a.xml", PASSED, SKIPPED)
    assert repeated(tmp_path, script, "echo more\n" + script, script) == (
        0,
        [
            "run 1 of 3: status 0, S s, told",
            "run 2 of 3: status 0, S s, told",
            "run 3 of 3: status 0, S s, told",
            "failed or unlike the first: 0 of 3 runs",
        ],
        "",
    )
    log = tmp_path / "repeated" / "2.log"
    assert log.read_text(encoding="utf-8") == "more\ntold\n"


def test_a_test_that_ends_otherwise_is_named_in_its_run(tmp_path):
    scripts = [writes("a.xml", PASSED), writes("a.xml", SKIPPED), writes("a.xml", PASSED)]
    assert repeated(tmp_path, *scripts) == (
        1,
        [
            "run 1 of 3: status 0, S s, told",
            "run 2 of 3: status 0, S s, told",
            "  - passed: a.xml: a one",
            "  + skipped: a.xml: a one",
            "run 3 of 3: status 0, S s, told",
            "failed or unlike the first: 1 of 3 runs",
        ],
        "",
    )


def test_a_test_that_is_missing_or_there_twice_differs(tmp_path):
    scripts = [writes("a.xml", PASSED, SKIPPED), writes("a.xml", SKIPPED, SKIPPED)]
    assert repeated(tmp_path, *scripts)[:2] == (
        1,
        [
            "run 1 of 2: status 0, S s, told",
            "run 2 of 2: status 0, S s, told",
            "  - passed: a.xml: a one",
            "  + skipped: a.xml: a one",
            "failed or unlike the first: 1 of 2 runs",
        ],
    )


def test_a_run_that_fails_as_the_first_did_has_failed_all_the_same(tmp_path):
    script = writes("a.xml", FAILED) + "exit 3\n"
    assert repeated(tmp_path, script, script)[:2] == (
        1,
        [
            "run 1 of 2: status 3, S s, told",
            "run 2 of 2: status 3, S s, told",
            "failed or unlike the first: 2 of 2 runs",
        ],
    )


def test_the_reports_of_an_earlier_run_are_not_taken_for_those_of_the_next(tmp_path):
    assert repeated(tmp_path, writes("a.xml", PASSED), "") == (
        1,
        [
            "run 1 of 2: status 0, S s, told",
            "run 2 of 2: status 0, S s, ",
            "  - passed: a.xml: a one",
            "failed or unlike the first: 1 of 2 runs",
        ],
        "",
    )


def test_a_run_without_reports_has_failed(tmp_path):
    assert repeated(tmp_path, "echo told\n")[:2] == (
        1,
        ["run 1 of 1: status 0, S s, told", "failed or unlike the first: 1 of 1 runs"],
    )


def test_no_run_at_all_is_refused(tmp_path):
    status, lines, error = repeated(tmp_path)
    assert (status, lines) == (2, [])
    assert error.endswith("error: argument TIMES: not a positive number\n")
