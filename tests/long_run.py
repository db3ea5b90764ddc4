#!/usr/bin/python3
"""Installs very often in one tool home and wants nothing to pile up.

    MOS_BIN=build/release/mos tests/long_run.py [--installs N] [--rounds N]

First one project is installed again and again, with an empty cache now and then: what the home holds
after the last install must be what it held after the first ones, file by file, with nothing in `temp`.
Then 16 processes install in as many projects with the same home, `cache clean` running in between all
the time; each has to end well with the right packages, and nothing may be left of all that.
"""

import argparse
import random
import shutil
import sys
import tempfile
import threading
import xml.etree.ElementTree as ElementTree
from pathlib import Path

from rounds import differences  # isort: skip  (sets the path)
from harness import Room, ScriptedRegistry
from harness.room import tree_of

PROCESSES = 16
EMPTY_CACHE_EVERY = 10
LOOK_EVERY = 250
PACKAGES = [f"package-{letter}" for letter in "abcdef"]


def publish_all(registry):
    """Each package needs the next; one is larger than what is written at once."""
    chance = random.Random(1)
    for number, name in enumerate(PACKAGES):
        size = 300_000 if number == 3 else 3_000
        files = {
            "moss.toml": f'[package]\nname = "{name}"\nversion = "1.0.0"\n',
            "src/main.moss": chance.randbytes(size),
        }
        needs = {next_: "^1.0" for next_ in PACKAGES[number + 1 : number + 2]}
        registry.publish(name, "1.0.0", needs, files=files)


def new_room(folder, registry, home=None):
    folder.mkdir(parents=True)
    room = Room(folder)
    room.env["MOS_REGISTRY"] = registry.url
    if home is not None:
        room.env["MOSS_HOME"] = str(home)
    room.manifest({PACKAGES[0]: "^1.0"})
    return room


def install_anew(room):
    """Installs into a project without packages; what is wrong, if anything."""
    shutil.rmtree(room.path("packages"), ignore_errors=True)
    result = room.run("install")
    return None if result.code == 0 else f"an install fails: {result.all}"


def one_after_the_other(folder, registry, installs):
    """What went wrong in so many installs of one project."""
    room = new_room(folder / "alone", registry)
    project, home = None, None
    for number in range(1, installs + 1):
        if number % EMPTY_CACHE_EVERY == 0:
            room.run("cache", "clean")
        if complaint := install_anew(room):
            return [f"install {number}: {complaint}"]
        if project is None:
            project, home = room.tree(), tree_of(room.home)
        if number % LOOK_EVERY == 0 or number == installs:
            found = differences(project, room.tree()) + differences(home, tree_of(room.home))
            if found:
                return [f"after {number} installs:", *found]
    left = [name for name in home if name.startswith("temp/") and name != "temp/"]
    files = sum(1 for name in home if not name.endswith("/"))
    size = sum(len(data) for data in home.values() if data)
    print(f"{installs} installs: the home holds {files} files of {size} bytes, as after the first one")
    return [f"left in temp: {left}"] if left else []


def all_at_once(folder, registry, rounds):
    """What went wrong in so many installs of 16 projects at the same time."""
    home = folder / "shared-home"
    rooms = [new_room(folder / str(number), registry, home) for number in range(PROCESSES)]
    complaints, finished, cleanings = [], threading.Event(), 0
    if complaint := install_anew(rooms[0]):
        return [complaint]
    expected = rooms[0].tree()

    def install_in(number):
        room = rooms[number]
        for turn in range(rounds):
            complaint = install_anew(room)
            found = [complaint] if complaint else differences(expected, room.tree())
            if found:
                complaints.extend([f"project {number}, install {turn + 1}:", *found])
                return

    threads = [threading.Thread(target=install_in, args=(number,)) for number in range(PROCESSES)]
    for thread in threads:
        thread.start()
    while any(thread.is_alive() for thread in threads):
        result = rooms[0].run("cache", "clean")
        cleanings += 1
        if result.code != 0:
            complaints.append(f"cache clean: {result.all}")
            break
        finished.wait(0.05)
    for thread in threads:
        thread.join()
    rooms[0].run("cache", "clean")
    left = [name for name in tree_of(home) if not name.endswith("/")]
    if left:
        complaints.append(f"left in the home after all: {left}")
    print(f"{PROCESSES * rounds} installs in {PROCESSES} processes, {cleanings} times cache clean")
    return complaints


def main():
    parser = argparse.ArgumentParser(description="Installs very often in one tool home.")
    parser.add_argument("--installs", type=int, default=10_000, help="of one project")
    parser.add_argument("--rounds", type=int, default=100, help="of 16 projects at once")
    parser.add_argument("--junitxml", metavar="FILE", help="write a JUnit report")
    options = parser.parse_args()
    suite = ElementTree.Element("testsuite", name="long_run")
    failed = False
    with ScriptedRegistry() as registry, tempfile.TemporaryDirectory(prefix="mos-long-") as folder:
        publish_all(registry)
        for name, run in (
            ("one after the other", lambda: one_after_the_other(Path(folder), registry, options.installs)),
            ("all at once", lambda: all_at_once(Path(folder), registry, options.rounds)),
        ):
            complaints = run()
            case = ElementTree.SubElement(suite, "testcase", classname="long_run", name=name)
            if complaints:
                failed = True
                print(f"{name}:", *complaints, sep="\n")
                ElementTree.SubElement(case, "failure").text = "\n".join(complaints)
    if options.junitxml:
        ElementTree.ElementTree(suite).write(options.junitxml, encoding="utf-8")
    print("long_run: failed" if failed else "long_run: passed")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
