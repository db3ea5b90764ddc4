"""build: packages, workspaces, and what the compiler's status becomes."""

import subprocess

import pytest

from harness import (
    block,
    debug_line,
    file_error_line,
    heading,
    loop_reason,
    on_windows,
    program,
    shown_path,
    status,
)

linux_only = pytest.mark.skipif(on_windows(), reason="signals of Linux")

BUILDING = status("Building", "workspace members...")


def joined(directory, relative):
    """A directory and something below it as the program joins and shows them."""
    return f"{directory}{chr(92) if on_windows() else '/'}{relative}"


def written(path):
    """A path as it stands in a manifest."""
    return shown_path(path).replace("\\", "/")


def entry_of(room, member=""):
    directory = joined(room.shown(), member) if member else room.shown()
    return joined(directory, "src/main.moss")


def compiling(name, version="0.1.0"):
    return status("Compiling", f"{name} v{version}")


def package(room, directory="", name="app", version="0.1.0", more=""):
    """Writes a package with its entry file."""
    prefix = f"{directory}/" if directory else ""
    text = f'[package]\nname = "{name}"\nversion = "{version}"\n{more}'
    room.write(f"{prefix}moss.toml", text)
    room.write(f"{prefix}src/main.moss", "")


def workspace(room, *members, directory="", more=""):
    """Writes the moss.toml of a workspace."""
    prefix = f"{directory}/" if directory else ""
    names = ", ".join(f'"{member}"' for member in members)
    room.write(f"{prefix}moss.toml", f"[workspace]\nmembers = [{names}]\n{more}")


def checked(compiler):
    """The entry files that the compiler was asked to check, in order."""
    calls = compiler.calls()
    assert [call[1] for call in calls] == ["check"] * len(calls)
    assert [len(call) for call in calls] == [3] * len(calls)
    return [call[2] for call in calls]


def test_a_package_is_checked(room):
    package(room, version="1.2.3-rc.1+build.5")
    compiler = room.compiler()
    assert room.run("build").all == (0, compiling("app", "1.2.3-rc.1+build.5"), "")
    assert checked(compiler) == [entry_of(room)]
    assert [directory for directory, _ in compiler.runs()] == [room.shown()]


def test_release_changes_nothing(room):
    package(room, more="\n[build.release]\noptimize = true\n")
    compiler = room.compiler()
    assert room.run("build", "--release", "-vv").all == (
        0,
        compiling("app") + debug_line(f'Executing: "moss.exe" check "{entry_of(room)}"'),
        "",
    )
    assert checked(compiler) == [entry_of(room)]


def test_positional_and_passed_on_words_mean_nothing(room):
    package(room)
    compiler = room.compiler()
    assert room.run("build", "other", "--", "a", "b").all == (0, compiling("app"), "")
    assert checked(compiler) == [entry_of(room)]


def test_the_streams_of_the_compiler_are_the_programs_own(room):
    package(room)
    room.compiler(out="checked\n", err="a warning\n")
    assert room.run("build").all == (0, compiling("app") + "checked\n", "a warning\n")


def test_the_order_on_screen_is_the_order_of_events(room):
    workspace(room, "one", "two")
    package(room, "one", "one")
    package(room, "two", "two")
    room.compiler(out="out\n", err="err\n", status=0)
    done = subprocess.run(
        [*program(), "build"],
        cwd=room.dir,
        env=room.env,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        timeout=60,
        check=False,
    )
    expected = BUILDING
    for member in ("one", "two"):
        expected += heading("Package", member) + compiling(member) + "out\nerr\n"
    assert done.stdout.decode() == expected


@pytest.mark.parametrize("code", [1, 2, 77, 255])
def test_a_failing_compiler_fails_the_build(room, code):
    package(room)
    room.compiler(status=code, err="main.moss:1: no\n")
    message = f"Compilation failed with exit code {code}"
    assert room.run("build").all == (
        1,
        compiling("app"),
        "main.moss:1: no\n" + block("MOS012", message),
    )


@linux_only
def test_a_compiler_that_a_signal_ends_fails_the_build(room):
    package(room)
    room.write("moss.exe", "#!/bin/sh\nkill -KILL $$\n").chmod(0o755)
    result = room.run("build")
    assert (result.code, result.out) == (1, compiling("app"))
    assert result.err.endswith(block("MOS012", "Compilation failed with exit code 137"))


def test_the_manifest_of_a_parent_directory_does_not_count(room):
    package(room)
    (room.dir / "src" / "deep").mkdir()
    shown = shown_path(room.dir / "src" / "deep")
    assert room.run("build", cwd=room.dir / "src" / "deep").all == (
        1,
        "",
        block("MOS012", f"No moss.toml manifest found in {shown}"),
    )


def test_a_manifest_that_does_not_load_ends_the_build(room):
    room.write("moss.toml", "package = 1\n")
    compiler = room.compiler()
    reason = "The [package] section must be a table."
    expected = (1, "", block("MOS001", f"Failed to read moss.toml: {reason}"))
    assert room.run("build").all == expected
    assert room.run("build", "--workspace").all == expected
    assert compiler.calls() == []


def test_the_entry_file_is_the_one_of_the_manifest(room):
    room.manifest(more='\n[build]\nentry = "lib/start here.moss"\n')
    room.write("lib/start here.moss", "")
    compiler = room.compiler()
    assert room.run("build").all == (0, compiling("app"), "")
    assert checked(compiler) == [joined(room.shown(), "lib/start here.moss")]


def test_an_absolute_entry_path_stands_for_itself(room):
    (room.root / "elsewhere.moss").write_text("")
    entry = written(room.root / "elsewhere.moss")
    room.manifest(more=f'\n[build]\nentry = "{entry}"\n')
    compiler = room.compiler()
    assert room.run("build").all == (0, compiling("app"), "")
    assert checked(compiler) == [entry]


def test_a_directory_counts_as_an_entry_file(room):
    # Deliberate: only the existence is tested.
    room.manifest(more='\n[build]\nentry = "src"\n')
    (room.dir / "src").mkdir()
    compiler = room.compiler()
    assert room.run("build").all == (0, compiling("app"), "")
    assert checked(compiler) == [joined(room.shown(), "src")]


@pytest.mark.parametrize(
    "name", ["it's.moss", "$(touch made).moss", "`touch made`.moss", "a;touch made.moss", "é.moss"]
)
def test_an_entry_file_with_an_awkward_name_arrives_unchanged(room, name):
    room.manifest(more=f'\n[build]\nentry = "{name}"\n')
    room.write(name, "")
    compiler = room.compiler()
    assert room.run("build").all == (0, compiling("app"), "")
    assert checked(compiler) == [joined(room.shown(), name)]
    assert not room.exists("made")


def test_under_json_only_the_compiler_speaks(room):
    workspace(room, "one")
    package(room, "one", "one")
    room.compiler(out="checked\n", err="a warning\n")
    assert room.run("build", "--json").all == (0, "checked\n", "a warning\n")


def test_under_json_failures_are_still_reported(room):
    package(room)
    room.compiler(status=1)
    assert room.run("build", "--json").all == (
        1,
        "",
        block("MOS012", "Compilation failed with exit code 1"),
    )


def test_the_members_of_a_workspace_are_built_in_order(room):
    workspace(room, "zeta", "libs/alpha", "./mid")
    package(room, "zeta", "zeta")
    package(room, "libs/alpha", "alpha", "2.0.0")
    package(room, "mid", "mid")
    compiler = room.compiler()
    expected = (
        0,
        BUILDING
        + heading("Package", "zeta")
        + compiling("zeta")
        + heading("Package", "libs/alpha")
        + compiling("alpha", "2.0.0")
        + heading("Package", "./mid")
        + compiling("mid"),
        "",
    )
    assert room.run("build").all == expected
    assert room.run("build", "--workspace").all == expected
    assert room.run("build", "--release", "--workspace").all == expected
    once = [entry_of(room, member) for member in ("zeta", "libs/alpha", "./mid")]
    assert checked(compiler) == once * 3
    assert {directory for directory, _ in compiler.runs()} == {room.shown()}


def test_every_run_of_the_compiler_has_its_debug_line(room):
    workspace(room, "one", "two")
    package(room, "one", "one")
    package(room, "two", "two")
    room.compiler()
    expected = BUILDING
    for member in ("one", "two"):
        command = f'Executing: "moss.exe" check "{entry_of(room, member)}"'
        expected += heading("Package", member) + compiling(member) + debug_line(command)
    assert room.run("build", "-vv").all == (0, expected, "")


def test_a_failing_member_stops_the_build_of_the_workspace(room):
    workspace(room, "one", "two")
    package(room, "one", "one")
    package(room, "two", "two")
    compiler = room.compiler(status=4)
    assert room.run("build").all == (
        1,
        BUILDING + heading("Package", "one") + compiling("one"),
        block("MOS012", "Compilation failed with exit code 4"),
    )
    assert checked(compiler) == [entry_of(room, "one")]


def test_a_member_without_a_manifest_stops_the_build(room):
    workspace(room, "missing", "two")
    package(room, "two", "two")
    compiler = room.compiler()
    shown = joined(room.shown(), "missing")
    assert room.run("build").all == (
        1,
        BUILDING + heading("Package", "missing"),
        block("MOS012", f"No moss.toml manifest found in {shown}"),
    )
    assert compiler.calls() == []


def test_a_member_without_its_entry_file_stops_the_build(room):
    workspace(room, "one")
    room.write("one/moss.toml", '[package]\nname = "one"\n')
    assert room.run("build").all == (
        1,
        BUILDING + heading("Package", "one"),
        block("MOS012", f"Entry file does not exist: {entry_of(room, 'one')}"),
    )


def test_a_member_whose_manifest_does_not_load_ends_the_build(room):
    workspace(room, "one")
    room.write("one/moss.toml", "package = 1\n")
    assert room.run("build").all == (
        1,
        BUILDING + heading("Package", "one"),
        block("MOS001", "Failed to read moss.toml: The [package] section must be a table."),
    )


def test_a_workspace_without_members_builds_nothing(room):
    room.write("moss.toml", "[workspace]\n")
    compiler = room.compiler()
    assert room.run("build").all == (0, BUILDING, "")
    assert compiler.calls() == []


def test_a_package_built_as_a_workspace_builds_nothing(room):
    # Deliberate: a package has no members.
    package(room)
    compiler = room.compiler()
    assert room.run("build", "--workspace").all == (0, BUILDING, "")
    assert room.run("build", "--workspace=no").all == (0, BUILDING, "")
    assert compiler.calls() == []


def test_a_workspace_that_is_a_package_too_builds_its_members_only(room):
    package(room, more='\n[workspace]\nmembers = ["one"]\n')
    package(room, "one", "one")
    compiler = room.compiler()
    assert room.run("build").all == (
        0,
        BUILDING + heading("Package", "one") + compiling("one"),
        "",
    )
    assert checked(compiler) == [entry_of(room, "one")]


def test_a_member_may_be_a_workspace(room):
    workspace(room, "inner", "last")
    workspace(room, "one", "two", directory="inner")
    package(room, "inner/one", "one")
    package(room, "inner/two", "two")
    package(room, "last", "last")
    compiler = room.compiler()
    assert room.run("build").all == (
        0,
        BUILDING
        + heading("Package", "inner")
        + BUILDING
        + heading("Package", "one")
        + compiling("one")
        + heading("Package", "two")
        + compiling("two")
        + heading("Package", "last")
        + compiling("last"),
        "",
    )
    inner = joined(room.shown(), "inner")
    assert checked(compiler) == [
        joined(joined(inner, "one"), "src/main.moss"),
        joined(joined(inner, "two"), "src/main.moss"),
        entry_of(room, "last"),
    ]


def test_the_workspace_flag_is_not_handed_on_to_members(room):
    workspace(room, "one")
    package(room, "one", "one")
    compiler = room.compiler()
    assert room.run("build", "--workspace").all == (
        0,
        BUILDING + heading("Package", "one") + compiling("one"),
        "",
    )
    assert checked(compiler) == [entry_of(room, "one")]


def test_a_member_that_is_listed_twice_is_built_twice(room):
    workspace(room, "one", "one")
    package(room, "one", "one")
    compiler = room.compiler()
    each = heading("Package", "one") + compiling("one")
    assert room.run("build").all == (0, BUILDING + each + each, "")
    assert checked(compiler) == [entry_of(room, "one")] * 2


def test_an_absolute_member_stands_for_itself(room):
    member = written(room.root / "elsewhere")
    workspace(room, member)
    package(room, "../elsewhere", "elsewhere")
    compiler = room.compiler()
    assert room.run("build").all == (
        0,
        BUILDING + heading("Package", member) + compiling("elsewhere"),
        "",
    )
    assert checked(compiler) == [joined(member, "src/main.moss")]


def leads_back(member):
    return block("MOS012", f"Workspace member '{member}' leads back to itself.")


@pytest.mark.parametrize("member", [".", "", "./", "one/..", "../project"])
def test_a_workspace_that_is_its_own_member_ends_the_build(room, member):
    (room.dir / "one").mkdir()
    workspace(room, member)
    compiler = room.compiler()
    assert room.run("build").all == (
        1,
        BUILDING + heading("Package", member),
        leads_back(member),
    )
    assert compiler.calls() == []


def test_workspaces_that_are_members_of_each_other_end_the_build(room):
    workspace(room, "first", "inner")
    package(room, "first", "first")
    workspace(room, "..", directory="inner")
    compiler = room.compiler()
    assert room.run("build").all == (
        1,
        BUILDING
        + heading("Package", "first")
        + compiling("first")
        + heading("Package", "inner")
        + BUILDING
        + heading("Package", ".."),
        leads_back(".."),
    )
    assert checked(compiler) == [entry_of(room, "first")]


def test_a_link_that_leads_back_ends_the_build(room):
    workspace(room, "link")
    (room.dir / "link").symlink_to(room.dir)
    assert room.run("build").all == (
        1,
        BUILDING + heading("Package", "link"),
        leads_back("link"),
    )


def test_a_package_that_is_its_own_member_leads_back_too(room):
    package(room, more='\n[workspace]\nmembers = ["."]\n')
    compiler = room.compiler()
    assert room.run("build").all == (1, BUILDING + heading("Package", "."), leads_back("."))
    assert compiler.calls() == []


def test_a_member_whose_existence_cannot_be_told_is_a_file_system_error(room):
    workspace(room, "link")
    (room.dir / "link").symlink_to("link")
    assert room.run("build").all == (
        1,
        BUILDING + heading("Package", "link"),
        file_error_line("exists", loop_reason(), joined(joined(room.shown(), "link"), "moss.toml")),
    )


def test_workspaces_may_be_nested_deeply(room):
    depth = 3000
    directories = [room.root / "chain" / str(level) for level in range(depth)]
    workspace(room, written(directories[0]))
    for directory, following in zip(directories, directories[1:]):
        directory.mkdir(parents=True)
        (directory / "moss.toml").write_text(f'[workspace]\nmembers = ["{written(following)}"]\n')
    package(room, directories[-1], "last")
    compiler = room.compiler()
    expected = "".join(BUILDING + heading("Package", written(path)) for path in directories)
    assert room.run("build").all == (0, expected + compiling("last"), "")
    assert checked(compiler) == [joined(written(directories[-1]), "src/main.moss")]
