"""`mos cache`: the cached packages listed, located and deleted."""

import pytest

from harness import archive, file_error_line, on_windows, status
from test_install import FINISHED, downloading

CLEANED = status("Cleaned", "global package cache.")
EMPTY = "Cached Packages (0)\n\n"


def listing(result):
    """The heading and the set of lines below it: the order is the file system's."""
    assert (result.code, result.err) == (0, "")
    heading, rest = result.out.split("\n\n", 1)
    assert rest == "" or rest.endswith("\n")
    return heading, sorted(rest.splitlines())


def test_without_a_cache_the_list_is_empty(room):
    assert room.run("cache").all == (0, EMPTY, "")
    assert not room.home.exists()


@pytest.mark.parametrize("words", [(), ("list",), ("rubbish",), ("LIST",), ("list", "clean")])
def test_every_other_word_lists(room, words):
    for version in ("1.0.0", "1.2.0-rc.1", "2.0.0"):
        room.cache("json", version, b"")
    room.cache("zip", "0.1.0", b"")
    assert listing(room.run("cache", *words)) == (
        "Cached Packages (4)",
        ["json 1.0.0", "json 1.2.0-rc.1", "json 2.0.0", "zip 0.1.0"],
    )


def test_what_is_no_package_version_is_left_out(room):
    room.cache("json", "1.0.0", b"")
    packages = room.home / "cache" / "packages"
    (packages / "stray").write_text("a file in the cache directory")
    (packages / "json" / "1.1.0").write_text("a file that is called like a version")
    (packages / "json" / "latest").mkdir()
    (packages / "empty").mkdir()
    # A version is counted by its directory, whether or not an archive is in it.
    (packages / "json" / "v2.0.0").mkdir()
    assert listing(room.run("cache")) == ("Cached Packages (2)", ["json 1.0.0", "json 2.0.0"])


def test_json_changes_nothing_of_the_list(room):
    room.cache("json", "1.0.0", b"")
    assert room.run("cache", "list", "--json").all == (
        0,
        "Cached Packages (1)\n\njson 1.0.0\n",
        "",
    )


def test_cleaning_deletes_the_cache_and_nothing_else(room, registry):
    registry.publish("json", "1.0.0")
    room.manifest({"json": "*"})
    room.run("install")
    (room.home / "credentials.json").write_text("{}")
    assert room.run("cache", "clean").all == (0, CLEANED, "")
    assert not (room.home / "cache" / "packages").exists()
    assert (room.home / "credentials.json").exists()
    assert room.exists("packages/json")
    assert room.run("cache").out == EMPTY
    # The next install makes the cache again.
    (room.dir / "packages" / "json").rename(room.dir / "elsewhere")
    assert room.run("install").all == (0, downloading("json", "1.0.0") + FINISHED, "")
    assert room.cached("json", "1.0.0").exists()


def test_cleaning_without_a_cache_says_so_all_the_same(room):
    assert room.run("cache", "clean").all == (0, CLEANED, "")
    assert room.run("cache", "clean", "--json").all == (0, "", "")
    assert not room.home.exists()


def test_path_prints_the_tool_home(room):
    assert room.run("cache", "path").all == (0, room.shown_home() + "\n", "")
    unchanged = {"MOSS_HOME": "some/../where"}
    assert room.run("cache", "path", env=unchanged).all == (0, "some/../where\n", "")


def test_without_moss_home_the_tool_home_is_below_the_user_profile(room):
    profile = room.shown_home()
    separator = "\\" if on_windows() else "/"
    for moss_home in ("", None):
        env = {"MOSS_HOME": moss_home, "USERPROFILE": profile}
        assert room.run("cache", "path", env=env).all == (0, f"{profile}{separator}.moss\n", "")


def test_without_any_variable_the_tool_home_is_below_the_current_directory(room):
    separator = "\\" if on_windows() else "/"
    expected = (0, f"{room.shown()}{separator}.moss\n", "")
    env = {"MOSS_HOME": None, "HOME": "/never/read"}
    assert room.run("cache", "path", env=env).all == expected


def test_a_file_in_place_of_the_cache_directory_is_a_file_error(room):
    (room.home / "cache").mkdir(parents=True)
    (room.home / "cache" / "packages").write_text("a file")
    path = room.shown_home("cache/packages")
    expected = file_error_line("directory_iterator::directory_iterator", "Not a directory", path)
    assert room.run("cache").all == (1, "", expected)
    assert room.run("cache", "clean").all == (0, CLEANED, "")


@pytest.mark.parametrize("place", ["", "cache"])
def test_below_a_file_there_is_no_cache(room, place):
    path = room.home / place
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text("a file")
    assert room.run("cache").all == (0, EMPTY, "")
    assert room.run("cache", "clean").all == (0, CLEANED, "")
    assert path.read_text() == "a file"


def test_a_cached_archive_is_used_as_it_is(room, registry):
    registry.publish("json", "1.0.0")
    room.cache("json", "1.0.0", archive({"src/main.moss": b"from the cache"}))
    room.manifest({"json": "*"})
    room.run("install")
    assert room.read("packages/json/src/main.moss") == "from the cache"


def test_cleaning_disturbs_nobody_else(room, registry):
    names = [f"p{number}" for number in range(6)]
    for name in names:
        registry.publish(name, "1.0.0")
    room.manifest({name: "*" for name in names})
    for _ in range(5):
        for number in range(100):
            room.cache(f"other{number}", "1.0.0", b"")
        runs = [room.start(*words) for words in (["cache", "clean"],) * 3 + (["cache"], ["install"])]
        for process in runs:
            result = room.finish(process)
            assert (result.code, result.err) == (0, ""), result.out
        assert room.tree("packages").keys() == {
            f"{name}/{rest}" for name in names for rest in ("", "moss.toml", "src/", "src/main.moss")
        }
        assert room.run("clean").code == 0
