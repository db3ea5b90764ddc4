"""`mos install --locked`: packages becomes what moss.lock says, and nothing is chosen."""

import os
import shutil

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
    shown_path,
    status,
)
from harness.room import tree_of

FINISHED = status("Finished", "installation of dependencies")
HELP_LOCK = "Run 'mos install' to update moss.lock."
HELP_OFFLINE = "Run 'mos install' with internet connection to cache dependencies."
HELP_CHECKSUM = "The downloaded package may be corrupted or compromised."
NOT_ON_WINDOWS = pytest.mark.skipif(on_windows(), reason="needs what Linux has")


def downloading(name, version):
    return status("Downloading", f"{name} v{version}")


def unpacking(name, version):
    return status("Unpacking", f"{name} v{version} (cached)")


def removing(name):
    return status("Removing", name)


def does_not_match(reason):
    """What a lock file that is no answer to moss.toml ends in."""
    return (
        4,
        "",
        block("MOS005", f"moss.lock does not match moss.toml: {reason}", HELP_LOCK),
    )


def damaged(reason):
    return 1, "", block("MOS001", f"Failed to read moss.lock: {reason}")


def installed(name, version):
    """What packages/NAME holds of a package that was published with the usual files."""
    return {
        f"{name}/": None,
        f"{name}/moss.toml": f'[package]\nname = "{name}"\nversion = "{version}"\n'.encode(),
        f"{name}/src/": None,
        f"{name}/src/main.moss": f"// {name} {version}\n".encode(),
    }


def entry(name, version, data, *dependencies, source="registry+http://elsewhere"):
    """The entry of moss.lock for a package with this archive."""
    return (name, version, source, sha256(data), *dependencies)


def lock(room, *entries):
    text = lock_file(*entries)
    room.write("moss.lock", text)
    return text


def downloads(*packages):
    return [f"GET /api/v1/packages/{name}/{version}/download" for name, version in packages]


@pytest.fixture
def project(room, registry):
    """A project that needs json ^1.0, which needs text; both are locked, published and cached."""
    text = registry.publish("text", "1.2.0")
    json = registry.publish("json", "1.4.0", {"text": "^1.0"})
    room.manifest({"json": "^1.0"})
    lock(room, entry("json", "1.4.0", json, "text"), entry("text", "1.2.0", text))
    room.cache("json", "1.4.0", json)
    room.cache("text", "1.2.0", text)
    return room


BOTH = {**installed("json", "1.4.0"), **installed("text", "1.2.0")}
UNPACKED = unpacking("json", "1.4.0") + unpacking("text", "1.2.0") + FINISHED


# --- What is installed ----------------------------------------------------------------------------


def test_what_is_locked_is_installed_though_newer_versions_are_published(room, registry):
    registry.publish("text", "1.2.0")
    registry.publish("json", "1.4.0", {"text": "^1.0"})
    room.manifest({"json": "^1.0"})
    room.run("install")
    locked, tree = room.read("moss.lock"), room.tree("packages")
    registry.publish("text", "1.3.0")
    registry.publish("json", "1.5.0", {"text": "^1.0"})
    registry.requests.clear()
    room.env["MOSS_HOME"] = shown_path(room.root / "another home")
    shutil.rmtree(room.path("packages"))
    assert room.run("install", "--locked").all == (
        0,
        downloading("json", "1.4.0") + downloading("text", "1.2.0") + FINISHED,
        "",
    )
    assert room.tree("packages") == tree
    assert room.read("moss.lock") == locked
    assert registry.lines() == downloads(("json", "1.4.0"), ("text", "1.2.0"))
    assert tree_of(room.root / "another home" / "temp") == {}


def test_cached_archives_are_unpacked_without_a_request(project, registry):
    assert project.run("install", "--locked").all == (0, UNPACKED, "")
    assert project.tree("packages") == BOTH
    assert registry.requests == []


def test_only_what_is_not_cached_is_downloaded(project, registry):
    project.cached("text", "1.2.0").unlink()
    assert project.run("install", "--locked").all == (
        0,
        unpacking("json", "1.4.0") + downloading("text", "1.2.0") + FINISHED,
        "",
    )
    assert project.tree("packages") == BOTH
    assert registry.lines() == downloads(("text", "1.2.0"))


def test_a_second_run_prints_the_last_line_and_touches_nothing(project):
    project.run("install", "--locked")
    before = {path: path.stat() for path in project.root.rglob("*")}
    assert project.run("install", "--locked").all == (0, FINISHED, "")
    after = {path: path.stat() for path in project.root.rglob("*")}
    told = lambda stats: {path: (s.st_ino, s.st_mtime_ns) for path, s in stats.items()}  # noqa: E731
    assert told(after) == told(before)


def test_the_lock_file_is_not_written(project):
    text = "# Mine.\r\n" + project.read("moss.lock").replace("\n", "\r\n")
    project.write("moss.lock", text)
    assert project.run("install", "--locked").all == (0, UNPACKED, "")
    assert project.read("moss.lock") == text


def test_json_silences_every_status_line(project):
    assert project.run("install", "--locked", "--json").all == (0, "", "")
    assert project.tree("packages") == BOTH


def test_the_option_may_have_a_value(project):
    assert project.run("install", "--locked=1").all == (0, UNPACKED, "")


def test_a_project_without_dependencies_gets_an_empty_packages_directory(room, registry):
    room.manifest()
    lock(room)
    assert room.run("install", "--locked").all == (0, FINISHED, "")
    assert room.tree("packages") == {}
    assert not room.home.exists()


def test_a_locked_package_that_nobody_needs_is_installed(room):
    data = archive({"a": "1"})
    room.manifest()
    lock(room, entry("spare", "1.0.0", data))
    room.cache("spare", "1.0.0", data)
    assert room.run("install", "--locked").all == (0, unpacking("spare", "1.0.0") + FINISHED, "")
    assert room.tree("packages") == {"spare/": None, "spare/a": b"1"}


def test_path_and_git_dependencies_are_locked_like_all_others(room):
    near, far = archive({"a": "near"}), archive({"a": "far"})
    room.manifest(more='\n[dependencies]\nnear = { path = "../near" }\nfar = { git = "x" }\n')
    lock(room, entry("far", "2.0.0", far))
    assert room.run("install", "--locked").all == does_not_match("near is not locked")
    lock(room, entry("far", "2.0.0", far), entry("near", "1.0.0", near))
    room.cache("near", "1.0.0", near)
    room.cache("far", "2.0.0", far)
    assert room.run("install", "--locked").code == 0
    assert room.tree("packages") == {
        "far/": None,
        "far/a": b"far",
        "near/": None,
        "near/a": b"near",
    }


def test_dev_and_build_dependencies_need_not_be_locked(project):
    project.manifest(
        {"json": "^1.0"},
        more='\n[dev-dependencies]\ncheck = "*"\n\n[build-dependencies]\ngen = "*"\n',
    )
    assert project.run("install", "--locked").all == (0, UNPACKED, "")


def test_a_list_of_dependencies_on_one_line_is_read(project):
    text = project.read("moss.lock").replace("[\n    ", "[").replace("\n]", "]")
    assert 'dependencies = ["text"]\n' in text
    project.write("moss.lock", text)
    assert project.run("install", "--locked").all == (0, UNPACKED, "")


# --- What is not right is made right --------------------------------------------------------------


def edit_a_file(packages):
    (packages / "json" / "src" / "main.moss").write_bytes(b"// json 1.4.O\n")


def lengthen_a_file(packages):
    (packages / "json" / "src" / "main.moss").write_bytes(b"// json 1.4.0\n\n")


def delete_a_file(packages):
    (packages / "json" / "src" / "main.moss").unlink()


def add_a_file(packages):
    (packages / "json" / "src" / "more.moss").write_bytes(b"")


def add_a_directory(packages):
    (packages / "json" / "empty").mkdir()


def make_a_directory_of_a_file(packages):
    delete_a_file(packages)
    (packages / "json" / "src" / "main.moss").mkdir()


def make_a_file_of_a_directory(packages):
    shutil.rmtree(packages / "json" / "src")
    (packages / "json" / "src").write_bytes(b"")


def make_a_file_of_the_package(packages):
    shutil.rmtree(packages / "json")
    (packages / "json").write_bytes(b"")


def empty_the_package(packages):
    shutil.rmtree(packages / "json")
    (packages / "json").mkdir()


def remove_the_package(packages):
    shutil.rmtree(packages / "json")


def put_in_another_version(packages):
    for name in ["moss.toml", "src/main.moss"]:
        path = packages / "json" / name
        path.write_bytes(path.read_bytes().replace(b"1.4.0", b"1.3.0"))


DAMAGES = [
    edit_a_file,
    lengthen_a_file,
    delete_a_file,
    add_a_file,
    add_a_directory,
    make_a_directory_of_a_file,
    make_a_file_of_a_directory,
    make_a_file_of_the_package,
    empty_the_package,
    remove_the_package,
    put_in_another_version,
]


@pytest.mark.parametrize("damage", DAMAGES, ids=lambda damage: damage.__name__)
def test_a_package_that_differs_is_replaced_whole(project, registry, damage):
    project.run("install", "--locked")
    damage(project.path("packages"))
    assert project.tree("packages") != BOTH
    kept = project.path("packages/text").stat().st_ino
    assert project.run("install", "--locked").all == (0, unpacking("json", "1.4.0") + FINISHED, "")
    assert project.tree("packages") == BOTH
    assert project.path("packages/text").stat().st_ino == kept
    assert registry.requests == []


def test_what_the_lock_file_does_not_name_is_removed_in_byte_order(project):
    project.run("install", "--locked")
    for name in ["text-old/src/main.moss", "Zed/a", "a/b"]:
        project.write(f"packages/{name}", "old")
    project.write("packages/.gitkeep", "")
    project.path("packages/hollow").mkdir()
    assert project.run("install", "--locked").all == (
        0,
        "".join(removing(name) for name in [".gitkeep", "Zed", "a", "hollow", "text-old"])
        + FINISHED,
        "",
    )
    assert project.tree("packages") == BOTH


def test_a_package_whose_name_differs_in_case_alone_is_another_one(project):
    project.write("packages/JSON/moss.toml", "old")
    assert project.run("install", "--locked").all == (0, removing("JSON") + UNPACKED, "")
    assert project.tree("packages") == BOTH


def test_what_is_staged_by_a_run_that_is_gone_is_removed_without_a_word(project):
    project.write("packages/.staging-1-0\x7f/new/a", "half")
    assert project.run("install", "--locked").all == (0, UNPACKED, "")
    assert project.tree("packages") == BOTH


def test_a_file_with_the_name_of_what_is_staged_is_removed(project):
    project.write("packages/.staging-1-0\x7f", "a file")
    assert project.run("install", "--locked").all == (
        0,
        removing(".staging-1-0\x7f") + UNPACKED,
        "",
    )
    assert project.tree("packages") == BOTH


@NOT_ON_WINDOWS
@pytest.mark.parametrize(
    "link",
    ["json", "json/src", "json/src/main.moss", "json/moss.toml"],
)
def test_a_link_is_replaced_and_what_it_leads_to_stays(project, link):
    project.run("install", "--locked")
    inside, outside = project.path("packages") / link, project.root / "outside"
    shutil.move(inside, outside)
    before = outside.read_bytes() if outside.is_file() else tree_of(outside)
    inside.symlink_to(outside)
    assert project.run("install", "--locked").all == (0, unpacking("json", "1.4.0") + FINISHED, "")
    assert project.tree("packages") == BOTH
    assert before == (outside.read_bytes() if outside.is_file() else tree_of(outside))


@NOT_ON_WINDOWS
def test_a_link_that_nobody_locked_is_removed_and_what_it_leads_to_stays(project):
    project.run("install", "--locked")
    outside = project.write("../outside/file", "mine")
    project.path("packages/old").symlink_to(outside.parent)
    project.path("packages/nowhere").symlink_to("missing")
    assert project.run("install", "--locked").all == (
        0,
        removing("nowhere") + removing("old") + FINISHED,
        "",
    )
    assert project.tree("packages") == BOTH
    assert outside.read_bytes() == b"mine"


@NOT_ON_WINDOWS
@pytest.mark.parametrize("place", ["outside", "missing"])
def test_a_link_in_the_place_of_packages_is_replaced_and_what_it_leads_to_stays(project, place):
    outside = project.write("../outside/file", "mine")
    project.path("packages").symlink_to(project.root / place)
    assert project.run("install", "--locked").all == (0, removing("packages") + UNPACKED, "")
    assert project.tree("packages") == BOTH
    assert tree_of(outside.parent) == {"file": b"mine"}
    assert not (project.root / "missing").exists()


@NOT_ON_WINDOWS
def test_a_pipe_is_not_read(project):
    project.run("install", "--locked")
    delete_a_file(project.path("packages"))
    os.mkfifo(project.path("packages/json/src/main.moss"))
    assert project.run("install", "--locked").all == (0, unpacking("json", "1.4.0") + FINISHED, "")
    assert project.tree("packages") == BOTH


def words_without_rights():
    """What a command begins with to be held to the rights of files, as only root is not."""
    if os.geteuid() != 0:
        return []
    return ["setpriv", "--bounding-set=-all", "--inh-caps=-all"]


READ_ONLY = {
    "a package that differs": (["json"], 0o500),
    "a package that nobody may enter": (["json"], 0),
    "a directory in a package that differs": (["json/src"], 0o500),
    "what nobody locked": (["old"], 0o500),
    "a directory in what nobody locked": (["old/deep", "old"], 0o500),
    "a directory in what nobody locked that nobody may enter": (["old/deep"], 0),
}


@NOT_ON_WINDOWS
@pytest.mark.parametrize("names, mode", READ_ONLY.values(), ids=READ_ONLY)
def test_rights_that_the_owner_left_himself_without_are_in_nobodys_way(project, names, mode):
    project.run("install", "--locked")
    edit_a_file(project.path("packages"))
    project.write("packages/old/deep/file", "old")
    for name in names:
        project.path(f"packages/{name}").chmod(mode)
    words = [*words_without_rights(), *program(), "install", "--locked"]
    shown = removing("old") + unpacking("json", "1.4.0") + FINISHED
    assert project.run_words(words).all == (0, shown, "")
    assert project.tree("packages") == BOTH


@NOT_ON_WINDOWS
def test_what_a_killed_run_could_not_remove_is_removed_by_the_next(project):
    project.run("install", "--locked")
    left = project.write("packages/.staging-4194305-0\x7f/new/src/main.moss", "")
    left.parent.chmod(0o500)
    words = [*words_without_rights(), *program(), "install", "--locked"]
    assert project.run_words(words).all == (0, FINISHED, "")
    assert project.tree("packages") == BOTH


@NOT_ON_WINDOWS
def test_directories_that_cannot_be_exchanged_are_replaced_in_two_steps(project):
    if shutil.which("strace") is None:
        pytest.skip("strace is not installed")
    project.run("install", "--locked")
    edit_a_file(project.path("packages"))
    # A sanitized build looks for leaks in a way that a traced process cannot.
    project.env["ASAN_OPTIONS"] = "detect_leaks=0"
    words = ["strace", "-f", "-qq", "-o", str(project.root / "log")]
    words += ["-e", "trace=renameat2", "-e", "inject=renameat2:error=EINVAL"]
    result = project.run_words([*words, *program(), "install", "--locked"])
    assert result.all == (0, unpacking("json", "1.4.0") + FINISHED, "")
    assert project.tree("packages") == BOTH


def test_several_runs_at_once_agree(project):
    project.run("install", "--locked")
    for _ in range(3):
        edit_a_file(project.path("packages"))
        project.write("packages/old/a", "old")
        runs = [project.start("install", "--locked") for _ in range(4)]
        assert [project.finish(run).code for run in runs] == [0, 0, 0, 0]
        assert project.tree("packages") == BOTH


def test_an_archive_without_members_is_installed_as_nothing(room):
    room.manifest({"json": "*"})
    data = archive({})
    lock(room, entry("json", "1.0.0", data))
    room.cache("json", "1.0.0", data)
    assert room.run("install", "--locked").all == (0, FINISHED, "")
    room.write("packages/json/a", "too much")
    assert room.run("install", "--locked").all == (0, unpacking("json", "1.0.0") + FINISHED, "")
    assert room.tree("packages") == {}


ODD_MEMBERS = {
    "backslashes": ({"a\\b": "1", "moss.toml": ""}, {"a/": None, "a/b": b"1", "moss.toml": b""}),
    # Windows does not go through a directory that it leaves again.
    "dots": (
        {"./a//b/./c": "1", "d/../e": "2"},
        {"a/": None, "a/b/": None, "a/b/c": b"1", "e": b"2"} | ({} if on_windows() else {"d/": None}),
    ),
    "a name twice": ([("a", "1"), ("b", "2"), ("a", "3")], {"a": b"3", "b": b"2"}),
}


@pytest.mark.parametrize(("members", "tree"), ODD_MEMBERS.values(), ids=ODD_MEMBERS.keys())
def test_odd_names_in_an_archive_are_right_once_they_are_unpacked(room, members, tree):
    room.manifest({"json": "*"})
    data = archive(members)
    lock(room, entry("json", "1.0.0", data))
    room.cache("json", "1.0.0", data)
    assert room.run("install", "--locked").all == (0, unpacking("json", "1.0.0") + FINISHED, "")
    assert room.tree("packages/json") == tree
    assert room.run("install", "--locked").all == (0, FINISHED, "")


# --- Archives that are not the locked ones --------------------------------------------------------


def checksum_block(name, version, expected, actual):
    return block(
        "MOS007",
        f"Checksum verification failed for package '{name} {version}'.\n"
        f"Expected: {expected}\nActual:   {actual}",
        HELP_CHECKSUM,
    )


def flip_a_byte(path):
    data = bytearray(path.read_bytes())
    data[60] ^= 1
    path.write_bytes(data)
    return sha256(data)


def test_a_cached_archive_that_does_not_match_is_downloaded_again(project, registry):
    good = project.cached("json", "1.4.0").read_bytes()
    flip_a_byte(project.cached("json", "1.4.0"))
    assert project.run("install", "--locked").all == (
        0,
        downloading("json", "1.4.0") + unpacking("text", "1.2.0") + FINISHED,
        "",
    )
    assert project.tree("packages") == BOTH
    assert project.cached("json", "1.4.0").read_bytes() == good
    assert registry.lines() == downloads(("json", "1.4.0"))


def test_a_cached_archive_is_verified_though_its_package_seems_right(project, registry):
    project.run("install", "--locked")
    flip_a_byte(project.cached("json", "1.4.0"))
    assert project.run("install", "--locked").all == (
        0,
        downloading("json", "1.4.0") + FINISHED,
        "",
    )
    assert project.tree("packages") == BOTH


@pytest.mark.parametrize("how", ["--offline", "MOS_OFFLINE"])
def test_a_cached_archive_that_does_not_match_is_refused_offline(project, registry, how):
    expected = sha256(project.cached("json", "1.4.0").read_bytes())
    actual = flip_a_byte(project.cached("json", "1.4.0"))
    options, env = (["--offline"], {}) if how == "--offline" else ([], {"MOS_OFFLINE": "1"})
    assert project.run("install", "--locked", *options, env=env).all == (
        7,
        "",
        checksum_block("json", "1.4.0", expected, actual),
    )
    assert project.tree("packages") == {}
    assert registry.requests == []


def test_a_download_that_does_not_match_is_refused_and_not_tried_again(project, registry):
    expected = sha256(project.cached("json", "1.4.0").read_bytes())
    project.cached("json", "1.4.0").unlink()
    other = registry.publish("json", "1.4.0", files={"a": "another one"})
    assert project.run("install", "--locked").all == (
        7,
        downloading("json", "1.4.0"),
        checksum_block("json", "1.4.0", expected, sha256(other)),
    )
    assert project.tree("packages") == {}
    assert not project.cached("json", "1.4.0").exists()
    assert registry.lines() == downloads(("json", "1.4.0"))


def test_a_package_stays_when_its_archive_cannot_be_had(project, registry):
    project.run("install", "--locked")
    edit_a_file(project.path("packages"))
    before = project.tree("packages")
    project.cached("json", "1.4.0").unlink()
    registry.on("GET", "/api/v1/packages/json/1.4.0/download", 404)
    assert project.run("install", "--locked").all == (
        1,
        downloading("json", "1.4.0"),
        block(
            "MOS008",
            "Failed to download package 'json': Registry returned HTTP 404 on download.",
        ),
    )
    assert project.tree("packages") == before


def test_a_package_stays_when_its_archive_cannot_be_unpacked(project):
    project.run("install", "--locked")
    before = project.tree("packages")
    data = archive([("src/main.moss", "new"), ("src/", "")])
    project.cache("json", "1.4.0", data)
    lock(project, entry("json", "1.4.0", data))
    place = project.shown("packages/json")
    separator = "\\" if on_windows() else "/"
    assert project.run("install", "--locked").all == (
        1,
        removing("text") + unpacking("json", "1.4.0"),
        block(
            "MOS010",
            "Failed to unpack package 'json': Failed to write extracted file: "
            f"{place}{separator}src/",
        ),
    )
    assert project.tree("packages") == {
        name: data for name, data in before.items() if name.startswith("json")
    }


def test_a_directory_that_cannot_be_made_is_named_where_it_would_be(room):
    long = "x" * 300
    data = archive({f"{long}/a": "1"})
    room.manifest({"json": "*"})
    lock(room, entry("json", "1.0.0", data))
    room.cache("json", "1.0.0", data)
    result = room.run("install", "--locked")
    assert (result.code, result.out) == (1, unpacking("json", "1.0.0"))
    if on_windows():
        assert "staging" not in result.err
    else:
        assert result.err == file_error_line(
            "create_directories", "File name too long", room.shown(f"packages/json/{long}")
        )
    assert room.tree("packages") == {}


def test_an_archive_that_leads_outside_is_refused(room):
    data = archive({"a": "1", "../../outside": "2"})
    room.manifest({"json": "*"})
    lock(room, entry("json", "1.0.0", data))
    room.cache("json", "1.0.0", data)
    assert room.run("install", "--locked").all == (
        1,
        unpacking("json", "1.0.0"),
        block(
            "MOS010",
            "Failed to unpack package 'json': "
            "Path traversal security violation in archive entry: ../../outside",
        ),
    )
    assert room.tree("packages") == {}


def test_an_entry_without_a_checksum_is_not_verified(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest({"json": "*"})
    lock(room, ("json", "1.0.0", "", ""))
    assert room.run("install", "--locked").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    room.cache("json", "1.0.0", archive({"a": "another one"}))
    assert room.run("install", "--locked").all == (0, unpacking("json", "1.0.0") + FINISHED, "")
    assert room.tree("packages/json") == {"a": b"another one"}


def test_a_checksum_without_its_prefix_is_fine_and_one_in_upper_case_is_not(room):
    data = archive({"a": "1"})
    digits = sha256(data).removeprefix("sha256:")
    room.manifest({"json": "*"})
    room.cache("json", "1.0.0", data)
    lock(room, ("json", "1.0.0", "", digits))
    assert room.run("install", "--locked", "--offline").code == 0
    lock(room, ("json", "1.0.0", "", digits.upper()))
    assert room.run("install", "--locked", "--offline").all == (
        7,
        "",
        checksum_block("json", "1.0.0", digits.upper(), sha256(data)),
    )


# --- Offline --------------------------------------------------------------------------------------


@pytest.mark.parametrize("options", [["--locked", "--offline"], ["--offline", "--locked"]])
def test_offline_with_a_warm_cache_needs_no_registry(project, options):
    project.env["MOS_REGISTRY"] = refused_url()
    assert project.run("install", *options).all == (0, UNPACKED, "")
    assert project.tree("packages") == BOTH


def test_no_request_is_needed_with_a_warm_cache(project):
    assert project.run("install", "--locked", env={"MOS_OFFLINE": "true"}).all == (0, UNPACKED, "")


@pytest.mark.parametrize("how", ["--offline", "MOS_OFFLINE"])
def test_offline_what_is_not_cached_ends_the_install(project, registry, how):
    project.cached("text", "1.2.0").unlink()
    options, env = (["--offline"], {}) if how == "--offline" else ([], {"MOS_OFFLINE": "1"})
    project.write("packages/old/a", "old")
    assert project.run("install", "--locked", *options, env=env).all == (
        1,
        "",
        block("MOS008", "Package 'text 1.2.0' is unavailable in offline mode.", HELP_OFFLINE),
    )
    # That nothing can be completed is known before anything is begun.
    assert project.tree("packages") == {"old/": None, "old/a": b"old"}
    assert registry.requests == []


# --- Lock files that are no answer ----------------------------------------------------------------


def assert_refused(room, expected):
    """The run ends so, and everything is as it was."""
    room.write("packages/json/a", "old")
    before, home = room.tree(), room.home.exists()
    assert room.run("install", "--locked").all == expected
    assert room.tree() == before
    assert room.home.exists() == home


def test_a_missing_lock_file_is_told(room, registry):
    room.manifest({"json": "^1.0"})
    assert_refused(room, (4, "", block("MOS005", "moss.lock is missing", HELP_LOCK)))
    assert registry.requests == []


DATA = b"data"
REASONS = {
    "a dependency that is not locked": (
        {"json": "^1.0", "text": "^1.0"},
        [entry("json", "1.4.0", DATA)],
        "text is not locked",
    ),
    "a version that does not satisfy": (
        {"json": "^2"},
        [entry("json", "1.2.0", DATA)],
        "json 1.2.0 does not satisfy ^2",
    ),
    "a pre-release that does not satisfy": (
        {"json": ">= 1.0, <2.0"},
        [entry("json", "1.2.0-rc.1+5", DATA)],
        "json 1.2.0-rc.1+5 does not satisfy >= 1.0, <2.0",
    ),
    "a need that is not locked": (
        {"json": "^1.0"},
        [entry("json", "1.2.0", DATA, "text", "zip")],
        "json needs text, which is not locked",
    ),
    "the first name of several": (
        {"z": "*", "b": "^2", "a": "*"},
        [entry("a", "1.0.0", DATA, "y", "x"), entry("b", "1.0.0", DATA)],
        "a needs x, which is not locked",
    ),
    "upper case first": (
        {"a": "*", "Z": "*"},
        [],
        "Z is not locked",
    ),
    "the version before the needs": (
        {"a": "^2"},
        [entry("a", "1.0.0", DATA, "x")],
        "a 1.0.0 does not satisfy ^2",
    ),
    "a need of a package that nobody needs": (
        {},
        [entry("spare", "1.0.0", DATA, "x")],
        "spare needs x, which is not locked",
    ),
}


@pytest.mark.parametrize(("needs", "entries", "reason"), REASONS.values(), ids=REASONS.keys())
def test_a_lock_file_that_does_not_match_changes_nothing(room, registry, needs, entries, reason):
    room.manifest(needs)
    lock(room, *entries)
    assert_refused(room, does_not_match(reason))
    assert registry.requests == []


DAMAGED = {
    "a list that was indented anew": (
        lock_file(entry("json", "1.0.0", DATA, "text")).replace("    ", "  "),
        "Line 9: Failed to parse value for key 'dependencies': [",
    ),
    "what follows a list has its own line number": (
        lock_file(entry("json", "1.0.0", DATA, "text", "zip")) + "\n<<<<<<<\n",
        "Line 14: Expected '=' in statement: <<<<<<<",
    ),
    "a version that is none": (
        lock_file(("json", "1.0", "", "")),
        "Package 'json' has no valid version.",
    ),
    "a checksum that is no text": (
        lock_file(("json", "1.0.0", "", "")) + "checksum = 5\n",
        "Package 'json' has no valid checksum.",
    ),
    "no name": ('[[package]]\nversion = "1.0.0"\n', "A [[package]] has no name."),
    "no tables": ("package = [1]\n", "Every [[package]] must be a table."),
    "a name twice": (
        lock_file(("json", "1.0.0", "", ""), ("json", "1.1.0", "", "")),
        "Package 'json' is locked twice.",
    ),
}


@pytest.mark.parametrize(("text", "reason"), DAMAGED.values(), ids=DAMAGED.keys())
def test_a_damaged_lock_file_changes_nothing(room, registry, text, reason):
    room.manifest({"json": "*"})
    room.write("moss.lock", text)
    assert_refused(room, damaged(reason))
    assert registry.requests == []


def test_a_lock_file_that_cannot_be_opened_is_damaged(room):
    room.manifest({"json": "*"})
    room.path("moss.lock").mkdir()
    assert_refused(room, damaged(f"Could not open lock file: {room.shown('moss.lock')}"))


def test_a_damaged_manifest_is_told_before_the_lock_file_is_looked_at(room):
    room.write("moss.toml", "version = 1.0\n")
    assert_refused(
        room,
        (
            1,
            "",
            block(
                "MOS001",
                "Failed to read moss.toml: "
                "Line 1: Failed to parse value for key 'version': 1.0",
            ),
        ),
    )


def test_names_and_versions_that_lead_elsewhere_are_refused(room, registry):
    room.manifest({"../json": "*"})
    lock(room, entry("../json", "1.0.0", DATA))
    message = "Package name '../json' is not a safe path component."
    assert_refused(room, (1, "", block("MOS011", message)))
    room.manifest({"json": "*"})
    lock(room, entry("json", "1.0.0+a/b", DATA))
    message = "Package version '1.0.0+a/b' of 'json' is not a safe path component."
    assert_refused(room, (1, "", block("MOS011", message)))
    assert registry.requests == []


# --- Beside the described commands ----------------------------------------------------------------


def test_other_commands_take_no_notice_of_the_option(project, registry):
    registry.publish("json", "1.5.0")
    assert project.run("update", "--locked").all == (
        0,
        downloading("json", "1.5.0") + FINISHED,
        "",
    )


def test_a_redirected_download_is_followed_and_verified(project, registry):
    project.cached("json", "1.4.0").unlink()
    data = registry.routes[("GET", "/api/v1/packages/json/1.4.0/download")].body
    registry.on("GET", "/elsewhere", body=data)
    registry.on_call(
        "GET",
        "/api/v1/packages/json/1.4.0/download",
        lambda _: Reply(302, b"", [("Location", f"{registry.url}/elsewhere")]),
    )
    assert project.run("install", "--locked").all == (
        0,
        downloading("json", "1.4.0") + unpacking("text", "1.2.0") + FINISHED,
        "",
    )
