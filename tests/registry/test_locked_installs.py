"""`mos install --locked` against a real registry: what was chosen once is what is installed again."""

import re
import shutil

import pytest

from harness import shown_path, status
from harness.room import tree_of
from live_registry import package

FINISHED = status("Finished", "installation of dependencies")

# Eight packages, three deep: app needs the first two.
GRAPH = {
    "web": ["http", "router"],
    "config": ["json"],
    "http": ["log", "url"],
    "router": ["url"],
    "json": ["text"],
    "log": ["text"],
    "url": [],
    "text": [],
}
ORDER = sorted(GRAPH)


def publish_all(server, token, version):
    """Publishes every package in this version, with files of its own."""
    for name in reversed(GRAPH):
        needs = "\n".join(f'{other} = "^1.0"' for other in GRAPH[name])
        files = {f"src/{name}.moss": f"// {version}\n", "src/deep/data.moss": name * 1000 + version}
        answer = server.publish(package(name, version, needs, files=files), token)
        assert answer.status in (200, 201)


def versions_in(packages):
    """{name: version} as the manifests below a packages directory say."""
    return {
        path.parent.name: re.search(r'^version = "(.*)"$', path.read_text(), re.MULTILINE)[1]
        for path in packages.glob("*/moss.toml")
    }


def asked_after_publishing(server):
    """What the server, which is stopped, was asked for after the last publication."""
    server.stop()
    asked = []
    for line in server.log(1):
        asked = [] if line["method"] == "POST" else [*asked, line["target"]]
    return asked


@pytest.fixture
def clone(room, server, token):
    """Clones the project that was locked in version 1.0.0 of everything, after 1.1.0 of everything
    was published; (the first project's packages, a function that makes a clone)."""
    publish_all(server, token, "1.0.0")
    room.manifest({"web": "^1.0", "config": "^1.0"})
    assert room.run("install").code == 0
    publish_all(server, token, "1.1.0")
    # A line of the log is written when its reply has gone, and what comes next may overtake it.
    while [line["method"] for line in server.log(1)].count("POST") < 2 * len(GRAPH):
        pass

    def made(name):
        place = room.root / name
        (place / "project").mkdir(parents=True)
        for file in ["moss.toml", "moss.lock"]:
            shutil.copyfile(room.path(file), place / "project" / file)
        room.env["MOSS_HOME"] = shown_path(place / "home")
        return place / "project"

    return room.tree("packages"), made


def test_a_clone_gets_what_was_locked_though_everything_has_newer_versions(room, clone):
    locked, made = clone
    assert len(locked) == 8 * 6
    project = made("locked")
    lock = (project / "moss.lock").read_bytes()
    assert room.run("install", "--locked", cwd=project).all == (
        0,
        "".join(status("Downloading", f"{name} v1.0.0") for name in ORDER) + FINISHED,
        "",
    )
    assert tree_of(project / "packages") == locked
    assert versions_in(project / "packages") == dict.fromkeys(GRAPH, "1.0.0")
    assert (project / "moss.lock").read_bytes() == lock


def test_a_plain_install_of_a_clone_gets_the_newer_versions(room, clone):
    _, made = clone
    project = made("plain")
    assert room.run("install", cwd=project).code == 0
    assert versions_in(project / "packages") == dict.fromkeys(GRAPH, "1.1.0")


def test_nothing_but_archives_is_asked_for(room, server, clone):
    _, made = clone
    project = made("asked")
    assert room.run("install", "--locked", cwd=project).code == 0
    assert asked_after_publishing(server) == [
        f"/api/v1/packages/{name}/1.0.0/download" for name in ORDER
    ]


def test_a_registry_that_has_gone_is_not_missed_with_a_warm_cache(room, server, clone):
    locked, made = clone
    project = made("offline")
    assert room.run("install", "--locked", cwd=project).code == 0
    server.stop()
    shutil.rmtree(project / "packages")
    assert room.run("install", "--locked", "--offline", cwd=project).all == (
        0,
        "".join(status("Unpacking", f"{name} v1.0.0 (cached)") for name in ORDER) + FINISHED,
        "",
    )
    assert tree_of(project / "packages") == locked


def test_packages_of_another_choice_become_the_locked_ones(room, clone):
    locked, made = clone
    project = made("changed")
    lock = (project / "moss.lock").read_bytes()
    assert room.run("update", cwd=project).code == 0
    assert versions_in(project / "packages") == dict.fromkeys(GRAPH, "1.1.0")
    (project / "moss.lock").write_bytes(lock)
    assert room.run("install", "--locked", cwd=project).code == 0
    assert tree_of(project / "packages") == locked
