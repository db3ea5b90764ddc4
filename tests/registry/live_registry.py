"""A mos-registry of a test's own: the program that MOS_REGISTRY_BIN names, on a port that the system
picks, with a data directory that is thrown away."""

import http.client
import json
import os
import re
import shlex
import signal
import subprocess
import time
from pathlib import Path

from harness import archive
from harness.system import START, program

PASSWORD = "correct horse"


def registry_program():
    """The words that start mos-registry: those of MOS_REGISTRY_BIN, or what stands beside mos."""
    if "MOS_REGISTRY_BIN" in os.environ:
        words = shlex.split(os.environ["MOS_REGISTRY_BIN"])
        return [str(START / word) if "/" in word else word for word in words]
    return [str(Path(program()[-1]).parent / "mos-registry")]


def package(name, version, dependencies="", description="", files=None, more=""):
    """The archive of a small package; `dependencies` are lines of its manifest."""
    manifest = f'[package]\nname = "{name}"\nversion = "{version}"\nlicense = "MIT"\n'
    if description:
        manifest += f'description = "{description}"\n'
    manifest += more
    if dependencies:
        manifest += f"\n[dependencies]\n{dependencies}\n"
    return archive({"moss.toml": manifest, **(files or {f"src/{name}.moss": f"// {version}\n"})})


class Answer:
    """A reply: `status`, `body` as bytes, `type`, and the reply itself as `raw`."""

    def __init__(self, raw):
        self.raw = raw
        self.status = raw.status
        self.body = raw.read()
        self.type = raw.headers["Content-Type"]

    @property
    def all(self):
        """(status, the JSON document), to compare in one go."""
        return self.status, json.loads(self.body)


class LiveRegistry:
    """A server, from `with` to the end of the block; `data` is its directory, `url` its address,
    `reported` what it had to say before it served."""

    def __init__(self, data, *options):
        self.data = Path(data)
        self.options = options
        self.process = None
        self.url = None
        self.reported = ""
        self.port = 0
        self.ended = None

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        if self.process is not None:
            self.stop()

    def start(self):
        words = [*registry_program(), "serve", "--data", str(self.data)]
        words += ["--listen", "127.0.0.1:0", "--access-log", str(self.data) + ".log"]
        self.process = subprocess.Popen(
            [*words, *self.options], stderr=subprocess.PIPE, stdout=subprocess.DEVNULL
        )
        self.reported = ""
        found = None
        while not found:
            line = self.process.stderr.readline().decode()
            if not line:
                raise AssertionError(self.reported)
            found = re.search(r" at (http://127\.0\.0\.1:(\d+))$", line)
            self.reported += "" if found else line
        self.url, self.port = found[1], int(found[2])

    def stop(self, how=signal.SIGTERM, timeout=60):
        """Ends the server; returns its exit status and what it had to say."""
        process, self.process = self.process, None
        process.send_signal(how)
        _, said = process.communicate(timeout=timeout)
        self.ended = process.returncode, said.decode()
        return self.ended

    def command(self, *words, text="", timeout=120):
        """Runs another command on the data directory: (exit status, output, errors)."""
        done = subprocess.run(
            [*registry_program(), *words, "--data", str(self.data)],
            input=text.encode(),
            capture_output=True,
            timeout=timeout,
            check=False,
        )
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    def add_user(self, name="you", password=PASSWORD):
        done = self.command("user", "add", name, "--email", f"{name}@x.example", text=password)
        assert done == (0, f"Added the user {name}\n", "")

    def token(self, name="you"):
        """A token of a user, who is added when there is none."""
        if self.command("token", "create", name)[0] != 0:
            self.add_user(name)
        return self.command("token", "create", name)[1].strip()

    def connect(self, timeout=60):
        return http.client.HTTPConnection("127.0.0.1", self.port, timeout=timeout)

    def ask(self, target, method="GET", body=None, headers=None):
        connection = self.connect()
        try:
            connection.request(method, target, body, headers or {})
            return Answer(connection.getresponse())
        finally:
            connection.close()

    def get(self, path):
        """The answer to a look-up below /api/v1/packages."""
        return self.ask("/api/v1/packages" + path)

    def publish(self, data, token):
        return self.ask(
            "/api/v1/packages/publish",
            "POST",
            data,
            {"Authorization": f"Bearer {token}", "Content-Type": "application/octet-stream"},
        )

    def login(self, name, password):
        body = '{"usernameOrEmail":"' + name + '","password":"' + password + '"}'
        return self.ask("/api/v1/auth/login", "POST", body.encode())

    def log(self, count):
        """The first lines of the access log, once there are so many: a line is written when its
        reply has gone."""
        deadline = time.monotonic() + 30
        lines = []
        while len(lines) < count and time.monotonic() < deadline:
            text = Path(str(self.data) + ".log").read_text(encoding="utf-8")
            lines = text.splitlines()
        return [json.loads(line) for line in lines]

    def memory(self):
        """The most memory that the server has had, in MiB."""
        status = Path(f"/proc/{self.process.pid}/status").read_text(encoding="utf-8")
        return int(re.search(r"VmHWM:\s+(\d+) kB", status)[1]) / 1024

    def assert_clean(self, versions):
        """`check` finds so many versions and nothing wrong."""
        status, out, err = self.command("check")
        assert (status, err) == (0, "")
        assert re.fullmatch(
            rf"{versions} versions, \d+ bytes, \d+ unused archives, 0 problems\n", out
        )
