"""Rules of the source tree that no compiler checks; ARCHITECTURE.md states them for people."""

import re
import subprocess
from pathlib import Path

import pytest
from harness.cpp_sources import code_of

ROOT = Path(__file__).resolve().parents[2]
SOURCE = ROOT / "src"
SOURCE_FILES = sorted([*SOURCE.rglob("*.h"), *SOURCE.rglob("*.cpp")])
ARCHITECTURE = (ROOT / "ARCHITECTURE.md").read_text(encoding="utf-8")


def relative(path):
    return path.relative_to(ROOT).as_posix()


def names(cell):
    """The names between backquotes in a table cell."""
    return re.findall(r"`([^`]+)`", cell)


def rules():
    """{folder: (what its services may include, what its commands may include)}"""
    found = {}
    for line in ARCHITECTURE.splitlines():
        if re.match(r"\| `src/\w+/` \|", line):
            folder, _, services, commands = [cell.strip() for cell in line.split("|")[1:5]]
            name = names(folder)[0].removeprefix("src/").rstrip("/")
            found[name] = (set(names(services)), set(names(services)) | set(names(commands)))
    return found


def includes(path):
    return re.findall(r'^\s*#\s*include "([^"]+)"', path.read_text(encoding="utf-8"), re.MULTILINE)


def command_files():
    """The files whose commands the dispatcher knows, and the dispatcher, as "folder/stem"."""
    known = includes(SOURCE / "cli" / "dispatcher.cpp")
    return {name.removesuffix(".h") for name in known if name.endswith("_command.h")} | {
        "cli/dispatcher"
    }


def stem_of(path):
    return path.relative_to(SOURCE).with_suffix("").as_posix()


def is_command(path):
    return stem_of(path) in command_files()


def foreign_includes(path):
    """What a file includes of other folders, as "folder/stem"."""
    return {
        included.removesuffix(".h")
        for included in includes(path)
        if included.split("/")[0] != path.parent.name
    }


def admits(allowed, included):
    """Whether a set of folders ("semver") and files ("store/sha256") covers "folder/stem"."""
    return included in allowed or included.split("/")[0] in allowed


def lines_with(pattern, files):
    """ "path:number: line" for each line in which the pattern is found."""
    expression = re.compile(pattern)
    return [
        f"{relative(path)}:{number}: {line.strip()}"
        for path in files
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1)
        if expression.search(line)
    ]


def test_every_source_folder_stands_in_the_table():
    folders = {path.name for path in SOURCE.iterdir() if path.is_dir()}
    assert set(rules()) == folders


def test_everything_the_page_names_exists():
    tokens = re.findall(r"`((?:src|server|tests|tools|bench|examples|cmake|docs|packaging)/[\w./-]*)`", ARCHITECTURE)
    assert len(tokens) > 10
    missing = [
        token
        for token in tokens
        if not (ROOT / token).exists() and not (ROOT / f"{token}.cpp").exists()
    ]
    assert missing == []


def test_the_page_fits_on_one_page():
    assert len(ARCHITECTURE.splitlines()) <= 80


def files_in_folders():
    return [path for path in SOURCE_FILES if path.parent != SOURCE]


def test_includes_follow_the_table():
    table = rules()
    broken = []
    for path in files_in_folders():
        services, commands = table[path.parent.name]
        allowed = commands if is_command(path) else services
        broken += [
            f"{relative(path)} includes {included}"
            for included in sorted(foreign_includes(path))
            if not admits(allowed, included)
        ]
    assert broken == []


def test_the_table_allows_nothing_that_nobody_uses():
    too_much = []
    for folder, (services, commands) in rules().items():
        used = {False: set(), True: set()}
        for path in files_in_folders():
            if path.parent.name == folder:
                used[is_command(path)] |= foreign_includes(path)
        for allowed, includes_of in [(services, used[False]), (commands - services, used[True])]:
            too_much += [
                f"{folder}: {entry}"
                for entry in sorted(allowed)
                if not any(admits({entry}, included) for included in includes_of)
            ]
    assert too_much == []


def test_every_include_names_its_folder():
    bare = [
        f"{relative(path)} includes {included}"
        for path in SOURCE_FILES
        for included in includes(path)
        if not (SOURCE / included).is_file() or "/" not in included
    ]
    assert bare == []


def test_the_entry_point_includes_the_command_line_and_the_platform_only():
    assert {included.split("/")[0] for included in includes(SOURCE / "main.cpp")} == {"cli", "platform"}


def test_no_command_includes_another_command():
    commands = command_files()
    broken = [
        f"{relative(path)} includes {included}"
        for path in SOURCE_FILES
        for included in includes(path)
        if included.removesuffix(".h") in commands - {stem_of(path), "cli/dispatcher"}
        and path.stem != "dispatcher"
    ]
    assert broken == []


def platform_file(path):
    return path.parent.name == "platform" or path.stem.endswith(("_posix", "_windows"))


def test_platform_conditions_stand_in_platform_files_only():
    macros = r"^\s*#\s*(if|ifdef|ifndef|elif)\b.*(_WIN|WIN32|__linux|__unix|__APPLE|_MSC_VER|MINGW)"
    assert lines_with(macros, [path for path in SOURCE_FILES if not platform_file(path)]) == []


def test_no_header_has_platform_conditions():
    headers = [path for path in SOURCE_FILES if path.suffix == ".h"]
    assert lines_with(r"^\s*#\s*(if|ifdef|ifndef|elif)\b", headers) == []


def test_system_headers_are_included_by_platform_files_only():
    system = r"#\s*include <((sys|netinet|arpa|curl)/|(unistd|fcntl|dlfcn|windows|wininet)\.h)"
    assert lines_with(system, [path for path in SOURCE_FILES if not platform_file(path)]) == []


def outside(*exceptions):
    return [path for path in SOURCE_FILES if relative(path) not in exceptions]


def test_the_environment_has_one_door():
    doors = ("src/platform/environment.cpp", "src/platform/environment_windows.cpp")
    assert lines_with(r"\b(secure_)?_?w?getenv\b", outside(*doors)) == []
    # A child gets the whole environment, unread.
    handed_on = "src/platform/child_process_posix.cpp"
    assert lines_with(r"\benviron\b", outside(*doors, handed_on)) == []


def test_the_console_has_one_door():
    door = ("src/cli/console.cpp", "src/cli/console.h", "src/cli/dispatcher.cpp")
    asked = [SOURCE / "platform" / f"standard_input_{system}.cpp" for system in ("posix", "windows")]
    assert len(lines_with(r"\bstd::getc\(stdin\)", asked)) == 2
    door = (*door, *(str(file.relative_to(ROOT)) for file in asked))
    streams = (
        r"\bstd::(cout|cerr|clog|cin)\b|\bf?printf\b|\bf?puts\b|\bputc(har)?\b|\bstd(out|err|in)\b"
    )
    assert lines_with(streams, outside(*door)) == []
    assert lines_with(r"\bfwrite\b", outside(*door)) == []


def test_the_dispatcher_names_the_error_stream_and_nothing_else_of_the_console():
    found = lines_with(r"\bstd(out|err|in)\b", [SOURCE / "cli" / "dispatcher.cpp"])
    assert [line.split(": ", 1)[1] for line in found] == ["printDiagnostic(exception, stderr);"]


def test_only_the_dispatcher_catches_the_programs_own_exception_for_good():
    assert lines_with(r"catch \((const )?MosException", outside("src/cli/dispatcher.cpp")) == []


def test_only_main_and_the_dispatcher_decide_how_the_process_ends():
    assert lines_with(r"\b(std::)?(exit|_Exit|quick_exit|abort|terminate)\(", SOURCE_FILES) == []


def test_every_header_is_guarded_by_pragma_once():
    headers = [path for path in SOURCE_FILES if path.suffix == ".h"]
    unguarded = [
        relative(path) for path in headers if not path.read_text().startswith("#pragma once\n")
    ]
    assert unguarded == []


def test_every_unit_test_mirrors_a_source_file():
    unit = ROOT / "tests" / "unit"
    stems = {path.relative_to(SOURCE).with_suffix("").as_posix() for path in SOURCE_FILES}
    strangers = []
    for path in sorted(unit.rglob("*_test.cpp")):
        tested = path.relative_to(unit).as_posix().removesuffix("_test.cpp")
        # "store/sha256_vectors" tests store/sha256, like "store/sha256" does.
        if not any(tested == stem or tested.startswith(stem + "_") for stem in stems):
            strangers.append(relative(path))
    assert strangers == []


CPP_FILES = sorted(
    path
    for folder in ("src", "server", "tests", "fuzz", "bench")
    for path in (ROOT / folder).rglob("*.cpp")
)
NAMED = re.compile(r"^\s*(?:using (?:\w+::)*(\w+);|(?:using|namespace) (\w+) =)", re.MULTILINE)


def test_every_name_that_is_declared_with_using_is_used():
    unused = []
    for path in CPP_FILES:
        code = code_of(path)
        for match in NAMED.finditer(code):
            name = match[1] or match[2]
            takes_constructors = f"{name}::{name};" in match[0]
            if not takes_constructors and not re.search(rf"\b{name}\b", code[match.end() :]):
                unused.append(f"{relative(path)}: {name}")
    assert unused == []


def test_no_drawer_for_odds_and_ends():
    drawers = re.compile(r"^(utils?|common|helpers?|misc)$")
    found = [relative(path) for path in ROOT.glob("src/**/*") if drawers.match(path.stem)]
    assert found == []


def shell_scripts():
    candidates = [ROOT / "dev", ROOT / ".ci" / "run"]
    for folder in ["tests", "tools", "examples", "bench"]:
        candidates += sorted((ROOT / folder).rglob("*.sh"))
    return candidates


@pytest.mark.parametrize("script", shell_scripts(), ids=relative)
def test_shell_scripts_are_well_formed_and_strict(script):
    checked = subprocess.run(["bash", "-n", script], capture_output=True, text=True, check=False)
    assert (checked.returncode, checked.stderr) == (0, "")
    text = script.read_text(encoding="utf-8")
    assert text.startswith("#!/usr/bin/env bash\n")
    assert "set -euo pipefail" in text
    assert script.stat().st_mode & 0o111
