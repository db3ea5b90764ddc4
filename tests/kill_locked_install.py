#!/usr/bin/python3
"""Kills `mos install --locked` at random moments and wants one more to make everything whole.

    MOS_BIN=build/release/mos tests/kill_locked_install.py [--rounds N] [--seed N]

The rounds take turns: an empty tool home; every archive cached; and every archive cached, with
packages that differ from what is locked and directories that nobody locked. After the kill each
package is what it was or what it should be, never half of it, and none that was there is missing.
After one more run the project directory is what an undisturbed run leaves, byte by byte.
"""

import random
import shutil
import statistics
import tempfile
from pathlib import Path

from rounds import arguments, run_rounds  # isort: skip  (sets the path)
from harness import Room, ScriptedRegistry
from kill_install import (
    PACKAGES,
    complaints_afterwards,
    kill_after,
    publish_graph,
    seconds_of_install,
)

KINDS = ["cold", "warm", "changed"]
STRANGERS = ["old-package", "package-00-old", "zzz"]


def change_file(package, chance):
    path = chance.choice([path for path in sorted(package.rglob("*")) if path.is_file()])
    path.write_bytes(path.read_bytes() + b"changed")


def delete_file(package, chance):
    chance.choice([path for path in sorted(package.rglob("*")) if path.is_file()]).unlink()


def add_file(package, _):
    (package / "src" / "more.moss").write_bytes(b"more")


def add_directory(package, _):
    (package / "empty").mkdir()


def delete_package(package, _):
    shutil.rmtree(package)


CHANGES = [change_file, delete_file, add_file, add_directory, delete_package]


class Graph:
    """What is locked, as an undisturbed run installs it."""

    def __init__(self, folder, registry):
        self.registry = registry
        self.published = publish_graph(registry)
        self.folder = folder / "graph"
        self.folder.mkdir()
        room = self.room(self.folder)
        if room.run("install").code != 0:
            raise SystemExit("a plain install fails")
        self.lock = room.read("moss.lock")
        self.expected = room.tree()

    def room(self, folder):
        folder.mkdir(exist_ok=True)
        room = Room(folder)
        room.env["MOS_REGISTRY"] = self.registry.url
        room.manifest({"package-00": "^1.0"})
        return room

    def prepared(self, folder, kind, chance):
        """A room before the run that is killed."""
        room = self.room(folder)
        room.write("moss.lock", self.lock)
        if kind != "cold":
            for (name, version), data in self.published.items():
                room.cache(name, version, data)
        if kind == "changed":
            shutil.copytree(self.folder / "project" / "packages", room.path("packages"))
            for number in range(PACKAGES):
                if chance.random() < 0.7:
                    change = chance.choice(CHANGES)
                    change(room.path(f"packages/package-{number:02}"), chance)
            for name in STRANGERS:
                shutil.copytree(
                    self.folder / "project" / "packages" / "package-03",
                    room.path(f"packages/{name}"),
                )
        return room


def by_package(tree):
    """{name of a package: what is below its directory}, without what is staged."""
    found = {}
    for name, data in tree.items():
        package, slash, rest = name.removeprefix("packages/").partition("/")
        if name.startswith("packages/") and slash and not package.startswith(".staging-"):
            found.setdefault(package, {})[rest] = data
    return found


def half_done(before, after, expected):
    """What the kill left that is neither as it was nor as it should become."""
    complaints = []
    for name in sorted({*before, *after, *expected}):
        if after.get(name) not in (before.get(name), expected.get(name)):
            complaints.append(f"  half done after the kill: {name}")
    return complaints


def main():
    options = arguments("Kills locked installs at random moments.", rounds=20)
    print(f"kill_locked_install: seed {options.seed}")
    chance = random.Random(options.seed)
    with ScriptedRegistry() as registry, tempfile.TemporaryDirectory() as place:
        graph = Graph(Path(place), registry)
        state = {"killed": 0, "new": {}}

        def one_round(number, folder):
            kind = KINDS[number % len(KINDS)]
            if kind not in state:
                state[kind] = statistics.median(
                    seconds_of_install(
                        graph.prepared(folder / f"{kind}-{count}", kind, chance), "--locked"
                    )
                    for count in range(3)
                )
                print(f"undisturbed, {kind}: {state[kind]:.3f} s")
            room = graph.prepared(folder / "room", kind, chance)
            before = by_package(room.tree())
            expected = by_package(graph.expected)
            # A little beyond the end, because no two installs take equally long.
            moment = chance.uniform(0, 1.2 * state[kind])
            state["killed"] += kill_after(room, moment, "--locked")
            after = by_package(room.tree())
            complaints = half_done(before, after, expected)
            new = sum(after.get(name) == expected[name] for name in expected)
            state["new"][new] = state["new"].get(new, 0) + 1
            complaints += complaints_afterwards(room, graph.expected, graph.published, "--locked")
            if complaints:
                complaints.insert(0, f"{kind}, killed after {moment:.4f} s, seed {options.seed}")
            return complaints

        try:
            run_rounds("kill_locked_install", options, one_round)
        finally:
            print(f"{state['killed']} of {options.rounds} were killed while running")
            spread = ", ".join(f"{key}: {state['new'][key]}" for key in sorted(state["new"]))
            print(f"right packages after the kill: {spread}")


if __name__ == "__main__":
    main()
