"""docs/messages.md has every message of the sources, and no other."""

import re

import pytest

from harness.cpp_sources import (
    GAP,
    ROOT,
    SOURCE,
    built_text,
    calls,
    code_of,
    literals,
    source_files,
)

PAGE = (ROOT / "docs" / "messages.md").read_text(encoding="utf-8")

# Texts that go into files and requests, and the help text, which the program itself shows.
NO_MESSAGES = {
    "help_text.cpp",
    "project_template.cpp",
    "manifest_writer.cpp",
    "lockfile.cpp",
    "http_transport.cpp",
    "http_transfer_windows.cpp",
}


def section(heading):
    """What stands under a heading of the page, up to the next one of its rank."""
    return re.search(rf"^## {heading}\n(.*?)(?=^## |\Z)", PAGE, re.MULTILINE | re.DOTALL)[1]


def rows(text):
    """The cells of every table row that is no head."""
    lines = [line for line in text.splitlines() if line.startswith("|")]
    heads = {lines[at - 1] for at, line in enumerate(lines) if line.startswith("|---")}
    kept = [line for line in lines if line not in heads and not line.startswith("|---")]
    return [[cell.strip() for cell in line.strip("|").split("|")] for line in kept]


def code_spans(text):
    """Everything in backquotes."""
    prose = re.sub(r"^```.*?^```", "", text, flags=re.M | re.S)
    spans = re.findall(r"``(.+?)``|`([^`\n]+)`", prose)
    return [double or single for double, single in spans]


def code_blocks(text):
    return re.findall(r"^```\n(.*?)\n```$", text, re.MULTILINE | re.DOTALL)


# --- Codes and titles ---------------------------------------------------------------------------


def test_the_codes_and_titles_are_those_of_the_program():
    code = code_of(SOURCE / "cli" / "error_code.cpp")
    expected = sorted(re.findall(r'\{"(MOS\d+)", "([^"]+)"\}', code))
    shown = [(re.search(r"MOS\d+", cells[0])[0], cells[1]) for cells in rows(section("Codes"))]
    assert shown == expected


def test_every_code_that_is_printed_has_a_section_of_its_title():
    headings = re.findall(r"^## (MOS\d+): (.*)$", PAGE, re.MULTILINE)
    assert headings == [
        (re.search(r"MOS\d+", cells[0])[0], cells[1]) for cells in rows(section("Codes"))[1:]
    ]


# --- Exit statuses ------------------------------------------------------------------------------


def code_numbers():
    """{name of an error code: its display code}"""
    header = (SOURCE / "cli" / "error_code.h").read_text(encoding="utf-8")
    names = re.findall(r"^    (\w+)(?: = \d+)?,", header, re.MULTILINE)
    return {name: f"MOS{number:03}" for number, name in enumerate(names, 1)}


def thrown():
    """(display code, message expression, help expression, exit status) of every throw."""
    found = []
    for path in source_files():
        code = code_of(path)
        for error_code, message, help_text, status in calls(code, "MosException"):
            if not status.isdigit():
                status = re.search(rf"constexpr int {status} = (\d+);", code)[1]
            name = error_code.removeprefix("ErrorCode::")
            found.append((code_numbers()[name], message, help_text, int(status)))
    return found


def numbers(cell):
    return {int(number) for number in re.findall(r"\b\d+\b", cell)}


def test_the_exit_statuses_of_each_code_are_those_of_its_throws():
    expected = {}
    for code, _, _, status in thrown():
        expected.setdefault(code, set()).add(status)
    shown = {
        re.search(r"MOS\d+", cells[0])[0]: numbers(cells[2])
        for cells in rows(section("Codes"))[1:]
    }
    assert shown == expected


def test_the_exit_statuses_are_those_of_the_program():
    dispatcher = code_of(SOURCE / "cli" / "dispatcher.cpp")
    expected = {status for _, _, _, status in thrown()}
    expected |= {int(number) for number in re.findall(r"return (\d+);", dispatcher)}
    shown = [int(cells[0]) for cells in rows(section("Exit statuses"))]
    assert shown == sorted(expected)


# --- Messages -----------------------------------------------------------------------------------


def thrown_texts():
    """The text of every thrown message and help that has a literal, with gaps for values."""
    expressions = [text for _, message, help_text, _ in thrown() for text in (message, help_text)]
    for path in source_files():
        code = code_of(path)
        for name in ("failWithRegistryError", "refusePathPiece"):
            expressions += [text for arguments in calls(code, name) for text in arguments]
    texts = {built_text(expression) for expression in expressions if '"' in expression}
    return sorted(text for text in texts if text.strip(GAP))


@pytest.mark.parametrize("text", thrown_texts(), ids=lambda text: text.replace(GAP, "*")[:60])
def test_a_thrown_text_stands_on_the_page(text):
    pattern = re.compile(".+".join(re.escape(piece) for piece in text.split(GAP)), re.DOTALL)
    assert any(pattern.fullmatch(shown) for shown in code_spans(PAGE) + code_blocks(PAGE))


def is_sentence(text):
    return re.search(r"[A-Za-z]{2,}\W*\s\W*[A-Za-z]{2,}", text) is not None


def sentences():
    """Every literal of the sources that reads like one, line by line."""
    return sorted(
        {
            line.strip()
            for path in source_files()
            if path.name not in NO_MESSAGES
            for text in literals(code_of(path))
            for line in text.split("\n")
            if is_sentence(line)
        }
    )


@pytest.mark.parametrize("sentence", sentences())
def test_a_sentence_of_the_sources_stands_on_the_page(sentence):
    assert sentence in PAGE


def documented_messages():
    """What the tables show in the column Message or Reason, and the code blocks, line by line."""
    found = []
    for heading in re.findall(r"^## (MOS\d+: .*|Messages without a code)$", PAGE, re.MULTILINE):
        text = section(heading)
        found += [span for cells in rows(text) for span in code_spans(cells[0])]
        found += [line for block in code_blocks(text) for line in block.splitlines()]
    return sorted(set(found))


PLACEHOLDER = re.compile(r"\b(?!HTTP\b|MOS_TOKEN\b)[A-Z][A-Z_]*\b")


@pytest.mark.parametrize("message", documented_messages())
def test_a_message_of_the_page_stands_in_the_sources(message):
    known = "\0".join(text for path in source_files() for text in literals(code_of(path)))
    # What is put before a message elsewhere.
    own = re.sub("^(error|Line N): ", "", message)
    pieces = [piece.strip() for piece in PLACEHOLDER.split(own)]
    assert [piece for piece in pieces if piece not in known] == []
