"""`mos init`: the current directory becomes a package."""

import pytest

from harness import block, file_error_line, on_windows, status
from test_new import manifest


def source(name):
    return (
        f'function main(): int {{\n    println("Hello from {name}!")\n    return 0\n}}\n'.encode()
    )


def initialized(room, name, directory=""):
    return status("Initialized", f"Moss package '{name}' at {room.shown(directory)}")


def package(name):
    return {"moss.toml": manifest(name), "src/": None, "src/main.moss": source(name)}


def test_the_directory_gives_the_name(room):
    assert room.run("init").all == (0, initialized(room, "project"), "")
    assert room.tree() == package("project")
    assert not room.home.exists()


def test_the_first_word_gives_the_name(room):
    assert room.run("init", "hello", "world").all == (0, initialized(room, "hello"), "")
    assert room.tree() == package("hello")


@pytest.mark.parametrize("name", ["Bad_Name", "1st", "", "true", "a.b", "ä", "x" * 65])
def test_an_invalid_name_silently_becomes_my_project(room, name):
    # Deliberate: `new` refuses such a name.
    assert room.run("init", name).all == (0, initialized(room, "my-project"), "")
    assert room.tree() == package("my-project")


@pytest.mark.parametrize("directory", ["My Project", "2024", "größe", "class"])
def test_a_directory_whose_name_is_invalid_gives_my_project(room, directory):
    room.path(directory).mkdir()
    result = room.run("init", cwd=room.path(directory))
    assert result.all == (0, initialized(room, "my-project", directory), "")
    assert room.tree(directory) == package("my-project")


def test_an_existing_entry_file_is_kept_byte_for_byte(room):
    room.write("src/main.moss", b"mine \x00\xff\r\n")
    room.write("src/other.moss", "also mine")
    assert room.run("init").all == (0, initialized(room, "project"), "")
    assert room.tree() == {
        "moss.toml": manifest("project"),
        "src/": None,
        "src/main.moss": b"mine \x00\xff\r\n",
        "src/other.moss": b"also mine",
    }


def test_an_existing_manifest_is_refused_and_nothing_is_written(room):
    room.write("moss.toml", "anything")
    refused = (1, "", block("MOS001", "Directory already contains a moss.toml manifest."))
    assert room.run("init").all == refused
    assert room.run("init", "hello").all == refused
    assert room.tree() == {"moss.toml": b"anything"}


def test_a_directory_named_like_the_manifest_is_refused_too(room):
    room.path("moss.toml").mkdir()
    refused = (1, "", block("MOS001", "Directory already contains a moss.toml manifest."))
    assert room.run("init").all == refused
    assert room.tree() == {"moss.toml/": None}


@pytest.mark.skipif(on_windows(), reason="Wine does not see a link that leads nowhere")
def test_a_manifest_that_cannot_be_written_ends_the_command(room):
    room.path("moss.toml").symlink_to("missing/moss.toml")
    failed = (1, "", block("MOS001", "Failed to write moss.toml."))
    assert room.run("init").all == failed
    assert room.tree() == {"moss.toml": "-> missing/moss.toml"}


def test_a_file_in_the_place_of_src_is_an_unexpected_error(room):
    room.write("src", "a file")
    failed = file_error_line("create_directories", "Not a directory", room.shown("src"))
    assert room.run("init").all == (1, "", failed)
    # The manifest was written before: nothing is rolled back.
    assert room.tree() == {"moss.toml": manifest("project"), "src": b"a file"}


def test_a_second_init_is_refused(room):
    room.run("init", "hello")
    refused = (1, "", block("MOS001", "Directory already contains a moss.toml manifest."))
    assert room.run("init", "hello").all == refused
    assert room.tree() == package("hello")


def test_json_silences_the_status_line(room):
    assert room.run("init", "--json").all == (0, "", "")
    assert room.tree() == package("project")
