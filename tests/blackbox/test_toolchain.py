"""What build, run and check have in common: they need a manifest and an entry file."""

import pytest

from harness import block, file_error_line, loop_reason, on_windows


def joined(directory, relative):
    """A directory and something below it as the program joins and shows them."""
    return f"{directory}{chr(92) if on_windows() else '/'}{relative}"


@pytest.fixture(params=["build", "run", "check"])
def command(request):
    return request.param


def test_without_a_manifest_the_compiler_is_not_run(room, command):
    compiler = room.compiler()
    message = f"No moss.toml manifest found in {room.shown()}"
    assert room.run(command).all == (1, "", block("MOS012", message))
    assert compiler.calls() == []


def test_a_manifest_that_does_not_load_ends_the_command(room, command):
    room.write("moss.toml", "package = 1\n")
    compiler = room.compiler()
    message = "Failed to read moss.toml: The [package] section must be a table."
    assert room.run(command).all == (1, "", block("MOS001", message))
    assert compiler.calls() == []


def test_a_directory_called_like_the_manifest_cannot_be_read(room, command):
    (room.dir / "moss.toml").mkdir()
    path = joined(room.shown(), "moss.toml")
    message = f"Failed to read moss.toml: Could not open manifest file: {path}"
    assert room.run(command).all == (1, "", block("MOS001", message))


def test_a_manifest_whose_existence_cannot_be_told_is_a_file_system_error(room, command):
    (room.dir / "moss.toml").symlink_to("moss.toml")
    expected = file_error_line("exists", loop_reason(), joined(room.shown(), "moss.toml"))
    assert room.run(command).all == (1, "", expected)


def test_a_missing_entry_file_ends_the_command(room, command):
    room.manifest()
    compiler = room.compiler()
    message = f"Entry file does not exist: {joined(room.shown(), 'src/main.moss')}"
    assert room.run(command).all == (1, "", block("MOS012", message))
    assert compiler.calls() == []


def test_an_entry_that_no_file_can_have_is_no_part_of_a_command(room, command):
    """Where ".." is taken as text, a name before it need not exist."""
    room.manifest()
    room.write("src/main.moss", "main")
    entry = 'x" & echo text> made & echo "/../src/main.moss'
    quoted = entry.replace('"', '\\"')
    room.write("moss.toml", room.read("moss.toml") + f'\n[build]\nentry = "{quoted}"\n')
    compiler = room.compiler()
    message = f"Entry file does not exist: {joined(room.shown(), entry)}"
    assert room.run(command).all == (1, "", block("MOS012", message))
    assert compiler.calls() == []
    assert not room.exists("made")


def test_an_entry_file_whose_existence_cannot_be_told_is_a_file_system_error(room, command):
    room.manifest()
    (room.dir / "src").mkdir()
    (room.dir / "src" / "main.moss").symlink_to("main.moss")
    expected = file_error_line("exists", loop_reason(), joined(room.shown(), "src/main.moss"))
    assert room.run(command).all == (1, "", expected)
