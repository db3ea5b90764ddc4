"""`mos info`."""

import pytest

from harness import block, refused_url

INFO = "/api/v1/packages/json"
BODY = (
    '{"name":"json","latest":"1.2.3","description":"Reads \\\\ JSON","license":"MIT",'
    '"versions":["1.0.0","1.2.3"]}'
)
MISSING = block("MOS002", "Missing package name. Usage: mos info <package>")
UNKNOWN = block("MOS006", "Package 'json' not found.")


def test_a_package_as_text(room, registry):
    registry.on("GET", INFO, body=BODY)
    assert room.run("info", "json").all == (
        0,
        "Name:        json\n"
        "Latest:      1.2.3\n"
        "License:     MIT\n"
        "Description: Reads \\\\ JSON\n"
        "\n"
        "Versions:\n"
        "  1.0.0\n"
        "  1.2.3\n",
        "",
    )
    assert registry.lines() == ["GET " + INFO]


def test_a_package_as_json(room, registry):
    registry.on("GET", INFO, body=BODY)
    assert room.run("info", "json", "--json").all == (
        0,
        "{\n"
        '  "name": "json",\n'
        '  "latest": "1.2.3",\n'
        '  "license": "MIT",\n'
        '  "description": "Reads \\\\ JSON",\n'
        '  "versions": ["1.0.0", "1.2.3"]\n'
        "}\n",
        "",
    )


def test_a_package_without_versions(room, registry):
    registry.on("GET", INFO, body='{"name":"json"}')
    assert room.run("info", "json").out == (
        "Name:        json\nLatest:      \nLicense:     \nDescription: \n\nVersions:\n"
    )
    assert room.run("info", "json", "--json").out == (
        '{\n  "name": "json",\n  "latest": "",\n  "license": "",\n  "description": "",\n'
        '  "versions": []\n}\n'
    )


def test_texts_are_shown_as_the_registry_gives_them(room, registry):
    registry.on("GET", INFO, body='{"name":"x","latest":"newest","versions":["a","1.0"]}')
    assert room.run("info", "json").out == (
        "Name:        x\nLatest:      newest\nLicense:     \nDescription: \n\n"
        "Versions:\n  a\n  1.0\n"
    )


@pytest.mark.parametrize("args", [[], ["--json"], [""]], ids=repr)
def test_a_missing_name(room, registry, args):
    assert room.run("info", *args).all == (1, "", MISSING)
    assert registry.connections == 0


def test_only_the_first_word_counts(room, registry):
    registry.on("GET", INFO, body='{"name":"json"}')
    assert room.run("info", "json", "other").code == 0
    assert registry.lines() == ["GET " + INFO]


@pytest.mark.parametrize(("code", "body"), [(404, BODY), (500, BODY), (201, BODY), (200, "")])
def test_a_package_that_is_not_described(room, registry, code, body):
    registry.on("GET", INFO, code, body)
    assert room.run("info", "json").all == (1, "", UNKNOWN)
    assert room.run("info", "json", "--json").all == (1, "", UNKNOWN)


def test_offline_no_package_is_found(room, registry):
    assert room.run("info", "json", env={"MOS_OFFLINE": "true"}).all == (1, "", UNKNOWN)
    assert registry.connections == 0


def test_out_of_reach_no_package_is_found(room):
    room.env["MOS_REGISTRY"] = refused_url()
    assert room.run("info", "json").all == (1, "", UNKNOWN)
