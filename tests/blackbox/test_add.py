"""`mos add`: a dependency recorded in moss.toml and installed."""

import shutil
import subprocess

import pytest

from harness import block, on_windows, status
from test_install import FINISHED, HELP_OFFLINE, downloading, installed, locked, lock_file

HEAD = (
    '[package]\nname = "app"\nversion = "0.1.0"\nedition = "1"\n'
    'license = "MIT"\nreadme = "README.md"\n\n'
)


def adding(name, constraint):
    return status("Adding", f"{name} v{constraint} to dependencies")


def make_immutable(path):
    """Whether the file cannot be written now, even by the system's administrator."""
    if shutil.which("chattr") is None:
        return False
    return subprocess.run(["chattr", "+i", path], capture_output=True, check=False).returncode == 0


def make_mutable(path):
    subprocess.run(["chattr", "-i", path], capture_output=True, check=True)


def test_without_a_name_it_says_how_to_use_it(room):
    message = "Missing package name. Usage: mos add <package>[@version]"
    assert room.run("add").all == (2, "", block("MOS002", message))
    # Deliberate: the long option takes the word that follows as its value.
    assert room.run("add", "--dev", "json").all == (2, "", block("MOS002", message))


def test_outside_a_project_it_ends(room, registry):
    message = "Failed to read moss.toml: Could not open manifest file: " + room.shown("moss.toml")
    assert room.run("add", "json").all == (1, "", block("MOS001", message))
    assert registry.connections == 0


def test_without_a_constraint_the_highest_version_is_recorded_with_a_caret(room, registry):
    registry.publish("json", "1.0.0")
    data = registry.publish("json", "1.2.0")
    registry.publish("json", "1.1.0")
    room.manifest()
    out = adding("json", "^1.2.0") + downloading("json", "1.2.0") + FINISHED
    assert room.run("add", "json").all == (0, out, "")
    assert room.read("moss.toml") == HEAD + '[dependencies]\njson = "^1.2.0"\n\n'
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.2.0", data))
    assert room.tree("packages") == installed("json", "1.2.0")


@pytest.mark.parametrize("argument", ["json@", "json"])
def test_an_empty_constraint_is_none(room, registry, argument):
    registry.publish("json", "2.0.0-rc.1")
    room.manifest()
    assert room.run("add", argument).code == 0
    assert room.read("moss.toml") == HEAD + '[dependencies]\njson = "^2.0.0-rc.1"\n\n'


def test_a_constraint_is_recorded_as_it_was_written(room, registry):
    registry.publish("json", "1.0.0")
    registry.publish("json", "2.0.0")
    room.manifest()
    out = adding("json", ">=1, <2") + downloading("json", "1.0.0") + FINISHED
    assert room.run("add", "json@ >=1, <2 ").all == (0, out, "")
    assert room.read("moss.toml") == HEAD + '[dependencies]\njson = ">=1, <2"\n\n'


def test_a_bare_version_is_exact(room, registry):
    registry.publish("json", "1.0.0")
    registry.publish("json", "1.0.1")
    room.manifest()
    out = adding("json", "1.0.0") + downloading("json", "1.0.0") + FINISHED
    assert room.run("add", "json@1.0.0").all == (0, out, "")


def test_an_entry_of_the_same_name_is_replaced(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest({"json": "^9", "zip": "*"})
    registry.publish("zip", "1.0.0")
    assert room.run("add", "json@^1").code == 0
    assert room.read("moss.toml") == HEAD + '[dependencies]\njson = "^1"\nzip = "*"\n\n'


def test_an_unknown_package_is_reported_even_with_a_malformed_constraint(room, registry):
    room.manifest()
    before = room.tree()
    message = "Package 'json' was not found in the registry."
    for argument in ("json", "json@^1", "json@rubbish"):
        assert room.run("add", argument).all == (1, "", block("MOS006", message))
    assert room.tree() == before
    assert registry.lines() == ["GET /api/v1/packages/json/versions"] * 3


def test_a_malformed_constraint_of_a_known_package_is_reported(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest()
    before = room.tree()
    message = "Invalid version constraint: rubbish"
    assert room.run("add", "json@rubbish").all == (1, "", block("MOS003", message))
    message = "Invalid version constraint: 1@2"
    assert room.run("add", "json@1@2").all == (1, "", block("MOS003", message))
    assert room.tree() == before


def test_a_dry_run_asks_the_registry_and_writes_nothing(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest()
    before = room.tree()

    def dry(name, text):
        return status("Dry-run", f"Would add dependency '{name}' with constraint '{text}'")

    assert room.run("add", "json", "--dry-run").all == (0, dry("json", "^1.0.0"), "")
    assert room.run("add", "json@~1", "--dry-run").all == (0, dry("json", "~1"), "")
    path = room.run("add", "json", "--path", "../json", "--dry-run")
    assert path.all == (0, dry("json", ""), "")
    git = room.run("add", "json@^3", "--git", "u", "--dry-run")
    assert git.all == (0, dry("json", "^3"), "")
    assert room.run("add", "json", "--dry-run", "--json").all == (0, "", "")
    message = "Package 'none' was not found in the registry."
    assert room.run("add", "none", "--dry-run").all == (1, "", block("MOS006", message))
    assert room.tree() == before


def test_development_dependencies_are_recorded_in_their_table_and_not_installed(room, registry):
    registry.publish("spy", "1.0.0")
    room.manifest()
    # Deliberate: it says "to dependencies" all the same.
    out = adding("spy", "^1.0.0") + FINISHED
    assert room.run("add", "spy", "--dev").all == (0, out, "")
    assert room.read("moss.toml") == HEAD + '[dev-dependencies]\nspy = "^1.0.0"\n\n'
    assert room.tree("packages") == {}


def test_path_dependencies_are_recorded_and_asked_for_by_name(room, registry):
    data = registry.publish("json", "1.0.0")
    room.manifest()
    out = adding("json", "*") + downloading("json", "1.0.0") + FINISHED
    assert room.run("add", "json", "--path", "../json").all == (0, out, "")
    assert room.read("moss.toml") == HEAD + '[dependencies]\njson = { path = "../json" }\n\n'
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.0.0", data))


def test_git_dependencies_are_recorded_with_what_was_given(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest()
    assert room.run("add", "json", "--git", "u", "--tag", "t", "--rev=r").code == 0
    entry = 'json = { git = "u", tag = "t", rev = "r" }'
    assert room.read("moss.toml") == f"{HEAD}[dependencies]\n{entry}\n\n"
    assert room.run("add", "json", "--git=u", "--branch=b").code == 0
    entry = 'json = { git = "u", branch = "b" }'
    assert room.read("moss.toml") == f"{HEAD}[dependencies]\n{entry}\n\n"


def test_a_path_wins_over_a_repository_and_empty_values_count_as_absent(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest()
    assert room.run("add", "json", "--path=p", "--git=u").code == 0
    assert room.read("moss.toml") == HEAD + '[dependencies]\njson = { path = "p" }\n\n'
    assert room.run("add", "json", "--path=", "--git=").code == 0
    assert room.read("moss.toml") == HEAD + '[dependencies]\njson = "^1.0.0"\n\n'
    assert room.run("add", "json", "--path").code == 0
    assert room.read("moss.toml") == HEAD + '[dependencies]\njson = "^1.0.0"\n\n'


def test_comments_and_unknown_keys_do_not_survive(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest(more='keywords = ["k"] # gone\n\n[other]\nx = 1\n')
    assert room.run("add", "json").code == 0
    assert room.read("moss.toml") == HEAD + '[dependencies]\njson = "^1.0.0"\n\n'


def test_a_failing_install_leaves_the_new_entry(room, registry):
    registry.publish("json", "1.0.0", {"gone": "*"})
    room.manifest()
    message = "package 'gone' was not found in registry or local sources"
    help_text = "check your dependency constraints in moss.toml"
    expected = (4, adding("json", "^1.0.0"), block("MOS005", message, help_text))
    assert room.run("add", "json").all == expected
    assert room.read("moss.toml") == HEAD + '[dependencies]\njson = "^1.0.0"\n\n'


def test_offline_holds_for_the_install_that_follows(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest()
    message = "Package 'json 1.0.0' is unavailable in offline mode."
    expected = (1, adding("json", "^1.0.0"), block("MOS008", message, HELP_OFFLINE))
    assert room.run("add", "json", "--offline").all == expected


def test_without_the_network_the_package_is_not_found(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest()
    message = "Package 'json' was not found in the registry."
    result = room.run("add", "json", env={"MOS_OFFLINE": "1"})
    assert result.all == (1, "", block("MOS006", message))
    assert registry.connections == 0


def test_a_linked_manifest_is_replaced_where_it_is(room, registry):
    registry.publish("json", "1.0.0")
    elsewhere = room.root / "elsewhere.toml"
    elsewhere.write_text('[package]\nname = "app"\n')
    (room.dir / "moss.toml").symlink_to(elsewhere)
    assert room.run("add", "json").code == 0
    assert (room.dir / "moss.toml").is_symlink()
    assert elsewhere.read_text() == HEAD + '[dependencies]\njson = "^1.0.0"\n\n'


@pytest.mark.skipif(on_windows(), reason="needs a file that nobody may write")
def test_a_manifest_that_cannot_be_written_ends_the_command(room, registry):
    registry.publish("json", "1.0.0")
    manifest = room.manifest({"zip": "*"})
    before = manifest.read_bytes()
    if not make_immutable(manifest):
        pytest.skip("this file system has no immutable files")
    try:
        expected = (1, "", block("MOS001", "Failed to write moss.toml."))
        assert room.run("add", "json").all == expected
        assert room.run("remove", "zip").all == expected
        assert manifest.read_bytes() == before
    finally:
        make_mutable(manifest)
    assert set(room.tree()) == {"moss.toml"}


def test_status_lines_are_silent_under_json(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest()
    assert room.run("add", "json", "--json").all == (0, "", "")
    assert room.exists("packages/json")
