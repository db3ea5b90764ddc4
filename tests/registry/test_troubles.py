"""Files, directories and databases that are not as the server needs them."""

import contextlib
import hashlib
import os
import re
import resource
import shutil
import sqlite3
import stat
import subprocess

import pytest
from harness.room import tree_of
from live_registry import LiveRegistry, package, registry_program

PROBLEM = (500, {"error": "the registry has a problem of its own; try again later"})
NOT_STORED = (507, {"error": "the upload could not be stored"})


def without_times(said):
    """The lines that a server has reported."""
    time = r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z "
    return [re.sub(time, "", line) for line in said.splitlines()]


def reported(server):
    """The lines that a server has reported when it has ended."""
    status, said = server.stop()
    lines = without_times(said)
    assert (status, lines.pop()) == (0, "mos-registry: ended")
    return lines


def change_database(server, *statements):
    """What no part of the registry does to its database."""
    with contextlib.closing(sqlite3.connect(server.data / "registry.db")) as database:
        for statement in statements:
            database.execute(statement)
        database.commit()


def test_a_database_that_does_not_answer_is_not_the_clients_fault(server, token):
    server.add_user("me", "swordfish and more")
    change_database(
        server, "ALTER TABLE packages RENAME TO gone", "ALTER TABLE users RENAME TO people"
    )
    assert server.get("/json").all == PROBLEM
    assert server.login("me", "swordfish and more").all == PROBLEM
    assert server.publish(package("json", "1.0.0"), token).all == PROBLEM
    change_database(
        server, "ALTER TABLE gone RENAME TO packages", "ALTER TABLE people RENAME TO users"
    )
    assert server.publish(package("json", "1.0.0"), token).status == 201
    assert reported(server) == [
        "mos-registry: database: no such table: packages",
        "mos-registry: database: no such table: users",
        "mos-registry: database: no such table: users",
    ]


def test_an_upload_that_finds_no_table_for_it_is_not_the_clients_fault(server, token):
    change_database(server, "ALTER TABLE versions RENAME TO gone")
    assert server.publish(package("json", "1.0.0"), token).all == PROBLEM
    change_database(server, "ALTER TABLE gone RENAME TO versions")
    assert list((server.data / "incoming").iterdir()) == []
    assert reported(server) == ["mos-registry: database: no such table: versions"]


def test_an_upload_that_the_disk_does_not_take_is_not_stored(server, token):
    _, hard = resource.prlimit(server.process.pid, resource.RLIMIT_FSIZE)
    resource.prlimit(server.process.pid, resource.RLIMIT_FSIZE, (10, hard))
    assert server.publish(package("json", "1.0.0"), token).all == NOT_STORED
    resource.prlimit(server.process.pid, resource.RLIMIT_FSIZE, (hard, hard))
    assert list((server.data / "incoming").iterdir()) == []
    (line,) = reported(server)
    assert re.fullmatch(
        rf"mos-registry: cannot write {server.data}/incoming/[0-9a-f]{{32}}: File too large", line
    )


def test_without_a_place_for_uploads_there_are_none(server, token):
    (server.data / "incoming").rmdir()
    assert server.publish(package("json", "1.0.0"), token).all == NOT_STORED
    (line,) = reported(server)
    assert re.fullmatch(
        rf"mos-registry: cannot create {server.data}/incoming/[0-9a-f]{{32}}:"
        r" No such file or directory",
        line,
    )


def test_without_a_place_for_its_archive_a_version_is_not_stored(server, token):
    data = package("json", "1.0.0")
    digest = hashlib.sha256(data).hexdigest()
    (server.data / "archives" / digest[:2]).rmdir()
    assert server.publish(data, token).all == NOT_STORED
    assert server.get("/json").status == 404
    assert reported(server) == [
        f"mos-registry: cannot move to {server.data}/archives/{digest[:2]}/{digest}.mos:"
        " No such file or directory"
    ]


def test_an_archive_that_is_lost_is_not_handed_out(server, token):
    data = package("json", "1.0.0")
    digest = hashlib.sha256(data).hexdigest()
    assert server.publish(data, token).status == 201
    place = server.data / "archives" / digest[:2] / f"{digest}.mos"
    place.unlink()
    lost = (500, {"error": "the registry has lost this archive"})
    assert server.get("/json/1.0.0/download").all == lost
    public = server.data / "public" / "api" / "v1" / "packages" / "json" / "1.0.0" / "download"
    # Its public file is another name of the same bytes, which a server does not need to make anew.
    public.unlink()
    missing = f"mos-registry: cannot copy {place} to {public}.new: No such file or directory"
    assert reported(server) == [f"mos-registry: cannot open the archive {place}", missing]
    server.start()
    assert without_times(server.reported) == [missing]
    assert server.get("/json/versions").body == b'["1.0.0"]\n'
    assert server.publish(data, token).status == 200
    assert server.get("/json/1.0.0/download").body == data
    assert reported(server) == []
    server.assert_clean(versions=1)


def test_what_a_killed_server_left_of_an_upload_goes_with_the_next_start(server):
    server.stop()
    (server.data / "incoming" / "0123456789abcdef").write_text("half an arch")
    server.start()
    assert list((server.data / "incoming").iterdir()) == []


@pytest.mark.parametrize(
    ("name", "message"),
    [
        ("registry.db", "cannot open the database {data}/registry.db"),
        ("archives", "cannot create {data}/archives: Not a directory"),
        ("incoming", "cannot create {data}/incoming: Not a directory"),
        ("lock", "cannot open {data}/lock"),
    ],
)
def test_a_data_directory_that_cannot_be_used_is_told(server, name, message):
    server.stop()
    place = server.data / name
    if place.is_dir():
        shutil.rmtree(place)
        place.write_text("")
    else:
        place.unlink()
        place.mkdir()
    told = f"mos-registry: {message.format(data=server.data)}\n"
    assert server.command("serve", "--listen", "127.0.0.1:0") == (1, "", told)


def test_an_access_log_that_cannot_be_opened_is_told(tmp_path):
    server = LiveRegistry(tmp_path)
    words = ["serve", "--listen", "127.0.0.1:0", "--access-log", str(tmp_path / "none" / "log")]
    assert server.command(*words) == (
        1,
        "",
        f"mos-registry: cannot open the access log {tmp_path}/none/log\n",
    )


@pytest.mark.parametrize("is_there", [True, False], ids=["empty", "missing"])
@pytest.mark.parametrize("word", ["serve", "rebuild"])
def test_a_lost_database_is_not_taken_for_a_new_one(server, token, word, is_there):
    assert server.publish(package("json", "1.0.0"), token).status == 201
    server.stop()
    kept = tree_of(server.data / "public")
    for file in server.data.glob("registry.db*"):
        file.unlink()
    database = server.data / "registry.db"
    if is_there:
        database.touch()
    words = ["serve", "--listen", "127.0.0.1:0"] if word == "serve" else [word]
    lost = f"the database {database} is missing or empty, and there are archives"
    told = f"mos-registry: {lost}: put it back from a copy\n"
    if word == "rebuild" and not is_there:
        told = f"mos-registry: there is no registry in {server.data}\n"
    assert server.command(*words) == (1, "", told)
    assert tree_of(server.data / "public") == kept


def test_nobody_else_may_write_what_the_registry_trusts(tmp_path):
    before = os.umask(0)
    try:
        with LiveRegistry(tmp_path / "data") as server:
            assert server.publish(package("json", "1.0.0"), server.token()).status == 201
            found = [server.data, *server.data.rglob("*")]
            assert [path for path in found if stat.S_IMODE(path.stat().st_mode) & 0o022] == []
    finally:
        os.umask(before)


@pytest.mark.skipif(shutil.which("strace") is None, reason="nothing here makes calls fail")
@pytest.mark.parametrize("number", range(1, 7))
def test_a_server_whose_threads_cannot_all_be_started_does_not_start(tmp_path, number):
    inject = f"inject=clone3:error=EAGAIN:when={number}"
    words = ["timeout", "-s", "KILL", "60", "strace", "-f", "-qq", "-o", str(tmp_path / "log")]
    words += ["-e", "trace=clone3", "-e", inject, *registry_program(), "serve"]
    words += ["--data", str(tmp_path / "data"), "--listen", "127.0.0.1:0", "--threads", "2"]
    # A sanitized build looks for leaks in a way that a traced process cannot.
    environment = {**os.environ, "ASAN_OPTIONS": "detect_leaks=0"}
    done = subprocess.run(words, env=environment, capture_output=True, timeout=120, check=False)
    told = b"mos-registry: cannot start a thread: Resource temporarily unavailable\n"
    assert (done.returncode, done.stdout, done.stderr) == (1, b"", told)


def test_check_finds_rows_that_belong_to_nothing(server, token):
    server.stop()
    change_database(server, "DELETE FROM users")
    assert server.command("check") == (
        3,
        "database: a row of tokens belongs to nothing in users\n"
        "0 versions, 0 bytes, 0 unused archives, 1 problems\n",
        "",
    )


def test_check_finds_a_document_with_another_checksum(server, token):
    data = package("json", "1.0.0")
    assert server.publish(data, token).status == 201
    server.stop()
    change_database(server, "UPDATE versions SET version_document = '{}'")
    assert server.command("check") == (
        3,
        "json 1.0.0: the document names another checksum\n"
        "public file api/v1/packages/json/1.0.0 is missing or different\n"
        f"1 versions, {len(data)} bytes, 0 unused archives, 2 problems\n",
        "",
    )


def test_rebuild_tells_which_public_files_cannot_be_written(server, token):
    data = package("json", "1.0.0")
    assert server.publish(data, token).status == 201
    server.stop()
    place = server.data / "public" / "api" / "v1" / "packages" / "json" / "1.0.0"
    shutil.rmtree(place)
    place.write_text("")
    digest = hashlib.sha256(data).hexdigest()
    archive = server.data / "archives" / digest[:2] / f"{digest}.mos"
    assert server.command("rebuild") == (
        3,
        f"cannot copy {archive} to {place}/download.new: Not a directory\n"
        f"cannot create {place}: Not a directory\n"
        f"Rebuilt the documents and {server.data}/public\n",
        "",
    )


def test_rebuild_tells_which_public_files_have_directories_in_their_places(server, token):
    assert server.publish(package("json", "1.0.0"), token).status == 201
    server.stop()
    place = server.data / "public" / "api" / "v1" / "packages" / "json" / "1.0.0"
    for name in ["download", "index.json"]:
        (place / name).unlink()
        (place / name / "more").mkdir(parents=True)
    assert server.command("rebuild") == (
        3,
        f"cannot replace {place}/download: Is a directory\n"
        f"cannot replace {place}/index.json: Is a directory\n"
        f"Rebuilt the documents and {server.data}/public\n",
        "",
    )
