"""A registry on 127.0.0.1 for demonstrations: what tools/static_registry.py laid out, and search,
login and publishing, which no tree of files can do."""

import json
import threading
import urllib.parse
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

TOKEN = "mos_8c1f02d4a7e95b36"


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True

    def log_message(self, *_):
        pass

    def answer(self, status, body):
        self.send_response(status)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def answer_json(self, status, document):
        self.answer(status, json.dumps(document).encode())

    def do_GET(self):
        target = urllib.parse.urlsplit(self.path)
        if target.path == "/api/v1/packages":
            query = urllib.parse.parse_qs(target.query).get("q", [""])[0]
            self.answer_json(200, self.server.found(query))
            return
        place = self.server.tree / target.path.lstrip("/")
        document = place / "index.json" if place.is_dir() else place
        if document.is_file():
            self.answer(200, document.read_bytes())
        else:
            self.answer_json(404, {"error": "not found"})

    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        if self.path == "/api/v1/auth/login":
            user = json.loads(body)["usernameOrEmail"]
            self.answer_json(200, {"cliToken": TOKEN, "username": user, "email": ""})
        elif self.path == "/api/v1/packages/publish":
            known = self.headers.get("Authorization") == f"Bearer {TOKEN}"
            self.answer_json(*((201, {}) if known else (403, {"error": "unknown token"})))
        else:
            self.answer_json(404, {"error": "not found"})


class DemoRegistry(ThreadingHTTPServer):
    """Serves a tree from `with` to the end of the block, on a port that the system picks."""

    daemon_threads = True
    block_on_close = False

    def __init__(self, tree):
        super().__init__(("127.0.0.1", 0), Handler)
        self.tree = Path(tree)
        self.url = f"http://127.0.0.1:{self.server_port}"

    def __enter__(self):
        threading.Thread(target=self.serve_forever, args=(0.01,), daemon=True).start()
        return self

    def __exit__(self, *_):
        self.shutdown()
        self.server_close()

    def found(self, query):
        """The packages with `query` in their name or description, sorted by name."""
        places = sorted((self.tree / "api/v1/packages").glob("*/index.json"))
        packages = [json.loads(place.read_text(encoding="utf-8")) for place in places]
        return [
            {key: package[key] for key in ("name", "description", "latest")}
            for package in packages
            if query.lower() in f"{package['name']} {package['description']}".lower()
        ]
