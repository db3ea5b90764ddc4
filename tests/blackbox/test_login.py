"""`mos login`, `mos logout` and `mos whoami`."""

import os
import stat

import pytest

from harness import block, library_number, on_windows, refused_url, status

LOGIN = "/api/v1/auth/login"
REPLY = '{"cliToken":"tok-0123456789abcdef","user":{"username":"alice","email":"alice@host"}}'
NOBODY = "Not currently logged in. Run 'mos login' to authenticate.\n"
EMPTY = block("MOS002", "Username and password cannot be empty.")
DEFAULT_REGISTRY = "https://registry.moss.example"


def saved(token="", username="", email="", registry=""):
    """The text of credentials.json."""
    return (
        "{\n"
        f'  "token": "{token}",\n'
        f'  "username": "{username}",\n'
        f'  "email": "{email}",\n'
        f'  "registryUrl": "{registry}"\n'
        "}\n"
    )


def credentials(room):
    return (room.home / "credentials.json").read_text()


def save(room, text):
    room.home.mkdir(exist_ok=True)
    (room.home / "credentials.json").write_text(text)


def header(registry):
    return f"Moss Package Registry ({registry.url})\nUsername or Email: "


def authenticated(registry, username="alice"):
    return status("Authenticating", f"with {registry.url}...") + status(
        "Logged in", f"Successfully authenticated as @{username}"
    )


def login_failed(registry, reason):
    hint = f"Check your credentials or register at {registry.url}/#packages"
    return block("MOS009", f"Login failed: {reason}", hint)


# ---- login with a token


def test_a_token_is_saved_without_asking_the_registry(room, registry):
    result = room.run("login", "--token", "abc")
    expected = status("Logged in", f"API token saved for @user ({registry.url})")
    assert result.all == (0, expected, "")
    assert credentials(room) == saved("abc", "user", "", registry.url)
    assert registry.connections == 0


def test_a_token_is_saved_for_a_named_user(room, registry):
    result = room.run("login", "--token=abc", "--username", "bob", "--password", "x")
    expected = status("Logged in", f"API token saved for @bob ({registry.url})")
    assert result.all == (0, expected, "")
    assert credentials(room) == saved("abc", "bob", "", registry.url)


def test_an_empty_user_name_is_user(room, registry):
    room.run("login", "--token", "abc", "--username=")
    assert credentials(room) == saved("abc", "user", "", registry.url)


def test_a_token_is_saved_offline_too(room, registry):
    assert room.run("login", "--token", "abc", env={"MOS_OFFLINE": "1"}).code == 0
    assert credentials(room) == saved("abc", "user", "", registry.url)


@pytest.mark.parametrize("option", ["--token", "--token="])
def test_a_token_option_without_a_value_does_not_count(room, registry, option):
    assert room.run("login", option, stdin="\n\n").all == (
        1,
        header(registry) + "Password: ",
        EMPTY,
    )


def test_quotation_marks_are_saved_as_they_are(room, registry):
    room.run("login", "--token", 'a"b\\c')
    assert credentials(room) == saved('a"b\\c', "user", "", registry.url)


def test_under_json_nothing_is_printed(room, registry):
    assert room.run("login", "--token", "abc", "--json").all == (0, "", "")
    assert credentials(room) == saved("abc", "user", "", registry.url)


@pytest.mark.skipif(on_windows(), reason="modes of POSIX")
def test_the_credentials_are_their_owners_alone(room, registry):
    room.run("login", "--token", "abc")
    mode = (room.home / "credentials.json").stat().st_mode
    assert stat.S_IMODE(mode) == 0o600


def test_nothing_but_the_credentials_is_left_in_the_tool_home(room, registry):
    room.run("login", "--token", "abc")
    room.run("login", "--token", "def")
    assert [entry.name for entry in room.home.iterdir()] == ["credentials.json"]


# ---- login with a password


def test_a_login_from_options(room, registry):
    registry.on("POST", LOGIN, body=REPLY)
    result = room.run("login", "--username", "alice", "--password", "secret")
    assert result.all == (0, authenticated(registry), "")
    assert credentials(room) == saved("tok-0123456789abcdef", "alice", "alice@host", registry.url)
    assert registry.requests[0].body == b'{"usernameOrEmail":"alice","password":"secret"}'


@pytest.mark.parametrize(
    ("typed", "body"),
    [
        ("alice\nsecret\n", b'{"usernameOrEmail":"alice","password":"secret"}'),
        ("alice\r\nsecret\r\n", b'{"usernameOrEmail":"alice","password":"secret"}'),
        ("alice\nsecret", b'{"usernameOrEmail":"alice","password":"secret"}'),
        (' al ice \n\tse"cret\\\n', b'{"usernameOrEmail":" al ice ","password":"\tse"cret\\"}'),
    ],
    ids=repr,
)
def test_what_is_not_given_is_asked_for(room, registry, typed, body):
    registry.on("POST", LOGIN, body=REPLY)
    result = room.run("login", stdin=typed)
    assert result.all == (0, header(registry) + "Password: " + authenticated(registry), "")
    assert registry.requests[0].body == body


def test_only_the_password_is_asked_for(room, registry):
    registry.on("POST", LOGIN, body=REPLY)
    result = room.run("login", "--username", "alice", stdin="secret\n")
    assert result.all == (0, "Password: " + authenticated(registry), "")


def test_only_the_user_name_is_asked_for(room, registry):
    registry.on("POST", LOGIN, body=REPLY)
    result = room.run("login", "--password", "secret", stdin="alice\n")
    assert result.all == (0, header(registry) + authenticated(registry), "")


def test_prompts_are_printed_under_json_too(room, registry):
    registry.on("POST", LOGIN, body=REPLY)
    result = room.run("login", "--json", stdin="alice\nsecret\n")
    assert result.all == (0, header(registry) + "Password: ", "")


def test_a_prompt_is_on_the_screen_before_the_answer_is_read(room, registry):
    registry.on("POST", LOGIN, body=REPLY)
    process = room.start("login")
    shown = b""
    while not shown.endswith(b"Email: "):
        shown += os.read(process.stdout.fileno(), 4096)
    assert shown.decode() == header(registry)
    process.stdin.write(b"alice\n")
    process.stdin.flush()
    assert os.read(process.stdout.fileno(), 4096) == b"Password: "
    assert room.finish(process, "secret\n").all == (0, authenticated(registry), "")


@pytest.mark.parametrize(
    "typed", ["", "\n", "\n\n", "alice\n", "alice\n\n", "\nsecret\n"], ids=repr
)
def test_an_empty_answer_fails_before_any_network_access(room, registry, typed):
    result = room.run("login", stdin=typed)
    assert result.all == (1, header(registry) + "Password: ", EMPTY)
    assert registry.connections == 0
    assert not room.home.exists()


def test_a_token_key_serves_as_well(room, registry):
    registry.on("POST", LOGIN, body='{"token":"t","username":"alice"}')
    assert room.run("login", "--username", "a@b", "--password", "x").code == 0
    assert credentials(room) == saved("t", "alice", "", registry.url)


@pytest.mark.parametrize(
    ("code", "body", "reason"),
    [
        (401, '{"error":"wrong password"}', "wrong password"),
        (403, "x" * 50, "x" * 50),
        (403, "x" * 299, "x" * 299),
        (403, "x" * 300, "HTTP 403"),
        (500, "", "HTTP 500"),
        (201, '{"token":"t"}', '{"token":"t"}'),
        (200, "", "Invalid login response: authentication token missing."),
        (200, '{"username":"a"}', "Invalid login response: authentication token missing."),
    ],
    ids=["error key", "short body", "299", "300", "empty", "created", "empty 200", "no token"],
)
def test_a_refused_login(room, registry, code, body, reason):
    registry.on("POST", LOGIN, code, body)
    result = room.run("login", "--username", "alice", "--password", "secret")
    assert result.all == (
        1,
        status("Authenticating", f"with {registry.url}..."),
        login_failed(registry, reason),
    )
    assert not room.home.exists()


def test_a_refused_login_keeps_the_saved_one(room, registry):
    save(room, saved("t", "bob"))
    room.run("login", "--username", "alice", "--password", "secret")
    assert credentials(room) == saved("t", "bob")


# ---- what the disk refuses


def test_a_tool_home_that_cannot_be_created(room, registry):
    room.home.write_text("in the way")
    result = room.run("login", "--token", "abc")
    reason = "Failed to save credentials: Failed to create directory: Not a directory"
    assert result.all == (1, "", block("MOS008", reason))


def test_a_file_that_cannot_be_written_is_reported_with_its_directory(room, registry):
    # Deliberate: the directory's path, not the file's.
    (room.home / "credentials.json" / "in the way").mkdir(parents=True)
    result = room.run("login", "--token", "abc")
    reason = (
        "Failed to save credentials: Failed to open credentials file for writing: "
        + room.shown_home()
    )
    assert result.all == (1, "", block("MOS008", reason))


def test_a_login_that_cannot_be_saved_fails_after_the_reply(room, registry):
    registry.on("POST", LOGIN, body=REPLY)
    (room.home / "credentials.json" / "in the way").mkdir(parents=True)
    result = room.run("login", "--username", "alice", "--password", "secret")
    reason = (
        "Failed to save credentials: Failed to open credentials file for writing: "
        + room.shown_home()
    )
    assert result.all == (
        1,
        status("Authenticating", f"with {registry.url}..."),
        block("MOS008", reason),
    )


# ---- logout


def test_logout_removes_the_file(room):
    save(room, saved("t"))
    assert room.run("logout").all == (0, status("Logged out", "Saved credentials cleared."), "")
    assert list(room.home.iterdir()) == []


@pytest.mark.skipif(on_windows(), reason="Wine shows a link as what it leads to")
def test_logout_removes_the_file_that_a_link_leads_to(room):
    room.home.mkdir()
    secret = room.root / "secret"
    (room.home / "credentials.json").symlink_to(secret)
    assert room.run("login", "--token", "tok-0123").code == 0
    assert secret.read_text() == saved("tok-0123", "user", registry=DEFAULT_REGISTRY)
    assert room.run("logout").all == (0, status("Logged out", "Saved credentials cleared."), "")
    assert not secret.exists()
    assert room.run("logout").all == (0, status("Logged out", "Saved credentials cleared."), "")


@pytest.mark.parametrize("is_saved", [False, True])
def test_logout_removes_what_a_login_left_that_was_killed(room, is_saved):
    room.home.mkdir()
    if is_saved:
        room.run("login", "--token", "t")
    left = room.home / ".mos-new-4711-0"
    left.write_text('{"token": "secret"}')
    assert room.run("logout").all == (0, status("Logged out", "Saved credentials cleared."), "")
    assert not left.exists()


def test_logout_without_a_login_succeeds(room):
    assert room.run("logout").all == (0, status("Logged out", "Saved credentials cleared."), "")
    assert not room.home.exists()


def test_logout_under_json_prints_nothing(room):
    save(room, saved("t"))
    assert room.run("logout", "--json").all == (0, "", "")
    assert list(room.home.iterdir()) == []


def test_a_file_that_cannot_be_removed(room):
    (room.home / "credentials.json" / "in the way").mkdir(parents=True)
    reason = "Failed to clear credentials: Failed to remove credentials file: " + room.shown_home(
        "credentials.json"
    )
    assert room.run("logout").all == (1, "", block("MOS008", reason))


# ---- whoami


def test_whoami_shows_the_login(room):
    save(room, saved("tok-0123456789abcdef", "alice", "alice@host", "http://r"))
    assert room.run("whoami").all == (
        0,
        "Logged in as:  @alice\n"
        "Email:         alice@host\n"
        "Registry:      http://r\n"
        "Token prefix:  tok-01234567...\n",
        "",
    )


def test_whoami_leaves_an_empty_email_out_and_shows_the_default_registry(room):
    save(room, saved("abcde", "alice"))
    assert room.run("whoami").all == (
        0,
        f"Logged in as:  @alice\nRegistry:      {DEFAULT_REGISTRY}\nToken prefix:  abcde...\n",
        "",
    )


@pytest.mark.parametrize(
    ("token", "shown"),
    [("abcde", "abcde..."), ("a" * 12, "a" * 12 + "..."), ("a" * 13, "a" * 12 + "...")],
)
def test_whoami_shows_at_most_twelve_characters_of_the_token(room, token, shown):
    save(room, saved(token, "alice", "", "http://r"))
    assert room.run("whoami").out == (
        f"Logged in as:  @alice\nRegistry:      http://r\nToken prefix:  {shown}\n"
    )


@pytest.mark.parametrize("text", [saved("", "alice"), "", "rubbish", '{"token":""}'], ids=repr)
def test_a_file_without_token_is_no_login(room, text):
    save(room, text)
    assert room.run("whoami").all == (0, NOBODY, "")


def test_whoami_without_a_login_says_so(room):
    assert room.run("whoami").all == (0, NOBODY, "")
    assert not room.home.exists()


def test_whoami_does_not_look_at_the_environment(room):
    assert room.run("whoami", env={"MOS_TOKEN": "t"}).all == (0, NOBODY, "")


def test_whoami_prints_the_same_under_json(room):
    save(room, saved("abcde", "alice", "", "http://r"))
    assert room.run("whoami", "--json").out == (
        "Logged in as:  @alice\nRegistry:      http://r\nToken prefix:  abcde...\n"
    )


def test_a_hand_edited_file_is_read(room):
    save(room, '{"registryUrl" :"http://r","email":\n"e" , "username": "bob","token":"a\\"b"}')
    assert room.run("whoami").out == (
        "Logged in as:  @bob\nEmail:         e\nRegistry:      http://r\nToken prefix:  a\\...\n"
    )


# ---- the tool home


def test_an_empty_home_variable_falls_back_to_the_profile(room, registry):
    profile = room.root / "profile"
    env = {"MOSS_HOME": "", "USERPROFILE": str(profile)}
    assert room.run("login", "--token", "abc", env=env).code == 0
    assert (profile / ".moss" / "credentials.json").exists()


def test_without_home_and_profile_the_current_directory_serves(room, registry):
    assert room.run("login", "--token", "abc", env={"MOSS_HOME": None}).code == 0
    assert room.read(".moss/credentials.json") == saved("abc", "user", "", registry.url)


def test_the_home_of_the_system_is_never_read(room, registry):
    env = {"MOSS_HOME": None, "HOME": str(room.root / "unused")}
    assert room.run("login", "--token", "abc", env=env).code == 0
    assert not (room.root / "unused").exists()


def test_a_login_without_a_registry_in_reach(room):
    room.env["MOS_REGISTRY"] = address = refused_url()
    result = room.run("login", "--username", "alice", "--password", "secret")
    number = library_number(libcurl=7, wininet=12029)
    assert result.all == (
        1,
        status("Authenticating", f"with {address}..."),
        block(
            "MOS009",
            f"Login failed: Network transmission failed (Win32 error {number})",
            f"Check your credentials or register at {address}/#packages",
        ),
    )
