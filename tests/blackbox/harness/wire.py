"""Requests as the client library of the system under test sends them."""

from harness.system import on_windows

AGENT = b"User-Agent: mos-client/1.0"
TOKEN = [b"Authorization: Bearer t0ken", b"X-Moss-Token: t0ken", b"X-MOS-Token: t0ken"]
ACCEPT = b"Accept: application/json, text/plain, */*"
ACCEPT_ARCHIVE = b"Accept: application/octet-stream, */*"


def get_request(server, target, *lines):
    """A GET of `target` on `server` with the header lines that the program itself adds."""
    return message(b"GET " + target, [host(server), AGENT, *lines])


def post_request(server, target, *lines, body=b""):
    """A POST. Where the libraries put their own lines, docs/windows.md says."""
    length = b"Content-Length: %d" % len(body)
    if on_windows():
        first = [host(server), length, AGENT, b"Cache-Control: no-cache", *lines]
    else:
        first = [host(server), AGENT, *lines, length]
    return message(b"POST " + target, first, body)


def host(server):
    return b"Host: " + server.authority.encode()


def message(request, lines, body=b""):
    return b"\r\n".join([request + b" HTTP/1.1", *lines, b"", body])
