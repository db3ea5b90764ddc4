"""Unpacking of archives, hostile ones among them, as `mos install` meets them."""

import os
import struct
import zlib

import pytest

from harness import archive, block, file_error_line, on_windows, shown_path, status

DOWNLOADING = status("Downloading", "demo v1.0.0")
FINISHED = status("Finished", "installation of dependencies")
ONE = ("one.txt", b"one\n")

linux_only = pytest.mark.skipif(on_windows(), reason="no file of Windows has such a name")

TWO = ("two.txt", b"two\n")


def local(name, data, *, size=None, compressed=None, crc=None, method=0, flags=0, extra=b""):
    """A local header with name, extra field and data; sizes and CRC may lie."""
    name = name if isinstance(name, bytes) else name.encode()
    size = len(data) if size is None else size
    compressed = size if compressed is None else compressed
    crc = zlib.crc32(data) if crc is None else crc
    fields = (0x04034B50, 10, flags, method, 0, 0, crc, compressed, size, len(name), len(extra))
    return struct.pack("<IHHHHHIIIHH", *fields) + name + extra + data


def install(room, registry, data):
    """Installs the package demo 1.0.0, whose archive has these bytes."""
    registry.publish("demo", "1.0.0", data=data)
    room.manifest({"demo": "*"})
    return room.run("install")


def packages(room):
    return room.tree("packages")


def refusal(reason):
    return (1, DOWNLOADING, block("MOS010", f"Failed to unpack package 'demo': {reason}"))


def demo_path(room, member):
    """A member's path as messages show it."""
    return shown_path(room.dir / "packages" / "demo") + ("\\" if on_windows() else "/") + member


def assert_unpacked(room, registry, data, files):
    """The install succeeds and packages/demo holds exactly these files."""
    assert install(room, registry, data).all == (0, DOWNLOADING + FINISHED, "")
    found = {name: content for name, content in packages(room).items() if content is not None}
    assert found == {f"demo/{name}": content for name, content in files.items()}


def test_members_are_written_with_their_directories(room, registry):
    large = bytes(i * i % 251 for i in range(200_003))
    files = {"moss.toml": b"", "src/main.moss": b"fn main\n", "src/a/b/c": large}
    assert_unpacked(room, registry, archive(files), files)
    assert {"demo/", "demo/src/", "demo/src/a/", "demo/src/a/b/"} <= packages(room).keys()


def test_an_archive_without_members_unpacks_to_nothing(room, registry):
    assert install(room, registry, archive({})).all == (0, DOWNLOADING + FINISHED, "")
    assert packages(room) == {}


UNSAFE = [
    "", "../x", "..", "a/../../x", "a/../..", "./..", "/x", "/", "C:/x", "C:x", "1:", "\\x",
    "\\\\server\\share\\x", "..\\x", "a\\..\\..\\x", "a//../..",
]  # fmt: skip


@pytest.mark.parametrize("name", UNSAFE, ids=repr)
def test_an_unsafe_name_ends_the_extraction(room, registry, name):
    data = archive([ONE, (name, b"evil\n"), TWO])
    reason = f"Path traversal security violation in archive entry: {name}"
    assert install(room, registry, data).all == refusal(reason)
    assert packages(room) == {"demo/": None, "demo/one.txt": b"one\n"}


@pytest.mark.parametrize(
    ("name", "path"),
    [
        ("a/../b", "b"),
        ("a/b/../c", "a/c"),
        ("./a", "a"),
        ("a//b", "a/b"),
        ("a/./b", "a/b"),
        ("a\\b", "a/b"),
        ("src\\..\\c", "c"),
        pytest.param("...", "...", marks=linux_only),
        ("..a", "..a"),
    ],
    ids=repr,
)
def test_a_name_that_stays_inside_is_followed(room, registry, name, path):
    data = archive([ONE, (name, b"new\n")])
    assert_unpacked(room, registry, data, {"one.txt": b"one\n", path: b"new\n"})


SPECIAL_ON_WINDOWS = [
    "NUL", "nul", "NUL.txt", "NUL .txt", "Con", "PRN", "aux.c", "COM1", "com9.log", "LPT3", "COM\u00b9",
    "CONIN$", "CONOUT$", "a/NUL", "NUL/a", "a.", "a ", "a. .", "....", "a./b", "a /b", "name:stream",
    "name::$DATA", "dir:stream/a", "a*b", "a?b", 'a"b', "a<b", "a>b", "a|b", "a\x01b",
]  # fmt: skip


@pytest.mark.parametrize("name", SPECIAL_ON_WINDOWS, ids=repr)
def test_a_name_that_windows_treats_specially_is_refused_there_and_plain_elsewhere(
    room, registry, name
):
    data = archive([ONE, (name, b"new\n"), TWO])
    if not on_windows():
        assert_unpacked(room, registry, data, {"one.txt": b"one\n", name: b"new\n", "two.txt": TWO[1]})
        return
    reason = f"Failed to write extracted file: {demo_path(room, name)}"
    assert install(room, registry, data).all == refusal(reason)
    assert packages(room) == {"demo/": None, "demo/one.txt": b"one\n"}
    found = {path.name for path in room.root.iterdir()}
    assert found == {"project", "home"}


@pytest.mark.parametrize("name", ["a/", "a/b/", "a\\", ".", "a/..", "./"], ids=repr)
def test_a_name_of_a_directory_cannot_be_written(room, registry, name):
    shown = name.replace("\\", "/")
    reason = f"Failed to write extracted file: {demo_path(room, shown)}"
    assert install(room, registry, archive([ONE, (name, b""), TWO])).all == refusal(reason)
    files = {key: content for key, content in packages(room).items() if content is not None}
    assert files == {"demo/one.txt": b"one\n"}


def test_a_directory_in_the_way_of_a_file_is_reported(room, registry):
    data = archive([("a/b", b"x"), ("a", b"y")])
    reason = f"Failed to write extracted file: {demo_path(room, 'a')}"
    assert install(room, registry, data).all == refusal(reason)
    assert packages(room) == {"demo/": None, "demo/a/": None, "demo/a/b": b"x"}


def test_a_file_in_the_way_of_a_directory_is_a_file_system_error(room, registry):
    result = install(room, registry, archive([("a", b"x"), ("a/b", b"y")]))
    path = demo_path(room, "a")
    expected = file_error_line("create_directories", "Not a directory", path)
    assert result.all == (1, DOWNLOADING, expected)
    assert packages(room) == {"demo/": None, "demo/a": b"x"}


@pytest.mark.skipif(on_windows(), reason="Wine does not see a link that leads nowhere")
@pytest.mark.parametrize("member", ["one.txt", "src/one.txt"])
def test_a_link_that_leads_nowhere_in_the_place_of_the_package(room, registry, member):
    room.path("packages").mkdir()
    room.path("packages/demo").symlink_to("nowhere")
    result = install(room, registry, archive([(member, b"one\n")]))
    directory = os.path.dirname(demo_path(room, member))
    expected = file_error_line("create_directories", "File exists", directory)
    assert result.all == (1, DOWNLOADING, expected)
    assert packages(room) == {"demo": "-> nowhere"}


def test_a_name_with_a_nul_byte_is_never_written(room, registry):
    data = archive([ONE, (b"two.txt\0.moss", b"evil\n")])
    reason = f"Failed to write extracted file: {demo_path(room, 'two.txt')}\0.moss"
    assert install(room, registry, data).all == refusal(reason)
    assert packages(room) == {"demo/": None, "demo/one.txt": b"one\n"}


@linux_only
def test_a_name_of_any_bytes_is_written_as_it_is(room, registry):
    assert install(room, registry, archive([(b"\xff\xfe*?\n", b"x")])).code == 0
    assert os.listdir(os.fsencode(room.path("packages/demo"))) == [b"\xff\xfe*?\n"]


@pytest.mark.skipif(on_windows(), reason="other limits")
def test_a_name_that_is_too_long_does_not_resolve(room, registry):
    name = "n" * 300
    reason = f"Archive path escapes target directory: {name}"
    assert install(room, registry, archive([ONE, (name, b"x")])).all == refusal(reason)
    assert packages(room) == {"demo/": None, "demo/one.txt": b"one\n"}


def test_the_second_member_of_a_name_overwrites_the_first(room, registry):
    data = archive([("a", b"a long text\n"), ("a", b"short\n")])
    assert_unpacked(room, registry, data, {"a": b"short\n"})


@pytest.mark.parametrize(
    ("data", "files"),
    [
        pytest.param(b"", {}, id="an empty file"),
        pytest.param(b"PK\x03", {}, id="a part of a signature"),
        pytest.param(b"junk" + archive([ONE]), {}, id="bytes before the first header"),
        pytest.param(local(*ONE), dict([ONE]), id="no central directory"),
        pytest.param(
            local(*ONE) + b"junk" + local(*TWO), dict([ONE]), id="bytes between two members"
        ),
        pytest.param(archive([ONE]) + archive([TWO]), dict([ONE]), id="two archives in one file"),
        pytest.param(local(*ONE, crc=1), dict([ONE]), id="a wrong CRC"),
        pytest.param(local(*ONE, compressed=1), dict([ONE]), id="a wrong compressed size"),
        pytest.param(
            local(*ONE, method=8, flags=9), dict([ONE]), id="a method and flags of other tools"
        ),
        pytest.param(
            local(*ONE, extra=b"extra") + local(*TWO), dict([ONE, TWO]), id="an extra field"
        ),
        pytest.param(
            local("a", local(*TWO)), {"a": local(*TWO)}, id="a local header inside a member"
        ),
        pytest.param(
            local(*ONE) + local("big", b"few bytes", size=0xFFFFFFFF),
            {"one.txt": b"one\n", "big": b"few bytes"},
            id="a member that claims four gibibytes",
        ),
        pytest.param(
            local(*ONE) + local(*TWO)[:-2],
            {"one.txt": b"one\n", "two.txt": b"tw"},
            id="data cut by the end",
        ),
        pytest.param(
            local(*ONE) + local(*TWO)[:33],
            {"one.txt": b"one\n", "two": b""},
            id="a name cut by the end",
        ),
    ],
)
def test_the_local_headers_alone_decide(room, registry, data, files):
    assert_unpacked(room, registry, data, files)


@pytest.mark.parametrize("kept", [4, 20, 27, 29, 30])
def test_a_header_cut_by_the_end_has_no_name(room, registry, kept):
    data = local(*ONE) + local(*TWO)[:kept]
    reason = "Path traversal security violation in archive entry: "
    assert install(room, registry, data).all == refusal(reason)
    assert packages(room) == {"demo/": None, "demo/one.txt": b"one\n"}


def test_thousands_of_members_are_unpacked(room, registry):
    count = 66_000 if not on_windows() else 3_000
    data = b"".join(local(f"d{i % 40}/f{i}", b"") for i in range(count))
    assert_unpacked(room, registry, data, {f"d{i % 40}/f{i}": b"" for i in range(count)})
