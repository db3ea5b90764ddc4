"""A server for tests that care about single bytes and single connections."""

import socket
import threading
from dataclasses import dataclass

from harness.archives import as_bytes


@dataclass
class RawReply:
    """The pieces that are sent, `delay` seconds apart, and whether the connection is then closed."""

    pieces: list
    delay: float = 0
    close: bool = False


def http_reply(status, body=b"", *headers):
    """A whole reply with a Content-Length."""
    data = as_bytes(body)
    lines = [f"HTTP/1.1 {status} Status", *headers, f"Content-Length: {len(data)}"]
    return as_bytes("\r\n".join(lines) + "\r\n\r\n") + data


class RawServer:
    """Listens on a port that the system picks, from `with` to the end of the block.

    `requests` holds the bytes of every request as they came, `connections` how many were opened.
    What no test has set is answered with 404. `wrap` may put TLS around a connection.
    """

    def __init__(self, host="127.0.0.1", wrap=None):
        self.requests = []
        self.connections = 0
        self.replies = {}
        self.wrap = wrap
        self.ended = threading.Event()
        family = socket.AF_INET6 if ":" in host else socket.AF_INET
        self.socket = socket.socket(family)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.socket.bind((host, 0))
        self.socket.listen(128)
        self.port = self.socket.getsockname()[1]
        self.authority = f"[{host}]:{self.port}" if ":" in host else f"{host}:{self.port}"
        self.url = f"http://{self.authority}"
        self.listener = threading.Thread(target=self.accept, daemon=True)

    def __enter__(self):
        self.listener.start()
        return self

    def __exit__(self, *_):
        self.ended.set()
        # A thread about to wait at a closed socket may meet that of the next server, which has
        # its number, and answer there in that server's place; one that waits keeps the port open.
        self.socket.shutdown(socket.SHUT_RDWR)
        self.listener.join()
        self.socket.close()

    def on(self, method, target, *pieces, delay=0, close=False):
        """Answers `method target` with these bytes. With a `close` and no bytes at all the
        connection breaks without an answer."""
        self.replies[f"{method} {target}"] = RawReply(list(pieces), delay, close)

    def redirect(self, method, target, status, location):
        """Answers `method target` with a redirect."""
        self.on(method, target, http_reply(status, b"moved", f"Location: {location}"))

    def lines(self):
        """Every request so far as "METHOD target"."""
        return [b" ".join(request.split(b" ")[:2]).decode() for request in self.requests]

    def accept(self):
        while True:
            try:
                connection, _ = self.socket.accept()
            except OSError:
                return
            self.connections += 1
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        try:
            with connection if self.wrap is None else self.wrap(connection) as stream:
                stream.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
                while (request := read_request(stream)) and self.answer(stream, request):
                    pass
        except OSError:
            pass  # The program closed its side, which is its right.

    def answer(self, stream, request):
        self.requests.append(request)
        method, target = request.split(b" ")[:2]
        reply = self.replies.get(f"{method.decode()} {target.decode('utf-8', 'surrogateescape')}")
        if reply is None:
            reply = RawReply([http_reply(404)])
        for number, piece in enumerate(reply.pieces):
            if number > 0 and reply.delay > 0:
                self.ended.wait(reply.delay)
            is_last = reply.close and number + 1 == len(reply.pieces)
            if is_last and self.wrap is None:
                # The end goes out with the last bytes: who has these knows of it before asking on.
                stream.setsockopt(socket.IPPROTO_TCP, socket.TCP_CORK, 1)
                stream.sendall(piece)
                stream.shutdown(socket.SHUT_WR)
            else:
                stream.sendall(piece)
        return not reply.close


def read_request(stream):
    """The bytes of one request; nothing when the other side has closed."""
    data = b""
    while b"\r\n\r\n" not in data:
        if not (more := stream.recv(65536)):
            return b""
        data += more
    head, _, body = data.partition(b"\r\n\r\n")
    length = 0
    for line in head.split(b"\r\n")[1:]:
        name, _, value = line.partition(b":")
        if name.lower() == b"content-length":
            length = int(value)
    pieces, received = [body], len(body)
    while received < length:
        if not (more := stream.recv(1 << 20)):
            break
        pieces.append(more)
        received += len(more)
    return head + b"\r\n\r\n" + b"".join(pieces)
