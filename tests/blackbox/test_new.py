"""`mos new`: a fresh project directory."""

import pytest

from harness import block, on_windows, status


def manifest(name):
    return (
        f'[package]\nname = "{name}"\nversion = "0.1.0"\nedition = "1"\nlicense = "MIT"\n'
        'readme = "README.md"\n\n'
    ).encode()


def project(name):
    """The whole tree that `mos new NAME` makes."""
    return {
        f"{name}/": None,
        f"{name}/.gitignore": b"packages/\n*.mos\nbuild/\ntarget/\n",
        f"{name}/README.md": f"# {name}\n\nA new Moss programming language project.\n".encode(),
        f"{name}/moss.toml": manifest(name),
        f"{name}/src/": None,
        f"{name}/src/main.moss": (
            "function main(): int {\n" f'    println("Hello from {name}!")\n' "    return 0\n" "}\n"
        ).encode(),
    }


def created(name):
    return status("Created", f"binary (application) `{name}` package")


@pytest.mark.parametrize("name", ["hello", "a", "my_pkg-2", "functions", "x" * 64])
def test_a_new_project_has_four_files(room, name):
    assert room.run("new", name).all == (0, created(name), "")
    assert room.tree() == project(name)
    assert not room.home.exists()


def test_further_words_are_ignored(room):
    assert room.run("new", "hello", "world").all == (0, created("hello"), "")
    assert room.tree() == project("hello")


def test_json_silences_the_status_line(room):
    assert room.run("new", "hello", "--json").all == (0, "", "")
    assert room.tree() == project("hello")


def test_two_projects_can_stand_side_by_side(room):
    assert room.run("new", "one").code == 0
    assert room.run("new", "two").code == 0
    assert room.tree() == {**project("one"), **project("two")}


def test_a_name_is_needed(room):
    message = "Missing project name. Usage: mos new <project-name>"
    assert room.run("new").all == (2, "", block("MOS002", message))
    assert room.tree() == {}


CHARACTERS = "package name may only contain alphanumeric characters, hyphens, and underscores"
LETTER = "package name must start with an ASCII letter"
LOWERCASE = "package name should be lowercase"


@pytest.mark.parametrize(
    "name, reason",
    [
        ("", "package name cannot be empty"),
        ("x" * 65, "package name exceeds maximum length of 64 characters"),
        ("1abc", LETTER),
        ("_abc", LETTER),
        (".", LETTER),
        ("..", LETTER),
        ("/tmp/x", LETTER),
        ("ärger", LETTER),
        ("true", "package name 'true' is a reserved identifier"),
        ("moss", "package name 'moss' is a reserved identifier"),
        ("function", "package name 'function' is a reserved identifier"),
        ("Bad_Name", LOWERCASE),
        ("Main", LOWERCASE),
        ("myPkg", LOWERCASE),
        ("Bad$", LOWERCASE),
        ("bad$X", CHARACTERS),
        ("my.pkg", CHARACTERS),
        ("my pkg", CHARACTERS),
        ("a/b", CHARACTERS),
        ("a\\b", CHARACTERS),
        ("größe", CHARACTERS),
    ],
)
def test_an_invalid_name_is_refused_with_status_6(room, name, reason):
    # Deliberate: 6, unlike the 2 of a missing name.
    message = f"Invalid package name '{name}': {reason}"
    assert room.run("new", name).all == (6, "", block("MOS002", message))
    assert room.tree() == {}


def test_a_second_new_changes_nothing(room):
    room.run("new", "x")
    room.write("x/src/main.moss", "mine")
    before = room.tree()
    refused = (1, "", block("MOS001", "Directory 'x' already exists."))
    assert room.run("new", "x").all == refused
    assert room.tree() == before


def test_a_file_of_that_name_counts_as_the_directory(room):
    room.write("x", "a file")
    refused = (1, "", block("MOS001", "Directory 'x' already exists."))
    assert room.run("new", "x").all == refused
    assert room.tree() == {"x": b"a file"}


def test_an_empty_directory_of_that_name_is_refused_too(room):
    room.path("x").mkdir()
    refused = (1, "", block("MOS001", "Directory 'x' already exists."))
    assert room.run("new", "x").all == refused
    assert room.tree() == {"x/": None}


@pytest.mark.skipif(on_windows(), reason="Wine does not see a link that leads nowhere")
def test_a_link_of_that_name_that_leads_nowhere_is_refused_too(room):
    room.path("x").symlink_to("nowhere")
    refused = (1, "", block("MOS001", "Directory 'x' already exists."))
    assert room.run("new", "x").all == refused
    assert room.tree() == {"x": "-> nowhere"}


def test_an_error_is_shown_under_json_too(room):
    refused = (6, "", block("MOS002", f"Invalid package name 'X': {LOWERCASE}"))
    assert room.run("new", "X", "--json").all == refused
