"""`mos install`: from a manifest to a filled packages directory."""

import pytest

from harness import (
    Reply,
    archive,
    block,
    file_error_line,
    lock_file,
    on_windows,
    program,
    refused_url,
    sha256,
    status,
)

FINISHED = status("Finished", "installation of dependencies")
HELP_CONFLICT = "check your dependency constraints in moss.toml"
HELP_OFFLINE = "Run 'mos install' with internet connection to cache dependencies."
HELP_CHECKSUM = "The downloaded package may be corrupted or compromised."


def downloading(name, version):
    return status("Downloading", f"{name} v{version}")


def unpacking(name, version):
    return status("Unpacking", f"{name} v{version} (cached)")


def installed(name, version):
    """What packages/NAME holds of a package that was published with the usual files."""
    return {
        f"{name}/": None,
        f"{name}/moss.toml": f'[package]\nname = "{name}"\nversion = "{version}"\n'.encode(),
        f"{name}/src/": None,
        f"{name}/src/main.moss": f"// {name} {version}\n".encode(),
    }


def locked(registry, name, version, data, *dependencies):
    """The entry of moss.lock for a package from this registry."""
    return (name, version, f"registry+{registry.url}", sha256(data), *dependencies)


def home_files(room):
    """Every file below the tool home."""
    return {
        path.relative_to(room.home).as_posix(): path.read_bytes()
        for path in room.home.rglob("*")
        if path.is_file()
    }


# --- What is installed ----------------------------------------------------------------------------


def test_a_project_without_dependencies_gets_an_empty_packages_directory(room, registry):
    room.manifest()
    assert room.run("install").all == (0, FINISHED, "")
    assert room.read("moss.lock") == lock_file()
    assert room.tree("packages") == {}
    assert registry.requests == []
    assert not room.home.exists()


def test_a_package_is_downloaded_cached_unpacked_and_locked(room, registry):
    data = registry.publish("json", "1.2.0")
    room.manifest({"json": "^1.0"})
    assert room.run("install").all == (0, downloading("json", "1.2.0") + FINISHED, "")
    assert room.tree("packages") == installed("json", "1.2.0")
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.2.0", data))
    assert home_files(room) == {"cache/packages/json/1.2.0/json-1.2.0.mos": data}
    assert (room.home / "temp").is_dir()
    assert registry.lines() == [
        "GET /api/v1/packages/json/versions",
        "GET /api/v1/packages/json/1.2.0",
        "GET /api/v1/packages/json/1.2.0/download",
    ]


def test_json_silences_every_status_line(room, registry):
    registry.publish("json", "1.2.0")
    room.manifest({"json": "^1.0"})
    assert room.run("install", "--json").all == (0, "", "")
    assert room.tree("packages") == installed("json", "1.2.0")


def test_dependencies_of_dependencies_follow_in_the_order_of_selection(room, registry):
    web = registry.publish("web", "1.0.0", {"zip": "*", "http": "^1"})
    log = registry.publish("log", "0.3.0")
    http = registry.publish("http", "1.4.0", {"json": "~1.2"})
    zip_ = registry.publish("zip", "2.0.0")
    json = registry.publish("json", "1.2.9")
    room.manifest({"web": "^1", "log": "*"})
    assert room.run("install").all == (
        0,
        downloading("web", "1.0.0")
        + downloading("log", "0.3.0")
        + downloading("zip", "2.0.0")
        + downloading("http", "1.4.0")
        + downloading("json", "1.2.9")
        + FINISHED,
        "",
    )
    assert room.read("moss.lock") == lock_file(
        locked(registry, "http", "1.4.0", http, "json"),
        locked(registry, "json", "1.2.9", json),
        locked(registry, "log", "0.3.0", log),
        locked(registry, "web", "1.0.0", web, "http", "zip"),
        locked(registry, "zip", "2.0.0", zip_),
    )
    assert room.tree("packages") == {
        **installed("http", "1.4.0"),
        **installed("json", "1.2.9"),
        **installed("log", "0.3.0"),
        **installed("web", "1.0.0"),
        **installed("zip", "2.0.0"),
    }


def test_the_lock_file_is_sorted_by_the_bytes_of_the_names(room, registry):
    alpha = registry.publish("alpha", "1.0.0")
    dash = registry.publish("a-b", "1.0.0")
    under = registry.publish("a_b", "1.0.0")
    upper = registry.publish("Zed", "1.0.0")
    room.manifest({"alpha": "*", "a_b": "*", "Zed": "*", "a-b": "*"})
    assert room.run("install").code == 0
    assert room.read("moss.lock") == lock_file(
        locked(registry, "Zed", "1.0.0", upper),
        locked(registry, "a-b", "1.0.0", dash),
        locked(registry, "a_b", "1.0.0", under),
        locked(registry, "alpha", "1.0.0", alpha),
    )


def test_dev_and_build_dependencies_are_not_installed(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest(
        {"json": "1.0.0"},
        more='\n[dev-dependencies]\ncheck = "*"\n\n[build-dependencies]\ngen = "*"\n',
    )
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert not any("check" in line or "gen" in line for line in registry.lines())


def test_path_and_git_dependencies_are_asked_of_the_registry_like_all_others(room, registry):
    registry.publish("near", "1.0.0")
    registry.publish("far", "2.0.0")
    room.manifest(more='\n[dependencies]\nnear = { path = "../near" }\nfar = { git = "x" }\n')
    assert room.run("install").all == (
        0,
        downloading("near", "1.0.0") + downloading("far", "2.0.0") + FINISHED,
        "",
    )


def test_a_workspace_without_a_package_installs_its_dependencies(room, registry):
    registry.publish("json", "1.0.0")
    room.write("moss.toml", '[workspace]\nmembers = []\n\n[dependencies]\njson = "*"\n')
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")


def test_a_pre_release_keeps_its_full_text_in_the_cache(room, registry):
    data = registry.publish("json", "1.2.0-rc.1+build.5")
    room.manifest({"json": "1.2.0-rc.1"})
    assert room.run("install").all == (0, downloading("json", "1.2.0-rc.1+build.5") + FINISHED, "")
    assert home_files(room) == {
        "cache/packages/json/1.2.0-rc.1+build.5/json-1.2.0-rc.1+build.5.mos": data
    }


def test_an_archive_without_members_is_installed_as_nothing(room, registry):
    registry.publish("json", "1.0.0", files={})
    room.manifest({"json": "*"})
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert room.tree("packages") == {}
    # Nothing stands in packages, so the next run unpacks it again.
    assert room.run("install").all == (0, unpacking("json", "1.0.0") + FINISHED, "")


# --- A second time --------------------------------------------------------------------------------


def test_a_second_install_prints_only_the_last_line(room, registry):
    registry.publish("json", "1.2.0")
    room.manifest({"json": "^1.0"})
    room.run("install")
    before = room.tree()
    assert room.run("install").all == (0, FINISHED, "")
    assert room.tree() == before


def test_a_deleted_package_is_restored_from_the_cache(room, registry):
    registry.publish("json", "1.2.0")
    room.manifest({"json": "^1.0"})
    room.run("install")
    before = room.tree()
    (room.path("packages/json/src/main.moss")).unlink()
    (room.path("packages/json/src")).rmdir()
    (room.path("packages/json/moss.toml")).unlink()
    (room.path("packages/json")).rmdir()
    assert room.run("install").all == (0, unpacking("json", "1.2.0") + FINISHED, "")
    assert room.tree() == before


def test_another_project_takes_the_package_from_the_cache(room, registry):
    data = registry.publish("json", "1.2.0")
    room.cache("json", "1.2.0", data)
    room.manifest({"json": "^1.0"})
    assert room.run("install").all == (0, unpacking("json", "1.2.0") + FINISHED, "")
    assert room.tree("packages") == installed("json", "1.2.0")
    assert "GET /api/v1/packages/json/1.2.0/download" not in registry.lines()


def test_what_the_cache_holds_is_not_verified_again(room, registry):
    registry.publish("json", "1.2.0")
    room.cache("json", "1.2.0", archive({"other": "content"}))
    room.manifest({"json": "^1.0"})
    assert room.run("install").all == (0, unpacking("json", "1.2.0") + FINISHED, "")
    assert room.tree("packages") == {"json/": None, "json/other": b"content"}


def test_anything_of_the_packages_name_counts_as_installed(room, registry):
    registry.publish("json", "1.2.0")
    registry.publish("log", "1.0.0")
    room.manifest({"json": "^1.0", "log": "*"})
    room.write("packages/json", "a file")
    room.path("packages/log").mkdir()
    assert room.run("install").all == (0, FINISHED, "")
    assert room.tree("packages") == {"json": b"a file", "log/": None}


def test_other_things_under_packages_stay(room, registry):
    registry.publish("json", "1.2.0")
    room.manifest({"json": "^1.0"})
    room.write("packages/mine/notes.txt", "mine")
    room.write("packages/.hidden", "mine")
    assert room.run("install").code == 0
    assert room.tree("packages") == {
        ".hidden": b"mine",
        "mine/": None,
        "mine/notes.txt": b"mine",
        **installed("json", "1.2.0"),
    }


# --- What moss.lock does --------------------------------------------------------------------------


def test_a_locked_version_is_kept_when_a_newer_one_appears(room, registry):
    data = registry.publish("json", "1.2.0")
    room.manifest({"json": "^1.0"})
    room.run("install")
    registry.publish("json", "1.3.0")
    assert room.run("install").all == (0, FINISHED, "")
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.2.0", data))


def test_a_locked_version_outside_the_constraint_is_ignored(room, registry):
    data = registry.publish("json", "1.3.0")
    room.write("moss.lock", lock_file(("json", "0.9.0", "registry+x", "sha256:00")))
    room.manifest({"json": "^1.0"})
    assert room.run("install").all == (0, downloading("json", "1.3.0") + FINISHED, "")
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.3.0", data))


def test_a_locked_version_that_the_registry_does_not_describe_is_ignored(room, registry):
    data = registry.publish("json", "1.3.0")
    room.write("moss.lock", lock_file(("json", "1.2.0", "registry+x", "sha256:00")))
    room.manifest({"json": "^1.0"})
    assert room.run("install").all == (0, downloading("json", "1.3.0") + FINISHED, "")
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.3.0", data))


def test_a_locked_package_that_is_no_direct_dependency_is_not_kept(room, registry):
    registry.publish("web", "1.0.0", {"json": "^1"})
    registry.publish("json", "1.0.0")
    registry.publish("json", "1.1.0")
    room.write("moss.lock", lock_file(("json", "1.0.0", "", "")))
    room.manifest({"web": "*"})
    assert room.run("install").all == (
        0,
        downloading("web", "1.0.0") + downloading("json", "1.1.0") + FINISHED,
        "",
    )


def test_the_dependencies_of_a_locked_direct_dependency_are_not_followed(room, registry):
    # Deliberate: what only a locked package needs is absent; its name stays in the lock file.
    data = registry.publish("web", "1.0.0", {"json": "^1"})
    registry.publish("json", "1.0.0")
    room.write("moss.lock", lock_file(("web", "1.0.0", f"registry+{registry.url}", sha256(data))))
    room.manifest({"web": "*"})
    assert room.run("install").all == (0, downloading("web", "1.0.0") + FINISHED, "")
    assert room.tree("packages") == installed("web", "1.0.0")
    assert room.read("moss.lock") == lock_file(locked(registry, "web", "1.0.0", data, "json"))


def test_a_lock_file_with_dependency_lists_counts_as_absent(room, registry):
    # Deliberate: the reader takes one line for each statement, the writer uses several.
    registry.publish("web", "1.0.0", {"json": "^1"})
    registry.publish("json", "1.0.0")
    room.manifest({"web": "*"})
    room.run("install")
    registry.publish("json", "1.1.0")
    assert room.run("install").all == (0, FINISHED, "")
    assert 'name = "json"\nversion = "1.1.0"\n' in room.read("moss.lock")


def test_locked_entries_with_dependencies_on_one_line_are_read(room, registry):
    data = registry.publish("web", "1.0.0", {"json": "^1"})
    registry.publish("web", "1.1.0")
    room.write(
        "moss.lock",
        '[[package]]\nname = "web"\nversion = "1.0.0"\ndependencies = ["json", 3, "other"]\n',
    )
    room.manifest({"web": "*"})
    assert room.run("install").all == (0, downloading("web", "1.0.0") + FINISHED, "")
    # The list and the checksum come from the registry; the source is what was locked: none.
    assert room.read("moss.lock") == lock_file(("web", "1.0.0", "", sha256(data), "json"))


@pytest.mark.parametrize(
    "text",
    [
        "",
        "not a statement",
        "version = 1\n",
        "package = 3\n",
        "[package]\nname = 1\n",
        '[[package]]\nversion = "1.0.0"\n',
        '[[package]]\nname = "json"\n',
        '[[package]]\nname = "json"\nversion = "one"\n',
        '[[package]]\nname = "json"\nversion = 1\n',
        '[[package]]\nname = 7\nversion = "1.0.0"\n',
        'package = [1, "x"]\n',
        "\x00\x01\x02",
    ],
    ids=repr,
)
def test_a_lock_file_that_says_nothing_useful_is_replaced(room, registry, text):
    registry.publish("json", "1.0.0")
    data = registry.publish("json", "1.1.0")
    room.write("moss.lock", text)
    room.manifest({"json": "^1"})
    assert room.run("install").all == (0, downloading("json", "1.1.0") + FINISHED, "")
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.1.0", data))


def test_a_damaged_entry_does_not_hide_the_entries_around_it(room, registry):
    for name in ["a", "b", "c"]:
        registry.publish(name, "1.0.0")
        registry.publish(name, "1.1.0")
    room.write(
        "moss.lock",
        '[[package]]\nname = "a"\nversion = "1.0.0"\n'
        '[[package]]\nname = "b"\nversion = "1.0"\n'
        '[[package]]\nname = "c"\nversion = "1.0.0"\n',
    )
    room.manifest({"a": "*", "b": "*", "c": "*"})
    assert room.run("install").all == (
        0,
        downloading("a", "1.0.0")
        + downloading("c", "1.0.0")
        + downloading("b", "1.1.0")
        + FINISHED,
        "",
    )


@pytest.mark.parametrize("checksum", ["mock", "sha256:mock", "a-mock-checksum"])
def test_a_locked_mock_checksum_is_replaced_by_the_real_one(room, registry, checksum):
    data = registry.publish("json", "1.0.0")
    source = f"registry+{registry.url}"
    room.write("moss.lock", lock_file(("json", "1.0.0", source, checksum)))
    room.manifest({"json": "*"})
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.0.0", data))


def test_a_locked_local_source_is_replaced_by_the_registrys(room, registry):
    data = registry.publish("json", "1.0.0")
    room.write("moss.lock", lock_file(("json", "1.0.0", "local+/x", sha256(data))))
    room.manifest({"json": "*"})
    room.run("install")
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.0.0", data))


def test_any_other_locked_source_is_kept(room, registry):
    data = registry.publish("json", "1.0.0")
    entry = ("json", "1.0.0", "registry+http://elsewhere", sha256(data))
    room.write("moss.lock", lock_file(entry))
    room.manifest({"json": "*"})
    room.run("install")
    assert room.read("moss.lock") == lock_file(entry)


def test_the_locked_checksum_is_what_a_download_is_compared_with(room, registry):
    data = registry.publish("json", "1.0.0")
    expected = "sha256:" + "0" * 64
    room.write("moss.lock", lock_file(("json", "1.0.0", "", expected)))
    room.manifest({"json": "*"})
    assert room.run("install").all == (
        7,
        downloading("json", "1.0.0"),
        checksum_block("json", "1.0.0", expected, data),
    )


def test_a_lock_file_that_cannot_be_written_is_not_reported(room, registry):
    registry.publish("json", "1.0.0")
    room.path("moss.lock").mkdir()
    room.manifest({"json": "*"})
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert room.tree("moss.lock") == {}
    assert room.tree("packages") == installed("json", "1.0.0")


# --- Checksums ------------------------------------------------------------------------------------


def checksum_block(name, version, expected, data):
    return block(
        "MOS007",
        f"Checksum verification failed for package '{name} {version}'.\n"
        f"Expected: {expected}\n"
        f"Actual:   {sha256(data)}",
        HELP_CHECKSUM,
    )


def test_a_checksum_mismatch_ends_the_install_and_caches_nothing(room, registry):
    claimed = "sha256:" + "ab" * 32
    data = registry.publish("json", "1.2.0", checksum=claimed)
    room.manifest({"json": "^1.0"})
    assert room.run("install").all == (
        7,
        downloading("json", "1.2.0"),
        checksum_block("json", "1.2.0", claimed, data),
    )
    # The download stays for whoever wants to look at it.
    assert home_files(room) == {"temp/json.mos": data}
    assert room.tree("packages") == {}
    assert room.read("moss.lock") == lock_file(
        ("json", "1.2.0", f"registry+{registry.url}", claimed)
    )


def test_packages_before_a_mismatch_stay_installed(room, registry):
    first = registry.publish("first", "1.0.0")
    second = registry.publish("second", "1.0.0", checksum="00")
    registry.publish("third", "1.0.0")
    room.manifest({"first": "*", "second": "*", "third": "*"})
    assert room.run("install").all == (
        7,
        downloading("first", "1.0.0") + downloading("second", "1.0.0"),
        checksum_block("second", "1.0.0", "sha256:00", second),
    )
    assert room.tree("packages") == installed("first", "1.0.0")
    assert home_files(room) == {
        "cache/packages/first/1.0.0/first-1.0.0.mos": first,
        "temp/second.mos": second,
    }


def test_a_mismatch_is_gone_once_the_registry_tells_the_truth(room, registry):
    registry.publish("json", "1.2.0", checksum="00")
    room.manifest({"json": "^1.0"})
    assert room.run("install").code == 7
    room.path("moss.lock").unlink()
    data = registry.publish("json", "1.2.0")
    assert room.run("install").all == (0, downloading("json", "1.2.0") + FINISHED, "")
    assert home_files(room) == {"cache/packages/json/1.2.0/json-1.2.0.mos": data}


def test_bare_digits_are_a_checksum(room, registry):
    data = archive({"a": "b"})
    registry.publish("json", "1.0.0", data=data, checksum=sha256(data)[len("sha256:") :])
    room.manifest({"json": "*"})
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert room.read("moss.lock") == lock_file(locked(registry, "json", "1.0.0", data))


def test_bare_digits_in_the_lock_file_are_a_checksum(room, registry):
    data = registry.publish("json", "1.0.0")
    entry = ("json", "1.0.0", "registry+x", sha256(data)[len("sha256:") :])
    room.write("moss.lock", lock_file(entry))
    room.manifest({"json": "*"})
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert room.read("moss.lock") == lock_file(entry)


def test_upper_case_digits_do_not_match(room, registry):
    data = archive({"a": "b"})
    claimed = "sha256:" + sha256(data)[len("sha256:") :].upper()
    registry.publish("json", "1.0.0", data=data, checksum=claimed)
    room.manifest({"json": "*"})
    assert room.run("install").all == (
        7,
        downloading("json", "1.0.0"),
        checksum_block("json", "1.0.0", claimed, data),
    )


def test_without_a_checksum_every_download_is_accepted(room, registry):
    registry.publish("json", "1.0.0", checksum="")
    room.manifest({"json": "*"})
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert room.read("moss.lock") == lock_file(("json", "1.0.0", f"registry+{registry.url}", ""))


# --- Offline --------------------------------------------------------------------------------------


def unavailable(name, version):
    message = f"Package '{name} {version}' is unavailable in offline mode."
    return block("MOS008", message, HELP_OFFLINE)


def test_offline_installs_what_is_cached(room, registry):
    for name in ["json", "log"]:
        room.cache(name, "1.0.0", registry.publish(name, "1.0.0"))
    room.manifest({"json": "*", "log": "*"})
    assert room.run("install", "--offline").all == (
        0,
        unpacking("json", "1.0.0") + unpacking("log", "1.0.0") + FINISHED,
        "",
    )
    assert room.tree("packages") == {**installed("json", "1.0.0"), **installed("log", "1.0.0")}


def test_offline_the_first_package_that_is_not_cached_ends_the_run(room, registry):
    for name in ["a", "b", "c"]:
        registry.publish(name, "1.0.0")
    room.cache("a", "1.0.0", archive({"a": "a"}))
    room.cache("c", "1.0.0", archive({"c": "c"}))
    room.manifest({"a": "*", "b": "*", "c": "*"})
    assert room.run("install", "--offline").all == (
        1,
        unpacking("a", "1.0.0"),
        unavailable("b", "1.0.0"),
    )
    assert room.tree("packages") == {"a/": None, "a/a": b"a"}
    assert room.exists("moss.lock")
    assert not any(line.endswith("/download") for line in registry.lines())


def test_offline_still_asks_the_registry_which_versions_exist(room, registry):
    # Deliberate: the option forbids downloads, nothing else.
    registry.publish("json", "1.0.0")
    room.manifest({"json": "*"})
    room.run("install", "--offline")
    assert registry.lines() == [
        "GET /api/v1/packages/json/versions",
        "GET /api/v1/packages/json/1.0.0",
    ]


def test_offline_a_package_in_its_place_needs_no_cache(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest({"json": "*"})
    room.path("packages/json").mkdir(parents=True)
    assert room.run("install", "--offline").all == (0, FINISHED, "")


@pytest.mark.parametrize("value", ["1", "true"])
def test_the_offline_variable_keeps_every_request_back(room, registry, value):
    registry.publish("json", "1.0.0")
    room.manifest({"json": "*"})
    message = "package 'json' was not found in registry or local sources"
    assert room.run("install", env={"MOS_OFFLINE": value}).all == (
        4,
        "",
        block("MOS005", message, HELP_CONFLICT),
    )
    assert registry.connections == 0


@pytest.mark.parametrize("value", ["True", "TRUE", "yes", "0", "", "1 ", "on"])
def test_any_other_value_of_the_offline_variable_means_online(room, registry, value):
    registry.publish("json", "1.0.0")
    room.manifest({"json": "*"})
    result = room.run("install", env={"MOS_OFFLINE": value})
    assert result.all == (0, downloading("json", "1.0.0") + FINISHED, "")


# --- Versions that do not fit together ------------------------------------------------------------


def refused(message):
    return (4, "", block("MOS005", message, HELP_CONFLICT))


def test_an_unknown_package_is_refused_and_nothing_is_written(room, registry):
    room.manifest({"nowhere": "*"})
    before = room.tree()
    message = "package 'nowhere' was not found in registry or local sources"
    assert room.run("install").all == refused(message)
    assert room.tree() == before


def test_a_registry_that_is_not_there_knows_no_package(room):
    room.env["MOS_REGISTRY"] = refused_url()
    room.manifest({"json": "*"})
    message = "package 'json' was not found in registry or local sources"
    assert room.run("install").all == refused(message)


def test_seven_versions_that_do_not_match_are_shown_as_five_and_more(room, registry):
    for minor in [0, 3, 1, 6, 2, 5, 4]:
        registry.publish("json", f"1.{minor}.0")
    room.manifest({"json": "^2.0"})
    message = (
        "no available version of 'json' matches constraint '^2.0'.\n"
        "Available versions: 1.6.0, 1.5.0, 1.4.0, 1.3.0, 1.2.0, ..."
    )
    assert room.run("install").all == refused(message)
    assert not room.exists("moss.lock")


def test_five_versions_that_do_not_match_are_all_shown(room, registry):
    for version in ["1.0.0", "1.0.0-rc.1", "0.9.0", "1.0.0-alpha", "10.0.0"]:
        registry.publish("json", version)
    room.manifest({"json": " >= 2.0.0 , <3 "})
    message = (
        "no available version of 'json' matches constraint '>= 2.0.0 , <3'.\n"
        "Available versions: 10.0.0, 1.0.0, 1.0.0-rc.1, 1.0.0-alpha, 0.9.0"
    )
    assert room.run("install").all == refused(message)


def test_the_conflict_names_who_asked_first_and_what_was_chosen_last(room, registry):
    registry.publish("a", "1.0.0", {"shared": "^1.0"})
    registry.publish("b", "1.0.0", {"shared": "^2.0"})
    registry.publish("shared", "1.5.0")
    registry.publish("shared", "2.5.0")
    room.manifest({"a": "*", "b": "*"})
    # The second requirer is the package chosen last, whether or not it asked.
    message = (
        "dependency conflict for 'shared':\n"
        "  b requires: shared ^1.0 (selected: 1.5.0)\n"
        "  shared requires: shared ^2.0\n"
        "No compatible version was found."
    )
    assert room.run("install").all == refused(message)
    assert not room.exists("moss.lock")
    assert not room.exists("packages")


def test_a_conflict_with_the_project_names_the_project(room, registry):
    registry.publish("b", "1.0.0", {"shared": "^2.0"})
    registry.publish("shared", "1.5.0")
    registry.publish("shared", "2.5.0")
    room.manifest({"shared": "^1.0", "b": "*"}, name="my-app")
    message = (
        "dependency conflict for 'shared':\n"
        "  my-app requires: shared ^1.0 (selected: 1.5.0)\n"
        "  b requires: shared ^2.0\n"
        "No compatible version was found."
    )
    assert room.run("install").all == refused(message)


def test_an_older_version_is_taken_when_the_newest_does_not_fit(room, registry):
    registry.publish("json", "1.4.0")
    registry.publish("json", "2.1.0")
    registry.publish("http", "1.3.0", {"json": "^1.2"})
    registry.publish("http", "2.0.0", {"json": "^2.0"})
    room.manifest({"json": "^1.0", "http": "*"})
    assert room.run("install").all == (
        0,
        downloading("json", "1.4.0") + downloading("http", "1.3.0") + FINISHED,
        "",
    )


def test_a_version_without_metadata_is_passed_over(room, registry):
    registry.publish("json", "1.0.0")
    registry.publish("json", "1.1.0")
    registry.on("GET", "/api/v1/packages/json/1.1.0", status=500)
    room.manifest({"json": "*"})
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")


def test_a_package_that_no_metadata_describes_is_a_conflict_without_words(room, registry):
    registry.on("GET", "/api/v1/packages/json/versions", body='["1.0.0"]')
    room.manifest({"json": "*"})
    assert room.run("install").all == refused("")


def test_a_package_that_needs_the_project_is_a_cycle(room, registry):
    registry.publish("a", "1.0.0")
    registry.publish("b", "1.0.0", {"app": "*"})
    room.manifest({"a": "*", "b": "*"})
    assert room.run("install").all == refused("Cyclic dependency detected: app -> a -> b -> app")


def test_packages_that_need_each_other_are_installed(room, registry):
    registry.publish("a", "1.0.0", {"b": "*"})
    registry.publish("b", "1.0.0", {"a": "*"})
    room.manifest({"a": "*"})
    assert room.run("install").all == (
        0,
        downloading("a", "1.0.0") + downloading("b", "1.0.0") + FINISHED,
        "",
    )


def test_a_bare_version_means_exactly_that_version(room, registry):
    registry.publish("json", "1.2.0")
    registry.publish("json", "1.2.1")
    room.manifest({"json": "1.2.0"})
    assert room.run("install").all == (0, downloading("json", "1.2.0") + FINISHED, "")


def test_a_constraint_that_does_not_parse_means_any_version(room, registry):
    registry.publish("json", "3.0.0")
    room.manifest({"json": "not a version"})
    assert room.run("install").all == (0, downloading("json", "3.0.0") + FINISHED, "")


def test_each_question_is_asked_once(room, registry):
    registry.publish("json", "1.4.0")
    registry.publish("json", "2.1.0")
    registry.publish("http", "1.3.0", {"json": "^1.2"})
    registry.publish("http", "2.0.0", {"json": "^2.0"})
    registry.publish("http", "2.1.0", {"json": "^2.0"})
    room.manifest({"http": "*", "json": "^1.0"})
    assert room.run("install").code == 0
    assert len(registry.lines()) == len(set(registry.lines()))


# --- Names and versions that would leave their place ----------------------------------------------


def unsafe(message):
    return (1, "", block("MOS011", message))


@pytest.mark.parametrize(
    "name",
    ["", "../evil", "..", ".", "a/b", "/tmp/evil", "a\\b", "..\\evil", "c:evil"],
    ids=repr,
)
def test_a_name_that_is_no_path_piece_is_refused_before_anything_is_written(room, registry, name):
    # Whatever the address of such a name becomes on its way, the answer is the same.
    registry.reply_to = answer_anything(registry)
    room.manifest({name: "*"})
    before = room.tree()
    assert room.run("install").all == unsafe(f"Package name '{name}' is not a safe path component.")
    assert room.tree() == before
    assert not room.home.exists()


@pytest.mark.parametrize("name", ["tab\tname", "del\x7f"], ids=repr)
def test_a_name_with_a_control_character_has_no_address(room, registry, name):
    registry.reply_to = answer_anything(registry)
    room.manifest({name: "*"})
    before = room.tree()
    message = f"package '{name}' was not found in registry or local sources"
    assert room.run("install").all == refused(message)
    assert room.tree() == before
    assert registry.connections == 0


def answer_anything(registry):
    """A reply_to that answers every question about any package: version 1.0.0, no dependencies."""

    def reply_to(request):
        registry.requests.append(request)
        return Reply(body='["1.0.0"]' if "/versions" in request.target else "{}")

    return reply_to


def test_an_unsafe_name_that_a_package_asks_for_is_refused(room, registry):
    registry.publish("carrier", "1.0.0", {"a/../../evil": "*"})
    ask = registry.reply_to
    anything = answer_anything(registry)
    registry.reply_to = lambda request: (
        ask(request) if "carrier" in request.target else anything(request)
    )
    room.manifest({"carrier": "*"})
    before = room.tree()
    assert room.run("install").all == unsafe(
        "Package name 'a/../../evil' is not a safe path component."
    )
    assert room.tree() == before


@pytest.mark.parametrize("version", ["1.0.0-a/b", "1.0.0-/../../x", "1.0.0+a\\\\b", "1.0.0-a:b"])
def test_a_version_that_is_no_path_piece_is_refused(room, registry, version):
    registry.reply_to = answer_version(registry, version)
    room.manifest({"json": "*" if "+" in version else version})
    before = room.tree()
    # Replies are not unescaped: what stands between the quotes is the version.
    message = f"Package version '{version}' of 'json' is not a safe path component."
    assert room.run("install").all == unsafe(message)
    assert room.tree() == before


def answer_version(registry, version):
    def reply_to(request):
        registry.requests.append(request)
        return Reply(body=f'["{version}"]' if request.target.endswith("/versions") else "{}")

    return reply_to


# --- Archives that want more than their place -----------------------------------------------------


def unpack_failed(name, reason):
    return block("MOS010", f"Failed to unpack package '{name}': {reason}")


@pytest.mark.parametrize(
    "member",
    [
        "../evil",
        "a/../../evil",
        "./..",
        "/etc/evil",
        "\\evil",
        "..\\evil",
        "\\\\server\\share\\x",
        "C:/x",
        "C:x",
    ],
)
def test_a_member_that_climbs_out_ends_the_install(room, registry, member):
    data = registry.publish("json", "1.0.0", files=[("good", "1"), (member, "2"), ("late", "3")])
    room.manifest({"json": "*"})
    reason = f"Path traversal security violation in archive entry: {member}"
    assert room.run("install").all == (
        1,
        downloading("json", "1.0.0"),
        unpack_failed("json", reason),
    )
    # What came before the bad member stays, so does the archive it came from.
    assert room.tree("packages") == {"json/": None, "json/good": b"1"}
    assert home_files(room) == {
        "cache/packages/json/1.0.0/json-1.0.0.mos": data,
        "temp/json.mos": data,
    }
    assert sorted(path.name for path in room.root.iterdir()) == ["home", "project"]


def test_a_bad_first_member_leaves_nothing_under_packages(room, registry):
    registry.publish("json", "1.0.0", files=[("../evil", "2"), ("late", "3")])
    room.manifest({"json": "*"})
    assert room.run("install").code == 1
    assert room.tree("packages") == {}


def test_an_empty_member_name_is_a_violation(room, registry):
    registry.publish("json", "1.0.0", files=[("", "x")])
    room.manifest({"json": "*"})
    reason = "Path traversal security violation in archive entry: "
    assert room.run("install").all == (
        1,
        downloading("json", "1.0.0"),
        unpack_failed("json", reason),
    )


def test_a_member_that_names_a_directory_cannot_be_written(room, registry):
    registry.publish("json", "1.0.0", files=[("a", "1"), ("folder/", "")])
    room.manifest({"json": "*"})
    where = room.shown("packages/json") + room.shown("x")[-2] + "folder/"
    assert room.run("install").all == (
        1,
        downloading("json", "1.0.0"),
        unpack_failed("json", f"Failed to write extracted file: {where}"),
    )
    assert room.tree("packages") == {"json/": None, "json/a": b"1"}


def test_a_member_below_a_file_is_an_unexpected_error(room, registry):
    registry.publish("json", "1.0.0", files=[("a", "1"), ("a/b", "2")])
    room.manifest({"json": "*"})
    assert room.run("install").all == (
        1,
        downloading("json", "1.0.0"),
        file_error_line("create_directories", "Not a directory", room.shown("packages/json/a")),
    )
    assert room.tree("packages") == {"json/": None, "json/a": b"1"}


# A file of Windows has no name that ends in a dot.
DOTS = "...b" if on_windows() else "..."


def test_names_that_only_look_dangerous_are_unpacked(room, registry):
    files = [
        ("a/../b", "1"),
        (DOTS, "2"),
        ("..c", "3"),
        ("./d", "4"),
        ("e//f", "5"),
        ("g\\h", "6"),
    ]
    registry.publish("json", "1.0.0", files=files)
    room.manifest({"json": "*"})
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert room.tree("packages/json") == {
        DOTS: b"2",
        "..c": b"3",
        "a/": None,
        "b": b"1",
        "d": b"4",
        "e/": None,
        "e/f": b"5",
        "g/": None,
        "g/h": b"6",
    }


def test_the_second_of_two_members_with_one_name_counts(room, registry):
    registry.publish("json", "1.0.0", files=[("a", "first, longer"), ("a", "second")])
    room.manifest({"json": "*"})
    assert room.run("install").code == 0
    assert room.tree("packages/json") == {"a": b"second"}


def test_what_is_no_archive_is_installed_as_nothing(room, registry):
    registry.publish("json", "1.0.0", data=b"<html>not an archive</html>")
    room.manifest({"json": "*"})
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert room.tree("packages") == {}


def test_a_truncated_archive_gives_what_it_holds(room, registry):
    whole = archive({"a": "1" * 100, "b": "2" * 100})
    data = whole[: 30 + 1 + 100 + 30 + 1 + 40]
    registry.publish("json", "1.0.0", data=data)
    room.manifest({"json": "*"})
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert room.tree("packages/json") == {"a": b"1" * 100, "b": b"2" * 40}


# --- Downloads that fail --------------------------------------------------------------------------


def download_failed(name, reason):
    return block("MOS008", f"Failed to download package '{name}': {reason}")


@pytest.mark.parametrize("code", [201, 204, 403, 404, 500])
def test_a_download_needs_status_200(room, registry, code):
    registry.publish("json", "1.0.0")
    registry.on("GET", "/api/v1/packages/json/1.0.0/download", status=code)
    room.manifest({"json": "*"})
    assert room.run("install").all == (
        1,
        downloading("json", "1.0.0"),
        download_failed("json", f"Registry returned HTTP {code} on download."),
    )
    assert not room.home.exists()
    assert room.tree("packages") == {}


def test_a_directory_in_the_place_of_the_download_is_reported(room, registry):
    registry.publish("json", "1.0.0")
    (room.home / "temp" / "json.mos").mkdir(parents=True)
    room.manifest({"json": "*"})
    where = room.shown_home("temp/json.mos")
    assert room.run("install").all == (
        1,
        downloading("json", "1.0.0"),
        download_failed("json", f"Could not open destination file: {where}"),
    )


def test_a_leftover_download_is_replaced(room, registry):
    data = registry.publish("json", "1.0.0")
    (room.home / "temp").mkdir(parents=True)
    (room.home / "temp" / "json.mos").write_bytes(b"x" * 10_000)
    room.manifest({"json": "*"})
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert home_files(room) == {"cache/packages/json/1.0.0/json-1.0.0.mos": data}


@pytest.mark.skipif(on_windows(), reason="no size of files is limited there")
def test_a_disk_that_fills_up_leaves_no_half_of_a_package(room, registry):
    files = {"moss.toml": "x", "src/large.moss": "y" * 100_000}
    registry.publish("json", "1.0.0", data=archive(files))
    room.manifest({"json": "*"})
    assert room.run("install").code == 0
    whole = room.tree()
    assert room.run("clean").code == 0
    limited = 'ulimit -f 64; exec "$@"'
    full = room.run_words(["sh", "-c", limited, "sh", *program(), "install"])
    where = f"Failed to write extracted file: {room.shown('packages/json/src/large.moss')}"
    message = f"Failed to unpack package 'json': {where}"
    assert full.all == (1, unpacking("json", "1.0.0"), block("MOS010", message))
    assert not room.exists("packages/json")
    assert room.run("install").all == (0, unpacking("json", "1.0.0") + FINISHED, "")
    assert room.tree() == whole


def found_in(room):
    """What there is of the package json, its directory included."""
    return {name: data for name, data in room.tree().items() if name.startswith("packages/json")}


@pytest.mark.skipif(on_windows(), reason="no number of files is limited there")
@pytest.mark.parametrize("is_cached", [False, True], ids=["nothing cached", "all cached"])
def test_a_lack_of_open_files_leaves_no_half_of_a_package(room, registry, is_cached):
    files = {"moss.toml": "x", "src/deep/er/main.moss": "y", "src/main.moss": "z"}
    registry.publish("json", "1.0.0", data=archive(files))
    room.manifest({"json": "*"})
    assert room.run("install").code == 0
    whole, found = room.tree(), found_in(room)
    ends = set()
    for most in range(4, 20):
        assert room.run("clean").code == 0
        if not is_cached:
            assert room.run("cache", "clean").code == 0
        limited = f'ulimit -n {most}; exec "$@"'
        lacking = room.run_words(["sh", "-c", limited, "sh", *program(), "install"])
        ends.add(lacking.code)
        assert found_in(room) in ({}, found)
        assert room.run("install").code == 0
        assert room.tree() == whole
    assert {0, 1} <= ends


# --- A project or a tool home that is not as it should be -----------------------------------------


def test_without_a_manifest_nothing_is_done(room, registry):
    message = f"Failed to read moss.toml: Could not open manifest file: {room.shown('moss.toml')}"
    assert room.run("install").all == (1, "", block("MOS001", message))
    assert room.tree() == {}


def test_a_directory_named_like_the_manifest_cannot_be_opened(room):
    room.path("moss.toml").mkdir()
    message = f"Failed to read moss.toml: Could not open manifest file: {room.shown('moss.toml')}"
    assert room.run("install").all == (1, "", block("MOS001", message))


@pytest.mark.parametrize(
    "text, reason",
    [
        ("", "Manifest must contain either [package] or [workspace] section."),
        ("package = 1", "The [package] section must be a table."),
        ("[package]\nname", "Line 2: Expected '=' in statement: name"),
        ('[package]\nname = "x"\nversion = "1.0"\n', "Invalid package version '1.0'."),
        ("[package]\n", "Invalid package name '': package name cannot be empty"),
    ],
    ids=["nothing", "no table", "no equals sign", "short version", "no name"],
)
def test_a_manifest_that_does_not_load_is_reported(room, registry, text, reason):
    room.write("moss.toml", text)
    failed = (1, "", block("MOS001", f"Failed to read moss.toml: {reason}"))
    assert room.run("install").all == failed
    assert room.run("install", "--json").all == failed
    assert room.tree() == {"moss.toml": text.encode()}


def test_a_file_in_the_place_of_packages_is_an_unexpected_error(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest({"json": "*"})
    room.write("packages", "a file")
    failed = file_error_line("create_directories", "Not a directory", room.shown("packages"))
    assert room.run("install").all == (1, "", failed)
    assert room.exists("moss.lock")
    assert room.read("packages") == "a file"


def test_a_tool_home_that_is_a_file_is_an_unexpected_error(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest({"json": "*"})
    room.home.write_bytes(b"a file")
    assert room.run("install").all == (
        1,
        downloading("json", "1.0.0"),
        file_error_line("create_directories", "Not a directory", room.shown_home("temp")),
    )


def test_a_cache_that_is_a_file_is_an_unexpected_error(room, registry):
    data = registry.publish("json", "1.0.0")
    room.manifest({"json": "*"})
    room.home.mkdir()
    (room.home / "cache").write_bytes(b"a file")
    where = room.shown_home("cache/packages/json/1.0.0")
    assert room.run("install").all == (
        1,
        downloading("json", "1.0.0"),
        file_error_line("create_directories", "Not a directory", where),
    )
    assert home_files(room) == {"cache": b"a file", "temp/json.mos": data}


@pytest.mark.skipif(on_windows(), reason="Wine does not see a link that leads nowhere")
def test_a_cache_that_cannot_take_the_archive_ends_the_install(room, registry):
    data = registry.publish("json", "1.0.0")
    room.manifest({"json": "*"})
    place = room.cached("json", "1.0.0")
    place.parent.mkdir(parents=True)
    place.symlink_to("missing/json-1.0.0.mos")
    assert room.run("install").all == (
        1,
        downloading("json", "1.0.0"),
        block("MOS008", "Failed to store package 'json' in the cache."),
    )
    assert (room.home / "temp" / "json.mos").read_bytes() == data
    assert room.tree("packages") == {}


def test_a_directory_in_the_place_of_a_cached_archive_cannot_be_unpacked(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest({"json": "*"})
    room.cached("json", "1.0.0").mkdir(parents=True)
    where = room.shown_home("cache/packages/json/1.0.0/json-1.0.0.mos")
    assert room.run("install").all == (
        1,
        unpacking("json", "1.0.0"),
        unpack_failed("json", f"Could not open archive: {where}"),
    )
    assert room.tree("packages") == {}


# --- Where the tool home is -----------------------------------------------------------------------


def test_an_empty_moss_home_falls_back_to_the_user_profile(room, registry):
    data = registry.publish("json", "1.2.0")
    room.manifest({"json": "*"})
    (room.root / "user").mkdir()
    variables = {"MOSS_HOME": "", "USERPROFILE": room.shown("../user").replace("project/../", "")}
    assert room.run("install", env=variables).code == 0
    archive_path = room.root / "user/.moss/cache/packages/json/1.2.0/json-1.2.0.mos"
    assert archive_path.read_bytes() == data
    assert not room.home.exists()


def test_without_both_variables_the_current_directory_holds_the_home(room, registry):
    data = registry.publish("json", "1.2.0")
    room.manifest({"json": "*"})
    assert room.run("install", env={"MOSS_HOME": None, "HOME": "/nowhere"}).code == 0
    assert room.path(".moss/cache/packages/json/1.2.0/json-1.2.0.mos").read_bytes() == data


def test_a_relative_moss_home_is_used_as_it_is(room, registry):
    data = registry.publish("json", "1.2.0")
    room.manifest({"json": "*"})
    assert room.run("install", env={"MOSS_HOME": "here"}).code == 0
    assert room.path("here/cache/packages/json/1.2.0/json-1.2.0.mos").read_bytes() == data


def test_the_current_users_home_directory_is_never_used(room, registry):
    registry.publish("json", "1.2.0")
    room.manifest({"json": "*"})
    (room.root / "user").mkdir()
    variables = {"MOSS_HOME": None, "HOME": str(room.root / "user")}
    assert room.run("install", env=variables).code == 0
    assert list((room.root / "user").iterdir()) == []


def test_long_paths_are_installed_and_removed_like_any_other(room, registry):
    """Longer than what some systems take without being asked for more. The directories are not:
    Wine does not tell where those are."""
    name, version = "n" * 64, "1.0.0-" + "p" * 40
    deep = f"src/{'d' * 55}/{'m' * 80}.moss"
    data = registry.publish(name, version, data=archive({deep: "deep", "a": "x"}))
    room.manifest({name: version})
    assert room.run("install").code == 0
    right = room.tree("packages")
    assert right[f"{name}/{deep}"] == b"deep"
    assert list(home_files(room).values()) == [data]
    room.write(f"packages/{name}/a", "another")
    assert room.run("install", "--locked").code == 0
    assert room.tree("packages") == right
    assert room.run("clean").code == 0
    assert room.run("install").code == 0
    assert room.tree("packages") == right
    assert room.run("remove", name).code == room.run("cache", "clean").code == 0
    assert room.tree("packages") == {}
    assert home_files(room) == {}
