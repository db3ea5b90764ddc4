"""docs/commands.md and docs/moss-toml.md have every word that the program knows."""

import re

from harness.cpp_sources import (
    ROOT,
    SOURCE,
    code_of,
    command_options,
    general_options,
    source_files,
)

COMMANDS = (ROOT / "docs" / "commands.md").read_text(encoding="utf-8")
MOSS_TOML = (ROOT / "docs" / "moss-toml.md").read_text(encoding="utf-8")
MOSS_LOCK = (ROOT / "docs" / "moss-lock.md").read_text(encoding="utf-8")


def sections(text, rank):
    """{heading: what stands under it, up to the next heading of its rank or above}"""
    parts = re.split(rf"^(#{{1,{rank}}}) (.*)$\n", text, flags=re.MULTILINE)[1:]
    return {
        heading: body
        for marks, heading, body in zip(parts[::3], parts[1::3], parts[2::3])
        if len(marks) == rank
    }


def test_every_command_has_a_section():
    assert sorted(sections(COMMANDS, 3)) == sorted([*command_options(), "help", "version"])


def test_every_option_stands_in_the_synopsis_of_its_command():
    found = {}
    for word, text in sections(COMMANDS, 3).items():
        synopsis = re.match(rf"\n`mos {word}\b(.*)`\n", text)
        if synopsis:
            found[word] = set(re.findall(r"--[a-z-]+", synopsis[1]))
    assert found == command_options()


def test_every_general_option_is_described():
    table = sections(COMMANDS, 2)["Options of every command"]
    shown = set(re.findall(r"`(--?[a-z-]+)`", "".join(re.findall(r"^\| (.*?) \|", table, re.M))))
    assert shown == general_options()


def test_every_variable_is_described():
    read = {
        name
        for path in source_files()
        for name in re.findall(r'environmentVariable\("(\w+)"\)', code_of(path))
    }
    table = sections(COMMANDS, 2)["Environment"]
    assert set(re.findall(r"^\| `(\w+)`", table, re.MULTILINE)) == read


def test_every_key_of_the_manifest_is_described():
    keys = set(re.findall(r'"([a-z-]+)"', code_of(SOURCE / "manifest" / "manifest_loader.cpp")))
    assert keys - set(re.findall(r"[a-z]+(?:-[a-z]+)*", MOSS_TOML)) == set()


def test_the_reserved_names_are_those_of_the_program():
    code = code_of(SOURCE / "manifest" / "package_name.cpp")
    table = re.search(r"reservedIdentifiers\{(.*?)\};", code, re.DOTALL)[1]
    shown = re.search(r"^Reserved names: (.*)\.$", MOSS_TOML, re.MULTILINE)[1]
    assert re.findall(r"`(\w+)`", shown) == sorted(re.findall(r'"(\w+)"', table))


def test_every_key_of_the_lock_file_is_described():
    code = code_of(SOURCE / "resolver" / "lockfile.cpp")
    keys = re.findall(r'(?:get_string\(entry|find\(entry), "(\w+)"', code)
    assert set(re.findall(r"^\| `(\w+)` \|", MOSS_LOCK, re.MULTILINE)) == set(keys)
