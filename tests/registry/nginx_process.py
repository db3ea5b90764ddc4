"""nginx with a `server` block of docs/registry.md, asked like a registry."""

import re
import shutil
import socket
import subprocess
import time
from pathlib import Path

from live_registry import LiveRegistry

ROOT = Path(__file__).resolve().parents[2]


def nginx():
    """The web server: one that is installed, or else what ./dev has unpacked; None for neither."""
    found = shutil.which("nginx", path="/usr/sbin:/usr/bin:/usr/local/sbin")
    unpacked = ROOT / "build" / "nginx" / "usr" / "sbin" / "nginx"
    return found or (str(unpacked) if unpacked.exists() else None)


def documented(name):
    """The nginx configuration between two comments of docs/registry.md."""
    text = (ROOT / "docs" / "registry.md").read_text(encoding="utf-8")
    return re.search(rf"<!-- {name} -->\n```nginx\n(.*?)```", text, re.DOTALL)[1]


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Nginx(LiveRegistry):
    """One process of nginx, from `with` to the end of the block, with files in `room` only."""

    def __init__(self, room, block, settings=""):
        super().__init__(room)
        room.mkdir()
        self.port = free_port()
        self.url = f"http://127.0.0.1:{self.port}"
        block = re.sub(r"listen .*?;", f"listen 127.0.0.1:{self.port};", block)
        temporary = "\n".join(
            f"{kind}_temp_path {room}/{kind};"
            for kind in ["client_body", "proxy", "fastcgi", "uwsgi", "scgi"]
        )
        (room / "nginx.conf").write_text(
            f"daemon off;\nmaster_process off;\npid {room}/pid;\nevents {{}}\n"
            f"http {{\naccess_log off;\n{settings}\n{temporary}\n{block}\n}}\n"
        )

    def start(self):
        words = [nginx(), "-e", self.data / "errors", "-p", self.data, "-c", "nginx.conf"]
        self.process = subprocess.Popen(words, stderr=subprocess.PIPE)
        for _ in range(500):
            try:
                socket.create_connection(("127.0.0.1", self.port), 1).close()
                return
            except ConnectionRefusedError:
                time.sleep(0.02)
        raise AssertionError((self.data / "errors").read_text())
