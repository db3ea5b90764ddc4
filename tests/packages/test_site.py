"""The site that is made of the documents."""

import re
import shutil
import subprocess
from pathlib import Path

import pytest
from check_site import faults

ROOT = Path(__file__).resolve().parents[2]
SCRIPT = (ROOT / "tools" / "site.sh").read_text(encoding="utf-8")


def test_every_document_is_a_page():
    listed = set(re.findall(r"^    '(\S+\.md) ", SCRIPT, re.MULTILINE)) | {"docs/index.md"}
    documents = {f"docs/{path.name}" for path in (ROOT / "docs").glob("*.md")}
    assert documents - listed == set()


def test_the_pages_link_to_each_other_and_load_nothing_from_elsewhere(tmp_path):
    if shutil.which("pandoc") is None:
        pytest.skip("pandoc is not installed")
    done = subprocess.run(
        [ROOT / "tools" / "site.sh", tmp_path], capture_output=True, text=True, check=False
    )
    assert (done.returncode, done.stderr) == (0, "")
    assert faults(tmp_path) == []
    # The heading of a document is the title of its page, and every page knows all others.
    guide = (tmp_path / "guide.html").read_text(encoding="utf-8")
    assert "<title>Guide · mos</title>" in guide
    links = set(re.findall(r'<li><a href="([\w-]+\.html)"', guide))
    assert {path.name for path in tmp_path.glob("*.html")} == links | {"index.html"}


PAGES = {
    "a link to a page that is not there": (
        '<a href="b.html">b</a>',
        ["a.html: b.html leads to no page"],
    ),
    "a link to a place that is not there": (
        '<h1 id="x">x</h1><a href="#y">y</a>',
        ["a.html: #y leads to no place on that page"],
    ),
    "a picture from elsewhere": (
        '<img src="https://moss.example/a.png">',
        ["a.html: https://moss.example/a.png is not part of the site"],
    ),
    "a script": ("<script>1</script>", ["a.html: has a script"]),
    "a link to elsewhere, which is no fault": ('<a href="https://moss.example">m</a>', []),
}


@pytest.mark.parametrize("text, expected", PAGES.values(), ids=PAGES)
def test_what_is_wrong_with_a_page_is_found(text, expected, tmp_path):
    (tmp_path / "a.html").write_text(text, encoding="utf-8")
    assert faults(tmp_path) == expected
