"""`mos list`: the direct dependencies as the manifest states them."""

import pytest

from harness import block

EMPTY_JSON = '{\n  "dependencies": {\n  }\n}\n'


def test_without_dependencies_only_the_heading_is_printed(room):
    room.manifest()
    assert room.run("list").all == (0, "Dependencies\n\n", "")
    assert room.run("list", "--json").all == (0, EMPTY_JSON, "")


def test_dependencies_stand_in_the_order_of_the_manifest(room, registry):
    room.manifest(
        {"zip": "^1.2", "json": ">= 1.0 ,<2", "bad": "not a version"},
        more='local = { path = "../x" }\ngit = { git = "u", version = "~1" }\nnothing = 3\n'
        '\n[dev-dependencies]\nspy = "1.0.0"\n\n[build-dependencies]\ngen = "1.0.0"\n',
    )
    assert room.run("list").all == (
        0,
        "Dependencies\n\n"
        "zip                     ^1.2\n"
        "json                    >= 1.0 ,<2\n"
        "bad                     *\n"
        "local                   *\n"
        "git                     ~1\n",
        "",
    )
    assert room.run("list", "--json").all == (
        0,
        "{\n"
        '  "dependencies": {\n'
        '    "zip": "^1.2",\n'
        '    "json": ">= 1.0 ,<2",\n'
        '    "bad": "*",\n'
        '    "local": "*",\n'
        '    "git": "~1"\n'
        "  }\n"
        "}\n",
        "",
    )
    assert registry.connections == 0


def test_a_name_that_fills_its_field_is_followed_by_its_constraint_directly(room):
    room.manifest({"a" * 23: "1.0.0", "b" * 24: "1.0.0", "c" * 30: "1.0.0"})
    assert room.run("list").out == (
        "Dependencies\n\n" + "a" * 23 + " 1.0.0\n" + "b" * 24 + "1.0.0\n" + "c" * 30 + "1.0.0\n"
    )


def test_names_are_not_escaped(room):
    room.manifest(more='\n[dependencies]\n"quoted" = "^1"\n')
    assert room.run("list", "--json").out == (
        '{\n  "dependencies": {\n    ""quoted"": "^1"\n  }\n}\n'
    )


@pytest.mark.parametrize("command", ["list", "tree", "install", "update", "package", "publish"])
def test_a_project_that_cannot_be_read_ends_the_command(room, command):
    path = room.shown("moss.toml")
    message = f"Failed to read moss.toml: Could not open manifest file: {path}"
    assert room.run(command).all == (1, "", block("MOS001", message))
    room.write("moss.toml", "name = 1.5\n")
    message = "Failed to read moss.toml: Line 1: Failed to parse value for key 'name': 1.5"
    assert room.run(command, "--json").all == (1, "", block("MOS001", message))
    assert set(room.tree()) == {"moss.toml"}


def test_it_writes_nothing(room):
    room.manifest({"json": "^1"})
    before = room.tree()
    room.run("list")
    assert room.tree() == before
    assert not room.home.exists()
