"""Rules of the folder server/ that no compiler checks; ARCHITECTURE.md states them for people."""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
SERVER = ROOT / "server"
FILES = sorted([*SERVER.rglob("*.h"), *SERVER.rglob("*.cpp")])
ARCHITECTURE = (ROOT / "ARCHITECTURE.md").read_text(encoding="utf-8")

# The doors to the libraries and to the world.
DOORS = {
    r"#\s*include <boost/": {"http/http_server.cpp"},
    r"#\s*include <sqlite3\.h>": {"store/database.cpp"},
    r"#\s*include <sodium\.h>": {
        "cli/commands.cpp",
        "cli/run_command.cpp",
        "store/accounts.cpp",
        "store/stored_file.cpp",
    },
    r"#\s*include <nlohmann/": {
        "log/access_log.cpp",
        "protocol/documents.cpp",
        "protocol/login_body.cpp",
    },
    r"#\s*include <iostream>": {
        "cli/commands.cpp",
        "cli/password_prompt.cpp",
        "cli/serve_command.cpp",
        "cli/store_commands.cpp",
    },
    r"\bgetenv\b": set(),
    r"\benviron\b": {"cli/child_program.cpp"},
    r"system_clock|\btime\(": {"http/http_server.cpp", "store/clock.cpp"},
    r"\b(std::)?(_?exit|abort|quick_exit)\(": set(),
}


def names(cell):
    return set(re.findall(r"`([^`]+)`", cell))


def rules():
    """{folder: what it may include, as "server/folder", "folder" or with a file's stem behind}"""
    found = {}
    for line in ARCHITECTURE.splitlines():
        if re.match(r"\| `server/\w+/` \|", line):
            folder, _, server, source = [cell.strip() for cell in line.split("|")[1:5]]
            name = names(folder).pop().removeprefix("server/").rstrip("/")
            found[name] = {f"server/{entry}" for entry in names(server)} | names(source)
    return found


def includes(path):
    text = path.read_text(encoding="utf-8")
    return re.findall(r'^\s*#\s*include "([^"]+)\.h"', text, re.MULTILINE)


def foreign_includes(folder):
    """What a folder includes of others: {(file, included)}."""
    return {
        (path.relative_to(ROOT).as_posix(), included)
        for path in FILES
        if path.parent.name == folder
        for included in includes(path)
        if not included.startswith(f"server/{folder}/")
    }


def admits(entry, included):
    return included == entry or included.startswith(entry + "/")


def test_every_folder_stands_in_the_table():
    assert set(rules()) == {path.name for path in SERVER.iterdir() if path.is_dir()}


def test_includes_follow_the_table():
    broken = [
        f"{file} includes {included}"
        for folder, allowed in rules().items()
        for file, included in sorted(foreign_includes(folder))
        if not any(admits(entry, included) for entry in allowed)
    ]
    assert broken == []


def test_the_table_allows_nothing_that_nobody_uses():
    too_much = [
        f"{folder}: {entry}"
        for folder, allowed in rules().items()
        for entry in sorted(allowed)
        if not any(admits(entry, included) for _, included in foreign_includes(folder))
    ]
    assert too_much == []


def test_no_file_of_mos_includes_the_server():
    found = [
        path.relative_to(ROOT).as_posix()
        for path in (ROOT / "src").rglob("*")
        if path.is_file() and "server/" in " ".join(includes(path))
    ]
    assert found == []


def test_libraries_and_the_world_have_their_doors():
    for pattern, doors in DOORS.items():
        found = {
            path.relative_to(SERVER).as_posix()
            for path in FILES
            if re.search(pattern, path.read_text(encoding="utf-8"))
        }
        assert (pattern, found) == (pattern, doors)


def test_every_header_is_guarded_by_pragma_once():
    headers = [path for path in FILES if path.suffix == ".h"]
    assert [path for path in headers if not path.read_text().startswith("#pragma once\n")] == []


def test_every_unit_test_mirrors_a_source_file():
    stems = {path.relative_to(SERVER).with_suffix("").as_posix() for path in FILES}
    tests = (ROOT / "tests" / "server").rglob("*_test.cpp")
    tested = {
        path.relative_to(ROOT / "tests" / "server").as_posix().removesuffix("_test.cpp")
        for path in tests
    }
    assert tested and tested <= stems
