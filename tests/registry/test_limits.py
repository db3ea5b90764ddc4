"""What one client may take of the server, and what it says when that is too much."""

import http.client
import json
import socket
import subprocess

import pytest
from live_registry import LiveRegistry, package, registry_program

UPLOAD = "/api/v1/packages/publish"


def client_of(server):
    return socket.create_connection(("127.0.0.1", server.port), 60)


def begin_upload(server, token, length=1000):
    """A connection on which an upload has begun and does not go on."""
    connection = server.connect()
    connection.putrequest("POST", UPLOAD)
    connection.putheader("Authorization", f"Bearer {token}")
    connection.putheader("Content-Length", str(length))
    connection.endheaders(b"x")
    return connection


def wait_for_uploads(server, count):
    while len(list((server.data / "incoming").iterdir())) < count:
        assert server.process.poll() is None


def test_one_connection_too_many_closes_one_that_waits(tmp_path):
    with LiveRegistry(tmp_path / "data", "--threads", "1", "--max-connections", "1") as server:
        with client_of(server) as idle:
            assert server.get("/json").status == 404
            assert idle.recv(1) == b""


def test_where_every_connection_works_one_too_many_is_closed(tmp_path):
    with LiveRegistry(tmp_path / "data", "--threads", "1", "--max-connections", "1") as server:
        token = server.token()
        upload = begin_upload(server, token)
        wait_for_uploads(server, 1)
        with client_of(server) as late:
            assert late.recv(1) == b""
        upload.send(b"x" * 999)
        reply = upload.getresponse()
        assert (reply.status, reply.read()) == (422, b'{"error":"this is not a .mos archive"}\n')


def test_of_many_connections_at_once_the_last_is_served(tmp_path):
    options = ["--threads", "2", "--max-connections", "4"]
    with LiveRegistry(tmp_path / "data", *options) as server:
        for _ in range(40):
            clients = [client_of(server) for _ in range(12)]
            clients[-1].sendall(b"GET /json HTTP/1.0\r\n\r\n")
            assert clients[-1].recv(12) == b"HTTP/1.0 404"
            for client in clients:
                client.close()


def test_one_upload_too_many_is_asked_to_come_again(tmp_path):
    with LiveRegistry(tmp_path / "data", "--max-uploads", "1") as server:
        token = server.token()
        first = begin_upload(server, token)
        wait_for_uploads(server, 1)
        answer = server.publish(package("json", "1.0.0"), token)
        assert answer.all == (503, {"error": "too many uploads at a time; try again later"})
        assert answer.raw.headers["Retry-After"] == "5"
        first.close()


def test_a_body_that_does_not_arrive_in_time_is_given_up(tmp_path):
    with LiveRegistry(tmp_path / "data", "--transfer-timeout", "1") as server:
        connection = begin_upload(server, server.token())
        reply = connection.getresponse()
        assert (reply.status, json.loads(reply.read())) == (
            408,
            {"error": "the body did not arrive in time"},
        )


def test_a_header_that_does_not_arrive_in_time_is_given_up(tmp_path):
    with LiveRegistry(tmp_path / "data", "--header-timeout", "1") as server:
        with client_of(server) as client:
            client.sendall(b"GET / HTTP/1.1\r\n")
            reply = http.client.HTTPResponse(client)
            reply.begin()
            assert (reply.status, json.loads(reply.read())) == (
                408,
                {"error": "the request header did not arrive in time"},
            )


def test_a_body_that_is_cut_off_is_no_upload(server, token):
    with client_of(server) as client:
        head = f"POST {UPLOAD} HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer {token}\r\n"
        client.sendall(head.encode() + b"Content-Length: 10\r\n\r\nabc")
        client.shutdown(socket.SHUT_WR)
        reply = http.client.HTTPResponse(client)
        reply.begin()
        assert (reply.status, json.loads(reply.read())) == (
            400,
            {"error": "the body is broken or was cut off"},
        )


@pytest.mark.parametrize("is_chunked", [False, True])
def test_a_login_of_more_than_16_kib_is_refused(server, is_chunked):
    connection = server.connect()
    body = iter([b"x" * 10_000] * 2) if is_chunked else b"x" * 20_000
    connection.request("POST", "/api/v1/auth/login", body, encode_chunked=is_chunked)
    reply = connection.getresponse()
    assert (reply.status, json.loads(reply.read())) == (413, {"error": "the body is too large"})


def test_directories_count_like_files(tmp_path):
    with LiveRegistry(tmp_path / "data", "--max-members", "20") as server:
        token = server.token()
        few = package("few", "1.0.0", files={"a/" * 20 + "main.moss": ""})
        assert server.publish(few, token).status == 201
        many = package("many", "1.0.0", files={"a/" * 21 + "main.moss": ""})
        assert server.publish(many, token).all == (
            422,
            {"error": "the archive has more than 20 directories"},
        )


def test_names_of_directories_take_little_memory(server, token):
    files = {f"{number:04}/" + "d/" * 400 + "f": "" for number in range(2000)}
    before = server.memory()
    assert server.publish(package("deep", "1.0.0", files=files), token).all == (
        422,
        {"error": "the archive has more than 10000 directories"},
    )
    assert server.memory() - before < 64


def test_an_archive_that_grows_beyond_the_limit_is_refused(tmp_path):
    with LiveRegistry(tmp_path / "data", "--max-archive", "1") as server:
        connection = server.connect()
        headers = {"Authorization": f"Bearer {server.token()}"}
        pieces = iter([b"x" * 100_000] * 11)
        connection.request("POST", UPLOAD, pieces, headers, encode_chunked=True)
        reply = connection.getresponse()
        assert (reply.status, json.loads(reply.read())) == (413, {"error": "the body is too large"})
        reply.close()


def test_an_address_of_the_sixth_version_of_ip_is_served(tmp_path):
    try:
        socket.create_server(("::1", 0), family=socket.AF_INET6).close()
    except OSError:
        pytest.skip("there is no ::1")
    words = ["serve", "--data", str(tmp_path / "data"), "--listen", "[::1]:0"]
    with subprocess.Popen(
        [*registry_program(), *words, "--access-log", "off"], stderr=subprocess.PIPE, text=True
    ) as child:
        begin = f"mos-registry: serving {tmp_path}/data at http://[::1]:"
        line = child.stderr.readline()
        assert line.startswith(begin)
        connection = http.client.HTTPConnection("::1", int(line[len(begin) :]), timeout=60)
        connection.request("GET", "/api/v1/search?q=x")
        reply = connection.getresponse()
        assert (reply.status, reply.read()) == (200, b"[]\n")
        connection.close()
        child.terminate()
        assert child.stderr.read() == "mos-registry: ended\n"
    assert child.returncode == 0
