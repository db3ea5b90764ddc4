#!/usr/bin/python3
"""Runs commands on disks that fill up and on disks that cannot be written, and wants nothing to be
lost by it.

    MOS_BIN=build/release/mos tests/full_disks.py [--share N/M] [--command NAME]

The tool home, the project, its `packages`, or everything lies on a small file system in memory that
takes a few pages, or a few files, more than it holds when the command starts: 50 different sizes
from nothing to more than the command needs, every number of files, and none at all when it is
read-only. Each run has to end by itself with success or with one error and a status of its own;
every file that others trust is as it was or as it should become, a package is whole or not there;
and once the disk is large again, a plain second run makes everything right. `--share 1/10` takes
every tenth disk only, beginning with the first.

The file systems are mounted in a name space of this process alone, so that none is left behind.
Where the system allows neither that nor a user name space, nothing is tested, and said so.
"""

import argparse
import collections
import concurrent.futures
import ctypes
import os
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
from pathlib import Path

from fault_injection import (  # isort: skip  (sets the path)
    ARCHIVES,
    COMMANDS,
    outcome,
    packages_in,
    publish_all,
    second_run,
    trusted_state,
    whole_tree,
    wrong_cache,
)
from rounds import report_group  # isort: skip
from harness import Room, ScriptedRegistry  # isort: skip
from harness.room import tree_of  # isort: skip

PAGE = 4096
ROOMY = (16384, 10000)  # pages and files
SIZES = 50
TIME_LIMIT = 60

MS_RDONLY, MS_REMOUNT, MNT_DETACH = 1, 32, 2
LIBC = ctypes.CDLL(None, use_errno=True)


class Disk:
    """A file system in memory at `path`, from `with` to the end of the block."""

    def __init__(self, path):
        self.path = Path(path)
        self.path.mkdir(parents=True, exist_ok=True)

    def __enter__(self):
        self.mount(0, ROOMY)
        return self

    def __exit__(self, *_):
        LIBC.umount2(os.fsencode(self.path), MNT_DETACH)

    def mount(self, flags, limits):
        options = f"size={limits[0] * PAGE},nr_inodes={limits[1]},mode=755".encode()
        if LIBC.mount(b"none", os.fsencode(self.path), b"tmpfs", flags, options) != 0:
            reason = os.strerror(ctypes.get_errno())
            raise OSError(f"no file system at {self.path} with {options}: {reason}")

    def shrink(self, pages, files):
        """Leaves room for so many pages and files more; None is plenty."""
        state = os.statvfs(self.path)
        used = (state.f_blocks - state.f_bfree, state.f_files - state.f_ffree)
        # A size of 0 would be no limit.
        wanted = (ROOMY[0] if pages is None else max(1, used[0] + pages),
                  ROOMY[1] if files is None else max(1, used[1] + files))
        self.mount(MS_REMOUNT, wanted)

    def protect(self):
        self.mount(MS_REMOUNT | MS_RDONLY, ROOMY)

    def enlarge(self):
        self.mount(MS_REMOUNT, ROOMY)


# {what lies on the small disk: its path in a room's folder}
PLACES = {"home": "home", "project": "project", "packages": "project/packages", "everything": "."}

# The commands that write; `logout` and `clean` only remove.
WRITERS = [
    "install, nothing cached",
    "install, all cached",
    "add",
    "remove",
    "update",
    "package",
    "publish",
    "login",
    "cache clean",
    "new",
]


class Trial:
    """One command in a new room, one of whose places is on a disk of its own."""

    def __init__(self, folder, name, place, registry):
        self.name = name
        self.command = COMMANDS[name]
        self.root = Path(folder) / "room"
        self.place = place
        self.registry = registry

    def __enter__(self):
        if self.place == "everything":
            self.disk = Disk(self.root).__enter__()
            self.room = Room(self.root)
        else:
            self.root.mkdir()
            self.room = Room(self.root)
            self.disk = Disk(self.root / PLACES[self.place]).__enter__()
        self.room.env["MOS_REGISTRY"] = self.registry.url
        self.command.prepare(self.room)
        return self

    def __exit__(self, *_):
        self.disk.__exit__()

    def run(self):
        return self.room.run(*self.command.words, stdin=self.command.stdin, timeout=TIME_LIMIT)


def smallest_that_serves(folder, name, place, registry, resource):
    """How many pages or files more the command needs to succeed."""
    def serves(amount):
        with tempfile.TemporaryDirectory(dir=folder) as inner:
            with Trial(inner, name, place, registry) as trial:
                limits = {"pages": None, "files": None, resource: amount}
                trial.disk.shrink(**limits)
                return trial.run().code == 0

    low, high = -1, 1
    while not serves(high):
        low, high = high, high * 2
    while high - low > 1:
        middle = (low + high) // 2
        low, high = (low, middle) if serves(middle) else (middle, high)
    return high


def disks_for(folder, name, place, registry):
    """What the command meets: ("pages" or "files", how many), and the read-only disk."""
    pages = smallest_that_serves(folder, name, place, registry, "pages")
    files = smallest_that_serves(folder, name, place, registry, "files")
    step = max(1, -(-pages // (SIZES - 2)))
    return (
        [("pages", number * step) for number in range(SIZES)]
        + [("files", number) for number in range(files + 2)]
        + [("read-only", 0)]
    )


def wrong_packages(room, whole):
    """The packages that are there and not whole."""
    found = tree_of(room.path("packages")) if room.exists("packages") else {}
    names = {name.split("/")[0] for name in found} & {name for name, _, _ in ARCHIVES}
    def files_of(tree, name):
        return {key: data for key, data in tree.items() if key.startswith(name + "/")}

    return [name for name in sorted(names) if files_of(found, name) != files_of(whole, name)]


def half_files_of_new(room, expected):
    """What is there of a new project and is not what it should be."""
    found = whole_tree(room)
    return [name for name, data in found.items() if expected.get(name, data) != data]


def one_disk(folder, name, place, registry, known, kind, amount):
    """Runs the command on one disk; returns (class, complaint)."""
    where = f"{name}, {place}, {kind} {amount}"
    with tempfile.TemporaryDirectory(dir=folder) as inner:
        with Trial(inner, name, place, registry) as trial:
            room = trial.room
            before = whole_tree(room)
            if kind == "read-only":
                trial.disk.protect()
            else:
                trial.disk.shrink(**{"pages": None, "files": None, kind: amount})
            try:
                result = trial.run()
            except subprocess.TimeoutExpired:
                return None, f"{where}: no end within {TIME_LIMIT} s"
            group, complaint = outcome(result)
            complaint = complaint or what_is_wrong(trial, known, kind, group, before)
            if complaint is None:
                trial.disk.enlarge()
                packages = {name: [files] for name, files in packages_in(known["packages"]).items()}
                complaint = second_run(room, trial.command, group, known["tree"], packages)
            if complaint:
                complaint = f"{where}: {complaint}\n    {result.all}"
            return group, complaint


def what_is_wrong(trial, known, kind, group, before):
    """What nobody may find after a run, whatever came of it; None when all is well."""
    room = trial.room
    for file, content in trusted_state(room).items():
        if content not in known["states"][file]:
            return f"{file} is neither the old nor the new one: {content!r}"
    if wrong := wrong_cache(room):
        return f"wrong in the cache: {wrong}"
    if wrong := wrong_packages(room, known["packages"]):
        return f"half of a package: {wrong}"
    if trial.name == "new" and (wrong := half_files_of_new(room, known["tree"])):
        return f"half of a file: {wrong}"
    if kind == "read-only" and trial.place == "everything" and whole_tree(room) != before:
        return "a disk that cannot be written has changed"
    return None


def examine(folder, name, place, registry):
    """What the command leaves when nothing is in its way."""
    with tempfile.TemporaryDirectory(dir=folder) as inner:
        with Trial(inner, name, place, registry) as trial:
            before = trusted_state(trial.room)
            result = trial.run()
            if result.code != 0:
                raise SystemExit(f"{name} fails on a large disk: {result.all}")
            after = trusted_state(trial.room)
            return {
                "states": {file: [before[file], after[file]] for file in after},
                "tree": whole_tree(trial.room),
            }


def whole_packages(registry):
    """What `packages` holds after an undisturbed install."""
    with tempfile.TemporaryDirectory() as folder:
        with Trial(folder, "install, nothing cached", "everything", registry) as trial:
            trial.run()
            return tree_of(trial.room.path("packages"))


def all_disks(name, share):
    """[(class, complaint)] of every disk that the command meets."""
    results = []
    with ScriptedRegistry() as registry, tempfile.TemporaryDirectory(prefix="mos-disk-") as folder:
        publish_all(registry)
        packages = whole_packages(registry)
        for place in PLACES:
            known = {**examine(folder, name, place, registry), "packages": packages}
            disks = disks_for(folder, name, place, registry)[share[0] - 1 :: share[1]]
            with concurrent.futures.ThreadPoolExecutor(2) as pool:
                results += pool.map(
                    lambda disk: one_disk(folder, name, place, registry, known, *disk), disks
                )
    return results


def enter_name_space():
    """Goes on in a name space in which file systems can be mounted, or ends and says why not."""
    if os.environ.get("MOS_TEST_NAME_SPACE") or shutil.which("unshare") is None:
        return
    for flags in ("-m", "-Urm"):
        probe = ["unshare", flags, "mount", "-t", "tmpfs", "none", "/mnt"]
        if subprocess.run(probe, capture_output=True, check=False).returncode == 0:
            environment = {**os.environ, "MOS_TEST_NAME_SPACE": "1"}
            words = ["unshare", flags, sys.executable, *sys.argv]
            os.execvpe(words[0], words, environment)


def main():
    parser = argparse.ArgumentParser(description="Runs commands on full and read-only disks.")
    parser.add_argument("--share", default="1/1", metavar="N/M", help="the Nth of every M disks")
    parser.add_argument("--command", choices=WRITERS, action="append", help="only this one")
    parser.add_argument("--junitxml", metavar="FILE", help="write a JUnit report")
    options = parser.parse_args()
    enter_name_space()
    suite = ElementTree.Element("testsuite", name="full_disks")
    bad = 0
    if os.environ.get("MOS_TEST_NAME_SPACE"):
        bad = run_all(options, suite)
    else:
        reason = "full_disks: skipped, this system lets nobody here mount a file system"
        print(reason)
        case = ElementTree.SubElement(suite, "testcase", classname="full_disks", name="all")
        ElementTree.SubElement(case, "skipped").text = reason
    if options.junitxml:
        ElementTree.ElementTree(suite).write(options.junitxml, encoding="utf-8")
    sys.exit(1 if bad else 0)


def run_all(options, suite):
    """Prints the table and returns how many runs were bad."""
    share = [int(number) for number in options.share.split("/")]
    print(f"{'command':26} {'disks':>6} {'success':>8} {'error':>6} {'unexpected':>11} {'bad':>4}")
    bad = 0
    for name in options.command or WRITERS:
        results = all_disks(name, share)
        kinds = collections.Counter(kind for kind, complaint in results if not complaint)
        complaints = [complaint for _, complaint in results if complaint]
        figures = (
            f"{name:26} {len(results):6} {kinds['success']:8} {kinds['error']:6}"
            f" {kinds['unexpected error']:11}"
        )
        bad += report_group(suite, name, figures, complaints)
    return bad


if __name__ == "__main__":
    main()
