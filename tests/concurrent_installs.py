#!/usr/bin/python3
"""Runs many `mos install` at once on one tool home and wants each project to get what it asked for.

    MOS_BIN=build/release/mos tests/concurrent_installs.py [--rounds N]

The projects want different versions of the same packages in different orders, so that all of them
fight for the same download files and the same places in the cache.
"""

import random

from rounds import arguments, differences, run_rounds  # isort: skip  (sets the path)
from harness import Room, ScriptedRegistry, archive, shown_path
from harness.room import tree_of

PROJECTS = 16
VERSIONS = ["1.0.0", "1.1.0", "2.0.0", "2.0.1-rc.1"]
PACKAGES = [f"package-{letter}" for letter in "abcdef"]


def files_of(name, version):
    chance = random.Random(f"{name} {version}")
    files = {"moss.toml": f'[package]\nname = "{name}"\nversion = "{version}"\n'.encode()}
    for index in range(4):
        files[f"src/file{index}.moss"] = chance.randbytes(chance.randrange(200_000))
    return files


def expected_packages(wanted):
    """The tree of `packages` for {name: version}."""
    tree = {}
    for name, version in wanted.items():
        tree[f"{name}/"] = None
        tree[f"{name}/src/"] = None
        for path, data in files_of(name, version).items():
            tree[f"{name}/{path}"] = data
    return tree


def main():
    options = arguments("Installs in many projects at once.", rounds=2)
    print(f"concurrent_installs: seed {options.seed}")
    chance = random.Random(options.seed)
    with ScriptedRegistry() as registry:
        for name in PACKAGES:
            for version in VERSIONS:
                registry.publish(name, version, files=files_of(name, version))

        def one_round(_, folder):
            home = folder / "home"
            rooms, wishes = [], []
            for number in range(PROJECTS):
                (folder / str(number)).mkdir()
                room = Room(folder / str(number))
                room.env.update(MOS_REGISTRY=registry.url, MOSS_HOME=shown_path(home))
                names = chance.sample(PACKAGES, len(PACKAGES))
                wanted = {name: chance.choice(VERSIONS) for name in names}
                room.manifest({name: f"={version}" for name, version in wanted.items()})
                rooms.append(room)
                wishes.append(wanted)
            processes = [room.start("install") for room in rooms]
            complaints = []
            for number, (room, wanted, process) in enumerate(zip(rooms, wishes, processes)):
                out, err = process.communicate(timeout=120)
                if process.returncode != 0:
                    complaints.append(f"project {number}: exit {process.returncode} {err} {out}")
                complaints += [
                    f"project {number}: {line.strip()}"
                    for line in differences(expected_packages(wanted), room.tree("packages"))
                ]
            left = tree_of(home / "temp")
            if left:
                complaints.append(f"left in temp: {sorted(left)}")
            for name, version in {pair for wanted in wishes for pair in wanted.items()}:
                cached = home / "cache" / "packages" / name / version / f"{name}-{version}.mos"
                if not cached.is_file() or cached.read_bytes() != archive(files_of(name, version)):
                    complaints.append(f"wrong in the cache: {name} {version}")
            return complaints

        run_rounds("concurrent_installs", options, one_round)


if __name__ == "__main__":
    main()
