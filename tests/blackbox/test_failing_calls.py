"""System calls that fail whenever they are made: every run ends, and half a package is no package."""

import contextlib
import shutil
import threading
import time

import pytest

from harness import archive, block, error_line, on_windows, program, status

pytestmark = [
    pytest.mark.skipif(on_windows(), reason="strace is Linux's"),
    pytest.mark.skipif(shutil.which("strace") is None, reason="nothing here makes calls fail"),
]

FINISHED = status("Finished", "installation of dependencies")
UNPACKING = status("Unpacking", "json v1.0.0 (cached)")


def run_traced(room, arguments, *words):
    """Runs the program under strace, whose log is in `log` of the room."""
    # A sanitized build looks for leaks in a way that a traced process cannot.
    room.env["ASAN_OPTIONS"] = "detect_leaks=0"
    # Whatever is traced has to end with the one that traces.
    start = ["timeout", "-s", "KILL", "60", "strace", "-f", "--quiet=all"]
    start += ["-o", str(room.root / "log")]
    return room.run_words([*start, *arguments, *program(), *words])


def run_failing(room, call, fault, path, *words):
    """Runs the program while `call` fails, on the file at `path` alone unless that is None; `fault`
    is in strace's words. Both may be several, with commas between them."""
    arguments = ["-P", str(path)] if path else []
    arguments += ["-e", f"trace={call}"]
    for one, how in zip(call.split(","), fault.split(",")):
        how = how if how.startswith("signal=") else f"error={how}"
        arguments += ["-e", f"inject={one}:{how}"]
    return run_traced(room, arguments, *words)


@pytest.fixture
def project(room, registry):
    """A project with json installed, cached and locked."""
    registry.publish("json", "1.0.0")
    room.manifest({"json": "*"})
    room.run("install")
    return room


@pytest.mark.parametrize("number", [2, 3, 4])
def test_an_archive_that_cannot_be_read_from_its_beginning_is_not_an_empty_one(project, number):
    shutil.rmtree(project.path("packages/json"))
    cached = project.cached("json", "1.0.0")
    result = run_failing(project, "lseek", f"EIO:when={number}", cached, "install", "--locked")
    reason = f"Failed to unpack package 'json': Could not read archive: {cached}"
    assert result.all == (1, UNPACKING, block("MOS010", reason))
    assert project.tree("packages") == {}
    assert project.run("install", "--locked").all == (0, UNPACKING + FINISHED, "")


def leftovers(directory):
    """What is left of files that were to replace others."""
    return sorted(directory.glob(".mos-new-*"))


@pytest.mark.parametrize("call, error", [
    ("fchmod", "EIO"), ("fchmod", "ESTALE"), ("fsync", "EIO"), ("fgetxattr", "EIO"), ("fsync", "EROFS"), ("rename", "EIO"), ("rename", "ENOENT"),
    ("flock", "EAGAIN"), ("rename,fallocate", "EPERM,ENOSPC"), ("rename,unlink", "EIO,EIO"),
])
def test_what_keeps_moss_toml_from_being_replaced_leaves_it_as_it_was(project, call, error):
    before = project.read("moss.toml")
    result = run_failing(project, call, error, None, "remove", "json")
    assert result.all == (1, "", block("MOS001", "Failed to write moss.toml."))
    assert project.read("moss.toml") == before
    # What cannot be removed holds nothing any more.
    assert [file.read_bytes() for file in leftovers(project.path())] == [b""] * ("unlink" in call)


def test_a_link_that_cannot_be_read_is_not_taken_for_a_file(project):
    before = project.read("moss.toml")
    project.path("real").mkdir()
    project.path("moss.toml").rename(project.path("real/moss.toml"))
    project.path("moss.toml").symlink_to("real/moss.toml")
    link = project.path("moss.toml")
    result = run_failing(project, "readlink", "EIO", link, "remove", "json")
    assert result.all == (1, "", block("MOS001", "Failed to write moss.toml."))
    assert project.path("moss.toml").is_symlink()
    assert project.read("real/moss.toml") == before


@pytest.mark.parametrize("call, error, is_replaced", [
    ("rename", "EPERM", False), ("rename", "EBUSY", False), ("fchmod", "EPERM", False),
    ("fchmod", "EOPNOTSUPP", False), ("fgetxattr", "EOPNOTSUPP", True),
])
def test_where_the_directory_forbids_a_replacement_the_file_itself_is_written(
    project, call, error, is_replaced
):
    inode = project.path("moss.toml").stat().st_ino
    assert run_failing(project, call, f"{error}:when=1", None, "remove", "json").code == 0
    assert (project.path("moss.toml").stat().st_ino != inode) == is_replaced
    rest = 'edition = "1"\nlicense = "MIT"\nreadme = "README.md"\n\n'
    assert project.read("moss.toml") == f'[package]\nname = "app"\nversion = "0.1.0"\n{rest}'
    assert leftovers(project.path()) == []


def test_a_file_that_is_moved_away_while_it_is_looked_at_stays_as_it_is(project):
    before = project.read("moss.toml")
    file, log = project.path("moss.toml"), project.root / "log"
    is_over = threading.Event()

    def move_when_opened():
        while not is_over.wait(0.005):
            if log.exists() and "O_WRONLY" in log.read_text(errors="replace"):
                file.rename(project.path("kept"))
                file.write_text("# another\n" + before)
                return

    # Each look at the file takes a while, in which it has been opened already.
    slow = ["-P", str(file), "-e", "trace=openat,newfstatat"]
    slow += ["-e", "inject=newfstatat:delay_enter=500000"]
    mover = threading.Thread(target=move_when_opened)
    mover.start()
    result = run_traced(project, slow, "remove", "json")
    is_over.set()
    mover.join()
    assert result.code == 0
    assert project.read("kept") == before
    assert "json" not in project.read("moss.toml")
    assert leftovers(project.path()) == []


def test_a_staging_directory_that_somebody_takes_away_is_made_once_more(project):
    package = project.path("packages/json")
    right = project.tree("packages")
    is_staging = False
    for number in range(1, 200):
        shutil.rmtree(package, ignore_errors=True)
        result = run_failing(project, "newfstatat", f"ENOENT:when={number}", None, "install")
        log = (project.root / "log").read_text(errors="replace")
        is_staging = any("/.staging-" in call and "INJECTED" in call for call in log.splitlines())
        if is_staging:
            break
    assert is_staging
    assert result.all == (0, UNPACKING + FINISHED, "")
    assert project.tree("packages") == right


@pytest.mark.parametrize("call, error, operation", [
    ("mkdir", "ENOSPC", "create_directories"), ("renameat2", "ENOSPC", "rename"),
])
def test_a_package_that_a_disk_does_not_take_is_not_unpacked_in_its_place(
    project, call, error, operation
):
    package, right = project.path("packages/json"), project.tree("packages")
    shutil.rmtree(package)
    result = run_failing(project, call, error, None, "install")
    reason = f"filesystem error: {operation}: No space left on device [{package}]"
    assert result.all == (1, UNPACKING, error_line(f"Unexpected error: {reason}"))
    assert project.tree("packages") == {}
    assert project.run("install").all == (0, UNPACKING + FINISHED, "")
    assert project.tree("packages") == right


@pytest.fixture
def halves(room, registry):
    """A project whose packages are cached: one with all that members may be, and one without any."""
    members = [("a", "long"), ("a", "b"), ("src/b", "y"), ("./src/b", "z"), ("k/../d", "d")]
    registry.publish("json", "1.0.0", data=archive(members))
    registry.publish("none", "1.0.0", data=archive({}))
    room.manifest({"json": "*", "none": "*"})
    room.run("install")
    return room


@pytest.mark.parametrize("call, fault", [
    ("write", "EACCES:when=%d+"), ("write", "EINVAL:when=%d+"), ("mkdir", "EACCES:when=%d+"),
    ("readlink", "EIO:when=%d"), ("readlink", "EIO:when=%d+"), ("newfstatat", "EIO:when=%d"),
    ("openat", "EMFILE:when=%d+"), ("openat", "EACCES:when=%d"), ("renameat2", "EIO:when=%d+"),
])
def test_half_a_package_is_never_left_from_whatever_call_on_something_fails(halves, call, fault):
    right = halves.tree("packages")
    for number in range(1, 300):
        shutil.rmtree(halves.path("packages/json"))
        result = run_failing(halves, call, fault % number, None, "install")
        # The program, or the library that asks the registry, may not even have been loaded.
        assert 0 <= result.code < 128
        assert ".staging-" not in result.err
        # What cannot be removed now is removed by the next run.
        found = {name: data for name, data in halves.tree("packages").items() if name[0] != "."}
        log = (halves.root / "log").read_text(errors="replace")
        # A sanitized program may not even begin.
        is_done = result.code == 0 and "Sanitizer" not in log
        assert found in ((right,) if is_done else ({}, right))
        if not is_done:
            assert halves.run("install").code == 0
            assert halves.tree("packages") == right
        if "INJECTED" not in log:
            return
    raise AssertionError("the calls do not end")


@pytest.mark.parametrize("ahead", [2, 4, 10, 29, 30, 33, 36, 40])
@pytest.mark.parametrize("times", ["", "+"], ids=["once", "on"])
def test_an_archive_that_cannot_be_read_on_is_not_one_with_bad_names(room, registry, ahead, times):
    """Wherever in a member's header or name the next piece of the file begins."""
    first = b"x" * (65536 - ahead - 31)
    registry.publish("json", "1.0.0", data=archive({"a": first, "src/b": "y", "src/c": "z" * 70000}))
    room.manifest({"json": "*"})
    room.run("install")
    right, cached = room.tree("packages"), room.cached("json", "1.0.0")
    for number in (1, 2):
        shutil.rmtree(room.path("packages/json"))
        fault = f"EIO:when={number}{times}"
        result = run_failing(room, "read", fault, cached, "install")
        reason = f"Failed to unpack package 'json': Could not read archive: {cached}"
        assert result.all == (1, UNPACKING, block("MOS010", reason))
        assert room.tree("packages") == {}
        assert room.run("install").code == 0
        assert room.tree("packages") == right


def writes_of_its_own(room):
    """The lines of the log for what the program writes, but for the counts of a build that measures
    coverage: one piece of them lost, and they are no counts any more."""
    lines = (room.root / "log").read_text(errors="replace").splitlines()
    return [line for line in lines if "write(" in line and ".gcda>" not in line]


@pytest.mark.parametrize("times", ["", "+"], ids=["once", "on"])
def test_half_a_file_is_not_left_where_there_was_none_and_nothing_can_be_moved(
    room, registry, times
):
    data = archive({"a": "x" * 100_000, "b": "y"})
    registry.publish("json", "1.0.0", data=data)
    room.manifest({"json": "*"})
    cached, lock = room.cached("json", "1.0.0"), room.path("moss.lock")
    calls = ["-y", "-e", "trace=rename,write", "-e", "inject=rename:error=EPERM"]
    assert run_traced(room, calls, "install").code == 0
    written = len(writes_of_its_own(room))
    assert written > 3
    for number in range(1, written + 1):
        lock.unlink()
        assert room.run("clean").code == room.run("cache", "clean").code == 0
        failing = [*calls, "-e", f"inject=write:error=EIO:when={number}{times}"]
        assert run_traced(room, failing, "install").code in (0, 1)
        assert any("INJECTED" in line for line in writes_of_its_own(room))
        assert not cached.exists() or cached.read_bytes() == data
        found = lock.read_text() if lock.exists() else ""
        assert room.run("install").code == 0
        assert found in ("", lock.read_text())
        assert room.read("packages/json/b") == "y"


@pytest.mark.parametrize("words", [("install",), ("install", "--locked")])
def test_a_staging_directory_that_is_taken_away_gives_no_half_of_a_package(halves, words):
    right = halves.tree("packages")
    shutil.rmtree(halves.path("packages/json"))
    is_over = threading.Event()

    def take_when_written():
        while not is_over.wait(0.005):
            for written in halves.path("packages").glob(".staging-*/*/src/b"):
                # In one step: nobody could see one file go after the other.
                with contextlib.suppress(FileNotFoundError):
                    written.parents[2].rename(halves.path("taken"))
                return

    taker = threading.Thread(target=take_when_written)
    taker.start()
    slow = ["-e", "trace=mkdir", "-e", "inject=mkdir:delay_enter=300000"]
    result = run_traced(halves, slow, *words)
    is_over.set()
    taker.join()
    assert halves.tree("packages") in ({}, right)
    assert result.code == (0 if halves.tree("packages") else 1)
    assert halves.run(*words).code == 0
    assert halves.tree("packages") == right


@pytest.mark.parametrize("call, error", [
    ("openat", "EMFILE"), ("openat", "EIO"), ("getdents64", "EIO"), ("unlinkat", "EIO"),
    ("newfstatat", "ENOMEM"),
])
def test_no_message_of_a_locked_install_names_where_it_stages(halves, call, error):
    right = halves.tree("packages")
    for number in range(1, 300):
        halves.path("packages/json/d").write_text("something else")
        result = run_failing(halves, call, f"{error}:when={number}", None, "install", "--locked")
        assert 0 <= result.code < 128
        assert ".staging-" not in result.err
        assert halves.run("install", "--locked").code == 0
        assert halves.tree("packages") == right
        if "INJECTED" not in (halves.root / "log").read_text(errors="replace"):
            return
    raise AssertionError("the calls do not end")


@pytest.mark.parametrize("error", ["EXDEV", "EACCES", "EBUSY"])
def test_what_a_faulty_archive_leaves_is_there_where_nothing_can_be_moved(room, registry, error):
    registry.publish("json", "1.0.0", data=archive([("a", "x"), ("src/b/", ""), ("c", "z")]))
    room.manifest({"json": "*"})
    without = room.run("install")
    left = room.tree("packages")
    assert left == {"json/": None, "json/a": b"x", "json/src/": None}
    shutil.rmtree(room.path("packages/json"))
    calls = ("renameat2,rename", f"{error},{error}", room.path("packages/json"))
    result = run_failing(room, *calls, "install")
    assert (result.code, result.err) == (1, without.err)
    assert room.tree("packages") == left


@pytest.mark.parametrize("call, fault", [
    ("renameat2", "ENOENT:when=1"), ("rename,renameat2", "ENOSYS"), ("rename,renameat2", "EXDEV"),
])
def test_a_package_that_cannot_be_moved_to_its_place_is_unpacked_there(halves, call, fault):
    right, lock = halves.tree("packages"), halves.read("moss.lock")
    shutil.rmtree(halves.path("packages/json"))
    halves.path("moss.lock").unlink()
    faults = ",".join([fault] * len(call.split(",")))
    result = run_failing(halves, call, faults, None, "install")
    assert (result.code, result.err) == (0, "")
    assert halves.tree("packages") == right
    assert halves.read("moss.lock") == lock


def test_an_archive_that_goes_while_it_is_opened_is_downloaded_again(project):
    right = project.tree("packages")
    shutil.rmtree(project.path("packages/json"))
    cached, log = project.cached("json", "1.0.0"), project.root / "log"
    is_over = threading.Event()

    def clean_while_it_is_looked_for():
        while not is_over.wait(0.005):
            if log.exists() and "newfstatat" in log.read_text(errors="replace"):
                cached.unlink()
                return

    cleaner = threading.Thread(target=clean_while_it_is_looked_for)
    cleaner.start()
    slow = ["-P", str(cached), "-e", "trace=openat,newfstatat"]
    slow += ["-e", "inject=openat:delay_enter=1000000:when=1"]
    result = run_traced(project, slow, "install")
    is_over.set()
    cleaner.join()
    again = status("Downloading", "json v1.0.0")
    assert result.err == ""
    assert (result.code, result.out[-len(again + FINISHED):]) == (0, again + FINISHED)
    assert project.tree("packages") == right


@pytest.mark.parametrize("words", [("install", "--locked"), ("remove", "json"), ("clean",)])
def test_a_directory_that_a_union_of_file_systems_cannot_move_is_removed(halves, words):
    """As those of a lower layer of a container's image."""
    right = halves.tree("packages")
    halves.write("packages/json/a", "something else")
    halves.write("packages/stray/file", "text")
    first = ["-e", "inject=renameat2:error=EXDEV:when=1", "-e", "inject=rename:error=EXDEV"]
    calls = ["-e", "trace=rename,renameat2", *first]
    result = run_traced(halves, calls, *words)
    assert (result.code, result.err) == (0, "")
    if words == ("install", "--locked"):
        assert halves.tree("packages") == right
    assert halves.exists("packages/json") == (words[0] == "install")


@pytest.mark.parametrize("call, fault", [
    ("openat", "EMFILE:when=1"), ("openat", "EACCES:when=1"), ("newfstatat", "ENOENT:when=3"),
])
def test_an_archive_that_is_not_there_is_not_unpacked_in_the_packages_place(halves, call, fault):
    package, cached = halves.path("packages/json"), halves.cached("json", "1.0.0")
    shutil.rmtree(package)
    fault = ["-e", f"trace={call},mkdir", "-e", f"inject={call}:error={fault}"]
    code = run_traced(halves, ["-P", str(cached), "-P", str(package), *fault], "install").code
    assert code == (0 if call == "newfstatat" else 1)
    assert "INJECTED" in (halves.root / "log").read_text(errors="replace")
    assert f'mkdir("{package}"' not in (halves.root / "log").read_text(errors="replace")


@pytest.mark.parametrize("error", ["EPERM", "EOPNOTSUPP", "EINVAL", "ENOSYS"])
def test_where_one_kind_of_renaming_is_not_known_the_other_does(halves, error):
    right = halves.tree("packages")
    assert run_failing(halves, "renameat2", error, None, "remove", "json").code == 0
    assert halves.tree("packages") == {}
    assert run_failing(halves, "renameat2", error, None, "add", "json").code == 0
    assert halves.tree("packages") == right
    assert run_failing(halves, "renameat2", error, None, "clean").code == 0
    assert not halves.exists("packages")


def test_nobody_meets_a_package_that_a_disk_takes_half_of(room, registry):
    registry.publish("json", "1.0.0", data=archive({"a": "x", "large": "y" * 100_000}))
    room.manifest({"json": "*"})
    room.run("install")
    shutil.rmtree(room.path("packages/json"))
    limited = ["-e", "trace=mkdir,openat", "sh", "-c", 'ulimit -f 64; exec "$@"', "sh"]
    assert run_traced(room, limited, "install").code == 1
    log = (room.root / "log").read_text(errors="replace")
    assert "/.staging-" in log
    assert str(room.path("packages/json")) not in log
    assert room.tree("packages") == {}


def test_a_staging_directory_that_goes_at_once_is_made_anew(project):
    right = project.tree("packages")
    shutil.rmtree(project.path("packages/json"))
    # The shell becomes the program, whose number is in the name of what it makes.
    project.env["D"] = "\x7f"
    project.env["ASAN_OPTIONS"] = "detect_leaks=0"
    traced = 'exec strace -D -o "$LOG" -P "$PWD/packages/.staging-$$-0$D" -e trace=openat "$@"'
    project.env["LOG"] = str(project.root / "log")
    gone = ["-e", "inject=openat:error=ENOENT:when=1"]
    result = project.run_words(["sh", "-c", traced, "sh", *gone, *program(), "install"])
    assert result.all == (0, UNPACKING + FINISHED, "")
    # Who traces may end after what is traced.
    for _ in range(200):
        if "(INJECTED)" in (project.root / "log").read_text():
            break
        time.sleep(0.05)
    else:
        raise AssertionError("no call failed")
    left = {name for name in project.tree("packages") if name.startswith(".staging-")}
    assert len(left) == 1
    assert {name: data for name, data in project.tree("packages").items() if name not in left} == right
    assert project.run("install").code == 0
    assert project.tree("packages") == right


def test_every_file_of_a_package_is_made_exclusively(project):
    shutil.rmtree(project.path("packages/json"))
    assert run_traced(project, ["-e", "trace=openat"], "install").code == 0
    log = (project.root / "log").read_text(errors="replace").splitlines()
    made = [line for line in log if "/.staging-" in line and "O_CREAT" in line]
    assert made
    assert [line for line in made if "O_EXCL" not in line] == []


@pytest.mark.parametrize("may_refuse_to_replace", [True, False])
@pytest.mark.parametrize("words", [("remove", "json"), ("clean",)])
def test_names_that_a_killed_run_left_are_passed_over(
    room, registry, words, may_refuse_to_replace
):
    registry.publish("json", "1.0.0", data=archive({f"file{n}": "text" for n in range(5)}))
    room.manifest({"json": "*"})
    room.run("install")
    manifest = room.read("moss.toml")
    # The shell becomes the program: both have one number.
    leave = 'for place in . packages; do mkdir -p $place/.staging-$$-0"$D"/full; done; exec "$@"'
    room.env["D"] = "\x7f"
    calls = ["-e", "trace=unlinkat,renameat2"]
    if not may_refuse_to_replace:
        calls += ["-e", "inject=renameat2:error=EINVAL"]
    killed = [*calls, "-e", "inject=unlinkat:signal=SIGKILL:when=2"]
    assert run_traced(room, [*killed, "sh", "-c", leave, "sh"], *words).code != 0
    assert not room.exists("packages/json")
    room.write("moss.toml", manifest)
    room.run("install")
    assert run_traced(room, [*calls, "sh", "-c", leave, "sh"], *words).code == 0
    assert not room.exists("packages/json")


def test_nothing_takes_the_number_of_a_stream_that_is_closed(room, registry):
    """Else what is said to the user is said to the registry, or written into a file."""
    room.manifest()
    closed = ["-e", "trace=socket", "sh", "-c", 'exec "$@" <&- >&- 2>&-', "sh"]
    assert run_traced(room, closed, "add", "nosuch").code == 1
    log = (room.root / "log").read_text(errors="replace").splitlines()
    numbers = [int(line.rsplit("= ", 1)[1].split()[0]) for line in log if "socket(" in line]
    assert [number for number in numbers if number in (0, 1, 2)] == []
    assert max(numbers) > 2
    assert registry.lines() == ["GET /api/v1/packages/nosuch/versions"]


@pytest.mark.parametrize("is_there", [False, True])
def test_where_nothing_can_be_moved_an_archive_is_written_all_the_same(project, is_there):
    project.write("src/main.moss", "main")
    assert project.run("package").code == 0
    right = project.path("app-0.1.0.mos").read_bytes()
    project.path("app-0.1.0.mos").unlink()
    if is_there:
        project.write("app-0.1.0.mos", right.decode("latin-1") * 2)
    assert run_failing(project, "rename", "EPERM", None, "package").code == 0
    assert project.path("app-0.1.0.mos").read_bytes() == right


def test_a_writer_whose_file_somebody_looks_through_takes_another(project):
    assert run_failing(project, "flock", "EAGAIN:when=1", None, "remove", "json").code == 0
    assert "json" not in project.read("moss.toml")
    assert leftovers(project.path()) == []


@pytest.mark.parametrize("mode", [None, 0o644], ids=str)
def test_a_token_is_its_owners_alone_where_nothing_can_be_moved(room, mode):
    saved = room.home / "credentials.json"
    room.home.mkdir()
    if mode:
        saved.write_text("{}")
        saved.chmod(mode)
    assert run_failing(room, "rename", "EBUSY", None, "login", "--token", "abcdefghijkl").code == 0
    assert "abcdefghijkl" in saved.read_text()
    assert saved.stat().st_mode & 0o777 == 0o600


def test_a_token_that_cannot_be_saved_is_nowhere(room):
    room.home.mkdir()
    result = run_failing(room, "rename,unlink", "EIO,EIO", None, "login", "--token", "abcdefghijkl")
    reason = f"Failed to save credentials: Failed to open credentials file for writing: {room.home}"
    assert result.all == (1, "", block("MOS008", reason))
    assert [file.read_bytes() for file in room.home.iterdir()] == [b""]
    assert room.run("logout").code == 0
    assert list(room.home.iterdir()) == []


# Each attempt looks at the open file, at it once more and at its place: at every third time, the
# attempt seems to have come too late.
@pytest.mark.parametrize("fault", ["EIO", "EIO:when=3+3"])
def test_a_download_that_nobody_can_look_at_is_given_up(project, fault):
    shutil.rmtree(project.home / "cache")
    shutil.rmtree(project.path("packages/json"))
    download = project.home / "temp" / "json.mos"
    result = run_failing(project, "newfstatat", fault, download, "install")
    reason = f"Failed to download package 'json': Could not open destination file: {download}"
    assert result.all == (1, status("Downloading", "json v1.0.0"), block("MOS008", reason))
    assert project.run("install").all == (0, status("Downloading", "json v1.0.0") + FINISHED, "")


def test_packages_that_cannot_be_listed_at_first_are_removed_all_the_same(project):
    result = run_failing(project, "getdents64", "EIO:when=1", None, "clean")
    assert result.all == (0, status("Cleaned", "project packages and build cache."), "")
    assert not project.exists("packages")


@pytest.mark.parametrize("number", [1, 9, 10])
def test_a_large_file_that_cannot_be_read_the_first_or_the_second_time_is_named(room, number):
    room.manifest()
    large = room.write("src/large.moss", "large\n" * 300000)
    before = room.tree()
    result = run_failing(room, "read", f"EIO:when={number}", large, "package")
    packaging = status("Packaging", "app 0.1.0...")
    reason = f"Failed to package project: Could not read file: {large}"
    assert result.all == (1, packaging, block("MOS010", reason))
    assert room.tree() == before


def test_an_install_ends_where_every_new_directory_is_said_to_be_there_already(project):
    package = project.path("packages/json")
    shutil.rmtree(package)
    result = run_failing(project, "mkdir", "EEXIST", None, "install")
    reason = f"Unexpected error: filesystem error: create_directories: File exists [{package}]"
    assert result.all == (1, UNPACKING, error_line(reason))


@pytest.mark.parametrize("fault", ["signal=SIGKILL:when=2", "EPERM:when=2", "EBUSY:when=2+"])
@pytest.mark.parametrize("words", [("remove", "json"), ("clean",)])
def test_what_a_removal_leaves_is_never_half_a_package(room, registry, words, fault):
    """The second file stays, or the program dies at it: the next run has no half for the whole."""
    files = {f"file{number}": b"text" for number in range(5)}
    registry.publish("json", "1.0.0", data=archive(files))
    room.manifest({"json": "*"})
    room.run("install")
    whole = room.tree("packages")
    result = run_failing(room, "unlinkat", fault, None, *words)
    assert result.code in (1, -9, 137)
    assert not room.exists("packages/json")
    if words == ("remove", "json"):
        assert "json" not in room.read("moss.toml")
        assert room.run("add", "json").code == 0
    assert room.run("install").code == 0
    assert room.tree("packages") == whole


def test_a_package_that_may_not_be_taken_from_its_place_is_left_whole(project):
    whole = project.tree("packages")
    package = project.path("packages/json")
    result = run_failing(project, "renameat2", "EACCES", package, "remove", "json")
    reason = "filesystem error: remove_all: Permission denied"
    assert result.err == error_line(f"Unexpected error: {reason} [{package}]")
    assert result.code == 1
    assert project.tree("packages") == whole
