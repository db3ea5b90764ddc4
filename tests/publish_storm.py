#!/usr/bin/python3
"""Publishes by many clients at once while others read, and wants that no read fails, that every
listed version can be downloaded with its checksum, and that `check` finds nothing.

    MOS_REGISTRY_BIN=build/release/mos-registry tests/publish_storm.py [--publications N] [--clients N]
"""

import argparse
import hashlib
import json
import queue
import random
import sys
import tempfile
import threading
import time
import xml.etree.ElementTree as ElementTree
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent / "registry"))
sys.path.insert(0, str(Path(__file__).resolve().parent / "blackbox"))

from live_registry import LiveRegistry, package  # noqa: E402

VERSIONS_EACH = 25


class Storm:
    """Writers that empty a queue of archives, and readers that look at what there is."""

    def __init__(self, server, publications):
        self.server = server
        self.token = server.token()
        self.todo = queue.Queue()
        self.archives = {}
        self.acknowledged = set()
        self.complaints = []
        self.reads = 0
        self.is_over = False
        chance = random.Random(1)
        for number in range(publications):
            name = f"package-{number // VERSIONS_EACH}"
            version = f"1.{number % VERSIONS_EACH}.0"
            files = {"src/main.moss": chance.randbytes(chance.randrange(20_000))}
            self.archives[name, version] = package(name, version, 'text = "^1.0"', files=files)
        for key in chance.sample(sorted(self.archives), publications):
            self.todo.put(key)

    def ask(self, connection, method, path, body=None, headers=None):
        connection.request(method, f"/api/v1/packages{path}", body, headers or {})
        reply = connection.getresponse()
        return reply.status, reply.read()

    def write(self):
        connection = self.server.connect()
        headers = {"Authorization": f"Bearer {self.token}"}
        while True:
            try:
                key = self.todo.get_nowait()
            except queue.Empty:
                return
            status, body = self.ask(connection, "POST", "/publish", self.archives[key], headers)
            if status == 201:
                self.acknowledged.add(key)
            else:
                self.complaints.append(f"publishing {key}: {status} {body}")

    def read_version(self, connection, name, version):
        """Follows one listed version to its archive."""
        status, body = self.ask(connection, "GET", f"/{name}/{version}")
        if status != 200:
            self.complaints.append(f"metadata of {name} {version}: {status} {body}")
            return
        status, data = self.ask(connection, "GET", f"/{name}/{version}/download")
        checksum = "sha256:" + hashlib.sha256(data).hexdigest()
        if status != 200 or json.loads(body)["checksum"] != checksum:
            self.complaints.append(f"download of {name} {version}: {status}")
        self.reads += 2

    def read(self, seed):
        chance = random.Random(seed)
        connection = self.server.connect()
        while not self.is_over:
            known = list(self.acknowledged.copy())
            if not known:
                time.sleep(0.001)
                continue
            name, version = chance.choice(known)
            status, body = self.ask(connection, "GET", f"/{name}/versions")
            listed = json.loads(body) if status == 200 else []
            if version not in listed:
                self.complaints.append(f"versions of {name}: {status}, without {version}")
            for other in listed[-2:]:
                self.read_version(connection, name, other)
            status, body = self.ask(connection, "GET", "?q=package-1")
            if status != 200 or not body.startswith(b"["):
                self.complaints.append(f"search: {status} {body}")
            self.reads += 2

    def run(self, clients):
        readers = [threading.Thread(target=self.read, args=(seed,)) for seed in range(clients)]
        writers = [threading.Thread(target=self.write) for _ in range(clients)]
        began = time.monotonic()
        for thread in readers + writers:
            thread.start()
        for thread in writers:
            thread.join()
        self.seconds = time.monotonic() - began
        self.is_over = True
        for thread in readers:
            thread.join()

    def look_at_everything(self):
        connection = self.server.connect()
        for name in {name for name, _ in self.archives}:
            expected = [version for other, version in self.archives if other == name]
            listed = json.loads(self.ask(connection, "GET", f"/{name}/versions")[1])
            if sorted(listed) != sorted(expected):
                self.complaints.append(f"{name} has {listed}")
            for version in listed:
                self.read_version(connection, name, version)


def main():
    parser = argparse.ArgumentParser(description="Publishes by many clients while others read.")
    parser.add_argument("--publications", type=int, default=1000)
    parser.add_argument("--clients", type=int, default=8, help="writers, and as many readers")
    parser.add_argument("--junitxml", metavar="FILE", help="write a JUnit report")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="mos-storm-") as room:
        with LiveRegistry(Path(room) / "data") as server:
            storm = Storm(server, options.publications)
            storm.run(options.clients)
            storm.look_at_everything()
            checked = server.command("check")
            expected = f"{options.publications} versions, "
            if checked[0] != 0 or not checked[1].startswith(expected):
                storm.complaints.append(f"check: {checked}")
            memory = server.memory()
    print(
        f"publish_storm: {len(storm.acknowledged)} published in {storm.seconds:.1f} s by "
        f"{options.clients} clients, {storm.reads} reads by {options.clients} others, "
        f"{len(storm.complaints)} failures, {memory:.0f} MiB; {checked[1].strip()}"
    )
    print("\n".join(storm.complaints[:20]))
    suite = ElementTree.Element("testsuite", name="publish_storm")
    case = ElementTree.SubElement(suite, "testcase", classname="publish_storm", name="storm")
    if storm.complaints:
        ElementTree.SubElement(case, "failure", message=storm.complaints[0])
    if options.junitxml:
        ElementTree.ElementTree(suite).write(options.junitxml, encoding="utf-8")
    sys.exit(1 if storm.complaints else 0)


if __name__ == "__main__":
    main()
