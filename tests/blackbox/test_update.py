"""`mos update`: every dependency chosen afresh."""

from harness import block, lock_file, sha256, status
from test_install import FINISHED, HELP_OFFLINE, downloading, installed, locked, unpacking

DRY_RUN = status(
    "Dry-run", "Would check registry and update dependencies to latest compatible versions."
)


def test_a_dry_run_prints_its_line_even_outside_a_project(room, registry):
    assert room.run("update", "--dry-run").all == (0, DRY_RUN, "")
    assert room.tree() == {}
    assert not room.home.exists()
    assert registry.connections == 0


def test_a_dry_run_reads_and_writes_nothing(room, registry):
    registry.publish("json", "1.0.0")
    room.write("moss.toml", "this is no manifest")
    room.write("moss.lock", "this is no lock file")
    before = room.tree()
    assert room.run("update", "--dry-run").all == (0, DRY_RUN, "")
    assert room.tree() == before
    assert registry.connections == 0


def test_json_silences_the_dry_run(room):
    assert room.run("update", "--dry-run", "--json").all == (0, "", "")


def test_the_newest_version_is_chosen_whatever_is_locked(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest({"json": "^1.0"})
    room.run("install")
    data = registry.publish("json", "1.1.0")
    # Deliberate: the directory under packages is not compared with the version, so it stays.
    assert room.run("update").all == (0, FINISHED, "")
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.1.0", data))
    assert room.tree("packages") == installed("json", "1.0.0")


def test_without_its_directory_the_new_version_is_installed(room, registry):
    registry.publish("json", "1.0.0")
    data = registry.publish("json", "1.1.0")
    room.write("moss.lock", lock_file(("json", "1.0.0", "", "")))
    room.manifest({"json": "^1.0"})
    assert room.run("update").all == (0, downloading("json", "1.1.0") + FINISHED, "")
    assert room.tree("packages") == installed("json", "1.1.0")
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.1.0", data))


def test_without_a_lock_file_it_installs(room, registry):
    data = registry.publish("json", "1.1.0")
    room.manifest({"json": "*"})
    assert room.run("update").all == (0, downloading("json", "1.1.0") + FINISHED, "")
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.1.0", data))


def test_the_dependencies_of_locked_packages_are_followed(room, registry):
    data = registry.publish("web", "1.0.0", {"json": "*"})
    json = registry.publish("json", "1.0.0")
    room.write("moss.lock", lock_file(("web", "1.0.0", "", "")))
    room.manifest({"web": "*"})
    assert room.run("update").all == (
        0,
        downloading("web", "1.0.0") + downloading("json", "1.0.0") + FINISHED,
        "",
    )
    assert room.read("moss.lock") == lock_file(
        locked(registry, "json", "1.0.0", json), locked(registry, "web", "1.0.0", data, "json")
    )


def test_a_package_name_is_taken_and_ignored(room, registry):
    for name in ["json", "log"]:
        registry.publish(name, "1.0.0")
    room.manifest({"json": "*", "log": "*"})
    assert room.run("update", "json").all == (
        0,
        downloading("json", "1.0.0") + downloading("log", "1.0.0") + FINISHED,
        "",
    )


def test_offline_holds_for_the_install_it_runs(room, registry):
    room.cache("log", "1.0.0", registry.publish("log", "1.0.0"))
    registry.publish("json", "1.0.0")
    room.manifest({"log": "*", "json": "*"})
    message = "Package 'json 1.0.0' is unavailable in offline mode."
    assert room.run("update", "--offline").all == (
        1,
        unpacking("log", "1.0.0"),
        block("MOS008", message, HELP_OFFLINE),
    )


def test_a_locked_checksum_is_not_used(room, registry):
    data = registry.publish("json", "1.0.0")
    room.write("moss.lock", lock_file(("json", "1.0.0", "registry+x", "sha256:" + "0" * 64)))
    room.manifest({"json": "*"})
    assert room.run("update").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert room.read("moss.lock") == lock_file(
        ("json", "1.0.0", f"registry+{registry.url}", sha256(data))
    )


def test_outside_a_project_it_fails_like_install(room):
    message = f"Failed to read moss.toml: Could not open manifest file: {room.shown('moss.toml')}"
    assert room.run("update").all == (1, "", block("MOS001", message))
