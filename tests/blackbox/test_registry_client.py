"""How the replies of a registry are read, seen through the commands that ask it."""

import pytest

from harness import archive, block, sha256, status

DATA = archive({"src/main.moss": "main\n"})
DEFAULT_REGISTRY = "https://registry.moss.example"


def meta(checksum="", dependencies="[]"):
    return f'{{"checksum":"{checksum}","dependencies":{dependencies}}}'


@pytest.mark.parametrize(
    ("body", "version"),
    [
        ('["1.0.0","1.1.0","x"]', "1.1.0"),
        (' \t\r\n["1.1.0" , "1.0.0"]', "1.1.0"),
        ("1.0.0\n1.1.0\nbogus\n", "1.1.0"),
        ("\r\n  1.0.0  \r\n\r\n  1.1.0", "1.1.0"),
        ('[{"version":"1.0.0"},{"version":"1.1.0"}]', "1.1.0"),
    ],
    ids=["array", "array after white space", "lines", "untidy lines", "array of objects"],
)
def test_the_published_versions_are_read(room, registry, body, version):
    registry.on("GET", "/api/v1/packages/a/versions", body=body)
    registry.on("GET", f"/api/v1/packages/a/{version}", body=meta(sha256(DATA)))
    registry.on("GET", f"/api/v1/packages/a/{version}/download", body=DATA)
    room.manifest({"a": "*"})
    assert room.run("install").all == (
        0,
        status("Downloading", f"a v{version}") + status("Finished", "installation of dependencies"),
        "",
    )
    assert f"GET /api/v1/packages/a/{version}/download" in registry.lines()


@pytest.mark.parametrize(
    ("code", "body"), [(404, '["1.0.0"]'), (200, ""), (200, '{"versions":["1.0.0"]}')]
)
def test_a_package_without_readable_versions_is_not_found(room, registry, code, body):
    registry.on("GET", "/api/v1/packages/a/versions", code, body)
    room.manifest({"a": "*"})
    assert room.run("install").all == (
        4,
        "",
        block(
            "MOS005",
            "package 'a' was not found in registry or local sources",
            "check your dependency constraints in moss.toml",
        ),
    )


def test_a_checksum_without_prefix_gets_it(room, registry):
    registry.publish("a", "1.0.0", data=DATA, checksum=sha256(DATA).removeprefix("sha256:"))
    room.manifest({"a": "*"})
    assert room.run("install").code == 0
    assert f'checksum = "{sha256(DATA)}"' in room.read("moss.lock")


def test_a_reply_without_checksum_accepts_any_archive(room, registry):
    registry.publish("a", "1.0.0", data=DATA, checksum="")
    room.manifest({"a": "*"})
    assert room.run("install").code == 0
    assert room.cached("a", "1.0.0").read_bytes() == DATA


@pytest.mark.parametrize(
    ("dependencies", "asked"),
    [
        ('[{"name":"b","constraint":"^1.0"}]', "1.1.0"),
        ('[{"name":"b"}]', "2.0.0"),
        ('[{"name":"b","constraint":""}]', "2.0.0"),
        ('[{"name":"b","constraint":"what?"}]', "2.0.0"),
        ('[{"name":"b","constraint":"^2.0"},{"name":"b","constraint":"^1.0"}]', "1.1.0"),
        ('[{"name":"b","extra":{"x":"y"},"constraint":"^1.0"}]', "2.0.0"),
    ],
    ids=["constraint", "none", "empty", "unreadable", "the last of two", "cut by a nested object"],
)
def test_the_dependencies_of_a_version_are_read(room, registry, dependencies, asked):
    for version in ["1.0.0", "1.1.0", "2.0.0"]:
        registry.publish("b", version, data=DATA)
    registry.publish("a", "1.0.0", data=DATA)
    registry.on("GET", "/api/v1/packages/a/1.0.0", body=meta(sha256(DATA), dependencies))
    room.manifest({"a": "*"})
    assert room.run("install").code == 0
    assert room.cached("b", asked).read_bytes() == DATA


def test_dependencies_are_asked_for_in_the_order_of_the_reply(room, registry):
    names = ["z", "m", "a", "q"]
    for name in names:
        registry.publish(name, "1.0.0")
    registry.publish("top", "1.0.0", [(name, "*") for name in names])
    room.manifest({"top": "*"})
    assert room.run("install").code == 0
    asked = [line.split("/")[4] for line in registry.lines() if line.endswith("/versions")]
    assert asked == ["top", *names]


@pytest.mark.parametrize("ending", ["/", "///", "#x", "/#packages", "/#a/#b"])
def test_the_registry_address_is_tidied(room, registry, ending):
    result = room.run("search", "a", env={"MOS_REGISTRY": registry.url + ending})
    assert result.out.endswith(f"\nBrowse packages online: {registry.url}/#packages\n")
    assert registry.lines()[0] == "GET /api/v1/packages?q=a"


@pytest.mark.parametrize("address", [None, "", "#", "///", "/#packages"])
def test_without_an_address_the_default_registry_is_meant(room, address):
    result = room.run("login", "--token", "t", env={"MOS_REGISTRY": address})
    assert result.out == status("Logged in", f"API token saved for @user ({DEFAULT_REGISTRY})")


def test_a_registry_below_a_path(room, registry):
    room.run("info", "a", env={"MOS_REGISTRY": registry.url + "/below/here/"})
    assert registry.lines() == ["GET /below/here/api/v1/packages/a"]
