"""What people do with mos, against a real registry."""

import re

from harness import block, status
from live_registry import PASSWORD


def log_in(room, server, name="you"):
    server.add_user(name)
    answers = f"{name}\n{PASSWORD}\n"
    assert room.run("login", stdin=answers).all == (
        0,
        f"Moss Package Registry ({server.url})\nUsername or Email: Password: "
        + status("Authenticating", f"with {server.url}...")
        + status("Logged in", f"Successfully authenticated as @{name}"),
        "",
    )


def publish(room, name, version, dependencies="", description=""):
    """Publishes a small package from a directory of its own; returns what mos says."""
    project = room.root / f"{name}-{version}"
    (project / "src").mkdir(parents=True)
    text = f'[package]\nname = "{name}"\nversion = "{version}"\ndescription = "{description}"\n'
    (project / "moss.toml").write_text(f"{text}\n[dependencies]\n{dependencies}\n")
    (project / "src" / "main.moss").write_text(f"// {name} {version}\n")
    return room.run("publish", cwd=project)


def published(server, name, version):
    return (
        0,
        status("Uploading", f"{name} {version} to {server.url}")
        + status("Published", f"{name} v{version} successfully!"),
        "",
    )


def test_from_the_login_to_an_installed_program(room, server):
    log_in(room, server)
    assert publish(room, "text", "1.2.0").all == published(server, "text", "1.2.0")
    assert publish(room, "json", "1.4.0", 'text = "^1.2"', "JSON documents").code == 0
    assert publish(room, "json", "2.0.0", 'text = "^1.2"', "JSON documents").code == 0

    assert room.run("search", "json").all == (
        0,
        'Packages matching "json"\n\njson\n  JSON documents\n  latest: 2.0.0\n\n'
        f"Browse packages online: {server.url}/#packages\n",
        "",
    )
    assert room.run("info", "json").all == (
        0,
        "Name:        json\nLatest:      2.0.0\nLicense:     MIT\n"
        "Description: JSON documents\n\nVersions:\n  1.4.0\n  2.0.0\n",
        "",
    )
    room.manifest()
    assert room.run("add", "json@^1.2").all == (
        0,
        status("Adding", "json v^1.2 to dependencies")
        + status("Downloading", "json v1.4.0")
        + status("Downloading", "text v1.2.0")
        + status("Finished", "installation of dependencies"),
        "",
    )
    assert room.run("tree").out == "app\n└── json 1.4.0\n    └── text 1.2.0\n"
    assert room.read("packages/json/src/main.moss") == "// json 1.4.0\n"
    digests = re.findall(r'^checksum = "sha256:[0-9a-f]{64}"$', room.read("moss.lock"), re.M)
    assert len(digests) == 2


def test_whoami_shows_the_public_name_of_the_token(room, server):
    log_in(room, server)
    listed = server.command("token", "list")[1].split("\t")[0]
    assert len(listed) == 12
    assert room.run("whoami").all == (
        0,
        f"Logged in as:  @you\nEmail:         you@x.example\nRegistry:      {server.url}\n"
        f"Token prefix:  {listed}...\n",
        "",
    )


def test_publishing_twice_is_fine_and_other_content_is_not(room, server):
    log_in(room, server)
    publish(room, "text", "1.0.0")
    project = room.root / "text-1.0.0"
    assert room.run("publish", cwd=project).all == published(server, "text", "1.0.0")
    (project / "src" / "main.moss").write_text("// changed\n")
    assert room.run("publish", cwd=project).all == (
        1,
        status("Uploading", f"text 1.0.0 to {server.url}"),
        block(
            "MOS008",
            "Failed to publish package: text 1.0.0 is published already, with other content",
        ),
    )


def test_somebody_elses_package_cannot_be_published(room, server):
    room.env["MOS_TOKEN"] = server.token("first")
    publish(room, "text", "1.0.0")
    room.env["MOS_TOKEN"] = server.token("second")
    assert publish(room, "text", "1.1.0").err == block(
        "MOS008", "Failed to publish package: the package 'text' belongs to somebody else"
    )


def test_a_revoked_token_does_not_publish(room, server):
    room.env["MOS_TOKEN"] = server.token()
    server.command("token", "revoke", room.env["MOS_TOKEN"][:12])
    assert publish(room, "text", "1.0.0").err == block(
        "MOS008", "Failed to publish package: the token is unknown or was revoked"
    )


def test_a_wrong_password_does_not_log_in(room, server):
    server.add_user()
    result = room.run("login", stdin="you\nwrong password\n")
    assert (result.code, result.err) == (
        1,
        block(
            "MOS009",
            "Login failed: wrong user name or password",
            f"Check your credentials or register at {server.url}/#packages",
        ),
    )


def test_a_yanked_version_is_not_chosen_and_a_locked_one_stays(room, server):
    room.env["MOS_TOKEN"] = server.token()
    publish(room, "text", "1.0.0")
    publish(room, "text", "1.1.0")
    room.manifest({"text": "^1.0"})
    room.run("install")
    server.command("yank", "text", "1.1.0")
    room.run("clean")
    assert room.run("install").all == (
        0,
        status("Unpacking", "text v1.1.0 (cached)")
        + status("Finished", "installation of dependencies"),
        "",
    )
    assert room.read("packages/text/src/main.moss") == "// text 1.1.0\n"
    room.run("clean")
    assert room.run("update").code == 0
    assert room.read("packages/text/src/main.moss") == "// text 1.0.0\n"


def test_an_unknown_package_is_told_as_such(room, server):
    assert room.run("info", "nope").err == block("MOS006", "Package 'nope' not found.")
    room.manifest({"nope": "^1.0"})
    result = room.run("install")
    assert (result.code, result.out) == (4, "")


def test_packages_named_like_the_keys_of_replies_are_read_rightly(room, server):
    room.env["MOS_TOKEN"] = server.token()
    names = ["checksum", "constraint", "dependencies", "description", "latest", "license"]
    names += ["name", "version", "versions"]
    for name in names:
        assert publish(room, name, "1.2.0", description="license").code == 0
    room.manifest({name: "^1.0" for name in names})
    assert room.run("install").code == 0
    for name in names:
        assert room.read(f"packages/{name}/src/main.moss") == f"// {name} 1.2.0\n"
        shown = room.run("info", name).out
        assert re.sub(r"license\.?\n", "license\n", shown) == (
            f"Name:        {name}\nLatest:      1.2.0\nLicense:     MIT\n"
            "Description: license\n\nVersions:\n  1.2.0\n"
        )
