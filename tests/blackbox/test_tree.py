"""`mos tree`: the resolved graph, as text and as JSON."""

import json
import subprocess

from harness import block, file_error_line, lock_file, loop_reason, program, sha256

HELP = "check your dependency constraints in moss.toml"


def test_a_project_without_dependencies_is_its_name(room, registry):
    room.manifest()
    assert room.run("tree").all == (0, "app\n", "")
    room.write("moss.toml", "[workspace]\nmembers = []\n")
    assert room.run("tree").all == (0, "project\n", "")
    assert registry.connections == 0


def test_branches_and_indents(room, registry):
    registry.publish("http", "1.0.0", {"zip": "*", "json": "^1"})
    registry.publish("zip", "2.0.0-rc.1", {"json": "*"})
    registry.publish("json", "1.0.0", {"text": "*"})
    registry.publish("json", "1.1.0", {"text": "*"})
    registry.publish("text", "0.1.0")
    room.manifest({"http": "*", "text": "*"})
    assert room.run("tree").all == (
        0,
        "app\n"
        "├── http 1.0.0\n"
        "│   ├── zip 2.0.0-rc.1\n"
        "│   │   └── json 1.1.0\n"
        "│   │       └── text 0.1.0\n"
        "│   └── json 1.1.0\n"
        "│       └── text 0.1.0\n"
        "└── text 0.1.0\n",
        "",
    )
    assert set(room.tree()) == {"moss.toml"}


def test_json_lists_every_package_and_the_project_sorted(room, registry):
    zip_data = registry.publish("zip", "1.0.0", {"Json": "*"})
    json_data = registry.publish("Json", "2.0.0")
    room.manifest({"zip": "*"}, version="0.2.0")
    source = f"registry+{registry.url}"
    result = room.run("tree", "--json")
    assert result.all == (
        0,
        "{\n"
        '  "root": "app",\n'
        '  "packages": [\n'
        "    {\n"
        '      "name": "Json",\n'
        '      "version": "2.0.0",\n'
        f'      "source": "{source}",\n'
        f'      "checksum": "{sha256(json_data)}",\n'
        '      "dependencies": []\n'
        "    },\n"
        "    {\n"
        '      "name": "app",\n'
        '      "version": "0.2.0",\n'
        '      "source": "",\n'
        '      "checksum": "",\n'
        '      "dependencies": ["zip"]\n'
        "    },\n"
        "    {\n"
        '      "name": "zip",\n'
        '      "version": "1.0.0",\n'
        f'      "source": "{source}",\n'
        f'      "checksum": "{sha256(zip_data)}",\n'
        '      "dependencies": ["Json"]\n'
        "    }\n"
        "  ]\n"
        "}\n"
        "\n",
        "",
    )
    assert json.loads(result.out)["root"] == "app"


def test_a_locked_version_is_kept_and_what_only_it_needs_is_a_name(room, registry):
    registry.publish("http", "1.0.0", {"json": "*"})
    registry.publish("http", "1.1.0")
    registry.publish("json", "1.0.0")
    room.manifest({"http": "^1"})
    room.write("moss.lock", lock_file(("http", "1.0.0", "", "")))
    assert room.run("tree").out == "app\n└── http 1.0.0\n    └── json\n"
    room.write("moss.lock", "no lock file")
    assert room.run("tree").out == "app\n└── http 1.1.0\n"


def test_a_failure_to_resolve_prints_nothing_of_the_tree(room, registry):
    room.manifest({"json": "*"})
    message = "package 'json' was not found in registry or local sources"
    assert room.run("tree").all == (4, "", block("MOS005", message, HELP))
    assert room.run("tree", "--json").all == (4, "", block("MOS005", message, HELP))


def test_a_lock_file_that_cannot_be_examined_is_a_file_error(room, registry):
    room.manifest()
    (room.dir / "moss.lock").symlink_to("moss.lock")
    expected = file_error_line("exists", loop_reason(), room.shown("moss.lock"))
    assert room.run("tree").all == (1, "", expected)


def test_a_package_among_its_own_ancestors_is_printed_without_its_subtree(room, registry):
    registry.publish("a", "1.0.0", {"b": "*"})
    registry.publish("b", "1.0.0", {"a": "*", "c": "*"})
    registry.publish("c", "1.0.0")
    room.manifest({"a": "*", "b": "*"})
    assert room.run("tree").out == (
        "app\n"
        "├── a 1.0.0\n"
        "│   └── b 1.0.0\n"
        "│       ├── a 1.0.0\n"
        "│       └── c 1.0.0\n"
        "└── b 1.0.0\n"
        "    ├── a 1.0.0\n"
        "    │   └── b 1.0.0\n"
        "    └── c 1.0.0\n"
    )


def test_a_graph_of_two_thousand_levels_ends(room, registry):
    depth = 2000
    for level in range(depth):
        deps = {f"p{level + 1}": "*"} if level + 1 < depth else {}
        registry.publish(f"p{level}", "1.0.0", deps)
    room.manifest({"p0": "*"})
    result = room.run("tree")
    lines = result.out.splitlines()
    assert (result.code, result.err, len(lines)) == (0, "", depth + 1)
    assert lines[-1] == "    " * (depth - 1) + f"└── p{depth - 1} 1.0.0"


def test_a_reader_that_goes_away_ends_the_program_in_an_orderly_way(room, registry):
    for level in range(300):
        registry.publish(f"p{level}", "1.0.0", {f"p{level + 1}": "*"} if level < 299 else {})
    room.manifest({"p0": "*"})
    process = subprocess.Popen(
        [*program(), "tree"],
        cwd=room.dir,
        env=room.env,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
    )
    assert process.stdout.readline() == b"app\n"
    process.stdout.close()
    assert process.stderr.read() == b""
    process.stderr.close()
    assert process.wait(60) == 0
