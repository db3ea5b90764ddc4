#!/usr/bin/python3
"""Kills mos-registry at random moments of publishing and wants that no acknowledged version is lost
and that `check` finds nothing.

    MOS_REGISTRY_BIN=build/release/mos-registry tests/kill_registry.py [--rounds N] [--seed N]

All rounds share one data directory. After each kill the server is started again; what it did not
acknowledge must be there as a whole or not at all, and can be published again.
"""

import hashlib
import http.client
import json
import random
import tempfile
import threading
from pathlib import Path

from rounds import arguments, run_rounds  # isort: skip  (sets the path)
import sys

sys.path.insert(0, str(Path(__file__).resolve().parent / "registry"))

from live_registry import LiveRegistry, package  # noqa: E402

WRITERS = 4
LONGEST = 0.25


class Victim:
    """A registry, and what it has acknowledged so far."""

    def __init__(self, data, chance):
        self.server = LiveRegistry(data)
        self.chance = chance
        self.acknowledged = {}
        self.interrupted = 0
        with self.server:
            self.token = self.server.token()

    def publish_until_killed(self, writer, number):
        """Publishes versions of a package of this writer's; returns the one that was cut off."""
        name = f"package-{writer}"
        connection = self.server.connect()
        headers = {"Authorization": f"Bearer {self.token}"}
        patch = 0
        while True:
            version = f"1.{number}.{patch}"
            size = 300_000 if patch % 7 == 3 else 2000
            data = package(name, version, files={"src/a": random.Random(patch).randbytes(size)})
            try:
                connection.request("POST", "/api/v1/packages/publish", data, headers)
                if connection.getresponse().status == 201:
                    self.acknowledged[name, version] = hashlib.sha256(data).hexdigest()
            except (OSError, http.client.HTTPException):
                return name, version, data
            patch += 1

    def kill_while_publishing(self, number):
        """Returns the publications that were cut off."""
        cut = []
        threads = [
            threading.Thread(target=lambda w=w: cut.append(self.publish_until_killed(w, number)))
            for w in range(WRITERS)
        ]
        self.server.start()
        for thread in threads:
            thread.start()
        threading.Event().wait(self.chance.uniform(0, LONGEST))
        self.server.stop(how=9)
        for thread in threads:
            thread.join()
        return cut

    def missing(self):
        """What was acknowledged and is not listed with its checksum and archive."""
        complaints = []
        listed = {}
        for name, version in self.acknowledged:
            if name not in listed:
                listed[name] = json.loads(self.server.get(f"/{name}/versions").body)
            if version not in listed[name]:
                complaints.append(f"{name} {version} was acknowledged and is not listed")
        for name, version in self.chance.sample(
            sorted(self.acknowledged), min(20, len(self.acknowledged))
        ):
            data = self.server.get(f"/{name}/{version}/download").body
            if hashlib.sha256(data).hexdigest() != self.acknowledged[name, version]:
                complaints.append(f"{name} {version} has other bytes")
        return complaints

    def publish_again(self, cut):
        complaints = []
        for name, version, data in cut:
            was_there = self.server.get(f"/{name}/{version}").status == 200
            self.interrupted += not was_there
            answer = self.server.publish(data, self.token)
            if answer.status != (200 if was_there else 201):
                complaints.append(f"{name} {version} once more: {answer.all}")
            self.acknowledged[name, version] = hashlib.sha256(data).hexdigest()
        return complaints

    def checked(self):
        status, out, err = self.server.command("check")
        expected = f"{len(self.acknowledged)} versions, "
        if status != 0 or err or not out.startswith(expected):
            return [f"check: {status} {out}{err}"]
        return []


def main():
    options = arguments("Kills a registry at random moments of publishing.", rounds=20)
    print(f"kill_registry: seed {options.seed}")
    with tempfile.TemporaryDirectory(prefix="mos-kill-") as room:
        victim = Victim(Path(room) / "data", random.Random(options.seed))

        def one_round(number, _folder):
            cut = victim.kill_while_publishing(number)
            status, out, err = victim.server.command("check")
            complaints = [] if status == 0 else [f"check after the kill: {out}{err}"]
            with victim.server:
                complaints += victim.missing() + victim.publish_again(cut) + victim.checked()
            return complaints

        try:
            run_rounds("kill_registry", options, one_round)
        finally:
            print(
                f"{len(victim.acknowledged)} versions, {victim.interrupted} publications were cut "
                "off before they were there"
            )


if __name__ == "__main__":
    main()
