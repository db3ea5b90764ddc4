"""The plain files of the read side: exported, or kept in the data directory."""

import hashlib
import re
import shutil
import urllib.parse

import pytest
from harness.room import tree_of
from live_registry import Answer, package
from nginx_process import Nginx, documented, nginx

VERSIONS = [
    *[("json", "1.4.0"), ("json", "1.10.0"), ("json", "2.0.0-rc.1")],
    *[("my_text", "1.0.0"), ("download", "1.0.0")],
]

READS = [
    f"/api/v1/packages{path}"
    for path in [
        "",
        "/json",
        "/json/versions",
        "/json/1.4.0",
        "/json/1.4.0/download",
        "/json/1.10.0",
        "/json/1.10.0/download",
        "/json/2.0.0-rc.1",
        "/json/2.0.0-rc.1/download",
        "/json/9.9.9",
        "/json/9.9.9/download",
        "/my_text",
        "/my_text/versions",
        "/my_text/1.0.0",
        "/my_text/1.0.0/download",
        "/download",
        "/download/versions",
        "/download/1.0.0",
        "/download/1.0.0/download",
        "/my-text",
        "/nope",
        "/nope/versions",
        "/",
    ]
] + ["/", "/api/v1/search/x"]


@pytest.fixture
def filled(server, token):
    """A registry with some packages, one of them with a yanked version."""
    for name, version in VERSIONS:
        archive = package(name, version, 'text = "^1.2"', f"The {name} package")
        assert server.publish(archive, token).status == 201
    assert server.command("yank", "json", "1.4.0")[0] == 0
    return server


needs_nginx = pytest.mark.skipif(nginx() is None, reason="there is no nginx")


def shown(answer):
    return answer.status, answer.type, answer.body


@needs_nginx
def test_an_exported_tree_behind_nginx_answers_like_the_server(filled, tmp_path):
    tree = tmp_path / "tree"
    assert filled.command("export", str(tree)) == (0, f"Exported to {tree}\n", "")
    block = documented("static hosting").replace("/srv/moss-registry", str(tree))
    with Nginx(tmp_path / "nginx", block) as web:
        found = {path: shown(web.ask(path)) for path in READS}
        # Any words at all need a server.
        for words in ["json", "0"]:
            assert web.ask(f"/api/v1/packages?q={words}").status == 404
        assert web.ask("/api/v1/packages?q=").status == 200
    assert found == {path: shown(filled.ask(path)) for path in READS}
    assert sum(status == 200 for status, _, _ in found.values()) == 17


@needs_nginx
def test_the_public_files_behind_nginx_answer_like_the_server(filled, tmp_path):
    block = documented("in front").replace("/var/lib/mos-registry", str(filled.data))
    block = block.replace("127.0.0.1:8080", f"127.0.0.1:{filled.port}")
    # TLS needs a certificate, which a test does not.
    block = re.sub(r" *ssl_.*\n", "", block).replace(" ssl", "")
    with Nginx(tmp_path / "nginx", block) as web:
        reads = [*READS, "/api/v1/packages?q=json", "/api/v1/search?q=text"]
        found = {path: shown(web.ask(path)) for path in reads}
        assert found == {path: shown(filled.ask(path)) for path in reads}
        token = filled.token()
        published = package("fresh", "1.0.0", files={"src/a": bytes(3_000_000)})
        assert web.publish(published, token).status == 201
        assert web.get("/fresh/1.0.0/download").body == published
        assert web.ask("/api/v1/search?q=fresh").status == 200
        connection = web.connect()
        connection.putrequest("POST", "/api/v1/packages/publish")
        connection.putheader("Authorization", f"Bearer {token}")
        connection.putheader("Content-Length", str(32 * 1024 * 1024 + 1))
        connection.endheaders()
        assert Answer(connection.getresponse()).all == (413, {"error": "the body is too large"})
        assert web.get("/fresh/versions").body == b'["1.0.0"]\n'
    # What is there as a file did not come from the server.
    asked = [line["target"] for line in filled.log(len(READS))]
    assert "/api/v1/packages/publish" in asked
    assert "/api/v1/packages/fresh/1.0.0/download" not in asked


def test_the_flat_layout_has_a_file_for_each_path(filled, tmp_path):
    flat = tmp_path / "flat"
    assert filled.command("export", "--layout", "flat", str(flat))[0] == 0
    files = {urllib.parse.unquote("/" + path.name): path.read_bytes() for path in flat.iterdir()}
    assert files.pop("/not-found.json") == filled.ask("/nope").body
    assert files == {path: filled.ask(path).body for path in files}
    assert set(files) == {path for path in READS if filled.ask(path).status == 200}



def test_a_directory_with_something_in_it_is_not_exported_into(filled, tmp_path):
    (tmp_path / "full" / "x").mkdir(parents=True)
    place = str(tmp_path / "full")
    message = f"mos-registry: {place} is not an empty directory\n"
    assert filled.command("export", place) == (1, "", message)


def test_a_damaged_archive_is_not_exported(filled, tmp_path):
    archive = next(path for path in (filled.data / "archives").rglob("*") if path.is_file())
    damaged = archive.read_bytes()[:-1] + b"?"
    archive.unlink()
    archive.write_bytes(damaged)
    message = f"mos-registry: the archive {archive} is damaged\n"
    assert filled.command("export", str(tmp_path / "tree")) == (1, "", message)


def test_rebuild_makes_the_same_public_files_again(filled):
    before = tree_of(filled.data / "public")
    shutil.rmtree(filled.data / "public")
    assert filled.command("check")[0] == 0  # All of this is new: the server will write it anew.
    assert filled.command("rebuild")[0] == 0
    assert tree_of(filled.data / "public") == before
    filled.assert_clean(versions=5)


def test_check_finds_public_files_that_are_missing_or_different(filled):
    filled.stop()
    public = filled.data / "public" / "api" / "v1" / "packages"
    (public / "json" / "versions").write_text("[]\n")
    (public / "my_text" / "1.0.0" / "download").unlink()
    status, out, _ = filled.command("check")
    assert status == 3
    assert out.splitlines()[:2] == [
        "public file api/v1/packages/json/versions is missing or different",
        "public file api/v1/packages/my_text/1.0.0/download is missing or different",
    ]
    assert out.splitlines()[2].endswith(" 2 problems")


def test_check_finds_public_files_that_belong_to_nothing_and_rebuild_removes_them(filled):
    filled.stop()
    public = filled.data / "public"
    (public / "api" / "v1" / "packages" / "json" / "9.9.9").mkdir()
    (public / "api" / "v1" / "packages" / "json" / "9.9.9" / "index.json").write_text("{}")
    (public / "index.html").write_text("hello")
    status, out, _ = filled.command("check")
    assert (status, out.splitlines()[:-1]) == (
        3,
        [
            "public file api/v1/packages/json/9.9.9/index.json belongs to nothing",
            "public file index.html belongs to nothing",
        ],
    )
    assert filled.command("rebuild")[0] == 0
    filled.assert_clean(versions=5)


def test_rebuild_of_a_damaged_store_keeps_good_public_files_and_tells(filled):
    filled.stop()
    before = tree_of(filled.data / "public")
    download = filled.data / "public" / "api" / "v1" / "packages" / "json" / "1.10.0" / "download"
    # Bytes of its own, as on another file system, where there are no links.
    content = download.read_bytes()
    download.unlink()
    download.write_bytes(content)
    digest = hashlib.sha256(content).hexdigest()
    stored = filled.data / "archives" / digest[:2] / f"{digest}.mos"
    said = (
        "public file api/v1/packages/json/1.10.0/download stays as it is:"
        " its archive is missing or damaged\n"
        f"Rebuilt the documents and {filled.data}/public\n"
    )
    stored.write_bytes(b"damaged")
    assert filled.command("rebuild") == (3, said, "")
    stored.unlink()
    assert filled.command("rebuild") == (3, said, "")
    assert tree_of(filled.data / "public") == before


def test_check_reads_unused_archives_too(filled):
    whole = hashlib.sha256(b"whole").hexdigest()
    damaged = hashlib.sha256(b"damaged").hexdigest()
    for digest, content in [(whole, b"whole"), (damaged, b"other")]:
        (filled.data / "archives" / digest[:2] / f"{digest}.mos").write_bytes(content)
    status, out, _ = filled.command("check")
    assert (status, out.splitlines()[0]) == (
        3,
        f"unused archive {damaged}.mos: its name is not that of its bytes",
    )
    assert out.splitlines()[1].endswith(" 2 unused archives, 1 problems")


def test_a_malformed_database_is_damage(filled):
    filled.stop()
    database = filled.data / "registry.db"
    for beside in filled.data.glob("registry.db-*"):
        beside.unlink()
    pages = database.read_bytes()
    database.write_bytes(b"no database" * 1000)
    assert filled.command("check") == (3, "", "mos-registry: database: file is not a database\n")
    # The schema is whole, everything else is not.
    database.write_bytes(pages[:4096] + b"\xff" * (len(pages) - 4096))
    status, _, err = filled.command("check")
    assert (status, err) == (3, "mos-registry: database: database disk image is malformed\n")


def test_a_restart_mends_the_public_files_of_what_was_published_last(filled):
    filled.stop(how=9)
    shutil.rmtree(filled.data / "public" / "api")
    filled.start()
    filled.stop()
    filled.assert_clean(versions=5)
    assert (filled.data / "public" / "api" / "v1" / "packages" / "json" / "versions").exists()
