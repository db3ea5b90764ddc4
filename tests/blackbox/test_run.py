"""run: the entry file, the arguments that are passed on, and the status."""

import pytest

from harness import block, debug_line, on_windows, program, status

linux_only = pytest.mark.skipif(on_windows(), reason="signals and the interpreter of Linux")


def entry_of(room):
    return room.shown() + ("\\" if on_windows() else "/") + "src/main.moss"


def running(room, name="app"):
    return status("Running", f"{name} ({entry_of(room)})")


@pytest.fixture
def project(room):
    room.manifest()
    room.write("src/main.moss", "")
    return room


def test_the_entry_file_is_run(project):
    compiler = project.compiler()
    assert project.run("run").all == (0, running(project), "")
    assert [call[1:] for call in compiler.calls()] == [["run", entry_of(project)]]


def test_the_words_after_two_dashes_are_passed_on(project):
    compiler = project.compiler()
    assert project.run("run", "--", "a", "b").all == (0, running(project), "")
    assert [call[1:] for call in compiler.calls()] == [["run", entry_of(project), "a", "b"]]


def test_each_passed_on_word_is_shown_in_double_quotes_of_its_own(project):
    project.compiler()
    command = f'Executing: "moss.exe" run "{entry_of(project)}" "a" "two words" "" "--json"'
    assert project.run("run", "-vv", "--", "a", "two words", "", "--json").all == (
        0,
        running(project) + debug_line(command),
        "",
    )


@linux_only
def test_the_debug_line_escapes_nothing(project):
    # Deliberate: the line is for people; what is run has every word as it is.
    compiler = project.compiler()
    command = f'Executing: "moss.exe" run "{entry_of(project)}" "a"b\\" "\'"'
    assert project.run("run", "-vv", "--", 'a"b\\', "'").all == (
        0,
        running(project) + debug_line(command),
        "",
    )
    assert [call[3:] for call in compiler.calls()] == [['a"b\\', "'"]]


def test_options_after_two_dashes_are_passed_on_and_not_obeyed(project):
    compiler = project.compiler()
    words = ["--json", "-vv", "--help", "--", "-x"]
    assert project.run("run", "--", *words).all == (0, running(project), "")
    assert [call[3:] for call in compiler.calls()] == [words]


def test_words_before_two_dashes_are_not_passed_on(project):
    compiler = project.compiler()
    assert project.run("run", "lost", "--", "a").all == (0, running(project), "")
    assert [call[3:] for call in compiler.calls()] == [["a"]]


AWKWARD = {
    "blank": "two words",
    "only blanks": "   ",
    "empty": "",
    "tab": "a\tb",
    "line feed": "a\nb\n",
    "carriage return": "a\r\nb",
    "single quote": "it's",
    "only single quotes": "'''",
    "double quote": 'say "yes"',
    "backslash": "a\\b\\",
    "backslash before quote": "a\\'b\\\"",
    "command substitution": "$(touch made)",
    "backquotes": "`touch made`",
    "variable": "$HOME ${HOME} $0 $$",
    "separators": "; touch made; & | > made < made",
    "line of its own": "\ntouch made\n",
    "pattern": "* ? [a-z] ~ {a,b}",
    "comment": "# comment",
    "history": "!!",
    "percent": "%PATH% %s",
    "umlaut": "äöü €",
    "leading dash": "-n",
    "long": "x" * 50000,
}


# To the Windows interpreter, which takes one line, these mean something.
MEANINGFUL_TO_WINDOWS = {
    "line feed",
    "carriage return",
    "double quote",
    "backslash",
    "backslash before quote",
    "line of its own",
    "percent",
    "long",
}


@pytest.mark.parametrize(
    "word",
    [
        pytest.param(word, id=name, marks=linux_only if name in MEANINGFUL_TO_WINDOWS else ())
        for name, word in AWKWARD.items()
    ],
)
def test_an_awkward_word_arrives_unchanged(project, word):
    compiler = project.compiler()
    assert project.run("run", "--", word, "end").all == (0, running(project), "")
    assert [call[3:] for call in compiler.calls()] == [[word, "end"]]
    assert not project.exists("made")


@linux_only
def test_every_byte_arrives_unchanged(project):
    compiler = project.compiler()
    word = bytes(range(1, 256)).decode("utf-8", "surrogateescape")
    invalid = b"\xff\xfe\x80\x81\x88 \xc3".decode("utf-8", "surrogateescape")
    assert project.run("run", "--", word, invalid).all == (0, running(project), "")
    assert [call[3:] for call in compiler.calls()] == [[word, invalid]]


@linux_only
def test_the_program_reads_our_standard_input(project):
    project.write("moss.exe", "#!/bin/sh\ncat\n").chmod(0o755)
    assert project.run("run", stdin="one\ntwo\n").all == (0, running(project) + "one\ntwo\n", "")


def test_the_streams_of_the_program_are_our_own(project):
    project.compiler(out="hello\n", err="careful\n")
    assert project.run("run").all == (0, running(project) + "hello\n", "careful\n")


@pytest.mark.parametrize("code", [1, 2, 42, 255])
def test_a_failing_program_is_reported_and_our_own_status_is_one(project, code):
    project.compiler(status=code, err="oops\n")
    assert project.run("run").all == (
        1,
        running(project),
        "oops\n" + block("MOS012", f"Execution failed with exit code {code}"),
    )


@linux_only
def test_a_program_that_a_signal_ends_is_reported(project):
    project.write("moss.exe", "#!/bin/sh\nkill -TERM $$\n").chmod(0o755)
    result = project.run("run")
    assert (result.code, result.out) == (1, running(project))
    assert result.err.endswith(block("MOS012", "Execution failed with exit code 143"))


@linux_only
def test_the_program_finds_every_signal_as_we_did(project):
    words = ["grep", "SigIgn", "/proc/self/status"]
    project.write("moss.exe", f"#!/bin/sh\nexec {' '.join(words)}\n").chmod(0o755)

    def ignored(text):
        # The two behind those that have names are the C library's own.
        return int(text.removeprefix("SigIgn:"), 16) & 0x7FFF_FFFF

    result = project.run("run")
    found = ignored(result.out.removeprefix(running(project)))
    assert (result.code, found, result.err) == (0, ignored(project.run_words(words).out), "")


@linux_only
def test_the_program_may_have_as_many_files_open_as_we(project):
    project.write("moss.exe", "#!/bin/sh\nulimit -Sn\nulimit -Hn\n").chmod(0o755)
    words = ["sh", "-c", 'ulimit -Sn 100; ulimit -Hn; exec "$@"', "sh", *program(), "run"]
    result = project.run_words(words)
    most, rest = result.out.split("\n", 1)
    assert rest == running(project) + f"100\n{most}\n"


def test_under_json_only_the_program_speaks(project):
    project.compiler(out="hello\n")
    assert project.run("run", "--json").all == (0, "hello\n", "")


def test_a_workspace_without_a_package_runs_the_default_entry_file(room):
    room.write("moss.toml", '[workspace]\nmembers = ["one"]\n')
    room.write("src/main.moss", "")
    compiler = room.compiler()
    assert room.run("run").all == (0, running(room, name=""), "")
    assert [call[1:] for call in compiler.calls()] == [["run", entry_of(room)]]
