"""Which compiler is run, and how the debug line shows it."""

import os
import shutil
import subprocess

import pytest

from harness import (
    block,
    debug_line,
    file_error_line,
    loop_reason,
    on_windows,
    program,
    shown_path,
    status,
)
from harness.compiler import StandInCompiler

linux_only = pytest.mark.skipif(on_windows(), reason="links and modes as Linux has them")

COMPILING = status("Compiling", "app v0.1.0")

# Where the compiler is looked for, in this order: below the room's root, with the program in
# tools/one/bin and the project in project/work/app. The second text is how it is shown.
PLACES = [
    ("tools/one/bin/moss.exe", None),
    ("tools/Release/moss.exe", None),
    ("tools/one/Release/moss.exe", None),
    ("project/work/app/build/Release/moss.exe", "build/Release/moss.exe"),
    ("project/work/build/Release/moss.exe", "../build/Release/moss.exe"),
    ("project/build/Release/moss.exe", "../../build/Release/moss.exe"),
    ("project/work/app/build/Debug/moss.exe", "build/Debug/moss.exe"),
    ("project/work/app/moss.exe", "moss.exe"),
]


@pytest.fixture
def tools(room):
    """A copy of the program in a folder of the room and a project to run it in."""
    room.write("work/app/moss.toml", '[package]\nname = "app"\nversion = "0.1.0"\n')
    room.write("work/app/src/main.moss", "")
    return Tools(room)


class Tools:
    def __init__(self, room):
        self.room = room
        self.project = room.dir / "work" / "app"
        *self.before, original = program()
        self.binary = room.root / "tools" / "one" / "bin" / os.path.basename(original)
        self.binary.parent.mkdir(parents=True)
        shutil.copy(shutil.which(original), self.binary)

    def run(self, *args, **more):
        return self.room.run_words(
            [*self.before, str(self.binary), *args], cwd=self.project, **more
        )

    def entry(self):
        return shown_path(self.project) + ("\\" if on_windows() else "/") + "src/main.moss"

    def executing(self, compiler):
        return debug_line(f'Executing: "{compiler}" check "{self.entry()}"')


def program_word(shown):
    """How a compiler that is shown like this is called."""
    return "./moss.exe" if shown == "moss.exe" and not on_windows() else shown


@pytest.mark.parametrize("first", range(len(PLACES)), ids=[place for place, _ in PLACES])
def test_the_first_place_that_has_a_compiler_wins(room, tools, first):
    stand_ins = [StandInCompiler(room, room.root / place) for place, _ in PLACES[first:]]
    place, shown = PLACES[first]
    shown = shown or shown_path(room.root / place)
    assert tools.run("build", "-vv").all == (0, COMPILING + tools.executing(shown), "")
    assert stand_ins[0].calls() == [[program_word(shown), "check", tools.entry()]]


def test_a_compiler_beside_the_program_is_used_even_when_the_project_has_one(room, tools):
    beside = StandInCompiler(room, room.root / "tools" / "one" / "bin" / "moss.exe")
    StandInCompiler(room, tools.project / "build" / "Release" / "moss.exe", status=9)
    assert tools.run("build").all == (0, COMPILING, "")
    assert beside.calls() == [[shown_path(beside.path), "check", tools.entry()]]


@linux_only
def test_without_a_compiler_in_these_places_the_search_path_is_asked(room, tools):
    stand_in = StandInCompiler(room, room.root / "bin" / "moss")
    path = f"{room.root / 'bin'}{os.pathsep}{os.environ['PATH']}"
    result = tools.run("build", "-vv", env={"PATH": path})
    assert result.all == (0, COMPILING + tools.executing("moss"), "")
    assert stand_in.calls() == [[str(stand_in.path), "check", tools.entry()]]


@linux_only
def test_without_a_compiler_anywhere_the_interpreter_reports_and_the_build_fails(room, tools):
    shell = subprocess.run(
        ["sh", "-c", "'moss' 'check'"], capture_output=True, text=True, env=room.env, check=False
    )
    assert shell.returncode == 127
    assert tools.run("build", "-vv").all == (
        1,
        COMPILING + tools.executing("moss"),
        shell.stderr + block("MOS012", "Compilation failed with exit code 127"),
    )


def test_a_compiler_in_the_current_directory_is_not_mistaken_for_one_on_the_search_path(
    room, tools
):
    here = StandInCompiler(room, tools.project / "moss.exe")
    StandInCompiler(room, room.root / "bin" / "moss.exe", status=9)
    path = f"{room.root / 'bin'}{os.pathsep}{os.environ['PATH']}"
    assert tools.run("build", env={"PATH": path}).all == (0, COMPILING, "")
    assert here.calls() == [[program_word("moss.exe"), "check", tools.entry()]]


@linux_only
def test_a_program_called_through_a_link_looks_beside_itself(room, tools):
    beside = StandInCompiler(room, room.root / "tools" / "one" / "bin" / "moss.exe")
    link = room.root / "link"
    link.symlink_to(tools.binary)
    result = room.run_words([*tools.before, str(link), "build"], cwd=tools.project)
    assert result.all == (0, COMPILING, "")
    assert beside.calls() == [[str(beside.path), "check", tools.entry()]]


@linux_only
def test_a_program_that_is_removed_while_it_runs_looks_where_it_was(room, tools):
    beside = StandInCompiler(room, room.root / "tools" / "one" / "bin" / "moss.exe")
    manifest = tools.project / "moss.toml"
    text = manifest.read_text()
    manifest.unlink()
    os.mkfifo(manifest)
    with subprocess.Popen(
        [*tools.before, str(tools.binary), "build"],
        cwd=tools.project,
        env=room.env,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
    ) as child:
        with manifest.open("w") as pipe:
            tools.binary.unlink()
            pipe.write(text)
        assert child.communicate(timeout=60) == (COMPILING, "")
    assert child.returncode == 0
    assert beside.calls() == [[str(beside.path), "check", tools.entry()]]


@linux_only
def test_a_link_to_the_compiler_beside_the_program_is_followed(room, tools):
    real = StandInCompiler(room, room.root / "compilers" / "newest")
    link = room.root / "tools" / "one" / "bin" / "moss.exe"
    link.symlink_to("../../../compilers/newest")
    shown = str(real.path)
    assert tools.run("build", "-vv").all == (0, COMPILING + tools.executing(shown), "")
    assert real.calls() == [[shown, "check", tools.entry()]]


def test_a_link_in_the_project_is_shown_and_run_as_written(room, tools):
    real = StandInCompiler(room, room.root / "compilers" / "newest")
    (tools.project / "moss.exe").symlink_to(real.path)
    assert tools.run("build", "-vv").all == (0, COMPILING + tools.executing("moss.exe"), "")
    assert real.calls() == [[program_word("moss.exe"), "check", tools.entry()]]


def test_a_place_whose_existence_cannot_be_told_is_a_file_system_error(room, tools):
    link = room.root / "tools" / "one" / "bin" / "moss.exe"
    link.symlink_to("moss.exe")
    assert tools.run("build").all == (
        1,
        COMPILING,
        file_error_line("exists", loop_reason(), shown_path(link)),
    )


@linux_only
def test_whatever_is_called_like_the_compiler_is_run(room, tools):
    # Deliberate: only the existence is tested, so a directory is found too and then fails.
    place = room.root / "tools" / "one" / "bin" / "moss.exe"
    place.mkdir()
    shell = subprocess.run(
        ["sh", "-c", f"'{place}'"], capture_output=True, text=True, env=room.env, check=False
    )
    assert shell.returncode == 126
    assert tools.run("build").all == (
        1,
        COMPILING,
        shell.stderr + block("MOS012", "Compilation failed with exit code 126"),
    )


@linux_only
def test_a_compiler_in_a_folder_with_an_awkward_name_is_run(room, tools):
    folder = room.root / "it's $(a) \"folder\"\nof `two` lines"
    shutil.copytree(room.root / "tools", folder)
    stand_in = StandInCompiler(room, folder / "one" / "Release" / "moss.exe")
    copy = folder / "one" / "bin" / tools.binary.name
    result = room.run_words([*tools.before, str(copy), "build", "-vv"], cwd=tools.project)
    assert result.all == (0, COMPILING + tools.executing(stand_in.path), "")
    assert stand_in.calls() == [[str(stand_in.path), "check", tools.entry()]]


@pytest.mark.parametrize("option, shown", [("-v", False), ("-vv", True), ("-vvv", True)])
def test_the_debug_line_needs_verbosity_two(room, tools, option, shown):
    StandInCompiler(room, tools.project / "moss.exe")
    expected = COMPILING + (tools.executing("moss.exe") if shown else "")
    assert tools.run("build", option).all == (0, expected, "")


def test_json_suppresses_the_debug_line(room, tools):
    StandInCompiler(room, tools.project / "moss.exe")
    assert tools.run("build", "-vvv", "--json").all == (0, "", "")
