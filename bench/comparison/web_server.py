"""nginx on 127.0.0.1 with files of its own."""

import atexit
import os
import socket
import subprocess
import time
from pathlib import Path


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class WebServer:
    """Serves `tree`; a directory is its index.json. The paths that were asked for are in the file
    `asked`, one a line, when it is to keep them. It ends with this program at the latest."""

    def __init__(self, nginx, folder, tree, keeps_paths=False):
        self.port = free_port()
        self.url = f"http://127.0.0.1:{self.port}"
        self.folder = Path(folder)
        self.folder.mkdir(parents=True)
        user = "user root;" if os.geteuid() == 0 else ""
        paths = "".join(
            f"{kind}_temp_path {self.folder}/{kind};"
            for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi")
        )
        self.asked = self.folder / "asked"
        log = f"{self.asked} path" if keeps_paths else "off"
        (self.folder / "nginx.conf").write_text(
            f"daemon off; pid {self.folder}/pid; {user} worker_processes 1;"
            "events { worker_connections 4096; }"
            f"http {{ log_format path $request_uri; access_log {log}; sendfile on; tcp_nodelay on; keepalive_requests 1000000;"
            f"default_type application/octet-stream; {paths}"
            f"server {{ listen 127.0.0.1:{self.port}; root {tree};"
            "location / { try_files $uri/index.json $uri =404; } } }"
        )
        self.process = subprocess.Popen(
            [nginx, "-e", f"{self.folder}/errors", "-p", self.folder, "-c", f"{self.folder}/nginx.conf"]
        )
        atexit.register(self.stop)
        for _ in range(100):
            with socket.socket() as probe:
                if probe.connect_ex(("127.0.0.1", self.port)) == 0:
                    return
            time.sleep(0.05)
        raise SystemExit((self.folder / "errors").read_text())

    def stop(self):
        self.process.terminate()
        self.process.wait()
