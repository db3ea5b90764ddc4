"""What readers are given."""

import hashlib
import json
import socket

import pytest
from live_registry import package

NOT_FOUND = (404, {"error": "not found"})


@pytest.fixture
def published(server, token):
    """json in three versions, one of them a pre-release; the archives by version."""
    archives = {}
    for version in ["1.10.0", "2.0.0-rc.1", "1.9.0"]:
        data = package("json", version, 'text = "^1.2"', f"JSON documents, {version}")
        archives[version] = data
        assert server.publish(data, token).status == 201
    return archives


def test_the_versions_are_listed_in_ascending_order(server, published):
    answer = server.get("/json/versions")
    assert (answer.status, answer.type) == (200, "application/json")
    assert answer.body == b'["1.9.0","1.10.0","2.0.0-rc.1"]\n'


def test_a_package_is_described_by_its_highest_release(server, published):
    assert server.get("/json").body == (
        b'{"name":"json","latest":"1.10.0","versions":["1.9.0","1.10.0","2.0.0-rc.1"],'
        b'"license":"MIT","description":"JSON documents, 1.10.0"}\n'
    )


def test_a_version_has_its_checksum_and_dependencies(server, published):
    digest = hashlib.sha256(published["1.9.0"]).hexdigest()
    assert server.get("/json/1.9.0").body == (
        b'{"name":"json","checksum":"sha256:' + digest.encode() + b'","version":"1.9.0",'
        b'"dependencies":[{"name":"text","constraint":"^1.2"}]}\n'
    )


def test_a_download_is_the_archive_that_was_published(server, published):
    answer = server.get("/json/1.9.0/download")
    assert (answer.status, answer.type) == (200, "application/octet-stream")
    assert answer.body == published["1.9.0"]


def test_an_archive_of_many_megabytes_arrives_whole(server, token):
    data = package("big", "1.0.0", files={"src/big.moss": bytes(range(256)) * 80_000})
    assert server.publish(data, token).status == 201
    assert server.get("/big/1.0.0/download").body == data


@pytest.mark.parametrize(
    "path",
    ["/nope", "/nope/versions", "/json/9.9.9", "/json/9.9.9/download", "/json/1.9.0/else", "/json/"],
)
def test_what_is_not_there_is_not_found(server, published, path):
    assert server.get(path).all == NOT_FOUND


def test_both_search_paths_find_names_and_descriptions(server, token):
    server.publish(package("text", "1.0.0", description="Words for JSON"), token)
    server.publish(package("json-tools", "1.0.0"), token)
    server.publish(package("json", "1.0.0"), token)
    server.publish(package("log", "1.0.0"), token)
    expected = (
        b'[{"name":"json","latest":"1.0.0","description":""},'
        b'{"name":"json-tools","latest":"1.0.0","description":""},'
        b'{"name":"text","latest":"1.0.0","description":"Words for JSON"}]\n'
    )
    assert server.ask("/api/v1/packages?q=json").body == expected
    assert server.ask("/api/v1/search?q=JSON").body == expected
    assert server.ask("/api/v1/search?q=nothing").body == b"[]\n"
    assert server.ask("/api/v1/packages?q=words%20for").body.count(b"name") == 1


def test_a_head_request_has_the_header_alone(server, published):
    answer = server.ask("/api/v1/packages/json/1.9.0/download", "HEAD")
    assert (answer.status, answer.body) == (200, b"")
    assert answer.raw.headers["Content-Length"] == str(len(published["1.9.0"]))


def test_a_connection_serves_one_request_after_another(server, published):
    connection = server.connect()
    for path in ["/json", "/nope", "/json/1.9.0/download", "/json/versions"]:
        connection.request("GET", "/api/v1/packages" + path)
        reply = connection.getresponse()
        assert reply.read() == server.get(path).body
        assert not reply.will_close
    connection.close()


def test_another_method_is_not_allowed(server):
    answer = server.ask("/api/v1/packages/json", "DELETE")
    assert answer.all == (405, {"error": "this address does not know the method"})
    assert answer.raw.headers["Allow"] == "GET, HEAD"
    answer = server.ask("/api/v1/auth/login")
    assert (answer.status, answer.raw.headers["Allow"]) == (405, "POST")
    # A package may have this name, so that it can be read too.
    answer = server.ask("/api/v1/packages/publish", "PUT")
    assert (answer.status, answer.raw.headers["Allow"]) == (405, "GET, HEAD, POST")


def raw_exchange(server, request):
    """Everything the server says to these bytes until it closes the connection."""
    with socket.create_connection(("127.0.0.1", server.port), 60) as client:
        client.sendall(request)
        client.shutdown(socket.SHUT_WR)
        return b"".join(iter(lambda: client.recv(65536), b""))


SECOND = b"GET /api/v1/search HTTP/1.1\r\nHost: x\r\n\r\n"
LOGIN = b"POST /api/v1/auth/login HTTP/1.1\r\nHost: x\r\n"
HOSTS = "one Host line is needed"
CODINGS = "the only transfer encoding is chunked"


@pytest.mark.parametrize(
    ("request_bytes", "reason"),
    [
        (b"GET /api/v1/search HTTP/1.1\r\n\r\n", HOSTS),
        (b"GET /api/v1/search HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n", HOSTS),
        (LOGIN + b"Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", CODINGS),
        (LOGIN + b"Transfer-Encoding: identity\r\n\r\n", CODINGS),
        (LOGIN + b"Transfer-Encoding: xchunked\r\n\r\n0\r\n\r\n", CODINGS),
    ],
)
def test_requests_that_servers_read_in_different_ways_end_the_connection(
    server, request_bytes, reason
):
    said = raw_exchange(server, request_bytes + SECOND)
    assert said.count(b"HTTP/1.1 ") == 1
    assert said.startswith(b"HTTP/1.1 400 ")
    assert b"\r\nConnection: close\r\n" in said
    assert json.loads(said.partition(b"\r\n\r\n")[2]) == {"error": reason}


def test_http_1_0_needs_no_host_line(server):
    said = raw_exchange(server, b"GET /api/v1/search HTTP/1.0\r\n\r\n")
    assert said.startswith(b"HTTP/1.0 200 ") and said.endswith(b"\r\n\r\n[]\n")


def test_a_yanked_version_leaves_the_lists_and_stays_where_it_is(server, published):
    assert server.command("yank", "json", "1.10.0") == (0, "Yanked json 1.10.0\n", "")
    assert server.get("/json/versions").body == b'["1.9.0","2.0.0-rc.1"]\n'
    assert server.get("/json").all[1]["latest"] == "1.9.0"
    assert server.get("/json/1.10.0").status == 200
    assert server.get("/json/1.10.0/download").body == published["1.10.0"]
    assert server.command("yank", "--undo", "json", "1.10.0") == (0, "Listed json 1.10.0 again\n", "")
    assert server.get("/json").all[1]["latest"] == "1.10.0"


def test_yanking_what_is_not_there_or_is_as_it_should_be_changes_nothing(server, published):
    assert server.command("yank", "json", "9.9.9") == (
        1,
        "",
        "mos-registry: there is no version json 9.9.9\n",
    )
    undo = ["yank", "json", "1.9.0", "--undo"]
    assert server.command(*undo) == (0, "json 1.9.0 is not yanked\n", "")
    assert server.command("yank", "json", "1.9.0")[0] == 0
    assert server.command("yank", "json", "1.9.0") == (0, "json 1.9.0 is yanked already\n", "")
    assert server.command(*undo) == (0, "Listed json 1.9.0 again\n", "")


def test_a_yank_whose_files_could_not_be_written_can_be_repeated(server, published):
    versions = server.data / "public/api/v1/packages/json/versions"
    before = versions.read_bytes()
    versions.unlink()
    versions.mkdir()
    (versions / "in the way").touch()
    assert server.command("yank", "json", "1.10.0")[0] == 1
    (versions / "in the way").unlink()
    versions.rmdir()
    versions.write_bytes(before)
    assert server.command("yank", "json", "1.10.0") == (0, "json 1.10.0 is yanked already\n", "")
    assert versions.read_bytes() == b'["1.9.0","2.0.0-rc.1"]\n'


def test_a_package_without_listed_versions_is_described_and_not_found_by_a_search(server, token):
    server.publish(package("json", "1.0.0", description="JSON"), token)
    server.command("yank", "json", "1.0.0")
    assert server.get("/json").body == (
        b'{"name":"json","latest":"","versions":[],"license":"","description":""}\n'
    )
    assert server.get("/json/versions").body == b"[]\n"
    assert server.ask("/api/v1/packages?q=json").body == b"[]\n"
