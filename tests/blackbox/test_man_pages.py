"""The manual pages are well-formed and name the commands, options and statuses of the program."""

import os
import re
import shutil
import subprocess

import pytest

from harness.cpp_sources import (
    ROOT,
    SOURCE,
    code_of,
    command_options,
    general_options,
    source_files,
)

PAGES = sorted((ROOT / "man").iterdir())
MOS = (ROOT / "man" / "mos.1").read_text(encoding="utf-8")
MOSS_TOML = (ROOT / "man" / "moss.toml.5").read_text(encoding="utf-8")

# What mandoc says about more than style, without the other pages being installed.
CHECKERS = {
    "mandoc": ["mandoc", "-T", "lint", "-W", "warning"],
    "groff": ["groff", "-mandoc", "-ww", "-z"],
    "man": ["man", "--warnings", "-E", "UTF-8", "-l"],
}


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.name)
@pytest.mark.parametrize("checker", CHECKERS)
def test_a_page_is_read_without_a_warning(checker, page):
    if shutil.which(checker) is None:
        pytest.skip(f"{checker} is not installed")
    done = subprocess.run(
        [*CHECKERS[checker], page],
        env={"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "MANPAGER": "cat"},
        capture_output=True,
        text=True,
        check=False,
    )
    shown_by_lint = done.stdout if checker == "mandoc" else ""
    assert (done.returncode, shown_by_lint, done.stderr) == (0, "", "")


def section(text, heading):
    return re.search(rf"^\.Sh {heading}\n(.*?)(?=^\.Sh |\Z)", text, re.MULTILINE | re.DOTALL)[1]


def items(text):
    """The heads of list items; what stands between Xo and Xc is one head."""
    heads = re.findall(r"^\.It (Xo\n.*?^\.Xc|[^\n]*)$", text, re.MULTILINE | re.DOTALL)
    return [head for head in heads if head]


def described_commands():
    """{command word: its options} as the synopses of the commands have them."""
    found = {}
    for head in items(section(MOS, "DESCRIPTION")):
        if word := re.match(r"(?:Xo\n\.)?Cm (\w+)", head):
            found[word[1]] = {f"--{name}" for name in re.findall(r"\bFl Fl ([\w-]+)", head)}
    return found


def test_the_page_describes_every_command_with_its_options():
    assert described_commands() == command_options()


def test_the_page_names_help_and_version():
    assert {"help", "version"} <= set(re.findall(r"^\.Cm (\w+)", MOS, re.MULTILINE))


def test_the_page_describes_the_general_options():
    text = MOS.partition("\n.Ss Options of every command\n")[2].partition("\n.El")[0]
    options = set()
    for head in items(text):
        options |= {f"--{name}" for name in re.findall(r"\bFl Fl ([\w-]+)", head)}
        single = re.sub(r"Fl Fl [\w-]+", "", head)
        options |= {f"-{name}" for name in re.findall(r"\b(h|v+)\b", single)}
    assert options == general_options()


def test_the_page_describes_every_environment_variable_that_is_read():
    read = {
        name
        for path in source_files()
        for name in re.findall(r'environmentVariable\("(\w+)"\)', code_of(path))
    }
    described = set(re.findall(r"^\.It Ev (\w+)", section(MOS, "ENVIRONMENT"), re.MULTILINE))
    assert described == read


def test_the_page_has_the_exit_statuses_of_the_messages_page():
    messages = (ROOT / "docs" / "messages.md").read_text(encoding="utf-8")
    table = messages.partition("\n## Exit statuses\n")[2].partition("\n## ")[0]
    assert re.findall(r"^\.It (\d+)", section(MOS, "EXIT STATUS"), re.MULTILINE) == re.findall(
        r"^\| (\d+) \|", table, re.MULTILINE
    )


def test_the_manifest_page_lists_the_reserved_names():
    code = code_of(SOURCE / "manifest" / "package_name.cpp")
    table = re.search(r"reservedIdentifiers\{(.*?)\};", code, re.DOTALL)[1]
    shown = re.search(r"and none of\n(.*?)\.It", MOSS_TOML, re.DOTALL)[1]
    names = re.findall(r"\w+", shown.replace(".Li", ""))
    assert names == sorted(re.findall(r'"(\w+)"', table))


def test_the_manifest_page_describes_every_key_that_the_writer_knows():
    code = code_of(SOURCE / "manifest" / "manifest_loader.cpp")
    keys = set(re.findall(r'"([a-z-]+)"', code))
    shown = set(re.findall(r"[a-z]+(?:-[a-z]+)*", MOSS_TOML))
    assert keys - shown == set()
