"""Where tokens and passwords may be: in requests to the registry and in credentials.json, which its
owner alone may read from its first moment. Nowhere else, whatever goes wrong."""

import re
import shutil
import stat

import pytest

from harness import archive, on_windows, program, refused_url
from harness.room import tree_of

TOKEN = "s3cret-token-0123456789-abcdefghij"
PASSWORD = "s3cret-passw0rd"
LOGIN = "/api/v1/auth/login"
PUBLISH = "/api/v1/packages/publish"
REPLY = f'{{"cliToken":"{TOKEN}","user":{{"username":"alice","email":"alice@host"}}}}'

only_linux = pytest.mark.skipif(on_windows(), reason="modes and strace are Linux's")

# Every command that meets a registry or a login, with what it reads.
COMMANDS = {
    "login with a token": (["login", "--token", TOKEN], b""),
    "login with options": (["login", "--username", "alice", "--password", PASSWORD], b""),
    "login that asks": (["login"], f"alice\n{PASSWORD}\n".encode()),
    "login without a name": (["login"], f"\n{PASSWORD}\n".encode()),
    "whoami": (["whoami"], b""),
    "publish": (["publish"], b""),
    "publish with a token": (["publish", "--token", TOKEN], b""),
    "publish with a token that is none": (["publish", "--token", f"{TOKEN}\r\nX: y"], b""),
    "publish offline": (["publish", "--offline"], b""),
    "install": (["install"], b""),
    "update": (["update"], b""),
    "add": (["add", "json"], b""),
    "package": (["package"], b""),
    "search": (["search", "json"], b""),
    "info": (["info", "json"], b""),
    "tree": (["tree", "--json"], b""),
    "cache": (["cache", "list"], b""),
    "logout": (["logout"], b""),
}


def answers_well(registry):
    registry.publish("json", "1.0.0")
    registry.on("POST", LOGIN, body=REPLY)
    registry.on("POST", PUBLISH, body="{}")
    return registry.url


def answers_badly(registry, code, body):
    for method, target in [("POST", LOGIN), ("POST", PUBLISH), ("GET", "/api/v1/packages/json/versions")]:
        registry.on(method, target, code, body)
    return registry.url


def hangs_up(registry):
    for target in (LOGIN, PUBLISH):
        registry.on_raw("POST", target, b"")
    return registry.url


REGISTRIES = {
    "well": answers_well,
    "401": lambda registry: answers_badly(registry, 401, '{"error":"no"}'),
    "500": lambda registry: answers_badly(registry, 500, "oh"),
    "empty": lambda registry: answers_badly(registry, 200, ""),
    "hanging up": hangs_up,
    "nobody": lambda _: refused_url(),
    "no address": lambda _: "rubbish",
}


def prepare(room, registry, how):
    room.manifest({"json": "^1.0"})
    room.write("src/main.moss", "x")
    room.home.mkdir()
    saved = room.home / "credentials.json"
    saved.write_text(f'{{"token":"{TOKEN}","username":"alice"}}')
    saved.chmod(0o600)
    room.env["MOS_REGISTRY"] = REGISTRIES[how](registry)
    room.env["MOS_TOKEN"] = TOKEN


def holders(room):
    """The files below the room that hold a secret."""
    secrets = (TOKEN.encode(), PASSWORD.encode())
    return [
        name
        for name, data in tree_of(room.root).items()
        if data and not isinstance(data, str) and any(secret in data for secret in secrets)
    ]


@pytest.mark.parametrize("how", REGISTRIES)
@pytest.mark.parametrize("name", COMMANDS)
def test_no_secret_is_printed_or_kept_elsewhere(room, registry, name, how):
    prepare(room, registry, how)
    words, stdin = COMMANDS[name]
    for verbosity in ([], ["-vvv"]):
        result = room.run(*words, *verbosity, stdin=stdin)
        assert TOKEN not in result.out + result.err
        assert PASSWORD not in result.out + result.err
    assert set(holders(room)) <= {"home/credentials.json"}


def test_an_archive_of_the_project_holds_no_login(room, registry):
    # The tool home may be the project's own directory.
    prepare(room, registry, "well")
    room.env["MOSS_HOME"] = room.shown()
    assert room.run("login", "--token", TOKEN).code == 0
    assert room.run("package").code == 0
    assert room.path("app-0.1.0.mos").read_bytes() == archive(
        {"moss.toml": room.read("moss.toml"), "src/main.moss": "x"}
    )


@only_linux
@pytest.mark.parametrize("before", [None, 0o644, 0o600], ids=str)
def test_a_login_is_its_owners_alone_whatever_the_mask(room, registry, before):
    prepare(room, registry, "well")
    saved = room.home / "credentials.json"
    if before is None:
        saved.unlink()
    else:
        saved.chmod(before)
    words = ["sh", "-c", 'umask 0; exec "$@"', "sh", *program(), "login", "--token", TOKEN]
    assert room.run_words(words).code == 0
    assert {path.name: stat.S_IMODE(path.stat().st_mode) for path in room.home.iterdir()} == {
        "credentials.json": 0o600
    }


@only_linux
@pytest.mark.parametrize("before", [None, 0o644], ids=str)
def test_a_login_is_its_owners_alone_from_the_first_moment(room, registry, before):
    if shutil.which("strace") is None:
        pytest.skip("nothing here shows system calls")
    if len(program()) > 1:
        pytest.skip("what runs the program writes the memory that it looks at")
    prepare(room, registry, "well")
    saved = room.home / "credentials.json"
    if before is None:
        saved.unlink()
    else:
        saved.chmod(before)
    log = room.root / "calls"
    # The search for leaks of a sanitized build cannot be traced.
    room.env["ASAN_OPTIONS"] = "detect_leaks=0"
    words = ["strace", "-f", "-qq", "-s", "200", "-o", str(log), "-e", "trace=openat,write"]
    assert room.run_words([*words, *program(), "login", "--token", TOKEN]).code == 0
    calls = log.read_text(errors="replace")
    opened = re.search(r'openat\(AT_FDCWD, "[^"]*/\.mos-new-\d+-\d+", [^)]*, (0\d+)\) = (\d+)', calls)
    assert opened[1] == "0600"
    written = [line for line in calls[opened.end() :].splitlines() if "s3cret" in line]
    assert written and all(f"write({opened[2]}, " in line for line in written)
    assert "s3cret" not in calls[: opened.start()]
