"""clean: removes the packages directory and nothing else."""

import resource

import pytest

from harness import archive, file_error_line, loop_reason, on_windows, program, status

linux_only = pytest.mark.skipif(on_windows(), reason="Wine shows a link as what it leads to")

# How many files the system lets a program have open that asks for more.
MOST_FILES = resource.getrlimit(resource.RLIMIT_NOFILE)[1]

CLEANED = status("Cleaned", "project packages and build cache.")


def test_the_packages_directory_goes_with_everything_below_it(room):
    room.write("packages/json/src/main.moss", "text")
    room.write("packages/json/README.md", "text")
    room.write("packages/stray", "text")
    assert room.run("clean").all == (0, CLEANED, "")
    assert room.tree() == {}


def test_nothing_else_is_removed(room):
    # Deliberate: there is no build cache, whatever the line says.
    room.manifest()
    room.write("moss.lock", "version = 1\n")
    room.write("build/Release/output", "text")
    room.cache("json", "1.0.0", b"archive")
    before = room.tree()
    room.write("packages/json/README.md", "text")
    assert room.run("clean").all == (0, CLEANED, "")
    assert room.tree() == before
    assert room.cached("json", "1.0.0").read_bytes() == b"archive"


@pytest.mark.skipif(on_windows(), reason="no number of files is limited there")
@pytest.mark.skipif(MOST_FILES < 2000, reason="the system does not allow so many open files")
@pytest.mark.parametrize("words", [["clean"], ["remove", "json"]], ids=lambda words: words[0])
def test_directories_deeper_than_files_may_be_open_are_removed(room, registry, words):
    # In two steps: the library makes no more than 1,000 directories at once.
    files = {"x/" * depth + "main.moss": "" for depth in (800, 1400)}
    registry.publish("json", "1.0.0", data=archive(files))
    room.manifest({"json": "*"})
    limited = 'ulimit -Sn 256; exec "$@"'
    for line in (["install"], ["install", "--locked"], words):
        result = room.run_words(["sh", "-c", limited, "sh", *program(), *line])
        assert (result.code, result.err) == (0, "")
    assert room.tree("packages") == {}


def test_without_a_packages_directory_the_line_is_printed_all_the_same(room):
    assert room.run("clean").all == (0, CLEANED, "")
    assert room.tree() == {}


def test_no_manifest_is_read(room):
    room.write("moss.toml", "not a manifest")
    room.write("packages/json/README.md", "text")
    assert room.run("clean").all == (0, CLEANED, "")
    assert room.tree() == {"moss.toml": b"not a manifest"}


def test_words_mean_nothing(room):
    room.write("packages/json/README.md", "text")
    assert room.run("clean", "json", "--", "x").all == (0, CLEANED, "")
    assert room.tree() == {}


def test_under_json_it_removes_without_a_word(room):
    room.write("packages/json/README.md", "text")
    assert room.run("clean", "--json").all == (0, "", "")
    assert room.tree() == {}


def test_a_file_called_packages_is_removed(room):
    room.write("packages", "text")
    assert room.run("clean").all == (0, CLEANED, "")
    assert room.tree() == {}


@linux_only
def test_of_a_link_only_the_link_is_removed(room):
    room.write("kept/json/README.md", "text")
    (room.dir / "packages").symlink_to("kept")
    assert room.run("clean").all == (0, CLEANED, "")
    assert room.tree() == {"kept/": None, "kept/json/": None, "kept/json/README.md": b"text"}


@linux_only
def test_links_below_the_packages_directory_are_not_followed(room):
    room.write("kept/README.md", "text")
    room.write("packages/json/README.md", "text")
    (room.dir / "packages" / "link").symlink_to("../kept")
    assert room.run("clean").all == (0, CLEANED, "")
    assert room.tree() == {"kept/": None, "kept/README.md": b"text"}


def test_a_link_that_leads_nowhere_does_not_exist(room):
    (room.dir / "packages").symlink_to("nowhere")
    assert room.run("clean").all == (0, CLEANED, "")
    assert room.tree() == {"packages": "-> nowhere"}


def test_a_directory_whose_existence_cannot_be_told_is_a_file_system_error(room):
    (room.dir / "packages").symlink_to("packages")
    assert room.run("clean").all == (
        1,
        "",
        file_error_line("exists", loop_reason(), room.shown("packages")),
    )


def test_two_at_once_both_succeed(room):
    for round_number in range(5):
        for number in range(200):
            room.write(f"packages/p{number}/src/main.moss", "")
        both = [room.start("clean") for _ in range(2)]
        for process in both:
            assert room.finish(process).all == (0, CLEANED, "")
        assert room.tree() == {}, round_number
