"""`mos package`: from a project to its archive."""

import os

import pytest

from harness import (
    archive,
    block,
    file_error_line,
    loop_reason,
    on_windows,
    program,
    sha256,
    status,
    tree_of,
)

NO_SOURCES = block(
    "MOS010", "Failed to package project: Project contains no source files under src/."
)


def listing(names, archive_name, data):
    """What is printed after the status line for an archive of these bytes."""
    files = "".join(f"  {name}\n" for name in names)
    return f"\nFiles:\n{files}\nCreated:\n  {archive_name}\n\nSHA-256:\n  {sha256(data)}\n"


def project(room, files, name="hello", version="0.1.0"):
    """Writes a manifest and further files; returns all members, the manifest first."""
    room.manifest(name=name, version=version)
    for path, contents in files.items():
        room.write(path, contents)
    return {"moss.toml": room.read("moss.toml"), **files}


def assert_packed(room, members, name="hello", version="0.1.0", args=()):
    """`package` succeeds and its archive holds exactly `members`, in this order."""
    before = room.tree()
    data = archive(members)
    archive_name = f"{name}-{version}.mos"
    printed = "" if "--json" in args else status("Packaging", f"{name} {version}...")
    expected = printed + listing(members, archive_name, data)
    assert room.run("package", *args).all == (0, expected, "")
    assert room.tree() == {**before, archive_name: data}


def test_a_project_becomes_an_archive(room):
    members = project(room, {"README.md": "read me\n", "src/main.moss": "fn main\n"})
    assert_packed(room, members)
    assert not room.home.exists()


def test_the_license_stands_between_readme_and_sources(room):
    files = {"README.md": "", "LICENSE": "free\r\n", "src/a.moss": bytes(range(256))}
    assert_packed(room, project(room, files))


def test_the_archive_has_every_byte_as_laid_down(room):
    room.write("moss.toml", '[package]\nname = "a"\nversion = "1.0.0"\n')
    room.write("src/m", "123456789")
    room.run("package")
    assert room.path("a-1.0.0.mos").read_bytes() == (
        b"PK\x03\x04\x0a\0\0\0\0\0\0\0\0\0\xeb\x9d\x3e\xbe\x27\0\0\0\x27\0\0\0\x09\0\0\0"
        b'moss.toml[package]\nname = "a"\nversion = "1.0.0"\n'
        b"PK\x03\x04\x0a\0\0\0\0\0\0\0\0\0\x26\x39\xf4\xcb\x09\0\0\0\x09\0\0\0\x05\0\0\0"
        b"src/m123456789"
        b"PK\x01\x02\x14\0\x0a\0\0\0\0\0\0\0\0\0\xeb\x9d\x3e\xbe\x27\0\0\0\x27\0\0\0\x09\0"
        b"\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0moss.toml"
        b"PK\x01\x02\x14\0\x0a\0\0\0\0\0\0\0\0\0\x26\x39\xf4\xcb\x09\0\0\0\x09\0\0\0\x05\0"
        b"\0\0\0\0\0\0\0\0\0\0\0\0\x4e\0\0\0src/m"
        b"PK\x05\x06\0\0\0\0\x02\0\x02\0\x6a\0\0\0\x7a\0\0\0\0\0"
    )


def test_sources_are_packed_in_byte_order_of_their_names(room):
    names = ["src/B", "src/a-b", "src/a.moss", "src/a/b.moss", "src/a/c/d", "src/a0", "src/z"]
    assert_packed(room, project(room, {name: name for name in names}))


def test_packing_twice_gives_the_same_archive(room):
    members = project(room, {"src/a": "one", "src/b": "two"})
    assert_packed(room, members)
    os.utime(room.path("src/a"), (1, 1))
    assert_packed(room, members)


def test_an_older_archive_is_replaced(room):
    members = project(room, {"src/a": "one"})
    room.write("hello-0.1.0.mos", b"x" * 10000)
    assert_packed(room, members)


def test_large_files_are_packed_whole(room):
    contents = bytes(i * i % 251 for i in range(300_001))
    assert_packed(room, project(room, {"src/large": contents, "src/none": b""}))


def test_the_version_is_printed_in_its_canonical_form(room):
    members = project(room, {"src/a": ""}, version="v01.2.3-rc.1+b.7")
    assert_packed(room, members, version="1.2.3-rc.1+b.7")


def test_under_json_the_listing_is_printed_all_the_same(room):
    assert_packed(room, project(room, {"src/a": ""}), args=["--json"])


def test_further_words_are_ignored(room):
    assert_packed(room, project(room, {"src/a": ""}), args=["other", "--offline"])


def test_files_of_other_names_stay_out(room):
    members = project(room, {"src/a": ""})
    for name in ["LICENSE.md", "README.txt", "moss.lock", "packages/x/src/y", "sources/z", "s"]:
        room.write(name, name)
    assert_packed(room, members)


def test_what_a_killed_run_left_below_src_is_no_source(room):
    room.manifest(name="hello")
    left = room.write("src/.mos-new-4711-8150", "half")
    assert room.run("package").all == (1, status("Packaging", "hello 0.1.0..."), NO_SOURCES)
    assert not left.exists()
    members = project(room, {"src/.mos-new-4711": "the user's own"})
    left = room.write("src/deep/.mos-new-4711-8150", "half")
    assert room.run("package", "--json").code == 0
    assert not left.exists()
    assert_packed(room, members)


def test_a_readme_is_enough_without_any_source(room):
    members = project(room, {"README.md": "read me\n"})
    room.path("src").mkdir()
    assert_packed(room, members)


def test_a_workspace_without_a_package_has_an_empty_name(room):
    members = {"moss.toml": '[workspace]\nmembers = ["a"]\n', "src/a": ""}
    for name, contents in members.items():
        room.write(name, contents)
    assert_packed(room, members, name="")


def test_a_version_with_a_slash_names_a_directory(room):
    # The version's text goes into the file name as it is.
    members = project(room, {"src/a": ""}, version="1.0.0-x/y")
    result = room.run("package")
    expected = status("Packaging", "hello 1.0.0-x/y...")
    expected += listing(members, "hello-1.0.0-x/y.mos", archive(members))
    assert result.all == (0, expected, "")
    assert room.path("hello-1.0.0-x/y.mos").read_bytes() == archive(members)


@pytest.mark.parametrize(
    "version",
    ["1.0.0-x/../../escaped", "1.0.0-x/../../../escaped", "1.0.0+x/../../escaped",
     "1.0.0-x\\\\..\\\\..\\\\escaped"],
)
def test_a_version_leads_nowhere_outside_the_project(room, version):
    project(room, {"src/a": ""}, version=version)
    before = tree_of(room.root)
    version = version.replace("\\\\", "\\")
    error = f"Failed to package project: Archive path escapes project directory: hello-{version}.mos"
    expected = (1, status("Packaging", f"hello {version}..."), block("MOS010", error))
    assert room.run("package").all == expected
    assert tree_of(room.root) == before


@pytest.mark.skipif(on_windows(), reason="links are made otherwise there")
def test_a_link_on_the_way_to_the_archive_leads_nowhere_outside_the_project(room):
    project(room, {"src/a": ""}, version="1.0.0-x/y")
    outside = room.root / "outside"
    outside.mkdir()
    room.path("hello-1.0.0-x").symlink_to(outside)
    error = "Archive path escapes project directory: hello-1.0.0-x/y.mos"
    expected = block("MOS010", f"Failed to package project: {error}")
    assert room.run("package").all == (1, status("Packaging", "hello 1.0.0-x/y..."), expected)
    assert list(outside.iterdir()) == []


@pytest.mark.skipif(on_windows(), reason="the reasons are Linux's")
@pytest.mark.parametrize("piece, reason", [("x" * 260, "File name too long"), ("x", loop_reason())])
def test_a_way_to_the_archive_that_leads_nowhere_is_told_as_that(room, piece, reason):
    project(room, {"src/a": ""}, version=f"1.0.0-{piece}/y")
    if piece == "x":
        room.path("hello-1.0.0-x").symlink_to("hello-1.0.0-x")
    error = file_error_line("weakly_canonical", reason, room.path(f"hello-1.0.0-{piece}"))
    expected = status("Packaging", f"hello 1.0.0-{piece}/y...")
    assert room.run("package").all == (1, expected, error)


@pytest.mark.parametrize("files", [[], ["src/a/b/"], ["src/"]], ids=repr)
def test_a_manifest_alone_is_refused(room, files):
    room.manifest(name="hello")
    for name in files:
        room.path(name).mkdir(parents=True)
    before = room.tree()
    expected = (1, status("Packaging", "hello 0.1.0..."), NO_SOURCES)
    assert room.run("package").all == expected
    assert room.tree() == before


def test_a_missing_manifest_is_refused(room):
    room.write("src/a", "")
    reason = f"Could not open manifest file: {room.shown('moss.toml')}"
    expected = (1, "", block("MOS001", f"Failed to read moss.toml: {reason}"))
    assert room.run("package").all == expected


def test_a_broken_manifest_is_refused(room):
    room.write("moss.toml", '[package]\nname = "a"\nversion = "1.0"\n')
    room.write("src/a", "")
    reason = "Failed to read moss.toml: Invalid package version '1.0'."
    assert room.run("package").all == (1, "", block("MOS001", reason))
    assert room.tree().keys() == {"moss.toml", "src/", "src/a"}


def test_an_archive_that_cannot_be_created_is_reported(room):
    project(room, {"src/a": ""})
    room.path("hello-0.1.0.mos").mkdir()
    reason = f"Failed to create archive file: {room.shown('hello-0.1.0.mos')}"
    expected = block("MOS010", f"Failed to package project: {reason}")
    assert room.run("package").all == (1, status("Packaging", "hello 0.1.0..."), expected)


def test_an_archive_is_replaced_in_one_step(room):
    """Whoever has the old one open, to send it, reads it to its end."""
    before = archive(project(room, {"src/a": "one"}))
    room.run("package")
    os.link(room.path("hello-0.1.0.mos"), room.path("reader"))
    after = archive(project(room, {"src/a": "two"}))
    assert room.run("package").code == 0
    assert room.path("hello-0.1.0.mos").read_bytes() == after
    assert room.path("reader").read_bytes() == before
    assert sorted(room.tree()) == ["hello-0.1.0.mos", "moss.toml", "reader", "src/", "src/a"]


@pytest.mark.skipif(on_windows() or not os.path.exists("/dev/full"), reason="no device /dev/full")
def test_a_full_disk_is_reported(room):
    project(room, {"src/a": ""})
    room.path("hello-0.1.0.mos").symlink_to("/dev/full")
    reason = f"Failed to write archive file: {room.shown('hello-0.1.0.mos')}"
    expected = block("MOS010", f"Failed to package project: {reason}")
    assert room.run("package").all == (1, status("Packaging", "hello 0.1.0..."), expected)


@pytest.mark.skipif(on_windows(), reason="needs the limits of a POSIX shell")
def test_a_limit_for_the_size_of_files_is_reported(room):
    project(room, {"src/a": "a" * 3_000_000})
    words = ["sh", "-c", 'ulimit -f 2000; exec "$@"', "sh", *program(), "package"]
    reason = f"Failed to write archive file: {room.shown('hello-0.1.0.mos')}"
    expected = block("MOS010", f"Failed to package project: {reason}")
    assert room.run_words(words).all == (1, status("Packaging", "hello 0.1.0..."), expected)


@pytest.mark.skipif(on_windows(), reason="Wine shows a link as what it leads to")
def test_a_linked_source_counts_under_the_name_of_its_target(room):
    # Two members of one name: the walk finds the file and the link to it.
    project(room, {"src/a": "one"})
    room.path("src/link").symlink_to("a")
    members = [("moss.toml", room.read("moss.toml")), ("src/a", "one"), ("src/a", "one")]
    expected = status("Packaging", "hello 0.1.0...")
    expected += listing([name for name, _ in members], "hello-0.1.0.mos", archive(members))
    assert room.run("package").all == (0, expected, "")
    assert room.path("hello-0.1.0.mos").read_bytes() == archive(members)


@pytest.mark.skipif(on_windows(), reason="a backslash separates there")
@pytest.mark.parametrize("order", [1, -1])
def test_files_of_one_member_name_keep_the_order_of_their_own_names(room, order):
    project(room, {})
    written = [("src/a/b", "separated"), ("src/a\\b", "one name"), ("src/c\\d/e", "mixed")]
    for path, contents in written[::order]:
        room.write(path, contents)
    members = [
        ("moss.toml", room.read("moss.toml")),
        ("src/a/b", "separated"),
        ("src/a/b", "one name"),
        ("src/c/d/e", "mixed"),
    ]
    assert room.run("package").code == 0
    assert room.path("hello-0.1.0.mos").read_bytes() == archive(members)


def test_linked_directories_and_dangling_links_stay_out(room):
    members = project(room, {"src/a": "one"})
    room.write("other/b", "two")
    room.path("src/other").symlink_to("../other")
    room.path("src/dangling").symlink_to("missing")
    assert_packed(room, members)


@pytest.mark.skipif(on_windows(), reason="Wine lists no link that leads to itself")
def test_a_link_to_itself_is_a_file_system_error(room):
    project(room, {"src/a": "one"})
    room.path("src/loop").symlink_to("loop")
    reason = "Too many levels of symbolic links"
    expected = file_error_line("directory_entry::status", reason, room.shown("src/loop"))
    assert room.run("package").all == (1, status("Packaging", "hello 0.1.0..."), expected)


def test_a_readme_that_links_to_itself_is_a_file_system_error(room):
    project(room, {"src/a": "one"})
    room.path("README.md").symlink_to("README.md")
    expected = file_error_line("exists", loop_reason(), room.shown("README.md"))
    assert room.run("package").all == (1, status("Packaging", "hello 0.1.0..."), expected)



def test_files_with_long_paths_are_packed_like_any_other(room):
    """Longer than what some systems take without being asked for more."""
    deep = "/".join(["d" * 100] * 3)
    assert_packed(room, project(room, {f"src/{deep}/main.moss": "deep", "src/main.moss": "main"}))


@pytest.mark.skipif(not on_windows(), reason="names as any other")
@pytest.mark.parametrize("name", ["nul.moss", "main.moss.", "main.moss "])
def test_a_file_that_the_system_would_take_for_another_is_not_packed(room, name):
    project(room, {"src/main.moss": "main", f"src/{name}": "another"})
    result = room.run("package")
    assert (result.code, result.out) == (1, status("Packaging", "hello 0.1.0..."))
    assert "Failed to package project: Could not read file: " in result.err
    assert not room.exists("hello-0.1.0.mos")
