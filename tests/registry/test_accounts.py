"""Users, log-ins and tokens."""

import contextlib
import os
import pty
import re
import signal
import subprocess
import termios

import pytest
from live_registry import PASSWORD, LiveRegistry, package, registry_program

WRONG = (401, {"error": "wrong user name or password"})


def test_a_login_brings_a_token_that_publishes(server):
    server.add_user()
    status, reply = server.login("you", PASSWORD).all
    assert (status, list(reply)) == (200, ["cliToken", "username", "email"])
    assert (reply["username"], reply["email"]) == ("you", "you@x.example")
    assert re.fullmatch(r"mos_[a-z2-7]{48}", reply["cliToken"])
    assert server.publish(package("json", "1.0.0"), reply["cliToken"]).status == 201


def test_the_e_mail_address_serves_as_a_name(server):
    server.add_user()
    assert server.login("YOU@x.example", PASSWORD).all[1]["username"] == "you"


def test_a_password_is_taken_as_mos_sends_it(server):
    password = 'a "quoted\\" one","password":"or two"}'
    server.add_user(password=password)
    assert server.login("you", password).status == 200
    assert server.login("you", password + " ").all == WRONG


def test_a_login_in_another_spelling_of_json_is_read(server):
    server.add_user(password='with "quotes"')
    body = b'{ "password": "with \\"quotes\\"", "usernameOrEmail": "you" }'
    assert server.ask("/api/v1/auth/login", "POST", body).status == 200


def test_a_wrong_password_and_an_unknown_user_are_told_the_same(server):
    server.add_user()
    assert server.login("you", "wrong password").all == WRONG
    assert server.login("nobody", "wrong password").all == WRONG


def test_log_ins_are_slowed_down_after_failures(server):
    server.add_user()
    for _ in range(5):
        assert server.login("you", "wrong password").all == WRONG
    answer = server.login("you", PASSWORD)
    assert answer.all == (429, {"error": "too many failed log-ins; try again in 1 s"})
    assert answer.raw.headers["Retry-After"] == "1"


def test_no_spelling_of_a_name_brings_more_attempts(server):
    server.add_user()
    for name in ["you", "you@x.example", "YOU@x.example", "You@X.Example", "you@x.exAmple"]:
        assert server.login(name, "wrong password").all == WRONG
    for name in ["yOU@x.example", "you"]:
        assert server.login(name, "wrong password").status == 429


def test_behind_a_proxy_the_last_address_counts_in_however_many_lines(tmp_path):
    def login(server, number):
        connection = server.connect()
        body = b'{"usernameOrEmail":"nobody%d","password":"wrong"}' % number
        connection.putrequest("POST", "/api/v1/auth/login")
        connection.putheader("X-Forwarded-For", f"192.0.2.{number}, 192.0.2.{number + 1}")
        connection.putheader("X-Forwarded-For", "198.51.100.7")
        connection.putheader("Content-Length", str(len(body)))
        connection.endheaders(body)
        status = connection.getresponse().status
        connection.close()
        return status

    with LiveRegistry(tmp_path / "data", "--behind-proxy") as server:
        assert [login(server, number) for number in range(6)] == [401] * 5 + [429]
        assert {line["client"] for line in server.log(6)} == {"198.51.100.7"}


def test_broken_bodies_are_no_log_ins(server):
    for body in [b"", b"{", b"[]", b'{"usernameOrEmail":"you"}', b'{"usernameOrEmail":1}', b"\xff"]:
        answer = server.ask("/api/v1/auth/login", "POST", body)
        assert answer.all == (400, {"error": "the body is not a login"})
    large = b'{"usernameOrEmail":"' + b"x" * 20_000
    assert server.ask("/api/v1/auth/login", "POST", large).status == 413


def test_without_a_valid_token_nothing_is_published(server, token):
    data = package("json", "1.0.0")
    unknown = (401, {"error": "the token is unknown or was revoked"})
    assert server.ask("/api/v1/packages/publish", "POST", data).all == (
        401,
        {"error": "a token is needed to publish"},
    )
    assert server.publish(data, token[:-1] + ("a" if token[-1] != "a" else "b")).all == unknown
    assert server.publish(data, token[:12]).all == unknown
    assert server.publish(data, "x" * 5000).all == unknown
    server.command("token", "revoke", token[:12])
    assert server.publish(data, token).all == unknown
    server.assert_clean(versions=0)


def test_tokens_are_made_listed_and_revoked_by_their_public_names(server):
    server.add_user()
    first = server.command("token", "create", "you", "--label", "build server")[1].strip()
    second = server.command("token", "create", "you")[1].strip()
    assert server.command("token", "revoke", second[:12]) == (
        0,
        f"Revoked the token {second[:12]}\n",
        "",
    )
    status, out, err = server.command("token", "list", "--user", "you")
    time = r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ"
    assert (status, err) == (0, "")
    lines = sorted(out.splitlines(), key=lambda line: "revoked" in line)
    assert re.fullmatch(rf"{first[:12]}\tyou\t{time}\tvalid\tbuild server", lines[0])
    assert re.fullmatch(rf"{second[:12]}\tyou\t{time}\trevoked {time}\t", lines[1])
    assert len(lines) == 2
    assert server.command("token", "list", "--user", "other") == (0, "", "")


def test_a_token_that_cannot_be_printed_is_revoked(server):
    server.add_user()
    words = [*registry_program(), "token", "create", "you", "--data", str(server.data)]
    with open("/dev/full", "wb") as full:
        done = subprocess.run(words, stdout=full, stderr=subprocess.PIPE, timeout=60, check=False)
    message = b"mos-registry: the token could not be printed; it is revoked\n"
    assert (done.returncode, done.stderr) == (1, message)
    _, out, _ = server.command("token", "list")
    assert len(out.splitlines()) == 1 and "\trevoked " in out


def test_of_a_whole_token_only_its_public_name_is_used_to_revoke_it(server):
    token = server.token()
    assert server.command("token", "revoke", token) == (0, f"Revoked the token {token[:12]}\n", "")
    assert server.command("token", "revoke", token) == (
        1,
        "",
        f"mos-registry: there is no valid token {token[:12]}\n",
    )
    assert server.publish(package("json", "1.0.0"), token).status == 401


def test_a_password_line_from_a_pipe_loses_its_end_of_line_in_either_form(server):
    server.add_user("unix", PASSWORD + "\n")
    server.add_user("dos", PASSWORD + "\r\n")
    assert server.login("unix", PASSWORD).status == 200
    assert server.login("dos", PASSWORD).status == 200


def test_no_secret_is_kept_in_the_data_directory_or_in_the_log(server):
    server.add_user(password="swordfish and more")
    secret = server.login("you", "swordfish and more").all[1]["cliToken"]
    server.publish(package("json", "1.0.0"), secret)
    server.stop()
    for path in [*server.data.rglob("*"), server.data.parent / "data.log"]:
        if path.is_file():
            kept = path.read_bytes()
            assert secret[12:].encode() not in kept
            assert b"swordfish" not in kept


def test_the_database_is_its_owners_alone(server, token):
    for path in server.data.glob("registry.db*"):
        assert path.stat().st_mode & 0o077 == 0


def refusal_of(server, name, email="you@x.example", password=PASSWORD):
    status, out, err = server.command("user", "add", name, "--email", email, text=password)
    assert (status, out) == (1, "")
    return err


def test_users_that_cannot_be_are_refused(server):
    names = "mos-registry: a user name has 1 to 39 of the characters a-z, 0-9, '-' and '_'\n"
    assert refusal_of(server, "") == names
    assert refusal_of(server, "You") == names
    assert refusal_of(server, "x" * 40) == names
    assert refusal_of(server, "you", "x") == "mos-registry: 'x' is not an e-mail address\n"
    assert refusal_of(server, "you", password="short") == (
        "mos-registry: a password has 8 to 1000 characters\n"
    )
    assert refusal_of(server, "you", password="") == "mos-registry: no password was given\n"
    server.add_user()
    assert refusal_of(server, "you", "z@x.example") == (
        "mos-registry: there is a user 'you' already\n"
    )
    assert refusal_of(server, "me", "YOU@X.example") == (
        "mos-registry: there is a user 'YOU@X.example' already\n"
    )


def typed(server, passwords, preexec_fn=None, meanwhile=lambda child: None):
    """(exit status, what a terminal showed) while somebody adds the user "you" and types these."""
    ours, theirs = pty.openpty()
    words = [*registry_program(), "user", "add", "you", "--email", "you@x.example"]
    shown = b""
    with subprocess.Popen(
        [*words, "--data", str(server.data)],
        stdin=theirs,
        stdout=theirs,
        stderr=theirs,
        preexec_fn=preexec_fn,
    ) as child:
        os.close(theirs)
        for prompt, password in zip([b"Password: ", b"Once more: "], passwords, strict=True):
            while not shown.endswith(prompt):
                shown += os.read(ours, 1)
            meanwhile(child)
            os.write(ours, password + b"\n")
        # Reading fails once the program has closed its end.
        with contextlib.suppress(OSError):
            while piece := os.read(ours, 1024):
                shown += piece
    os.close(ours)
    return child.returncode, shown.decode()


@pytest.mark.parametrize("sent", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_a_terminal_shows_what_is_typed_again_after_a_signal(server, sent):
    ours, theirs = pty.openpty()
    words = [*registry_program(), "user", "add", "you", "--email", "you@x.example"]
    with subprocess.Popen(
        [*words, "--data", str(server.data)],
        stdin=theirs,
        stdout=theirs,
        stderr=theirs,
        # Whatever the tests themselves are told to ignore.
        preexec_fn=lambda: signal.signal(sent, signal.SIG_DFL),
    ) as child:
        shown = b""
        while not shown.endswith(b"Password: "):
            shown += os.read(ours, 1)
        assert not termios.tcgetattr(theirs)[3] & termios.ECHO
        child.send_signal(sent)
        try:
            child.wait(timeout=30)
        finally:
            child.kill()
    assert child.returncode == -sent
    assert termios.tcgetattr(theirs)[3] & termios.ECHO
    os.close(ours)
    os.close(theirs)


@pytest.mark.parametrize("ignored", [signal.SIGINT, signal.SIGHUP])
def test_a_signal_that_is_ignored_does_not_end_the_question_for_a_password(server, ignored):
    status, shown = typed(
        server,
        [b"swordfish and more", b"swordfish and more"],
        # Whatever the tests themselves are told to ignore.
        preexec_fn=lambda: signal.signal(ignored, signal.SIG_IGN),
        meanwhile=lambda child: child.send_signal(ignored),
    )
    assert (status, shown) == (0, "Password: \r\nOnce more: \r\nAdded the user you\r\n")


def test_a_password_is_typed_twice_at_a_terminal_that_does_not_show_it(server):
    assert typed(server, [b"swordfish and more", b"swordfish and moor"]) == (
        1,
        "Password: \r\nOnce more: \r\nmos-registry: the two passwords differ\r\n",
    )
    assert typed(server, [b"swordfish and more", b"swordfish and more"]) == (
        0,
        "Password: \r\nOnce more: \r\nAdded the user you\r\n",
    )
    assert server.login("you", "swordfish and more").status == 200
