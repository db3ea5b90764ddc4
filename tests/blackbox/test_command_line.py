"""Global options, help, version and the choice of the command."""

import subprocess

import pytest

from harness import block, debug_line, error_line, on_windows, program, status, without_wine

HELP = (
    "Moss Package Manager (mos) 1.0.0\n"
    "\n"
    "Usage:\n"
    "  mos <command> [arguments] [options]\n"
    "\n"
    "Project Commands:\n"
    "  new <name>            Create a new Moss project\n"
    "  init [name]           Initialize an existing directory as a Moss package\n"
    "  build                 Compile the current project\n"
    "  run [-- <args>]       Run project entry point with arguments\n"
    "  check                 Type check project without executing\n"
    "  clean                 Remove project packages and build cache\n"
    "\n"
    "Dependency Commands:\n"
    "  add <pkg>[@version]   Add dependency to moss.toml and install\n"
    "  remove <pkg>          Remove dependency from moss.toml\n"
    "  install               Install all dependencies from lockfile/manifest\n"
    "  update [pkg]          Update dependencies to latest compatible versions\n"
    "  list                  List direct dependencies\n"
    "  tree                  Display visual dependency tree\n"
    "\n"
    "Package & Registry Commands:\n"
    "  package               Build .mos package archive\n"
    "  publish [--token <t>] Publish package to registry (requires authentication)\n"
    "  login [--token <t>]   Authenticate with online registry\n"
    "  logout                Clear saved registry authentication\n"
    "  whoami                Display currently authenticated user\n"
    "  search <query>        Search for packages in online registry\n"
    "  info <pkg>            Show details and versions of a package\n"
    "  cache [clean|list]    Manage global package cache\n"
    "\n"
    "General Options:\n"
    "  -v, -vv, -vvv         Verbose, debug, or trace output\n"
    "  --json                Emit machine-readable JSON output\n"
    "  --offline             Disable all network operations\n"
    "  --dry-run             Preview changes without modifying files\n"
    "  --help, -h            Show this help message\n"
)
VERSION = "mos 1.0.0 (Moss Package Manager)\n"
COMMANDS = [
    "init", "new", "add", "remove", "install", "update", "list", "tree", "build", "run", "clean",
    "check", "package", "publish", "login", "logout", "whoami", "search", "info", "cache",
]  # fmt: skip
DRY_RUN = status(
    "Dry-run", "Would check registry and update dependencies to latest compatible versions."
)


def unknown(command):
    return error_line(f"Unknown command '{command}'. Run 'mos help' for usage.")


@pytest.mark.parametrize(
    "args",
    [
        [],
        ["help"],
        ["-h"],
        ["--help"],
        ["--h"],
        ["--h=x"],
        ["--help=no"],
        ["install", "-h"],
        ["build", "--help"],
        ["help", "install"],
        ["frobnicate", "--help"],
        ["--help", "--version"],
        ["version", "-h"],
        [""],
        ["--"],
        ["--", "list"],
        ["-v"],
        ["--verbose", "list"],
        ["--json"],
    ],
    ids=repr,
)
def test_help_is_printed(room, args):
    assert room.run(*args).all == (0, HELP, "")
    assert room.tree() == {}


@pytest.mark.parametrize("command", COMMANDS)
def test_help_wins_over_every_command(room, command):
    assert room.run(command, "--help").all == (0, HELP, "")
    assert room.tree() == {}
    assert not room.home.exists()


@pytest.mark.parametrize(
    "args",
    [
        ["version"],
        ["--version"],
        ["-version"],
        ["--version=1"],
        ["x", "--version"],
        ["--version", "list"],
        ["list", "--version"],
        ["version", "--json"],
        ["version", "extra"],
    ],
    ids=repr,
)
def test_the_version_is_printed(room, args):
    assert room.run(*args).all == (0, VERSION, "")


@pytest.mark.parametrize(
    "word", ["frobnicate", "Build", "INSTALL", "instal", "installs", "-", " list", "versions", "ü"]
)
def test_an_unknown_command_is_refused(room, word):
    assert room.run(word).all == (2, "", unknown(word))


def test_an_unknown_command_is_an_error_under_json_too(room):
    assert room.run("frobnicate", "--json").all == (2, "", unknown("frobnicate"))


def test_an_empty_word_does_not_keep_the_next_one_from_being_the_command(room):
    assert room.run("", "update", "--dry-run").all == (0, DRY_RUN, "")


def test_options_may_stand_before_the_command(room):
    assert room.run("-v", "-vvv", "update", "--dry-run").all == (0, DRY_RUN, "")
    assert room.run("--dry-run", "--offline", "-v", "update").all == (0, DRY_RUN, "")


def test_a_long_option_takes_the_bare_word_after_it_as_its_value(room):
    # Deliberate, also for switches: "--json list" is the option json with the value "list".
    assert room.run("--json", "list").all == (0, HELP, "")
    assert room.run("--dry-run", "update").all == (0, HELP, "")
    assert room.run("--json=1", "update", "--dry-run").all == (0, "", "")
    assert room.run("update", "--dry-run", "all").all == (0, DRY_RUN, "")


def test_a_long_option_takes_an_empty_word_as_its_value(room):
    assert room.run("--dry-run", "", "update").all == (0, DRY_RUN, "")


def test_a_long_option_with_an_equals_sign_takes_nothing_else(room):
    assert room.run("--dry-run=", "update").all == (0, DRY_RUN, "")
    assert room.run("--dry-run=a=b", "update").all == (0, DRY_RUN, "")


def test_a_short_option_is_one_flag_and_takes_no_value(room):
    assert room.run("-dry-run", "update").all == (0, DRY_RUN, "")
    assert room.run("-vh", "update", "--dry-run").all == (0, DRY_RUN, "")


def test_words_after_two_dashes_are_no_options(room):
    assert room.run("update", "--dry-run", "--", "--json", "--help").all == (0, DRY_RUN, "")


def test_json_silences_status_lines(room):
    assert room.run("update", "--dry-run", "--json").all == (0, "", "")


def test_json_does_not_silence_errors(room):
    assert room.run("new", "--json").all == (
        2,
        "",
        block("MOS002", "Missing project name. Usage: mos new <project-name>"),
    )


def test_colours_are_written_whatever_the_environment_says(room):
    for variables in [{"NO_COLOR": "1"}, {"TERM": "dumb"}, {"CLICOLOR": "0"}]:
        assert room.run("update", "--dry-run", env=variables).all == (0, DRY_RUN, "")


def project_with_compiler(room):
    """A project named app whose compiler is a stand-in; returns the stand-in and the entry file."""
    room.manifest()
    room.write("src/main.moss", "")
    return (
        room.compiler(out="from the compiler\n"),
        room.shown() + room.shown("x")[-2] + "src/main.moss",
    )


@pytest.mark.parametrize(
    "options, shown",
    [
        ([], False),
        (["-v"], False),
        (["-vv"], True),
        (["-vvv"], True),
        (["-v", "-vvv"], True),
        (["-vv", "-v"], True),
        (["--vv"], True),
        (["-vvvv"], False),
        (["-vv", "--verbose"], True),
    ],
    ids=repr,
)
def test_debug_lines_are_shown_from_level_two_on(room, options, shown):
    compiler, entry = project_with_compiler(room)
    debug = debug_line(f'Executing: "moss.exe" check "{entry}"') if shown else ""
    out = status("Checking", "app") + debug + "from the compiler\n"
    assert room.run(*options[:-1], "check", *options[-1:]).all == (0, out, "")
    assert len(compiler.runs()) == 1


def test_json_silences_debug_lines_too(room):
    project_with_compiler(room)
    assert room.run("check", "-vvv", "--json").all == (0, "from the compiler\n", "")


def test_what_follows_two_dashes_reaches_the_program_untouched(room):
    compiler, entry = project_with_compiler(room)
    words = ["--json", "a", "b", "--", "-h", "", "--help", "--x=1"]
    result = room.run("run", "--", *words)
    shown = status("Running", f"app ({entry})") + "from the compiler\n"
    assert result.all == (0, shown, "")
    assert [call[1:] for call in compiler.calls()] == [["run", entry, *words]]


@pytest.mark.parametrize("args", [["help"], ["update", "--dry-run"]], ids=repr)
def test_a_console_that_takes_nothing_is_no_error(room, args):
    with open("/dev/full", "wb") as full:
        done = subprocess.run(
            [*program(), *args], cwd=room.dir, env=room.env, stdout=full, stderr=full, check=False
        )
    assert done.returncode == 0


def test_an_error_comes_after_the_status_lines_before_it(room):
    room.manifest()
    done = subprocess.run(
        [*program(), "package"],
        cwd=room.dir,
        env=room.env,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        check=False,
    )
    message = "Failed to package project: Project contains no source files under src/."
    expected = status("Packaging", "app 0.1.0...") + block("MOS010", message)
    assert (done.returncode, without_wine(done.stdout).decode()) == (1, expected)


@pytest.mark.parametrize(
    ("args", "code"), [(["help"], 0), (["list"], 0), (["new", "made"], 0), (["frobnicate"], 2)]
)
def test_a_reader_that_is_gone_changes_no_exit_status(room, args, code):
    room.manifest()
    process = room.start(*args)
    process.stdout.close()
    process.stderr.close()
    assert process.wait(60) == code
    assert room.exists("made/README.md") == (args[0] == "new")
