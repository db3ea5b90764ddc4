"""A registry that answers what a test tells it to and remembers what it was asked."""

import functools
import json
import socket
import socketserver
import threading
from dataclasses import dataclass, field

from harness.archives import archive, as_bytes, sha256

REASONS = {200: "OK", 201: "Created", 302: "Found", 404: "Not Found", 409: "Conflict"}
NOT_FOUND = '{"error":"not found"}'


@dataclass
class Request:
    """One request: `target` is the path with its query, `headers` the lines in their order."""

    method: str
    target: str
    headers: list
    body: bytes

    @property
    def line(self):
        return f"{self.method} {self.target}"

    def header(self, name):
        """The value of the first header called `name`, whatever the case; None without one."""
        for key, value in self.headers:
            if key.lower() == name.lower():
                return value
        return None


@dataclass
class Reply:
    """One answer. `raw` replaces everything else by these very bytes, after which the connection is
    closed: b"" is a connection that breaks without an answer."""

    status: int = 200
    body: bytes = b""
    headers: list = field(default_factory=list)
    raw: bytes = None

    def wire(self):
        if self.raw is not None:
            return self.raw
        body = as_bytes(self.body)
        lines = [f"HTTP/1.1 {self.status} {REASONS.get(self.status, 'Status')}"]
        lines += [f"{name}: {value}" for name, value in self.headers]
        lines.append(f"Content-Length: {len(body)}")
        return as_bytes("\r\n".join(lines) + "\r\n\r\n") + body


class Connection(socketserver.StreamRequestHandler):
    disable_nagle_algorithm = True

    def handle(self):
        self.server.owner.connections += 1
        try:
            while self.answer_one():
                pass
        except OSError:
            pass  # The program closed its side, which is its right.

    def answer_one(self):
        words = self.rfile.readline().decode("utf-8", "surrogateescape").split()
        if len(words) < 2:
            return False
        headers = []
        while (line := self.rfile.readline().rstrip(b"\r\n")) != b"":
            name, _, value = line.decode("utf-8", "surrogateescape").partition(":")
            headers.append((name, value.strip()))
        request = Request(words[0], words[1], headers, b"")
        request.body = self.rfile.read(int(request.header("Content-Length") or 0))
        reply = self.server.owner.reply_to(request)
        self.wfile.write(reply.wire())
        self.wfile.flush()
        return reply.raw is None


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True
    block_on_close = False
    request_queue_size = 128


class ScriptedRegistry:
    """Listens on a port of 127.0.0.1 that the system picks, from `with` to the end of the block.

    `requests` holds every request in order of arrival, `connections` how many were opened.
    """

    def __init__(self):
        self.requests = []
        self.connections = 0
        self.routes = {}
        self.published = {}
        self.guard = threading.Lock()
        self.server = Server(("127.0.0.1", 0), Connection)
        self.server.owner = self
        self.port = self.server.server_address[1]
        self.url = f"http://127.0.0.1:{self.port}"

    def __enter__(self):
        threading.Thread(target=self.server.serve_forever, args=(0.01,), daemon=True).start()
        return self

    def __exit__(self, *_):
        self.server.shutdown()
        self.server.server_close()

    def reply_to(self, request):
        with self.guard:
            self.requests.append(request)
            answer = self.routes.get((request.method, request.target), Reply(404, NOT_FOUND))
        return answer(request) if callable(answer) else answer

    def lines(self):
        """Every request so far as "METHOD target"."""
        return [request.line for request in self.requests]

    def on(self, method, target, status=200, body=b"", headers=()):
        """Answers `method target` with a status, a body and further header lines."""
        self.routes[(method, target)] = Reply(status, body, list(headers))

    def on_raw(self, method, target, raw):
        """Answers `method target` with these bytes and closes the connection."""
        self.routes[(method, target)] = Reply(raw=raw)

    def on_call(self, method, target, answer):
        """Answers `method target` with the Reply that `answer(request)` returns."""
        self.routes[(method, target)] = answer

    def publish(self, name, version, deps=(), files=None, checksum=None, data=None):
        """Adds a version and returns its archive.

        `deps` maps names to constraints; `files` is what the archive holds (a manifest and one
        source file by default), `data` the archive's bytes instead; `checksum` is what the registry
        claims (the truth by default).
        """
        if files is None:
            files = {
                "moss.toml": f'[package]\nname = "{name}"\nversion = "{version}"\n',
                "src/main.moss": f"// {name} {version}\n",
            }
        if data is None:
            data = archive(files)
        versions = self.published.setdefault(name, [])
        if version not in versions:
            versions.append(version)
        base = f"/api/v1/packages/{name}"
        pairs = deps.items() if isinstance(deps, dict) else deps
        self.on("GET", f"{base}/versions", body=json.dumps(versions))
        self.on(
            "GET",
            base,
            body=json.dumps(
                {
                    "name": name,
                    "latest": version,
                    "description": f"The package {name}",
                    "license": "MIT",
                    "versions": versions,
                }
            ),
        )
        self.on(
            "GET",
            f"{base}/{version}",
            body=json.dumps(
                {
                    "name": name,
                    "version": version,
                    "checksum": sha256(data) if checksum is None else checksum,
                    "dependencies": [{"name": key, "constraint": text} for key, text in pairs],
                }
            ),
        )
        self.on("GET", f"{base}/{version}/download", body=data)
        return data


@functools.cache
def refused_socket():
    """Has a port and never listens: who connects is refused, and no server may get the port."""
    reserved = socket.socket()
    reserved.bind(("127.0.0.1", 0))
    return reserved


def refused_url():
    """A registry address at which nobody listens as long as the tests run."""
    return f"http://127.0.0.1:{refused_socket().getsockname()[1]}"
