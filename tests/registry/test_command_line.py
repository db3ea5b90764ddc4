"""The program's commands, what they say and how they end."""

import http.client
import json
import os
import re
import resource
import signal
import subprocess
from pathlib import Path

import pytest
from harness.system import clean_environment
from live_registry import LiveRegistry, package, registry_program

ROOT = Path(__file__).resolve().parents[2]
TRY = "Try 'mos-registry --help'.\n"


def run(*words, text="", env=None):
    done = subprocess.run(
        [*registry_program(), *words],
        input=text.encode(),
        env={**clean_environment(), **(env or {})},
        capture_output=True,
        timeout=120,
        check=False,
    )
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def test_the_help_names_every_command():
    status, out, err = run("--help")
    assert (status, err) == (0, "")
    commands = re.findall(r"^  ((?:user |token )?[a-z]+)(?: .*)?  ", out, re.MULTILINE)
    assert commands == [
        "serve",
        "run",
        "user add",
        "token create",
        "token list",
        "token revoke",
        "yank",
        "export",
        "rebuild",
        "check",
    ]
    assert run() == (2, out, "")
    for command in commands:
        status, out, err = run(*command.split(), "--help")
        assert (status, err) == (0, "")
        assert out.startswith(f"mos-registry {command}: ")


@pytest.mark.parametrize(
    ("words", "message"),
    [
        (["frobnicate"], "unknown command 'frobnicate'"),
        (["token"], "'token' needs a second word"),
        (["check", "--frob"], "unknown option --frob"),
        (["check"], "--data DIR is needed, or MOS_REGISTRY_DATA"),
        (["check", "--data"], "--data needs a value"),
        (["check", "more", "--data", "x"], "unexpected word 'more'"),
        (["yank", "json", "--data", "x"], "missing VERSION"),
        (["yank", "json", "1.0.0", "--undo=1", "--data", "x"], "--undo takes no value"),
        (["user", "add", "you", "--data", "x"], "--email E is needed"),
        (["export", "x", "--layout", "round", "--data", "x"], "--layout is tree or flat"),
        (["serve", "--threads", "0", "--data", "x"], "--threads must be a number from 1 to 256"),
        (["run"], "missing -- COMMAND"),
    ],
)
def test_a_wrong_command_line_ends_with_status_2(words, message):
    assert run(*words) == (2, "", f"mos-registry: {message}\n{TRY}")


def test_a_registry_that_is_not_there_is_not_made_by_reading_it(tmp_path):
    place = tmp_path / "none"
    for words in [["check"], ["rebuild"], ["token", "list"], ["yank", "a", "1.0.0"]]:
        message = f"mos-registry: there is no registry in {place}\n"
        assert run(*words, "--data", str(place)) == (1, "", message)
    assert not place.exists()


def test_a_wrong_address_is_told(tmp_path):
    words = ["serve", "--data", str(tmp_path), "--listen"]
    for address in ["localhost", "127.0.0.1", "127.0.0.1:x", "127.0.0.1:70000", "1.2.3:80"]:
        message = f"mos-registry: '{address}' is not an address such as 127.0.0.1:8080\n"
        assert run(*words, address) == (1, "", message)


def test_one_server_serves_a_data_directory(server):
    status, out, err = run("serve", "--data", str(server.data), "--listen", "127.0.0.1:0")
    assert (status, out) == (1, "")
    assert err == f"mos-registry: another mos-registry serves {server.data}\n"


def test_an_address_that_is_taken_is_told(server, tmp_path):
    address = f"127.0.0.1:{server.port}"
    words = ["serve", "--data", str(tmp_path / "more"), "--listen", address]
    message = f"mos-registry: cannot listen on {address}: Address already in use\n"
    assert run(*words) == (1, "", message)


def test_a_database_of_another_program_is_left_alone(tmp_path):
    import sqlite3

    with sqlite3.connect(tmp_path / "registry.db") as database:
        database.execute("PRAGMA application_id = 5")
        database.execute("CREATE TABLE x (y)")
    status, out, err = run("check", "--data", str(tmp_path))
    place = tmp_path / "registry.db"
    assert (status, out) == (1, "")
    assert err == f"mos-registry: the database {place} belongs to another program\n"


def test_sigterm_ends_the_server_after_the_requests_in_flight(tmp_path):
    with LiveRegistry(tmp_path / "data") as server:
        token = server.token()
        data = package("json", "1.0.0", files={"src/a": bytes(100_000)})
        idle = server.connect()
        idle.request("GET", "/api/v1/packages/json")
        idle.getresponse().read()
        busy = server.connect()
        busy.putrequest("POST", "/api/v1/packages/publish")
        busy.putheader("Authorization", f"Bearer {token}")
        busy.putheader("Content-Length", str(len(data)))
        busy.endheaders()
        busy.send(data[:50_000])
        # The beginning has been read once the file is there.
        while not list((server.data / "incoming").iterdir()):
            pass
        server.process.send_signal(signal.SIGTERM)
        assert idle.sock.recv(1) == b""
        busy.send(data[50_000:])
        reply = busy.getresponse()
        assert (reply.status, reply.headers["Connection"]) == (201, "close")
        reply.read()
        assert server.stop() == (0, "mos-registry: ended\n")
        server.assert_clean(versions=1)


def test_the_access_log_has_a_line_for_each_request(server, token):
    server.publish(package("json", "1.0.0"), token)
    server.log(1)
    server.ask("/api/v1/packages?q=%C3%A9")
    server.log(2)
    server.get("/nope")
    lines = server.log(3)
    assert [list(line) for line in lines] == [
        ["time", "client", "method", "target", "status", "received", "sent", "ms", "user"]
    ] * 3
    kept = [tuple(line[key] for key in ["client", "method", "status", "user"]) for line in lines]
    assert kept == [
        ("127.0.0.1", "POST", 201, "you"),
        ("127.0.0.1", "GET", 200, ""),
        ("127.0.0.1", "GET", 404, ""),
    ]
    assert lines[0]["received"] == len(package("json", "1.0.0"))
    assert [line["sent"] for line in lines[1:]] == [3, 22]


def test_sighup_opens_the_access_log_anew(server):
    log = Path(str(server.data) + ".log")
    server.get("/a")
    server.log(1)
    log.rename(log.with_suffix(".old"))
    server.process.send_signal(signal.SIGHUP)
    while not log.exists():
        pass
    server.get("/b")
    assert [line["target"] for line in server.log(1)] == ["/api/v1/packages/b"]


def test_an_access_log_that_cannot_be_opened_anew_is_kept(server):
    log = Path(str(server.data) + ".log")
    old = log.with_suffix(".old")
    log.rename(old)
    log.mkdir()
    server.process.send_signal(signal.SIGHUP)
    server.get("/a")
    status, said = server.stop()
    told = f"Z mos-registry: cannot open the access log {log}; the one before goes on\n"
    assert (status, said.partition("Z")[1:]) == (0, ("Z", told[1:] + "mos-registry: ended\n"))
    (line,) = old.read_text(encoding="utf-8").splitlines()
    assert json.loads(line)["target"] == "/api/v1/packages/a"


def test_an_access_log_on_standard_output_stays_there(tmp_path):
    words = ["serve", "--data", str(tmp_path), "--listen", "127.0.0.1:0"]
    with subprocess.Popen(
        [*registry_program(), *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True
    ) as child:
        port = int(child.stderr.readline().rpartition(":")[2])
        child.send_signal(signal.SIGHUP)
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=60)
        connection.request("GET", "/a")
        assert connection.getresponse().status == 404
        connection.close()
        child.terminate()
        out, err = child.communicate(timeout=60)
    assert (json.loads(out)["target"], child.returncode, err) == ("/a", 0, "mos-registry: ended\n")


def test_behind_a_proxy_the_client_is_whom_the_proxy_names(tmp_path):
    clients = {"10.0.0.9, 10.0.0.7": "10.0.0.7", "10.0.0.8": "10.0.0.8", "10.0.0.9, ": "127.0.0.1"}
    with LiveRegistry(tmp_path / "data", "--behind-proxy") as server:
        for count, (forwarded, client) in enumerate(clients.items(), 1):
            server.ask("/api/v1/search", headers={"X-Forwarded-For": forwarded})
            assert server.log(count)[-1]["client"] == client


# --- run ------------------------------------------------------------------------------------------


def test_run_gives_its_command_a_registry_and_the_command_its_status():
    script = (
        'echo "$MOS_REGISTRY $MOSS_HOME $MOS_REGISTRY_DATA"; test -n "$MOS_TOKEN" || exit 9;'
        'test -d "$MOS_REGISTRY_DATA" || exit 8; exit 7'
    )
    status, out, err = run("run", "--", "sh", "-c", script)
    assert (status, err) == (7, "")
    found = re.fullmatch(r"http://127\.0\.0\.1:\d+ (/.*)/home \1/registry\n", out)
    assert found and not Path(found[1]).exists()


def test_run_tells_what_cannot_be_run(tmp_path):
    assert run("run", "--", "no-such-program") == (
        127,
        "",
        "mos-registry: cannot run no-such-program: No such file or directory\n",
    )
    assert run("run", "--", str(tmp_path))[0] == 126
    assert run("run", "--", "sh", "-c", "kill -9 $$")[0] == 137
    no_room = {"TMPDIR": str(tmp_path / "none")}
    assert run("run", "--", "true", env=no_room)[0] == 125
    # A directory in which nothing can be made, not even by root.
    assert run("run", "--", "true", env={"TMPDIR": "/proc"}) == (
        125,
        "",
        "mos-registry: cannot make a directory in /proc\n",
    )


def test_run_takes_this_machine_from_those_that_a_proxy_is_asked_for():
    words = ["run", "--empty", "--", "sh", "-c", 'echo "$no_proxy"']
    assert run(*words) == (0, "127.0.0.1\n", "")
    assert run(*words, env={"no_proxy": "x.example"}) == (0, "x.example,127.0.0.1\n", "")


def test_run_passes_sigterm_on_and_cleans_up(tmp_path):
    script = 'trap "exit 5" TERM; echo "$MOSS_HOME"; while :; do sleep 0.05; done'
    child = subprocess.Popen(
        [*registry_program(), "run", "--", "sh", "-c", script], stdout=subprocess.PIPE, text=True
    )
    home = child.stdout.readline().strip()
    child.send_signal(signal.SIGTERM)
    child.communicate(timeout=60)
    assert child.returncode == 5
    assert not Path(home).parent.exists()


def test_run_ends_with_its_command_although_it_was_started_without_regard_for_children():
    child = subprocess.Popen(
        [*registry_program(), "run", "--empty", "--", "sh", "-c", "exit 3"],
        env=clean_environment(),
        preexec_fn=lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN),
    )
    assert child.wait(timeout=60) == 3


def test_run_leaves_its_command_the_limit_of_open_files():
    _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    child = subprocess.run(
        [*registry_program(), "run", "--empty", "--", "sh", "-c", "ulimit -Sn; ulimit -Hn"],
        env=clean_environment(),
        stdout=subprocess.PIPE,
        text=True,
        timeout=60,
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (256, hard)),
    )
    assert child.stdout == f"256\n{hard if hard != resource.RLIM_INFINITY else 'unlimited'}\n"


def test_run_leaves_its_command_no_open_files_but_the_usual_ones():
    assert run("run", "--empty", "--", "sh", "-c", "ls /proc/$$/fd; exit 0") == (0, "0\n1\n2\n", "")


@pytest.mark.parametrize("how", [signal.SIGTERM, signal.SIGINT, signal.SIGHUP])
def test_a_signal_while_run_starts_leaves_nothing_behind(tmp_path, how):
    room = tmp_path / "room"
    room.mkdir()
    child = subprocess.Popen(
        [*registry_program(), "run", "--", "sleep", "60"],
        env={**clean_environment(), "TMPDIR": str(room)},
        start_new_session=True,
    )
    while not list(room.iterdir()):
        assert child.poll() is None
    # As a terminal does: to the whole group.
    os.killpg(child.pid, how)
    assert child.wait(timeout=60) == 128 + how
    assert list(room.iterdir()) == []


def test_run_offers_the_example_packages():
    script = "mos-registry check && mos-registry token list | wc -l"
    path = f"{Path(registry_program()[-1]).parent}:{os.environ['PATH']}"
    status, out, err = run("run", "--", "sh", "-c", script, env={"PATH": path})
    assert (status, err) == (0, "")
    count = len(list((ROOT / "examples").glob("*/moss.toml")))
    assert re.fullmatch(
        rf"{count} versions, \d+ bytes, 0 unused archives, 0 problems\n1\n", out
    )
    status, out, err = run("run", "--empty", "--", "sh", "-c", script, env={"PATH": path})
    assert (status, out) == (0, "0 versions, 0 bytes, 0 unused archives, 0 problems\n0\n")
