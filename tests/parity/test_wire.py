"""What the two builds send is the same, but for what the page about Windows lists."""

import re
from dataclasses import dataclass
from pathlib import Path

from harness import ScriptedRegistry
from harness.raw_server import RawServer

PAGE = Path(__file__).resolve().parents[2] / "docs" / "windows.md"


@dataclass
class Difference:
    """A header line that WinINet itself adds or puts elsewhere."""

    method: str
    line: str
    is_sent_on_linux: bool
    follows: str

    @property
    def name(self):
        return self.line.partition(":")[0]


def listed_differences():
    """The rows "| `METHOD` | `Line: value` | place on Linux | after `Name` | reason |"."""
    row = r"^\| `(\w+)` \| `([^`]+)` \| ([^|]+) \| after `([^`]+)` \| [^|]+ \|$"
    rows = re.findall(row, PAGE.read_text(encoding="utf-8"), re.MULTILINE)
    return [
        Difference(method, line, place.strip() != "not sent", follows)
        for method, line, place, follows in rows
    ]


def named(lines, name):
    return [line for line in lines if line.startswith(name + ":")]


def as_windows_sends(request, differences):
    """A request of the Linux build with the listed differences made."""
    head, separator, body = request.partition(b"\r\n\r\n")
    lines = head.decode("utf-8", "surrogateescape").split("\r\n")
    for difference in differences:
        if lines[0].startswith(difference.method + " "):
            sent = named(lines, difference.name)
            assert bool(sent) == difference.is_sent_on_linux, (difference, lines)
            lines = [line for line in lines if line not in sent]
            at = lines.index(*named(lines, difference.follows)) + 1
            lines[at:at] = sent or [difference.line]
    return "\r\n".join(lines).encode("utf-8", "surrogateescape") + separator + body


def record_session(tell_both):
    """Both builds search, look up, add, install, log in and publish; returns what each sent."""
    scripted = ScriptedRegistry()
    scripted.publish("text", "1.2.0")
    scripted.publish("json", "1.4.0", {"text": "^1.0"})
    scripted.on("GET", "/api/v1/packages?q=js%20on", body='[{"name":"json","latest":"1.4.0"}]')
    scripted.on("POST", "/api/v1/auth/login", body='{"token":"t0ken","username":"alice"}')
    scripted.on("POST", "/api/v1/packages/publish", status=201)
    with RawServer() as server:
        for (method, target), reply in scripted.routes.items():
            server.on(method, target, reply.wire())

        def story(room):
            room.env["MOS_REGISTRY"] = server.url
            room.manifest({"text": "*"}, name="app", version="1.0.0")
            room.write("src/main.moss", "fn main\n")
            for words in [
                ["search", "js", "on"],
                ["search", "nothing"],
                ["info", "json"],
                ["info", "unknown"],
                ["add", "json@^1.0"],
                ["update"],
                ["login", "--username", "alice", "--password", "s\u00fc\u00df"],
                ["publish"],
                ["publish", "--token", "another"],
            ]:
                room.run(*words)
            sent = list(server.requests)
            server.requests.clear()
            return sent

        return tell_both(story)


def test_the_requests_of_a_session_differ_as_listed_and_not_otherwise(tell_both):
    linux, windows = record_session(tell_both)
    differences = listed_differences()
    assert windows == [as_windows_sends(request, differences) for request in linux]
    methods = [request.split(b" ")[0] for request in linux]
    assert (methods.count(b"GET"), methods.count(b"POST")) == (16, 3)


def test_every_listed_difference_is_there(tell_both):
    linux, windows = record_session(tell_both)
    differences = listed_differences()
    assert differences != []
    for left_out in differences:
        others = [difference for difference in differences if difference is not left_out]
        assert windows != [as_windows_sends(request, others) for request in linux], left_out
