#!/usr/bin/python3
"""Kills `mos install` at random moments and wants one plain install to make everything whole.

    MOS_BIN=build/release/mos tests/kill_install.py [--rounds N] [--seed N]

Odd rounds start with an empty tool home, even ones with every package cached. After the kill and
one more install, the project directory must be what an undisturbed install leaves, name by name
and byte by byte, and the cache must hold right archives under their names and nothing else.
"""

import random
import statistics
import subprocess
import time

from rounds import arguments, differences, run_rounds  # isort: skip  (sets the path)
from harness import Room, ScriptedRegistry, status
from harness.room import tree_of

PACKAGES = 12
FILES = 8
LARGE = 4 * 1024 * 1024
MEASURE_EVERY = 20
FINISHED = (0, status("Finished", "installation of dependencies"), "")


def publish_graph(registry):
    """Publishes a chain in which each needs the next two; returns {(name, version): archive}."""
    published = {}
    chance = random.Random(1)
    for number in range(PACKAGES):
        name = f"package-{number:02}"
        files = {"moss.toml": f'[package]\nname = "{name}"\nversion = "1.{number}.0"\n'}
        for index in range(FILES):
            size = LARGE if (number, index) == (5, 3) else chance.randrange(30_000)
            files[f"src/part{index % 3}/file{index}.moss"] = chance.randbytes(size)
        needed = [f"package-{next_:02}" for next_ in (number + 1, number + 2) if next_ < PACKAGES]
        version = f"1.{number}.0"
        published[name, version] = registry.publish(
            name, version, {other: "^1.0" for other in needed}, files=files
        )
    return published


def new_room(folder, registry):
    folder.mkdir(exist_ok=True)
    room = Room(folder)
    room.env["MOS_REGISTRY"] = registry.url
    room.manifest({"package-00": "^1.0"})
    return room


def seconds_of_install(room, *options):
    began = time.monotonic()
    result = room.run("install", *options)
    if result.code != 0:
        raise SystemExit(f"an undisturbed install fails:\n{result.out}{result.err}")
    return time.monotonic() - began


def kill_after(room, seconds, *options):
    """Starts an install and kills it; returns whether it was still running."""
    process = room.start("install", *options)
    try:
        process.wait(seconds)
        was_running = False
    except subprocess.TimeoutExpired:
        process.kill()
        was_running = True
    process.communicate()
    return was_running


def packages_in_place(room):
    """How many packages the killed install left in their places; -1 without a lock file."""
    if not room.exists("moss.lock"):
        return -1
    return sum(room.exists(f"packages/package-{number:02}") for number in range(PACKAGES))


def wrong_files_in_cache(room, published):
    expected = {
        room.cached(name, version).relative_to(room.home / "cache").as_posix(): data
        for (name, version), data in published.items()
    }
    found = {
        name: data for name, data in tree_of(room.home / "cache").items() if not name.endswith("/")
    }
    return [f"  cache: {line.strip()}" for line in differences(expected, found)]


def complaints_afterwards(room, expected, published, *options):
    """What is wrong once an install has followed the one that was killed, and another one that."""
    complaints = []
    result = room.run("install", *options)
    if result.code != 0:
        complaints.append(f"install after the kill: {result.all}")
    complaints += differences(expected, room.tree())
    complaints += wrong_files_in_cache(room, published)
    last = room.run("install", *options).all
    if last != FINISHED:
        complaints.append(f"one more install: {last}")
    return complaints


def main():
    options = arguments("Kills installs at random moments.", rounds=20)
    print(f"kill_install: seed {options.seed}")
    chance = random.Random(options.seed)
    with ScriptedRegistry() as registry:
        published = publish_graph(registry)
        state = {"killed": 0, "found": {}}

        def measure(folder):
            """Learns what an undisturbed install leaves and how long it takes, cold and warm."""
            cold, warm = [], []
            for number in range(3):
                room = new_room(folder / f"measure-{number}", registry)
                cold.append(seconds_of_install(room))
                state["expected"] = room.tree()
                again = new_room(folder / f"measure-again-{number}", registry)
                again.env["MOSS_HOME"] = room.env["MOSS_HOME"]
                warm.append(seconds_of_install(again))
            if "cold" not in state:
                print(f"undisturbed: {min(cold):.3f} s cold, {min(warm):.3f} s warm", flush=True)
            state["cold"], state["warm"] = statistics.median(cold), statistics.median(warm)

        def one_round(number, folder):
            # What else the machine does changes how long an install takes.
            if number % MEASURE_EVERY == 1:
                measure(folder)
            room = new_room(folder / "room", registry)
            kind = "cold" if number % 2 == 1 else "warm"
            if kind == "warm":
                for (name, version), data in published.items():
                    room.cache(name, version, data)
            # A little beyond the end, because no two installs take equally long.
            moment = chance.uniform(0, 1.2 * state[kind])
            state["killed"] += kill_after(room, moment)
            found = packages_in_place(room)
            state["found"][found] = state["found"].get(found, 0) + 1
            complaints = complaints_afterwards(room, state["expected"], published)
            if complaints:
                complaints.insert(0, f"{kind}, killed after {moment:.4f} s, seed {options.seed}")
            return complaints

        try:
            run_rounds("kill_install", options, one_round)
        finally:
            print(f"{state['killed']} of {options.rounds} were killed while running")
            spread = ", ".join(f"{key}: {state['found'][key]}" for key in sorted(state["found"]))
            print(f"packages in place after the kill (-1: no lock file yet): {spread}")


if __name__ == "__main__":
    main()
