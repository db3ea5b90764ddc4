"""What the two builds write is the same, byte by byte."""

from harness import ScriptedRegistry, archive
from harness.room import tree_of

LARGE = bytes(number * number % 251 for number in range(300_000))
HOSTILE = archive([("one.txt", b"one\n"), ("../two.txt", b"two\n"), ("three.txt", b"three\n")])


def publish_all(registry):
    registry.publish("json", "1.0.0")
    registry.publish("json", "1.4.0", {"text": "^1.0"})
    registry.publish("text", "1.2.0", files={"src/a/b.moss": LARGE, "src\\c.moss": "c", "größe": "1"})
    registry.publish("web", "2.0.0-rc.1", {"json": "~1.4.0", "text": "*"})
    registry.publish("web", "1.9.9", {"json": ">=1.0.0", "text": "*"})
    registry.publish("hostile", "1.0.0", data=HOSTILE)


def succeed(room, *words, **how):
    result = room.run(*words, **how)
    assert (result.code, result.err) == (0, ""), words


def write_sources(room):
    room.write("src/main.moss", "fn main\n")
    room.write("src/large.bin", LARGE)
    room.write("src/größe/ünïcode.moss", "äöü\r\n")
    room.write("src/Upper.moss", "")
    room.write("src/lower/z.moss", "z")
    room.write("src/lower-case.moss", "-")
    room.write("README.md", "# App\r\n")


def files_of(room):
    return {**tree_of(room.dir), **{f"home/{name}": data for name, data in tree_of(room.home).items()}}


def differences(linux, windows):
    """The names of what is not the same, without the megabytes."""
    return sorted(name for name in linux.keys() | windows.keys() if linux.get(name) != windows.get(name))


def assert_same(found):
    linux, windows = found
    assert differences(linux, windows) == []
    assert len(linux) > 3


def test_a_project_from_new_to_package(tell_both):
    with ScriptedRegistry() as registry:
        publish_all(registry)

        def story(room):
            room.env["MOS_REGISTRY"] = registry.url
            succeed(room, "new", "app")
            room.dir /= "app"
            succeed(room, "add", "web@^1.0")
            succeed(room, "add", "text@~1.2", "--dev")
            succeed(room, "add", "json")
            succeed(room, "remove", "json")
            succeed(room, "update")
            write_sources(room)
            succeed(room, "package")
            succeed(room, "login", "--token", "t0ken", "--username", "alice")
            return files_of(room)

        found = tell_both(story)
    assert_same(found)
    assert {"moss.toml", "moss.lock", "app-0.1.0.mos", "packages/web/moss.toml"} <= found[0].keys()
    assert {"packages/text/größe", "home/credentials.json"} <= found[0].keys()


def test_a_manifest_that_is_rewritten(tell_both):
    text = (
        '# Kept?\r\n[package]\nname = "app"\nversion = "1.0.0"\ndescription = "gr\u00f6\u00dfer"\n'
        'authors = ["A <a@example.org>", "B"]\n\n[dependencies]\nzip = "1"\njson = "^1.0"\n'
        '\n[dev-dependencies]\ntext = "*"\n'
    )
    with ScriptedRegistry() as registry:
        publish_all(registry)
        registry.publish("zip", "1.0.0")

        def story(room):
            room.env["MOS_REGISTRY"] = registry.url
            room.write("moss.toml", text)
            succeed(room, "add", "web")
            return files_of(room)

        assert_same(tell_both(story))


def test_what_an_archive_leaves_that_is_refused_half_way(tell_both):
    with ScriptedRegistry() as registry:
        publish_all(registry)

        def story(room):
            room.env["MOS_REGISTRY"] = registry.url
            room.manifest({"hostile": "*"})
            result = room.run("install")
            return {**files_of(room), "result": result.all}

        found = tell_both(story)
    assert_same(found)
    assert found[0]["packages/hostile/one.txt"] == b"one\n"


def test_what_is_printed(tell_both):
    with ScriptedRegistry() as registry:
        publish_all(registry)

        def story(room):
            room.env["MOS_REGISTRY"] = registry.url
            room.manifest({"web": "*", "text": "*"})
            write_sources(room)
            commands = [
                ["install"], ["list"], ["tree"], ["list", "--json"], ["tree", "--json"], ["cache"],
                ["package"], ["info", "web"], ["search", "x"], ["help"], ["version"], ["nonsense"],
            ]  # fmt: skip
            return {" ".join(words): room.run(*words).all for words in commands}

        assert_same(tell_both(story))
