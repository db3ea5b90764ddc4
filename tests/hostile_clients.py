#!/usr/bin/python3
"""Lets clients misbehave towards a mos-registry and wants the right statuses, bounded memory, and
answers for everybody else.

    MOS_REGISTRY_BIN=build/release/mos-registry tests/hostile_clients.py [--idle N] [--memory MIB]

Each kind of misbehaviour meets a server of its own with short time-outs. Printed for each: what the
client got, and the most memory that the server ever had.
"""

import argparse
import contextlib
import resource
import socket
import sys
import tempfile
import threading
import time
import xml.etree.ElementTree as ElementTree
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent / "registry"))
sys.path.insert(0, str(Path(__file__).resolve().parent / "blackbox"))

from live_registry import LiveRegistry, package  # noqa: E402

OPTIONS = ["--header-timeout", "2", "--transfer-timeout", "2", "--max-uploads", "8"]
ENDLESS = 200 * 1024 * 1024
MEBIBYTE = 1024 * 1024
HALF = b"GET / HTTP/1.1\r\nX: " + b"x" * 4000


class Client:
    """One connection, byte by byte."""

    def __init__(self, server):
        self.socket = socket.create_connection(("127.0.0.1", server.port), 60)

    def send(self, data):
        """Sends; false when the other side takes no more."""
        try:
            self.socket.sendall(data)
            return True
        except OSError:
            return False

    def send_endlessly(self, piece):
        """Sends a piece over and over; returns how many bytes went."""
        sent = 0
        while sent < ENDLESS and self.send(piece):
            sent += len(piece)
        return sent

    def status(self):
        """The status of the reply; 0 when the connection ends without one."""
        data = b""
        with contextlib.suppress(OSError):
            while b"\r\n" not in data:
                piece = self.socket.recv(4096)
                if not piece:
                    break
                data += piece
        return int(data.split(b" ")[1]) if data.startswith(b"HTTP/1.") else 0


def publish_head(token, length="Transfer-Encoding: chunked"):
    return (
        f"POST /api/v1/packages/publish HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer {token}\r\n"
        f"{length}\r\n\r\n"
    ).encode()


def expect(found, expected):
    return [] if found == expected else [f"{found} instead of {expected}"]


def endless_header(server):
    client = Client(server)
    client.send(b"GET / HTTP/1.1\r\n")
    client.send_endlessly(b"X-More: " + b"x" * 8000 + b"\r\n")
    return expect(client.status(), 431)


def endless_header_line(server):
    client = Client(server)
    client.send(b"GET /")
    client.send_endlessly(b"x" * 65_536)
    return expect(client.status(), 431)


def endless_body(server):
    token = server.token()
    client = Client(server)
    client.send(publish_head(token))
    chunk = b"10000\r\n" + b"x" * 65_536 + b"\r\n"
    sent = client.send_endlessly(chunk)
    return expect(client.status(), 413) + expect(sent < ENDLESS, True)


def endless_bodies_at_once(server):
    token = server.token()
    statuses = []

    def one():
        client = Client(server)
        client.send(publish_head(token))
        client.send_endlessly(b"10000\r\n" + b"x" * 65_536 + b"\r\n")
        statuses.append(client.status())

    threads = [threading.Thread(target=one) for _ in range(16)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return expect(set(statuses) <= {413, 503, 0} and len(statuses) == 16, True)


def endless_login(server):
    client = Client(server)
    client.send(b"POST /api/v1/auth/login HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n")
    client.send_endlessly(b"10000\r\n" + b"x" * 65_536 + b"\r\n")
    return expect(client.status(), 413)


def endless_chunk_extension(server):
    token = server.token()
    client = Client(server)
    client.send(publish_head(token))
    client.send_endlessly(b"1;x=" + b"x" * 65_536)
    return expect(client.status(), 400)


def drip(client, piece, seconds):
    """Sends a piece every now and then; returns the status and how long it took."""
    began = time.monotonic()
    client.socket.settimeout(0.3)
    while time.monotonic() - began < seconds:
        client.send(piece)
        with contextlib.suppress(TimeoutError):
            data = client.socket.recv(4096)
            return int(data.split(b" ")[1]) if data else 0, time.monotonic() - began
    return "still open", seconds


def dripping_header(server):
    client = Client(server)
    client.send(b"GET / HTTP/1.1\r\n")
    status, seconds = drip(client, b"X: y\r\n", 15)
    return expect(status, 408) + expect(seconds < 6, True)


def dripping_body(server):
    token = server.token()
    client = Client(server)
    client.send(publish_head(token, "Content-Length: 1000000"))
    status, seconds = drip(client, b"xx", 15)
    return expect(status, 408) + expect(seconds < 6, True)


def dripping_login(server):
    client = Client(server)
    client.send(b"POST /api/v1/auth/login HTTP/1.1\r\nHost: x\r\nContent-Length: 1000\r\n\r\n")
    status, seconds = drip(client, b"x", 15)
    return expect(status, 408) + expect(seconds < 6, True)


def reader_that_does_not_read(server):
    data = package("big", "1.0.0", files={"src/a": bytes(30 * MEBIBYTE)})
    complaints = expect(server.publish(data, server.token()).status, 201)
    for _ in range(50):
        client = Client(server)
        client.send(b"GET /api/v1/packages/big/1.0.0/download HTTP/1.1\r\nHost: x\r\n\r\n")
    time.sleep(0.2)
    complaints += expect(server.get("/big/versions").status, 200)
    time.sleep(4)
    client.socket.settimeout(5)
    received = 0
    while piece := client.socket.recv(MEBIBYTE):
        received += len(piece)
    return complaints + expect(received < len(data), True)


def truncated_upload(server):
    token, data = server.token(), package("json", "1.0.0")
    complaints = []
    for length in [f"Content-Length: {len(data)}", "Transfer-Encoding: chunked"]:
        client = Client(server)
        client.send(publish_head(token, length))
        client.send((b"" if "chunked" not in length else b"%x\r\n" % len(data)) + data[:50])
        client.socket.shutdown(socket.SHUT_WR)
        complaints += expect(client.status(), 400)
    return complaints + expect(server.get("/json").status, 404)


# So many connections are open once at a time: files are limited for this process too.
CROWD = threading.Lock()


def crowd(server, count, text):
    """So many clients connect, send a text and wait."""
    with CROWD, contextlib.ExitStack() as connections:
        for _ in range(count):
            client = Client(server)
            connections.enter_context(client.socket)
            client.send(text)
        began = time.monotonic()
        complaints = expect(server.get("/json").status, 404)
        return complaints + expect(time.monotonic() - began < 2, True)


def broken_json(server):
    complaints = []
    bodies = [b"{", b'{"usernameOrEmail":', b"[" * 15_000, b'{"a":' * 3000, b"\xff\xfe", b"null"]
    for body in bodies:
        complaints += expect(server.ask("/api/v1/auth/login", "POST", body).status, 400)
    return complaints


def traversal(server):
    pieces = ["..", ".", "%2e%2e", "..%2f..", "..\\..", "%00", "a%2fb", "", "registry.db", "~", ";"]
    complaints = []
    for piece in pieces:
        for path in [
            f"/{piece}",
            f"/api/v1/packages/{piece}",
            f"/api/v1/packages/{piece}/versions",
            f"/api/v1/packages/{piece}/1.0.0/download",
            f"/api/v1/packages/json/{piece}",
            f"/api/v1/packages/json/{piece}/download",
            f"/api/v1/packages/json/1.0.0/{piece}",
            f"/api/v1/packages/json/1.0.0/download/{piece}",
            f"/{piece}/{piece}/{piece}/etc/passwd",
        ]:
            status = server.ask(path).status
            complaints += [f"{path}: {line}" for line in expect(status, 404)]
    return complaints


def tokens_of_others(server):
    mine, other = server.token("me"), server.token("other")
    complaints = expect(server.publish(package("json", "1.0.0"), mine).status, 201)
    complaints += expect(server.publish(package("json", "1.1.0"), other).status, 403)
    mixed = mine[:12] + other[12:]
    complaints += expect(server.publish(package("json", "1.1.0"), mixed).status, 401)
    server.command("token", "revoke", mine[:12])
    complaints += expect(server.publish(package("json", "1.1.0"), mine).status, 401)
    return complaints + expect(server.get("/json/versions").body, b'["1.0.0"]\n')


def not_http(server):
    complaints = []
    for text in [
        b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03" + b"x" * 500,
        b"hello\r\n\r\n",
        b"GET / HTTP/9.9\r\n\r\n",
        b"GET / HTTP/1.1\r\nHost: x\r\nContent-Length: -1\r\n\r\n",
        b"GET / HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\nContent-Length: 6\r\n\r\n",
        b"POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n",
        b"GET / HTTP/1.1\r\nHost: x\r\nno colon\r\n\r\n",
        b"GET /\x00 HTTP/1.1\r\nHost: x\r\n\r\n",
    ]:
        client = Client(server)
        client.send(text)
        complaints += [f"{text[:40]}: {line}" for line in expect(client.status(), 400)]
    return complaints


def a_second_request_in_a_refused_body(server):
    inner = b"GET /api/v1/packages?q= HTTP/1.1\r\nHost: x\r\n\r\n"
    client = Client(server)
    client.send(publish_head("wrong", f"Content-Length: {len(inner)}") + inner)
    data = b""
    while piece := client.socket.recv(4096):
        data += piece
    return expect(data.count(b"HTTP/1.1"), 1) + expect(data.split(b" ")[1], b"401")


def kinds(idle):
    """{title: a check of one server}"""
    plain = [
        reader_that_does_not_read,
        endless_bodies_at_once,
        endless_header,
        endless_header_line,
        endless_body,
        endless_login,
        endless_chunk_extension,
        dripping_header,
        dripping_body,
        dripping_login,
        truncated_upload,
        broken_json,
        traversal,
        tokens_of_others,
        not_http,
        a_second_request_in_a_refused_body,
    ]
    return {
        **{check.__name__: check for check in plain},
        f"{idle} idle connections": lambda server: crowd(server, idle, b""),
        f"{idle} half-sent requests": lambda server: crowd(server, idle, HALF),
    }


def misbehave(kind, memory):
    """Runs one kind against a server of its own; returns the complaints and the memory."""
    with tempfile.TemporaryDirectory(prefix="mos-hostile-") as room:
        with LiveRegistry(Path(room) / "data", *OPTIONS) as server:
            complaints = kind(server)
            complaints += expect(server.ask("/api/v1/search?q=").status, 200)
            used = server.memory()
            if used > memory:
                complaints.append(f"{used:.0f} MiB of memory")
            ended = server.stop()
            return complaints + expect(ended, (0, "mos-registry: ended\n")), used


def main():
    parser = argparse.ArgumentParser(description="Lets clients misbehave.")
    parser.add_argument("--idle", type=int, default=10_000, help="idle connections")
    parser.add_argument("--memory", type=int, default=200, help="MiB that the server may have")
    parser.add_argument("--junitxml", metavar="FILE", help="write a JUnit report")
    options = parser.parse_args()
    hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    idle = min(options.idle, hard - 1000)

    suite = ElementTree.Element("testsuite", name="hostile_clients")
    failed = 0
    checks = kinds(idle)
    # Most of them wait for a time-out.
    with ThreadPoolExecutor(max_workers=6) as pool:
        found = pool.map(lambda check: misbehave(check, options.memory), checks.values())
        for title, (complaints, used) in zip(checks, found):
            print(f"{title:36} {used:6.1f} MiB  {'; '.join(complaints) or 'right'}", flush=True)
            case = ElementTree.SubElement(suite, "testcase", classname=suite.get("name"), name=title)
            if complaints:
                failed += 1
                ElementTree.SubElement(case, "failure", message=complaints[0])
    if options.junitxml:
        ElementTree.ElementTree(suite).write(options.junitxml, encoding="utf-8")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
