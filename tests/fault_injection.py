#!/usr/bin/python3
"""Makes every system call of a command fail and wants nothing to be lost by it.

    MOS_BIN=build/release/mos tests/fault_injection.py [--share N/M] [--command NAME]

A first run under strace shows which system calls a command makes. Then it is run again in a new room
for each of them twice: with that one call failing, and with it and every later call of its name, as
on a disk that is gone. Each run has to end by itself with success, and then with everything done, or
with one error and a status of its own, and to leave every file that others trust as it was or as it
should become; a plain second run has to make everything right. `--share 1/10` takes every tenth call
only, beginning with the first.
"""

import argparse
import collections
import concurrent.futures
import re
import signal
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
from dataclasses import dataclass, field
from pathlib import Path
from typing import Callable

from rounds import report_group  # isort: skip  (sets the path)
from harness import Room, ScriptedRegistry  # isort: skip
from harness.archives import archive  # isort: skip
from harness.room import tree_of  # isort: skip
from harness.system import program  # isort: skip

# What makes sense for each call; a call that is not named is not made to fail. (The kernel's brk
# does not report a failure by a number, so that it cannot be had this way.)
ERRORS = {
    "access": "EACCES",
    "clone": "EAGAIN",
    "clone3": "EAGAIN",
    "close": "EIO",
    "connect": "ECONNREFUSED",
    "copy_file_range": "EIO",
    "execve": "EACCES",
    "fchmod": "EPERM",
    "fchown": "EPERM",
    "fcntl": "EMFILE",
    "flock": "ENOLCK",
    "fsync": "EIO",
    "ftruncate": "EIO",
    "getcwd": "ENOENT",
    "getdents64": "EIO",
    "getpeername": "ENOTCONN",
    "getsockname": "ENOBUFS",
    "getsockopt": "ENOBUFS",
    "ioctl": "EIO",
    "lseek": "EIO",
    "mkdir": "ENOSPC",
    "mmap": "ENOMEM",
    "mprotect": "ENOMEM",
    "newfstatat": "EIO",
    "openat": "EMFILE",
    "pipe2": "EMFILE",
    "poll": "ENOMEM",
    "pread64": "EIO",
    "prlimit64": "EPERM",
    "read": "EIO",
    "readlink": "EIO",
    "recvfrom": "ECONNRESET",
    "rename": "EIO",
    "renameat2": "EIO",
    "rmdir": "EIO",
    "rt_sigaction": "EINVAL",
    "sendto": "ECONNRESET",
    "setsockopt": "ENOBUFS",
    "socket": "EMFILE",
    "socketpair": "EMFILE",
    "statx": "EIO",
    "unlink": "EIO",
    "unlinkat": "EIO",
    "vfork": "EAGAIN",
    "write": "ENOSPC",
}

# The first thing that the program itself does; before it, the system loads and starts it.
FIRST_OWN_CALL = re.compile(r"\brt_sigaction\(SIGPIPE, \{sa_handler=SIG_IGN")

# What may be missing after a success without a word: the lock file and, of a new project, the
# manifest.
UNREPORTED = {"project/moss.lock", "project/fresh/moss.toml"}

TOKEN = "abcdefgh12345678"
TIME_LIMIT = 60


@dataclass
class Command:
    """A command line, what it begins with, and which states of the files that others trust are
    right when it fails. A state is the content of a file, None where there is none."""

    words: list
    prepare: Callable
    stdin: bytes = b""
    trusted: dict = field(default_factory=dict)


def project(room):
    room.manifest({"web": "^1.0"})


def warm(room):
    project(room)
    for name, version, data in ARCHIVES:
        room.cache(name, version, data)


def installed(room):
    warm(room)
    room.run("install")


def locked(room):
    """Everything is cached and locked; of the packages one differs and one is too much."""
    installed(room)
    room.write("packages/web/moss.toml", "changed")
    room.write("packages/old/moss.toml", "old")


def sources(room):
    room.manifest()
    for number in range(3):
        room.write(f"src/part{number}/main.moss", f"fn part{number}() {{}}\n" * 2000)
    # So large that it is read once for its checksum and once more while it is packed.
    room.write("src/table.moss", "const number = 1\n" * 80000)


def logged_in(room):
    sources(room)
    room.env["MOS_TOKEN"] = TOKEN


ARCHIVES = [
    (name, "1.0.0", archive({"moss.toml": "x", "src/main.moss": name * 9000, "README.md": ""}))
    for name in ("web", "json", "text")
]

COMMANDS = {
    "install, nothing cached": Command(["install"], project),
    "install, all cached": Command(["install"], warm),
    "install --locked": Command(["install", "--locked"], locked),
    "add": Command(["add", "json@^1.0"], installed),
    "remove": Command(["remove", "web"], installed),
    "update": Command(["update"], installed),
    "package": Command(["package"], sources),
    "publish": Command(["publish"], logged_in),
    "login": Command(["login"], project, stdin=b"alice\nalice@host\nsecret\n"),
    "logout": Command(["logout"], lambda room: room.run("login", "--token", TOKEN)),
    "cache clean": Command(["cache", "clean"], warm),
    "new": Command(["new", "fresh"], lambda room: None),
    "clean": Command(["clean"], installed),
}


def publish_all(registry):
    needs = {"web": {"json": "^1.0", "text": "^1.0"}, "json": {"text": "^1.0"}, "text": {}}
    for name, version, data in ARCHIVES:
        registry.publish(name, version, needs[name], data=data)
    registry.on("POST", "/api/v1/packages/publish", body=b"{}")
    registry.on("POST", "/api/v1/auth/login", body=f'{{"token":"{TOKEN}","username":"alice"}}'.encode())


def new_room(folder, command, registry):
    folder.mkdir()
    room = Room(folder)
    room.env["MOS_REGISTRY"] = registry.url
    command.prepare(room)
    return room


def traced(room, command, log, options):
    """Runs the command under strace; returns (status, standard output, standard error)."""
    # Whatever is traced has to end with the one that traces.
    limit = ["timeout", "-s", "KILL", str(TIME_LIMIT)]
    words = [*limit, "strace", "-f", "-qq", "-o", str(log), *options, *program(), *command.words]
    return room.run_words(words, stdin=command.stdin, timeout=2 * TIME_LIMIT)


def calls_of(log):
    """{call: (first, last)}: which of its calls, counted from 1, a program makes by itself."""
    counts = collections.Counter()
    before = None
    for line in log.read_text(errors="replace").splitlines():
        match = re.match(r"(\d+) +(\w+)\(", line)
        if not match:
            continue
        if FIRST_OWN_CALL.search(line) and before is None:
            before = counts.copy()
            main = match.group(1)
        if before is None or match.group(1) == main:
            counts[match.group(2)] += 1
    return {name: (before[name] + 1, counts[name]) for name in counts if counts[name] > before[name]}


def trusted_state(room):
    """The files that later runs believe, by name."""
    names = ["moss.toml", "moss.lock"]
    state = {name: room.path(name).read_bytes() if room.exists(name) else None for name in names}
    credentials = room.home / "credentials.json"
    state["credentials.json"] = credentials.read_bytes() if credentials.exists() else None
    return state


def wrong_cache(room):
    """What is in the cache under the name of an archive and is not that archive."""
    right = {f"packages/{name}/{version}/{name}-{version}.mos": data for name, version, data in ARCHIVES}
    found = tree_of(room.home / "cache") if (room.home / "cache").exists() else {}
    return [
        name
        for name, data in found.items()
        if name.endswith(".mos") and not Path(name).name.startswith(".") and right.get(name) != data
    ]


def packages_in(tree):
    """{name: files} of what the directory `packages` holds."""
    packages = {}
    for name, data in tree.items():
        package, _, rest = name.partition("/")
        if not package.startswith(".staging-"):
            packages.setdefault(package, {})[rest] = data
    return packages


def packages_of(room):
    """The same of a project."""
    return packages_in(room.tree("packages") if room.path("packages").is_dir() else {})


def whole_tree(room):
    """Everything a user has afterwards: the project, the login and the cache."""
    tree = {f"project/{name}": data for name, data in room.tree().items()}
    for name, data in (tree_of(room.home) if room.home.exists() else {}).items():
        # Downloads that were left are taken over later; files that were to replace others go then.
        if not name.startswith("temp"):
            tree[f"home/{name}"] = data
    return {name: data for name, data in tree.items() if "/.mos-new-" not in name}


def outcome(result, is_mute=False):
    """The class of a run, or a complaint; one that is mute can write nothing any more."""
    if result.code == -signal.SIGKILL:
        return None, f"no end within {TIME_LIMIT} s"
    if result.code < 0 or result.code > 12:
        return None, f"status {result.code}: {result.err[-300:]}"
    if result.code == 0:
        return "success", None
    if not result.err.strip():
        return ("error", None) if is_mute else (None, f"status {result.code} without a word")
    if result.err.count("error") < 1 and "rror" not in result.err:
        return None, f"status {result.code}, no error: {result.err}"
    if result.err.startswith("Unexpected error"):
        return "unexpected error", None
    return "error", None


def one_fault(name, command, registry, expected, states, packages, call, number, lasting):
    """Runs with one fault, or with it and all that follow; returns (class, complaint)."""
    with tempfile.TemporaryDirectory(prefix="mos-fault-") as folder:
        room = new_room(Path(folder) / "room", command, registry)
        inject = f"inject={call}:error={ERRORS[call]}:when={number}{'+' if lasting else ''}"
        result = traced(room, command, Path(folder) / "log", ["-e", "trace=" + call, "-e", inject])
        kind, complaint = outcome(result, is_mute=lasting and call == "write")
        if complaint is None:
            state = trusted_state(room)
            for file, content in state.items():
                if content not in states[file]:
                    complaint = f"{file} is neither the old nor the new one: {content!r}"
            wrong = wrong_cache(room)
            if wrong:
                complaint = f"wrong in the cache: {wrong}"
            for package, files in packages_of(room).items():
                if files not in packages.get(package, []):
                    complaint = f"half of packages/{package}: {sorted(files)}"
        if complaint is None:
            complaint = second_run(room, command, kind, expected, packages)
    times = f"{number} and later" if lasting else number
    return kind, complaint and f"{name}, {call} {times}: {complaint}"


def second_run(room, command, kind, expected, packages):
    """What is wrong after one more run without a fault."""
    tree = whole_tree(room)
    changed = [key for key in {*tree, *expected} if tree.get(key) != expected.get(key)]
    if kind == "success" and not changed:
        return None
    if kind == "success" and not UNREPORTED.issuperset(changed):
        return f"success with another tree: {changed}"
    if command.words[0] == "remove" and kind != "success":
        # The manifest comes first: the second run does not find the name in it any more, and says
        # so. What could not be removed is where it was, or beside it until the next install.
        again = room.run(*command.words)
        gone = ("project/packages/web/", "project/packages/.staging-")
        left = {key: data for key, data in whole_tree(room).items() if not key.startswith(gone)}
        if left != expected:
            return f"after one more run: {again.all}, {sorted(left)}"
        again = room.run("add", "web@^1.0")
        if packages_of(room).get("web") not in packages["web"] or list(room.path("packages").glob(".*")):
            return f"added again: {again.all}, {sorted(room.tree('packages'))}"
        return None
    if command.words[0] == "new":
        return None  # a second run finds the directory and says so
    again = room.run(*command.words, stdin=command.stdin)
    if again.code != 0 and not (command.words[0] == "remove" and "not found" in again.err):
        return f"the run after it ({kind}): {again.all}"
    tree = whole_tree(room)
    if tree != expected:
        changed = [key for key in {*tree, *expected} if tree.get(key) != expected.get(key)]
        return f"after one more run: {changed}"
    return None


def examine(name, command, registry, share, folder):
    """The undisturbed end of a command, what it may leave in between, and its calls."""
    room = new_room(folder / "undisturbed", command, registry)
    before = trusted_state(room)
    packages = collections.defaultdict(list)
    for package, files in packages_of(room).items():
        packages[package].append(files)
    log = folder / "log"
    result = traced(room, command, log, ["-e", "trace=" + ",".join(sorted(ERRORS))])
    if result.code != 0:
        raise SystemExit(f"{name} fails undisturbed: {result.all}")
    after = trusted_state(room)
    for package, files in packages_of(room).items():
        packages[package].append(files)
    states = {file: [before[file], after[file]] for file in after}
    calls = [
        (call, number)
        for call, (first, last) in sorted(calls_of(log).items())
        for number in range(first, last + 1)
    ]
    return whole_tree(room), states, packages, calls[share[0] - 1 :: share[1]]


def main():
    parser = argparse.ArgumentParser(description="Makes every system call of a command fail.")
    parser.add_argument("--share", default="1/1", metavar="N/M", help="the Nth of every M calls")
    parser.add_argument("--command", choices=COMMANDS, action="append", help="only this one")
    parser.add_argument("--junitxml", metavar="FILE", help="write a JUnit report")
    options = parser.parse_args()
    share = [int(number) for number in options.share.split("/")]
    suite = ElementTree.Element("testsuite", name="fault_injection")
    print(f"{'command':26} {'calls':>6} {'runs':>6} {'success':>8} {'error':>6} {'unexpected':>11} {'bad':>4}")
    bad = 0
    for name in options.command or COMMANDS:
        command = COMMANDS[name]
        with ScriptedRegistry() as registry, tempfile.TemporaryDirectory() as folder:
            publish_all(registry)
            expected, states, packages, calls = examine(name, command, registry, share, Path(folder))
            faults = [(*call, lasting) for call in calls for lasting in (False, True)]
            with concurrent.futures.ThreadPoolExecutor(2) as pool:
                results = list(
                    pool.map(
                        lambda fault: one_fault(
                            name, command, registry, expected, states, packages, *fault
                        ),
                        faults,
                    )
                )
        kinds = collections.Counter(kind for kind, complaint in results if not complaint)
        complaints = [complaint for _, complaint in results if complaint]
        figures = (
            f"{name:26} {len(calls):6} {len(faults):6} {kinds['success']:8} {kinds['error']:6}"
            f" {kinds['unexpected error']:11}"
        )
        bad += report_group(suite, name, figures, complaints)
    if options.junitxml:
        ElementTree.ElementTree(suite).write(options.junitxml, encoding="utf-8")
    sys.exit(1 if bad else 0)


if __name__ == "__main__":
    main()
