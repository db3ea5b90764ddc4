"""What goes over the wire, and what becomes of replies that are late, cut, redirected or absent."""

import os
import re
import socket
import ssl
import subprocess
import threading
import time
from pathlib import Path

import pytest

from harness import (
    archive,
    block,
    file_error_line,
    library_number,
    on_windows,
    program,
    refused_url,
    sha256,
)
from harness.raw_server import RawServer, http_reply
from harness.wire import ACCEPT, ACCEPT_ARCHIVE, TOKEN, get_request, post_request

INFO = '{"name":"a","latest":"1.0.0","description":"d","license":"MIT","versions":["1.0.0"]}'
INFO_TEXT = (
    "Name:        a\nLatest:      1.0.0\nLicense:     MIT\nDescription: d\n\nVersions:\n  1.0.0\n"
)
NOT_FOUND = block("MOS006", "Package 'a' not found.")
REDIRECTS = [301, 302, 303, 307, 308]

only_libcurl = pytest.mark.skipif(on_windows(), reason="Wine takes this for a reply")
tabs_are_blanks = pytest.mark.skipif(on_windows(), reason="Wine takes a tab for a part of a value")
slow = pytest.mark.skipif(not os.environ.get("MOS_SLOW"), reason="takes half a minute: MOS_SLOW=1")


@pytest.fixture
def server(room):
    with RawServer() as raw:
        room.env["MOS_REGISTRY"] = raw.url
        yield raw


def login_error(room, reason, address=None):
    """What `mos login` prints on standard error for a reason of the client."""
    base = room.env["MOS_REGISTRY"] if address is None else address
    hint = f"Check your credentials or register at {base}/#packages"
    return block("MOS009", f"Login failed: {reason}", hint)


def login(room, **more):
    return room.run("login", "--username", "alice", "--password", "secret", **more)


def publishable(room):
    """A project whose archive is known; returns the archive's bytes."""
    manifest = room.manifest(name="app", version="1.0.0").read_bytes()
    source = room.write("src/main.moss", "main\n").read_bytes()
    return archive({"moss.toml": manifest, "src/main.moss": source})


def publish(room, token="t0ken", **more):
    return room.run("publish", "--token", token, **more)


def publish_error(reason):
    return block("MOS008", f"Failed to publish package: {reason}")


def install_one(room, server, *download, **how):
    """Describes version 1.0.0 of package a and answers its download as told."""
    data = archive({"src/main.moss": "main\n"})
    meta = f'{{"checksum":"{sha256(data)}","dependencies":[]}}'
    server.on("GET", "/api/v1/packages/a/versions", http_reply(200, '["1.0.0"]'))
    server.on("GET", "/api/v1/packages/a/1.0.0", http_reply(200, meta))
    server.on(
        "GET", "/api/v1/packages/a/1.0.0/download", *(download or [http_reply(200, data)]), **how
    )
    room.manifest({"a": "*"})


def download_error(reason):
    return block("MOS008", f"Failed to download package 'a': {reason}")


# ---- requests, byte for byte


def test_a_lookup_on_the_wire(room, server):
    server.on("GET", "/api/v1/packages/a", http_reply(200, INFO))
    assert room.run("info", "a").all == (0, INFO_TEXT, "")
    assert server.requests == [get_request(server, b"/api/v1/packages/a", ACCEPT)]


def test_a_login_on_the_wire(room, server):
    login(room, env={"MOS_TOKEN": "not sent"})
    body = b'{"usernameOrEmail":"alice","password":"secret"}'
    content = b"Content-Type: application/json"
    assert server.requests == [
        post_request(server, b"/api/v1/auth/login", content, ACCEPT, body=body)
    ]


def test_a_publish_on_the_wire(room, server):
    data = publishable(room)
    publish(room)
    content = b"Content-Type: application/octet-stream"
    assert server.requests == [
        post_request(server, b"/api/v1/packages/publish", *TOKEN, content, ACCEPT, body=data)
    ]


def test_a_download_on_the_wire(room, server):
    install_one(room, server)
    assert room.run("install", env={"MOS_TOKEN": "not sent"}).code == 0
    assert server.requests[-1] == get_request(
        server, b"/api/v1/packages/a/1.0.0/download", ACCEPT_ARCHIVE
    )


def test_a_large_upload_is_sent_without_waiting_for_leave(room, server):
    room.manifest(name="app", version="1.0.0")
    room.write("src/large.bin", os.urandom(3 << 20))
    server.on("POST", "/api/v1/packages/publish", http_reply(201))
    assert publish(room).code == 0
    head, _, body = server.requests[0].partition(b"\r\n\r\n")
    assert b"Expect" not in head
    assert body == room.path("app-1.0.0.mos").read_bytes()


@pytest.mark.parametrize(
    ("query", "sent"),
    [
        ("a b  c", "a%20b%20%20c"),
        ("a%20b", "a%20b"),
        ('"<>^`{|}', '"<>^`{|}'),
        ("ä", "ä"),
        ("a&b=c?d/e", "a&b=c?d/e"),
        ("a#b", "a"),
    ],
    ids=repr,
)
def test_only_blanks_are_encoded(room, server, query, sent):
    room.run("search", query)
    assert server.lines() == [f"GET /api/v1/packages?q={sent}", f"GET /api/v1/search?q={sent}"]


@pytest.mark.skipif(on_windows(), reason="Wine turns the backslash of a URL into a slash")
def test_a_backslash_is_not_encoded(room, server):
    room.run("search", "a\\b")
    assert server.lines() == ["GET /api/v1/packages?q=a\\b", "GET /api/v1/search?q=a\\b"]


def test_dot_segments_are_folded(room, server):
    room.run("info", "../x/./y")
    assert server.lines() == ["GET /api/v1/x/y"]


def test_bytes_beyond_ascii_are_not_encoded(room, server):
    room.run("info", "ä/../ö?q=ü x")
    assert server.lines() == ["GET /api/v1/packages/ö?q=ü%20x"]


def test_an_ipv6_address(room):
    try:
        server = RawServer("::1")
    except OSError:
        pytest.skip("no IPv6 here")
    with server:
        server.on("GET", "/api/v1/packages/a", http_reply(200, INFO))
        assert room.run("info", "a", env={"MOS_REGISTRY": server.url}).out == INFO_TEXT
        assert b"\r\nHost: " + server.authority.encode() + b"\r\n" in server.requests[0]


def test_user_information_is_not_sent(room, server):
    room.run("info", "a", env={"MOS_REGISTRY": f"http://user:pass@{server.authority}/base/"})
    assert server.lines() == ["GET /base/api/v1/packages/a"]
    assert b"Authorization" not in server.requests[0]


def test_a_proxy_of_the_environment_is_used(room, server):
    room.run("info", "a", env={"MOS_REGISTRY": "http://r.example", "http_proxy": server.url})
    # WinINet names the port in what it asks of a proxy.
    port = ":80" if on_windows() else ""
    assert server.lines() == [f"GET http://r.example{port}/api/v1/packages/a"]


@pytest.mark.parametrize("words", [("info", "ä"), ("search", "ä"), ("info", "ä?ö")])
@pytest.mark.parametrize("variable", ["http_proxy", "all_proxy", "ALL_PROXY"])
def test_a_proxy_is_told_the_whole_address_with_bytes_beyond_ascii_too(
    room, server, words, variable
):
    if on_windows() and variable != "http_proxy":
        pytest.skip("Wine looks at http_proxy alone")
    room.run(*words, env={"MOS_REGISTRY": "http://r.example", variable: server.url})
    port = ":80" if on_windows() else ""
    target = {"search": "?q="}.get(words[0], "/") + words[1]
    assert server.lines()[0] == f"GET http://r.example{port}/api/v1/packages{target}"


@pytest.mark.skipif(on_windows(), reason="WinINet has a list of its own")
def test_a_host_that_is_asked_past_the_proxy_is_told_its_own_path(room, server):
    room.run("info", "ä", env={"http_proxy": "http://127.0.0.1:1", "no_proxy": "127.0.0.1"})
    # libcurl's own notation: the same address.
    assert [line.lower() for line in server.lines()] == ["get /api/v1/packages/%c3%a4"]


# ---- connections


def test_the_requests_of_one_run_share_a_connection(room, server):
    room.run("search", "a")
    assert len(server.requests) == 2
    assert server.connections == 1


def test_an_install_of_many_packages_shares_a_connection(room, registry):
    names = [f"p{number}" for number in range(100)]
    for name in names:
        registry.publish(name, "1.0.0")
    room.manifest({name: "*" for name in names})
    assert room.run("install").code == 0
    assert len(registry.requests) == 300
    assert registry.connections == 1


def test_a_connection_that_the_server_has_closed_is_opened_anew(room, server):
    server.on("GET", "/api/v1/packages?q=a", http_reply(404), close=True)
    server.on("GET", "/api/v1/search?q=a", http_reply(200, '[{"name":"a","latest":"1.0.0"}]'))
    assert room.run("search", "a").out == (
        'Packages matching "a"\n\na\n  latest: 1.0.0\n\n'
        f"Browse packages online: {server.url}/#packages\n"
    )


@only_libcurl
def test_what_comes_unasked_is_not_taken_for_the_next_reply(room, server):
    # As often as no reader takes in one piece with the first.
    versions = b'Transfer-Encoding: chunked\r\n\r\n9\r\n["1.0.0"]\r\n0\r\n\r\n'
    install_one(room, server)
    reply = b"HTTP/1.1 200 OK\r\n" + versions
    server.on("GET", "/api/v1/packages/a/versions", reply * 3000)
    assert room.run("install").code == 0
    assert room.read("packages/a/src/main.moss") == "main\n"
    assert server.connections == 2


# ---- offline


@pytest.mark.parametrize("value", ["1", "true"])
def test_offline_no_connection_is_attempted(room, server, value):
    room.env["MOS_OFFLINE"] = value
    assert login(room).err == login_error(room, "Cannot access registry in offline mode.")
    assert room.run("info", "a").all == (1, "", NOT_FOUND)
    assert server.connections == 0


@pytest.mark.parametrize("value", ["True", "TRUE", "yes", "0", "", "1 ", "11"])
def test_another_value_leaves_the_program_online(room, server, value):
    server.on("GET", "/api/v1/packages/a", http_reply(200, INFO))
    assert room.run("info", "a", env={"MOS_OFFLINE": value}).all == (0, INFO_TEXT, "")


# ---- failures of a request


@pytest.mark.parametrize(
    "address",
    [
        "nonsense",
        "localhost:8080",
        "ftp://host",
        "file:///etc",
        "http://host:99999",
        "http://host:x",
        "http://" + "h" * 256,
        "http://host/" + "p" * 2048,
        "http://:80",
        "http://[::1",
        "http://host/a\tb",
    ],
    ids=lambda address: address[:20],
)
def test_an_invalid_address(room, address):
    result = login(room, env={"MOS_REGISTRY": address})
    reason = f"Invalid registry URL: {address}/api/v1/auth/login"
    assert (result.code, result.err) == (1, login_error(room, reason, address))


@pytest.fixture(params=["broken", "another"])
def no_library(room, request):
    """An environment in which the client library is broken, or another one has its name."""
    if on_windows():
        pytest.skip("the library is part of the system")
    place = room.root / "libraries"
    place.mkdir()
    mapped = Path("/proc/self/maps").read_text(encoding="ascii")
    for name in ["libcurl.so.4", "libcurl-gnutls.so.4"]:
        if request.param == "broken":
            (place / name).write_text("no library")
        else:
            (place / name).symlink_to(re.search(r"/\S+/libc\.so\.6$", mapped, re.MULTILINE)[0])
    room.env["LD_LIBRARY_PATH"] = str(place)


def test_without_the_client_library_a_request_cannot_be_made(room, server, no_library):
    result = login(room)
    reason = "Failed to initialize WinINet networking."
    assert (result.code, result.err) == (1, login_error(room, reason))
    assert room.run("info", "a").all == (1, "", NOT_FOUND)


def test_a_command_without_network_does_not_need_the_client_library(room, no_library):
    assert room.run("whoami").all == (
        0,
        "Not currently logged in. Run 'mos login' to authenticate.\n",
        "",
    )
    assert login(room, env={"MOS_OFFLINE": "1", "MOS_REGISTRY": "http://r"}).err == login_error(
        room, "Cannot access registry in offline mode.", "http://r"
    )


def transmission_failed(libcurl, wininet):
    return f"Network transmission failed (Win32 error {library_number(libcurl, wininet)})"


def test_nobody_listens(room):
    room.env["MOS_REGISTRY"] = refused_url()
    result = login(room)
    reason = transmission_failed(7, 12029)
    assert (result.code, result.err) == (1, login_error(room, reason))


def test_an_impossible_host_name(room):
    room.env["MOS_REGISTRY"] = "http://no host"
    assert login(room).err == login_error(room, transmission_failed(3, 12007))


@only_libcurl
@pytest.mark.parametrize(
    ("reply", "number"),
    [
        (b"", 52),
        (b"rubbish\r\n\r\n", 1),
        (b"HTTP/1.1 100 Continue\r\n\r\n", 52),
        (b"HTTP/1.1 200 OK\r\nContent-Length: x\r\n\r\n", 8),
    ],
    ids=["nothing", "rubbish", "only an interim reply", "an impossible length"],
)
def test_a_reply_that_is_none(room, server, reply, number):
    server.on("POST", "/api/v1/auth/login", reply, close=True)
    reason = f"Network transmission failed (Win32 error {number})"
    assert login(room).err == login_error(room, reason)


@only_libcurl
def test_a_header_that_is_cut_is_no_reply(room, server):
    server.on("GET", "/api/v1/packages/a", b"HTTP/1.1 200 OK\r\nContent-Le", close=True)
    assert room.run("info", "a").all == (1, "", NOT_FOUND)
    server.on("POST", "/api/v1/auth/login", b"HTTP/1.1 401 No\r\nContent-Le", close=True)
    reason = "Network transmission failed (Win32 error 8)"
    assert login(room).err == login_error(room, reason)


def test_a_certificate_that_nobody_vouches_for_is_refused(room):
    key, certificate = room.root / "key.pem", room.root / "certificate.pem"
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=x",
         "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", key, "-out", certificate],
        check=True, capture_output=True,
    )  # fmt: skip
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    with RawServer(wrap=lambda stream: context.wrap_socket(stream, server_side=True)) as server:
        room.env["MOS_REGISTRY"] = f"https://{server.authority}"
        assert login(room).err == login_error(room, transmission_failed(60, 12045))
        assert server.requests == []


def test_tls_with_a_server_that_speaks_none(room):
    reason = transmission_failed(35, 12157)
    with RawServer(wrap=speak_no_tls) as rude:
        room.env["MOS_REGISTRY"] = f"https://{rude.authority}"
        assert login(room).err == login_error(room, reason)


def speak_no_tls(stream):
    stream.sendall(http_reply(400))
    stream.shutdown(socket.SHUT_WR)
    return stream


@only_libcurl
def test_the_reply_of_a_proxy_that_refuses_is_no_reply_of_the_registry(room, server):
    server.on("CONNECT", "r.example:443", http_reply(407, '{"error":"not you"}'), close=True)
    room.env.update({"MOS_REGISTRY": "https://r.example", "https_proxy": server.url})
    assert login(room).err == login_error(room, transmission_failed(56, 0))


@pytest.mark.parametrize("token", [" ", "\t"])
def test_a_token_of_blanks_is_sent_on_all_three_lines(room, server, token):
    publishable(room)
    server.on("POST", "/api/v1/packages/publish", http_reply(201))
    assert publish(room, token).code == 0
    lines = [line.strip() for line in server.requests[0].split(b"\r\n")]
    for line in (b"Authorization: Bearer", b"X-Moss-Token:", b"X-MOS-Token:"):
        assert lines.count(line) == 1


def test_a_token_that_would_start_a_header_line_of_its_own_is_not_sent(room, server):
    publishable(room)
    for token in ["a\nX-Evil: b", "a\r\nX-Evil: b", "a\n"]:
        assert publish(room, token).err == publish_error("Failed to create HTTP request.")
    assert server.connections == 0


# ---- statuses and bodies of a request


@pytest.mark.parametrize("code", [201, 202, 204, 400, 401, 403, 404, 500, 503, 599])
def test_any_status_is_a_reply(room, server, code):
    server.on("POST", "/api/v1/auth/login", http_reply(code))
    assert login(room).err == login_error(room, f"HTTP {code}")


def test_a_body_that_is_cut_ends_silently(room, server):
    server.on(
        "GET",
        "/api/v1/packages/a",
        b"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + INFO.encode(),
        close=True,
    )
    assert room.run("info", "a").all == (0, INFO_TEXT, "")


def test_a_text_of_more_than_64_mebibytes_ends_there(room, server):
    begin = b'{"name":"a","latest":"1.0.0","description":"d"'
    end = b',"license":"MIT"}'
    longest = 64 << 20
    for length, license in [(longest, "MIT"), (longest + len(end), "")]:
        body = begin + b" " * (length - len(begin) - len(end)) + end
        server.on("GET", "/api/v1/packages/a", http_reply(200, body), close=True)
        assert room.run("info", "a").out == (
            f"Name:        a\nLatest:      1.0.0\nLicense:     {license}\nDescription: d\n\nVersions:\n"
        )


@slow
def test_a_silent_server_is_given_up_after_half_a_minute(room, server):
    silence = 60
    server.on(
        "GET",
        "/api/v1/packages/a",
        b"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + INFO.encode(),
        b" ",
        delay=silence,
    )
    server.on("POST", "/api/v1/auth/login", b"", b" ", delay=silence)
    results = {}
    runs = {
        "body": lambda: room.run("info", "a"),
        "header": lambda: login(room),
    }
    begin = time.monotonic()
    threads = [
        threading.Thread(target=lambda name=name, run=run: results.update({name: run()}))
        for name, run in runs.items()
    ]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert 25 < time.monotonic() - begin < 45
    assert results["body"].all == (0, INFO_TEXT, "")
    assert results["header"].err == login_error(room, transmission_failed(28, 12030))


@slow
def test_a_server_that_drips_is_waited_for(room, server):
    reply = b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % len(INFO) + INFO.encode()
    pieces = [reply[:10], reply[10:40], reply[40:60], reply[60:-1], reply[-1:]]
    server.on("GET", "/api/v1/packages/a", *pieces, delay=12)
    begin = time.monotonic()
    assert room.run("info", "a", timeout=120).all == (0, INFO_TEXT, "")
    assert time.monotonic() - begin > 45


# ---- downloads


@pytest.mark.parametrize("code", [201, 204, 206, 400, 404, 500])
def test_a_download_with_another_status_than_200_leaves_nothing(room, server, code):
    install_one(room, server, http_reply(code, "an error page" if code != 204 else ""))
    result = room.run("install")
    reason = f"Registry returned HTTP {code} on download."
    assert (result.code, result.err) == (1, download_error(reason))
    assert not room.home.exists()


@only_libcurl
def test_a_download_that_is_not_answered(room, server):
    install_one(room, server, b"", close=True)
    result = room.run("install")
    reason = "Download request failed (Win32 error 52)"
    assert (result.code, result.err) == (1, download_error(reason))
    assert not room.home.exists()


def test_a_download_whose_destination_cannot_be_opened(room, server):
    install_one(room, server)
    destination = room.home / "temp" / "a.mos"
    destination.mkdir(parents=True)
    result = room.run("install")
    reason = f"Could not open destination file: {room.shown_home('temp/a.mos')}"
    assert (result.code, result.err) == (1, download_error(reason))


def test_a_download_whose_directory_cannot_be_created(room, server):
    install_one(room, server)
    room.home.mkdir()
    (room.home / "temp").write_text("in the way")
    result = room.run("install")
    expected = file_error_line("create_directories", "Not a directory", room.shown_home("temp"))
    assert (result.code, result.err) == (1, expected)


@pytest.mark.skipif(on_windows(), reason="needs the limits of a POSIX shell")
def test_a_download_that_the_disk_refuses(room, server):
    install_one(room, server, http_reply(200, b"x" * 3_000_000))
    limited = 'ulimit -f 4096; exec "$@"'
    result = room.run_words(["sh", "-c", limited, "sh", *program(), "install"])
    reason = f"Could not write destination file: {room.shown_home('temp/a.mos')}"
    assert (result.code, result.err) == (1, download_error(reason))


def test_a_download_replaces_what_an_earlier_one_left(room, server):
    install_one(room, server)
    destination = room.home / "temp" / "a.mos"
    destination.parent.mkdir(parents=True)
    destination.write_bytes(b"x" * 100_000)
    assert room.run("install").code == 0
    assert room.read("packages/a/src/main.moss") == "main\n"


def test_a_download_waits_for_the_run_that_holds_the_file(room, server):
    data = archive({"src/main.moss": "x" * 100_000})
    meta = f'{{"checksum":"{sha256(data)}","dependencies":[]}}'
    install_one(
        room,
        server,
        b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % len(data) + data[:50_000],
        data[50_000:],
        delay=1,
    )
    server.on("GET", "/api/v1/packages/a/1.0.0", http_reply(200, meta))
    manifest = room.read("moss.toml")
    runs = []
    for number in range(3):
        project = room.root / f"project{number}"
        project.mkdir()
        (project / "moss.toml").write_text(manifest)
        runs.append((project, room.start("install", cwd=project)))
    for project, run in runs:
        result = room.finish(run)
        assert (result.code, result.err) == (0, "")
        assert (project / "packages/a/src/main.moss").read_text() == "x" * 100_000


# ---- redirects


@pytest.mark.parametrize("code", REDIRECTS)
def test_a_redirected_lookup_is_followed(room, server, code):
    server.redirect("GET", "/api/v1/packages/a", code, "/b?c=d")
    server.on("GET", "/b?c=d", http_reply(200, INFO))
    assert room.run("info", "a").all == (0, INFO_TEXT, "")
    assert server.lines() == ["GET /api/v1/packages/a", "GET /b?c=d"]
    assert server.connections == 1


@pytest.mark.parametrize("code", REDIRECTS)
def test_a_redirected_download_is_followed_to_another_server(room, server, code):
    data = archive({"src/main.moss": "main\n"})
    with RawServer() as other:
        install_one(room, server)
        server.redirect("GET", "/api/v1/packages/a/1.0.0/download", code, f"{other.url}/f")
        other.on("GET", "/f", http_reply(200, data))
        assert room.run("install").code == 0
        assert room.read("packages/a/src/main.moss") == "main\n"
        assert other.requests == [get_request(other, b"/f", ACCEPT_ARCHIVE)]


def test_a_download_that_is_redirected_to_an_error(room, server):
    install_one(room, server)
    server.redirect("GET", "/api/v1/packages/a/1.0.0/download", 302, "/gone")
    assert room.run("install").err == download_error("Registry returned HTTP 404 on download.")


def chain(server, length, end):
    """A chain of `length` redirects that begins at the login and ends at /end."""
    server.redirect("POST", "/api/v1/auth/login", 302, "/1")
    for number in range(1, length):
        server.redirect("GET", f"/{number}", 302, f"/{number + 1}")
    server.on("GET", f"/{length}", http_reply(200, end))


def test_ten_redirects_are_followed(room, server):
    chain(server, 10, '{"token":"t","username":"alice"}')
    assert login(room).code == 0
    assert len(server.requests) == 11


def test_the_eleventh_redirect_is_the_answer(room, server):
    chain(server, 11, '{"token":"t","username":"alice"}')
    assert login(room).err == login_error(room, "moved")
    assert len(server.requests) == 11


@pytest.mark.parametrize(
    "location",
    ["file:///etc/passwd", "ftp://127.0.0.1/x", "gopher://127.0.0.1/x", "http://[", ""],
    ids=repr,
)
def test_a_target_that_is_not_followed(room, server, location):
    server.redirect("POST", "/api/v1/auth/login", 302, location)
    assert login(room).err == login_error(room, "moved")


def test_a_redirect_without_target_is_the_answer(room, server):
    server.on("POST", "/api/v1/auth/login", http_reply(302))
    assert login(room).err == login_error(room, "HTTP 302")


@pytest.mark.parametrize(
    ("location", "target"),
    [
        ("/ü?ü", "/ü?ü"),
        ("  /b ", "/b"),
        pytest.param("\t/b\t", "/b", marks=tabs_are_blanks),
        ("?x y", "/api/v1/packages/a?x%20y"),
        ("b/../c", "/api/v1/packages/c"),
        ("/b#there", "/b"),
    ],
)
def test_a_target_goes_out_as_it_was_named(room, server, location, target):
    server.redirect("GET", "/api/v1/packages/a", 302, location)
    server.on("GET", target, http_reply(200, INFO))
    assert room.run("info", "a").all == (0, INFO_TEXT, "")
    assert server.lines() == ["GET /api/v1/packages/a", f"GET {target}"]


def test_a_target_that_names_a_place_in_the_reply_is_the_address_itself(room, server):
    server.redirect("POST", "/api/v1/auth/login", 307, "#there")
    assert login(room).err == login_error(room, "moved")
    assert server.lines() == ["POST /api/v1/auth/login"] * 11


def test_of_two_targets_the_first_is_followed(room, server):
    reply = http_reply(302, b"moved", "LOCATION: /b", "Location: /c")
    server.on("GET", "/api/v1/packages/a", reply)
    server.on("GET", "/b", http_reply(200, INFO))
    assert room.run("info", "a").all == (0, INFO_TEXT, "")


def test_an_empty_target_is_the_first_of_two_as_well(room, server):
    reply = http_reply(302, b"moved", "Location:", "Location: /c")
    server.on("POST", "/api/v1/auth/login", reply)
    assert login(room).err == login_error(room, "moved")


def test_a_long_path_of_blanks(room, server):
    name = "a" + " " * 1000 + "b"
    server.redirect("GET", f"/api/v1/packages/a{'%20' * 1000}b", 302, "/" + " " * 2045 + "c")
    server.on("GET", f"/{'%20' * 2045}c", http_reply(200, INFO))
    assert room.run("info", name).all == (0, INFO_TEXT, "")


@only_libcurl
def test_a_target_ahead_of_the_reply_is_not_followed(room, server):
    early = b"HTTP/1.1 103 Early Hints\r\nLocation: /early\r\n\r\n"
    moved = http_reply(302, b"", "Location: /b")
    server.on("GET", "/api/v1/packages/a", early + moved)
    server.on("GET", "/b", http_reply(200, INFO))
    assert room.run("info", "a").all == (0, INFO_TEXT, "")


def test_a_target_behind_the_last_chunk_is_not_followed(room, server):
    reply = b"HTTP/1.1 302 X\r\nTransfer-Encoding: chunked\r\n\r\n0\r\nLocation: /b\r\n\r\n"
    server.on("POST", "/api/v1/auth/login", reply)
    assert login(room).err == login_error(room, "HTTP 302")


@pytest.mark.parametrize("length", [0, 4, 100_000])
def test_a_redirect_whose_body_breaks_off_is_followed(room, server, length):
    data = archive({"src/main.moss": "main\n"})
    install_one(room, server)
    reply = b"HTTP/1.1 302 X\r\nLocation: /f\r\nContent-Length: 100001\r\n\r\n" + b"m" * length
    server.on("GET", "/api/v1/packages/a/1.0.0/download", reply, close=True)
    server.on("GET", "/f", http_reply(200, data))
    assert room.run("install").code == 0
    assert room.read("packages/a/src/main.moss") == "main\n"


@pytest.mark.parametrize("code", [300, 304, 305, 306])
def test_other_statuses_are_no_redirects(room, server, code):
    server.redirect("GET", "/api/v1/packages/a", code, "/b")
    assert room.run("info", "a").all == (1, "", NOT_FOUND)
    assert server.lines() == ["GET /api/v1/packages/a"]


@pytest.mark.parametrize("code", [301, 302, 303])
def test_a_redirected_publish_becomes_a_get_without_body(room, server, code):
    publishable(room)
    server.redirect("POST", "/api/v1/packages/publish", code, "/b")
    server.on("GET", "/b", http_reply(200))
    assert publish(room).code == 0
    assert server.requests[1] == get_request(server, b"/b", *TOKEN, ACCEPT)


@pytest.mark.parametrize("code", [307, 308])
def test_a_publish_that_keeps_its_method_is_sent_again_to_the_same_server(room, server, code):
    publishable(room)
    server.redirect("POST", "/api/v1/packages/publish", code, "/b")
    server.on("POST", "/b", http_reply(201))
    assert publish(room).code == 0
    first, second = server.requests
    assert second == first.replace(b"/api/v1/packages/publish", b"/b", 1)


@pytest.mark.parametrize("code", [307, 308])
def test_a_publish_is_not_sent_again_to_another_server(room, server, code):
    publishable(room)
    with RawServer() as other:
        server.redirect("POST", "/api/v1/packages/publish", code, f"{other.url}/b")
        assert publish(room).err == publish_error("moved")
        assert other.connections == 0


def test_the_token_does_not_leave_the_server_and_does_not_come_back(room, server):
    publishable(room)
    with RawServer() as other:
        server.redirect("POST", "/api/v1/packages/publish", 302, f"{other.url}/b")
        other.redirect("GET", "/b", 302, f"{server.url}/c")
        server.on("GET", "/c", http_reply(200))
        assert publish(room).code == 0
        assert server.lines() == ["POST /api/v1/packages/publish", "GET /c"]
        assert b"t0ken" in server.requests[0]
        assert b"t0ken" not in other.requests[0]
        assert b"t0ken" not in server.requests[1]
