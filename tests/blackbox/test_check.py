"""check: the entry file is checked, and a failure is reported without a reason."""

import pytest

from harness import debug_line, on_windows, status


def entry_of(room):
    return room.shown() + ("\\" if on_windows() else "/") + "src/main.moss"


@pytest.fixture
def project(room):
    room.manifest(version="3.0.0")
    room.write("src/main.moss", "")
    return room


def test_the_entry_file_is_checked(project):
    compiler = project.compiler(out="fine\n", err="a warning\n")
    assert project.run("check").all == (0, status("Checking", "app") + "fine\n", "a warning\n")
    assert [call[1:] for call in compiler.calls()] == [["check", entry_of(project)]]


def test_passed_on_words_mean_nothing(project):
    compiler = project.compiler()
    assert project.run("check", "a", "--", "b").all == (0, status("Checking", "app"), "")
    assert [call[1:] for call in compiler.calls()] == [["check", entry_of(project)]]


def test_the_command_is_shown_when_asked_for(project):
    project.compiler()
    command = f'Executing: "moss.exe" check "{entry_of(project)}"'
    assert project.run("check", "-vv").all == (
        0,
        status("Checking", "app") + debug_line(command),
        "",
    )


@pytest.mark.parametrize("code", [1, 3, 255])
def test_a_failed_check_is_reported_without_a_reason(project, code):
    # Deliberate: the compiler has said what is wrong; the message line stays empty.
    project.compiler(status=code, err="main.moss:1: no\n")
    assert project.run("check").all == (
        1,
        status("Checking", "app"),
        "main.moss:1: no\nerror[MOS012]: build failed\n  \n",
    )


def test_under_json_only_the_compiler_speaks(project):
    project.compiler(out="fine\n")
    assert project.run("check", "--json").all == (0, "fine\n", "")


def test_a_workspace_is_checked_as_one_package(room):
    # Deliberate: only build goes through the members.
    room.write("moss.toml", '[workspace]\nmembers = ["one"]\n')
    room.write("src/main.moss", "")
    compiler = room.compiler()
    assert room.run("check").all == (0, status("Checking", ""), "")
    assert [call[1:] for call in compiler.calls()] == [["check", entry_of(room)]]
