"""`mos publish`: pack, authenticate, upload."""

import pytest

from harness import archive, block, library_number, refused_url, status

PUBLISH = "/api/v1/packages/publish"


def project(room):
    """A project named app 1.0.0; returns the archive it makes."""
    manifest = room.manifest(name="app", version="1.0.0").read_bytes()
    source = room.write("src/main.moss", "main\n").read_bytes()
    return archive({"moss.toml": manifest, "src/main.moss": source})


def uploading(registry):
    return status("Uploading", f"app 1.0.0 to {registry.url}")


def failed(reason):
    return block("MOS008", f"Failed to publish package: {reason}")


def no_token(address):
    return block(
        "MOS009",
        "Authentication required to publish packages.",
        f"Run 'mos login' to authenticate with {address}, "
        "or supply '--token <token>' / set MOS_TOKEN.",
    )


@pytest.mark.parametrize("code", [200, 201])
def test_a_project_is_packed_and_uploaded(room, registry, code):
    data = project(room)
    registry.on("POST", PUBLISH, code)
    assert room.run("publish", "--token", "t").all == (
        0,
        uploading(registry) + status("Published", "app v1.0.0 successfully!"),
        "",
    )
    assert registry.lines() == [f"POST {PUBLISH}"]
    assert registry.requests[0].body == data
    assert room.path("app-1.0.0.mos").read_bytes() == data


def test_under_json_nothing_is_printed(room, registry):
    project(room)
    registry.on("POST", PUBLISH, 201)
    assert room.run("publish", "--token", "t", "--json").all == (0, "", "")


@pytest.mark.parametrize(
    ("option", "environment", "saved", "sent"),
    [
        ("o", "e", "s", "o"),
        (None, "e", "s", "e"),
        (None, "", "s", "s"),
        (None, None, "s", "s"),
        ("", "e", "s", "e"),
    ],
)
def test_the_token_in_force_is_sent(room, registry, option, environment, saved, sent):
    project(room)
    room.home.mkdir()
    (room.home / "credentials.json").write_text(f'{{"token":"{saved}"}}')
    registry.on("POST", PUBLISH, 201)
    args = [] if option is None else [f"--token={option}"]
    assert room.run("publish", *args, env={"MOS_TOKEN": environment}).code == 0
    assert registry.requests[0].header("Authorization") == f"Bearer {sent}"


def test_without_a_token_nothing_is_sent_and_the_status_is_8(room, registry):
    data = project(room)
    assert room.run("publish").all == (8, "", no_token(registry.url))
    assert registry.connections == 0
    assert room.path("app-1.0.0.mos").read_bytes() == data


@pytest.mark.parametrize("text", ["", "rubbish", '{"token":"","username":"alice"}'], ids=repr)
def test_a_saved_login_without_token_is_none(room, registry, text):
    project(room)
    room.home.mkdir()
    (room.home / "credentials.json").write_text(text)
    assert room.run("publish").all == (8, "", no_token(registry.url))


@pytest.mark.parametrize(
    ("code", "body", "reason"),
    [
        (409, '{"error":"name taken"}', "name taken"),
        (403, "f" * 50, "f" * 50),
        (413, "x" * 300, "HTTP 413"),
        (500, "", "HTTP 500"),
        (202, "", "HTTP 202"),
        (204, "", "HTTP 204"),
    ],
)
def test_a_refused_upload_says_why_and_leaves_the_archive(room, registry, code, body, reason):
    data = project(room)
    registry.on("POST", PUBLISH, code, body)
    assert room.run("publish", "--token", "t").all == (1, uploading(registry), failed(reason))
    assert room.path("app-1.0.0.mos").read_bytes() == data


def test_an_upload_that_nobody_takes(room):
    project(room)
    room.env["MOS_REGISTRY"] = address = refused_url()
    number = library_number(libcurl=7, wininet=12029)
    assert room.run("publish", "--token", "t").all == (
        1,
        status("Uploading", f"app 1.0.0 to {address}"),
        failed(f"Network transmission failed (Win32 error {number})"),
    )


def test_offline_nothing_is_uploaded(room, registry):
    data = project(room)
    assert room.run("publish", "--token", "t", env={"MOS_OFFLINE": "1"}).all == (
        1,
        uploading(registry),
        failed("Cannot publish package in offline mode."),
    )
    assert registry.connections == 0
    assert room.path("app-1.0.0.mos").read_bytes() == data


def test_the_offline_option_is_not_read(room, registry):
    project(room)
    registry.on("POST", PUBLISH, 201)
    assert room.run("publish", "--token", "t", "--offline").code == 0


def test_a_missing_manifest(room, registry):
    reason = f"Could not open manifest file: {room.shown('moss.toml')}"
    assert room.run("publish", "--token", "t").all == (
        1,
        "",
        block("MOS001", f"Failed to read moss.toml: {reason}"),
    )


def test_a_project_without_sources(room, registry):
    room.manifest(name="app", version="1.0.0")
    assert room.run("publish", "--token", "t").all == (
        1,
        "",
        block(
            "MOS010",
            "Packaging failed before publish: Project contains no source files under src/.",
        ),
    )
    assert not room.exists("app-1.0.0.mos")


def test_a_version_that_leads_out_of_the_project(room, registry):
    room.manifest(name="app", version="1.0.0-x/../../escaped")
    room.write("src/main.moss", "main\n")
    error = "Archive path escapes project directory: app-1.0.0-x/../../escaped.mos"
    expected = block("MOS010", f"Packaging failed before publish: {error}")
    assert room.run("publish", "--token", "t").all == (1, "", expected)
    assert list(room.root.rglob("*.mos")) == []
    assert registry.lines() == []


def test_packing_comes_before_the_question_for_a_token(room, registry):
    room.manifest(name="app", version="1.0.0")
    assert room.run("publish").code == 1
