"""What may be published, by whom, and what becomes of it."""

import hashlib
import re
import resource
import struct

import pytest
from harness import archive
from live_registry import package

SOURCE = {"src/json.moss": "// json\n"}


def manifest(name="json", version="1.0.0", more=""):
    return f'[package]\nname = "{name}"\nversion = "{version}"\n{more}'


def with_manifest(text, files=None):
    return archive({"moss.toml": text, **(SOURCE if files is None else files)})


def test_a_new_version_is_created(server, token):
    data = package("json", "1.0.0")
    answer = server.publish(data, token)
    checksum = "sha256:" + hashlib.sha256(data).hexdigest()
    assert answer.all == (201, {"name": "json", "version": "1.0.0", "checksum": checksum})


def test_the_same_bytes_once_more_are_fine(server, token):
    data = package("json", "1.0.0")
    first, second = server.publish(data, token), server.publish(data, token)
    assert (first.status, second.status, second.body) == (201, 200, first.body)
    server.assert_clean(versions=1)


def test_other_bytes_under_the_same_version_are_a_conflict(server, token):
    data = package("json", "1.0.0")
    server.publish(data, token)
    answer = server.publish(package("json", "1.0.0", files={"src/a.moss": "other"}), token)
    reason = "json 1.0.0 is published already, with other content"
    assert answer.all == (409, {"error": reason})
    assert server.get("/json/1.0.0/download").body == data


def test_the_first_publisher_owns_the_name(server, token):
    other = server.token("other")
    server.publish(package("json", "1.0.0"), token)
    answer = server.publish(package("json", "1.1.0"), other)
    assert answer.all == (403, {"error": "the package 'json' belongs to somebody else"})
    assert server.get("/json/versions").body == b'["1.0.0"]\n'


def test_names_that_nearly_agree_are_refused(server, token):
    server.publish(package("my-json", "1.0.0"), token)
    answer = server.publish(package("my_json", "1.0.0"), token)
    reason = "the name 'my_json' is too close to that of the package 'my-json'"
    assert answer.all == (409, {"error": reason})


def test_versions_that_differ_by_case_alone_are_refused(server, token):
    assert server.publish(package("json", "1.2.0-RC.1"), token).status == 201
    answer = server.publish(package("json", "1.2.0-rc.1"), token)
    reason = "json 1.2.0-rc.1 differs only by case from the version 1.2.0-RC.1"
    assert answer.all == (409, {"error": reason})
    assert server.publish(package("text", "1.2.0-rc.1"), token).status == 201
    assert server.get("/json/versions").body == b'["1.2.0-RC.1"]\n'


def test_every_token_line_of_the_client_is_enough(server, token):
    for number, line in enumerate(["X-Moss-Token", "X-MOS-Token"]):
        data = package("json", f"1.{number}.0")
        answer = server.ask("/api/v1/packages/publish", "POST", data, {line: token})
        assert answer.status == 201


def test_an_upload_in_pieces_of_unknown_number_is_taken(server, token):
    data = package("json", "1.0.0")
    connection = server.connect()
    pieces = (data[start : start + 100] for start in range(0, len(data), 100))
    connection.request(
        "POST",
        "/api/v1/packages/publish",
        pieces,
        {"Authorization": f"Bearer {token}"},
        encode_chunked=True,
    )
    assert connection.getresponse().status == 201
    assert server.get("/json/1.0.0/download").body == data


def central_directory_changed():
    data = bytearray(package("json", "1.0.0"))
    data[data.index(b"PK\x01\x02") + 12] ^= 1
    return bytes(data)


def sum_changed():
    data = bytearray(package("json", "1.0.0"))
    struct.pack_into("<I", data, 14, 7)
    return bytes(data)


DAMAGED = "the archive is damaged, or not as mos writes it"
BROKEN = {
    "empty": (b"", "this is not a .mos archive"),
    "no archive": (b"hello", "this is not a .mos archive"),
    "cut": (package("json", "1.0.0")[:-1], DAMAGED),
    "too long": (package("json", "1.0.0") + b"x", DAMAGED),
    "central directory": (central_directory_changed(), DAMAGED),
    "sum": (sum_changed(), DAMAGED),
    "no manifest": (archive(SOURCE), "the archive has no moss.toml"),
    "climbing": (
        with_manifest(manifest(), {"src/../../x": ""}),
        "the member name 'src/../../x' is not allowed",
    ),
    "absolute": (with_manifest(manifest(), {"/x": ""}), "the member name '/x' is not allowed"),
    "drive": (with_manifest(manifest(), {"C:x": ""}), "the member name 'C:x' is not allowed"),
    "backslash": (
        with_manifest(manifest(), {"src\\x": ""}),
        "the member name 'src/x' is not allowed",
    ),
    "control character": (
        with_manifest(manifest(), {"src/a\nb": ""}),
        "the member name 'src/a b' is not allowed",
    ),
    "no UTF-8": (
        with_manifest(manifest(), {b"src/\xff": ""}),
        "the member name 'src/?' is not allowed",
    ),
    "folder": (with_manifest(manifest(), {"src/": ""}), "the member name 'src/' is not allowed"),
    "twice": (
        archive([("moss.toml", manifest()), ("src/a", ""), ("src/A", "")]),
        "the member 'src/A' is there twice",
    ),
    "file and folder": (
        archive([("moss.toml", manifest()), ("src", ""), ("src/a", "")]),
        "the member 'src/a' is there twice",
    ),
    "many members": (
        with_manifest(manifest(), {f"src/{number}": "" for number in range(10_000)}),
        "the archive has more than 10000 members",
    ),
    "large manifest": (
        with_manifest(manifest(more="#" * 300_000)),
        "moss.toml has more than 262144 bytes",
    ),
    "manifest": (
        with_manifest("[package\n"),
        "moss.toml: Line 1: Expected '=' in statement: [package",
    ),
    "long piece": (
        with_manifest(manifest(), {"src/" + "x" * 256: ""}),
        f"the member name 'src/{'x' * 196}' is not allowed",
    ),
    "package name of a device": (
        with_manifest(manifest("con")),
        "the package name 'con' is that of a device on Windows",
    ),
    "workspace": (
        with_manifest("[workspace]\nmembers = []\n"),
        "a workspace without a package cannot be published",
    ),
    "name": (
        with_manifest(manifest("Json")),
        "moss.toml: Invalid package name 'Json': package name should be lowercase",
    ),
    "reserved name": (
        with_manifest(manifest("core")),
        "moss.toml: Invalid package name 'core': package name 'core' is a reserved identifier",
    ),
    "version": (
        with_manifest(manifest(version="1.0")),
        "moss.toml: Invalid package version '1.0'.",
    ),
    "build metadata": (
        with_manifest(manifest(version="1.0.0+b")),
        "build metadata cannot be published: 1.0.0+b",
    ),
    "empty pre-release": (
        with_manifest(manifest(version="1.0.0-")),
        "the version '1.0.0-' cannot be published",
    ),
    "slash in the version": (
        with_manifest(manifest(version="1.0.0-a/b")),
        "the version '1.0.0-a/b' cannot be published",
    ),
    "number beyond 64 bits": (
        with_manifest(manifest(version="1.0.0-99999999999999999999")),
        "the version '1.0.0-99999999999999999999' cannot be published",
    ),
    "path dependency": (
        with_manifest(manifest(more='[dependencies]\ntext = { path = "../text" }\n')),
        "the dependency 'text' is not one of the registry",
    ),
    "git dependency": (
        with_manifest(manifest(more='[dependencies]\ntext = { git = "x" }\n')),
        "the dependency 'text' is not one of the registry",
    ),
    "constraint": (
        with_manifest(manifest(more='[dependencies]\ntext = "newest"\n')),
        "the dependency 'text' has no valid version constraint",
    ),
    "constraint with a quote": (
        with_manifest(manifest(more='[dependencies]\ntext = "1.0.0-\\"]"\n')),
        "the dependency 'text' has no valid version constraint",
    ),
    "number as a dependency": (
        with_manifest(manifest(more="[dependencies]\ntext = 3\n")),
        "the dependency 'text' has no valid version constraint",
    ),
    "dependency name": (
        with_manifest(manifest(more='[dependencies]\n"te\'xt" = "1.0.0"\n')),
        "the dependency ''te'xt'' has a name that no package may have",
    ),
    "description": (
        with_manifest(manifest(more='description = "' + "x" * 1001 + '"\n')),
        "the description may have 1000 bytes and the license 100",
    ),
    "license": (
        with_manifest(manifest(more='license = "' + "x" * 101 + '"\n')),
        "the description may have 1000 bytes and the license 100",
    ),
    "constraint of 201 bytes": (
        with_manifest(manifest(more='[dependencies]\ntext = ">=1.0.0' + ",>=1.0.0" * 25 + '"\n')),
        "the dependency 'text' has no valid version constraint",
    ),
    "1001 dependencies": (
        with_manifest(
            manifest(more="[dependencies]\n" + "".join(f'a{n} = "1.0.0"\n' for n in range(1001)))
        ),
        "[dependencies] must be a table of at most 1000 packages",
    ),
    "dependencies": (
        with_manifest("dependencies = 1\n" + manifest()),
        "[dependencies] must be a table of at most 1000 packages",
    ),
}


DEVICES = [
    *["con", "PRN", "aux.moss", "nul.tar.gz", "CONIN$", "conout$.x", "nul .moss"],
    *["com0", "com9.moss", "LPT1", "com\u00b9", "lpt\u00b2.x", "Com\u00b3"],
]


@pytest.mark.parametrize("piece", DEVICES)
def test_names_of_devices_are_refused(server, token, piece):
    for name in [f"src/{piece}", f"{piece}/x"]:
        answer = server.publish(with_manifest(manifest(), {name: ""}), token)
        assert answer.all == (422, {"error": f"the member name '{name}' is not allowed"})


def test_names_that_only_look_like_devices_and_long_ones_are_fine(server, token):
    names = ["src/console", "src/com", "src/com10", "src/a.con", "src/" + "x" * 255]
    data = with_manifest(manifest(), {name: "" for name in names})
    assert server.publish(data, token).status == 201


def test_a_disk_that_is_full_while_an_upload_is_checked_is_not_the_uploads_fault(server, token):
    whole = package("json", "1.0.0", files={"src/a": bytes(2_000_000)})
    # The copy that is made to compare has the byte that is missing here.
    cut = whole[:-1]
    _, hard = resource.prlimit(server.process.pid, resource.RLIMIT_FSIZE)
    resource.prlimit(server.process.pid, resource.RLIMIT_FSIZE, (len(cut), hard))
    assert server.publish(cut, token).all == (507, {"error": "the upload could not be stored"})
    resource.prlimit(server.process.pid, resource.RLIMIT_FSIZE, (hard, hard))
    assert server.publish(cut, token).all == (422, {"error": DAMAGED})
    assert server.publish(whole, token).status == 201
    assert list((server.data / "incoming").iterdir()) == []
    status, said = server.stop()
    scratch = f"{server.data}/incoming/[0-9a-f]{{32}}\\.again"
    lines = said.splitlines()
    assert (status, lines[1:]) == (0, ["mos-registry: ended"])
    assert re.fullmatch(
        f".*Z mos-registry: an upload could not be checked: .*{scratch}", lines[0]
    )


@pytest.mark.parametrize("case", BROKEN)
def test_what_is_not_in_order_is_refused(server, token, case):
    data, reason = BROKEN[case]
    assert server.publish(data, token).all == (422, {"error": reason})
    assert server.ask("/api/v1/packages?q=").body == b"[]\n"
    server.assert_clean(versions=0)
    assert list((server.data / "incoming").iterdir()) == []


def test_constraints_are_handed_out_as_they_were_written(server, token):
    lines = 'a = ">= 1.0, <2.0"\nb = { version = "~1.2" }\nc = {}\nd = "*"'
    server.publish(package("json", "1.0.0", lines), token)
    assert server.get("/json/1.0.0").all[1]["dependencies"] == [
        {"name": "a", "constraint": ">= 1.0, <2.0"},
        {"name": "b", "constraint": "~1.2"},
        {"name": "c", "constraint": "*"},
        {"name": "d", "constraint": "*"},
    ]


def test_a_description_is_shown_without_what_would_need_an_escape(server, token):
    text = r"A \"quoted\" \\ {word}\tand\na line \u00e9"
    server.publish(package("json", "1.0.0", description=text), token)
    assert server.get("/json").all[1]["description"] == "A 'quoted' / (word) and a line u00e9"


def test_an_archive_beyond_the_limit_is_refused_before_it_is_sent(server, token):
    connection = server.connect()
    connection.putrequest("POST", "/api/v1/packages/publish")
    connection.putheader("Authorization", f"Bearer {token}")
    connection.putheader("Content-Length", str(33 * 1024 * 1024))
    connection.endheaders()
    assert connection.getresponse().status == 413


def test_a_lost_archive_is_mended_by_publishing_it_again(server, token):
    data = package("json", "1.0.0")
    server.publish(data, token)
    digest = hashlib.sha256(data).hexdigest()
    stored = server.data / "archives" / digest[:2] / f"{digest}.mos"
    stored.write_bytes(b"damaged")
    status, out, _ = server.command("check")
    assert (status, out.splitlines()[0]) == (3, "json 1.0.0: the archive is damaged")
    stored.unlink()
    status, out, _ = server.command("check")
    assert (status, out.splitlines()[0]) == (3, "json 1.0.0: the archive is missing")
    assert server.get("/json/1.0.0/download").all == (
        500,
        {"error": "the registry has lost this archive"},
    )
    assert server.publish(data, token).status == 200
    assert server.get("/json/1.0.0/download").body == data
    server.assert_clean(versions=1)
