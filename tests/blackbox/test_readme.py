"""What the documentation shows is what the program prints, and its links lead somewhere."""

import os
import re
import subprocess
import sys

import pytest

from harness import on_windows
from harness.cpp_sources import ROOT, command_files

TOOL = ROOT / "tools" / "shown_commands.py"
DOCUMENTS = sorted([*ROOT.glob("*.md"), *ROOT.glob("docs/*.md"), *ROOT.glob("examples/*.md")])


@pytest.mark.skipif(on_windows(), reason="the documentation shows the paths of Linux")
def test_the_documents_show_what_the_program_prints():
    done = subprocess.run(
        [sys.executable, "-B", TOOL, "--check"],
        env={**os.environ, "PYTHONDONTWRITEBYTECODE": "1"},
        capture_output=True,
        text=True,
        timeout=300,
        check=False,
    )
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")


def test_the_readme_shows_every_command_once_at_least():
    readme = (ROOT / "README.md").read_text(encoding="utf-8")
    blocks = re.findall(r"<!-- shown: .*?<!-- end: ", readme, re.DOTALL)
    shown = {word for block in blocks for word in re.findall(r"^\$ mos (\w+)", block, re.MULTILINE)}
    assert shown == {*command_files(), "help", "version"}


def anchors(text):
    """The names under which a page's headings can be linked to."""
    headings = re.findall(r"^#+ (.*)$", re.sub(r"^```.*?^```", "", text, flags=re.M | re.S), re.M)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


@pytest.mark.parametrize("document", DOCUMENTS, ids=lambda path: path.relative_to(ROOT).as_posix())
def test_the_links_of_a_document_lead_somewhere(document):
    text = document.read_text(encoding="utf-8")
    broken = []
    for link in re.findall(r"\]\((?!https?:)([^)]+)\)", text):
        place, _, anchor = link.partition("#")
        target = document.parent / place if place else document
        if not target.exists() or anchor and anchor not in anchors(target.read_text("utf-8")):
            broken.append(link)
    assert broken == []
