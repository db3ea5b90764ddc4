"""`mos remove`: a dependency taken out of moss.toml, and its directory deleted."""

import subprocess

import pytest

from harness import block, on_windows, program, status
from test_add import HEAD
from test_install import FINISHED


def removing(name):
    return status("Removing", f"{name} from dependencies")


def test_without_a_name_it_says_how_to_use_it(room):
    message = "Missing package name to remove. Usage: mos remove <package>"
    assert room.run("remove").all == (2, "", block("MOS002", message))


def test_outside_a_project_it_ends(room):
    message = "Failed to read moss.toml: Could not open manifest file: " + room.shown("moss.toml")
    assert room.run("remove", "json").all == (1, "", block("MOS001", message))


def test_a_name_that_is_not_listed_changes_nothing(room):
    room.manifest({"zip": "*"})
    before = room.tree()
    message = "Dependency 'json' is not listed in moss.toml."
    assert room.run("remove", "json").all == (1, "", block("MOS004", message))
    assert room.tree() == before


def test_the_entry_and_the_directory_go_and_nothing_else(room, registry):
    registry.publish("json", "1.0.0")
    registry.publish("zip", "1.0.0")
    room.manifest({"zip": "^1", "json": "^1"})
    room.run("install")
    lock = room.read("moss.lock")
    assert room.run("remove", "json").all == (0, removing("json"), "")
    assert room.read("moss.toml") == HEAD + '[dependencies]\nzip = "^1"\n\n'
    assert room.read("moss.lock") == lock
    assert not room.exists("packages/json")
    assert room.exists("packages/zip")
    assert room.cached("json", "1.0.0").exists()
    assert room.run("install").all == (0, FINISHED, "")
    assert '"json"' not in room.read("moss.lock")


def test_without_an_installed_directory_the_entry_goes(room):
    room.manifest({"json": "^1"})
    assert room.run("remove", "json").all == (0, removing("json"), "")
    assert room.read("moss.toml") == HEAD


def test_a_path_dependency_is_removed_like_any_other(room):
    room.manifest(more='\n[dependencies]\njson = { path = "../json" }\n')
    assert room.run("remove", "json").all == (0, removing("json"), "")
    assert room.read("moss.toml") == HEAD


def test_the_first_table_that_has_the_name_loses_it(room):
    table = '"1.0.0"\n'
    room.manifest(
        {"json": "*"},
        more=f"\n[dev-dependencies]\njson = {table}\n[build-dependencies]\njson = {table}",
    )
    room.run("remove", "json")
    dev = '[dev-dependencies]\njson = "1.0.0"\n\n'
    build = '[build-dependencies]\njson = "1.0.0"\n\n'
    assert room.read("moss.toml") == HEAD + dev + build
    room.run("remove", "json")
    assert room.read("moss.toml") == HEAD + build
    assert room.run("remove", "json").all == (0, removing("json"), "")
    assert room.read("moss.toml") == HEAD
    assert room.run("remove", "json").code == 1


def test_a_file_in_place_of_the_directory_goes(room):
    room.manifest({"json": "*"})
    room.write("packages/json", "a file")
    assert room.run("remove", "json").code == 0
    assert room.tree("packages") == {}


def test_names_that_end_in_a_dot_or_a_blank_go_with_their_directory(room):
    """Only some systems make them, and where paths are read as text they are hard to reach."""
    names = ["a.", "b ", "c../d. .", ".../e"]
    for place in (room.path("packages/json"), room.home / "cache/packages/json/1.0.0"):
        for name in names:
            (place / name).parent.mkdir(parents=True, exist_ok=True)
            (place / name).write_text("text")
    room.manifest({"json": "*"})
    assert room.run("remove", "json").all == (0, removing("json"), "")
    assert room.tree("packages") == {}
    left = room.path("packages") / ".staging-1-0\x7f"
    for name in names:
        (left / name).parent.mkdir(parents=True, exist_ok=True)
        (left / name).write_text("text")
    assert room.run("install").code == 0
    assert not left.exists()
    assert room.run("cache", "clean").code == 0
    assert not (room.home / "cache/packages/json").exists()


@pytest.mark.skipif(on_windows(), reason="Wine shows a link as what it leads to")
def test_a_link_in_place_of_the_directory_goes_and_what_it_names_stays(room):
    room.manifest({"zip": "*"})
    (room.dir / "packages").mkdir()
    room.write("kept/file", "kept")
    (room.dir / "packages" / "zip").symlink_to(room.dir / "kept")
    assert room.run("remove", "zip").code == 0
    assert room.tree("packages") == {}
    assert room.read("kept/file") == "kept"


@pytest.mark.parametrize("name", ["..", ".", "../../victim", "/victim", "a\\b", "c:"])
def test_a_name_that_is_no_path_piece_deletes_nothing(room, name):
    (room.dir / "packages").mkdir()
    room.write("victim", "kept")
    (room.root / "victim").write_text("kept")
    room.manifest({name: "*"})
    assert room.run("remove", name).all == (0, removing(name), "")
    assert room.read("moss.toml") == HEAD
    assert room.read("victim") == "kept"
    assert (room.root / "victim").read_text() == "kept"
    assert room.exists("packages")


def test_the_status_line_is_silent_under_json(room):
    room.manifest({"json": "*"})
    assert room.run("remove", "json", "--json").all == (0, "", "")


# Another name space of mounts, in which the words run with a file mounted over moss.toml.
MOUNTED = ["unshare", "--mount", "--map-root-user", "sh", "-c"]


@pytest.mark.skipif(on_windows(), reason="needs mounts as Linux has them")
def test_a_manifest_that_is_a_mount_point_is_written_in_place(room):
    if subprocess.run([*MOUNTED, ":"], capture_output=True, check=False).returncode != 0:
        pytest.skip("nothing may be mounted here")
    room.manifest()
    mounted = room.write("mounted.toml", HEAD + '[dependencies]\njson = "^1"\n')
    script = 'mount --bind mounted.toml moss.toml && exec "$@"'
    before = room.tree()
    result = room.run_words([*MOUNTED, script, "sh", *program(), "remove", "json"])
    assert result.all == (0, removing("json"), "")
    after = room.tree()
    assert after.pop("mounted.toml") == HEAD.encode()
    assert after == {name: data for name, data in before.items() if name != mounted.name}
