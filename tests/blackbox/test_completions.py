"""The completion files know the commands and options of the program, and complete them."""

import functools
import os
import pty
import re
import shutil
import subprocess
import tempfile
from pathlib import Path

import pytest

from harness.cpp_sources import ROOT, command_options, general_options

COMPLETIONS = ROOT / "completions"
WORDS = {*command_options(), "help", "version"}

# What has to stand between a command word and its options.
ARGUMENT = dict.fromkeys(["add", "info", "new", "remove", "search"], "text") | {"cache": "list"}

DASHES = {"run": {"--"}}


def offered_options(word):
    """What a completion offers behind `mos WORD ARGUMENT -`."""
    if word in ("help", "version"):
        return set()
    return command_options()[word] | general_options() | DASHES.get(word, set())


def read(name):
    return (COMPLETIONS / name).read_text(encoding="utf-8")


def between(text, begin, end):
    return text.partition(begin)[2].partition(end)[0]


# --- What the files name ------------------------------------------------------------------------


def named_commands(shell):
    if shell == "bash":
        text = between(read("mos.bash"), "    echo ", "\n}").replace("\\\n", " ")
        return set(text.split())
    if shell == "zsh":
        return set(re.findall(r"'(\w+):", between(read("_mos"), "commands=(", "\n  )")))
    if shell == "fish":
        return set(re.findall(r"-n __mos_at_command -a (\w+)", read("mos.fish")))
    return set(re.findall(r"'(\w+)' =", between(read("mos.ps1"), "$commands = ", "\n    }")))


def named_options(shell):
    """{command word: its own options} of the commands that have some."""
    found = {}
    if shell == "bash":
        rows = re.findall(r'^    (\w+)\) echo "(.*) \$general" ;;', read("mos.bash"), re.MULTILINE)
        found = {word: set(options.split()) for word, options in rows}
    elif shell == "zsh":
        text = between(read("_mos"), "case $1 in", "esac")
        rows = re.findall(r"^    (\w+)\)\s+options=\((.*?)\) ;;", text, re.MULTILINE | re.DOTALL)
        found = {word: set(re.findall(r"'(--[\w-]*):", options)) for word, options in rows}
    elif shell == "fish":
        rows = re.findall(r"-n '__mos_at_options (\w+)' (-l|-a) (\S+)", read("mos.fish"))
        for word, kind, name in rows:
            found.setdefault(word, set()).add(f"--{name}" if kind == "-l" else name)
    else:
        text = between(read("mos.ps1"), "$options = ", "\n    }")
        rows = re.findall(r"'(\w+)' = (.*)", text)
        found = {word: set(re.findall(r"'(--[\w-]*)'", options)) for word, options in rows}
    return found


SHELLS = ["bash", "zsh", "fish", "powershell"]


@pytest.mark.parametrize("shell", SHELLS)
def test_a_file_names_every_command_and_no_other(shell):
    assert named_commands(shell) == WORDS


@pytest.mark.parametrize("shell", SHELLS)
def test_a_file_names_every_option_of_a_command_and_no_other(shell):
    expected = {
        word: options | DASHES.get(word, set())
        for word, options in command_options().items()
        if options or word in DASHES
    }
    assert named_options(shell) == expected


@pytest.mark.parametrize("shell", SHELLS)
def test_a_file_names_the_general_options(shell):
    text = {
        "bash": between(read("mos.bash"), "local general='", "'"),
        "zsh": " ".join(re.findall(r"'(-[\w-]+):", between(read("_mos"), "options+=(", "\n  )"))),
        "fish": " ".join(
            f"--{name}" if kind == "-l" else f"-{name}"
            for line in re.findall(r"-n __mos_at_options (.*) -d", read("mos.fish"))
            for kind, name in re.findall(r"(-l|-o) (\S+)", line)
        ),
        "powershell": between(read("mos.ps1"), "$generalOptions = ", "\n").translate(
            str.maketrans(",'", "  ")
        ),
    }[shell]
    assert set(text.split()) == general_options()


# --- What the shells offer ----------------------------------------------------------------------

FOLDER = {"library"}
FILES = {"library", "library.txt"}

# Each row: what is typed before the Tab, and what is offered.
CASES = {
    "every command": ("mos ", WORDS),
    "commands that begin so": ("mos c", {"cache", "check", "clean"}),
    "no options before the command": ("mos -", set()),
    "no command as the value of an option": ("mos --json l", set()),
    "a command behind an option that has its value": ("mos --json=1 ch", {"check"}),
    "a command behind a short option": ("mos -v ch", {"check"}),
    "the words of cache": ("mos cache ", {"list", "clean", "path"}),
    "a word of cache": ("mos cache p", {"path"}),
    "no word of cache behind another": ("mos cache list ", set()),
    "no word of cache as the value of an option": ("mos cache --json ", set()),
    "no options before the word of cache": ("mos cache -", set()),
    "no options before the name to add": ("mos add -", set()),
    "an option that begins so": ("mos add text --pa", {"--path"}),
    "no bare word behind an option": ("mos add text --dev ", set()),
    "another option behind an option": ("mos add text --dev --off", {"--offline"}),
    "directories behind --path": ("mos add text --path li", FOLDER),
    "directories in --path=": ("mos add text --path=li", FOLDER),
    "nothing behind --git": ("mos add text --git li", set()),
    "options behind the value of an option": ("mos add text --tag v2 --de", {"--dev"}),
    "files behind two dashes": ("mos run -- li", FILES),
    "no options behind two dashes": ("mos run -- --js", set()),
    "nothing for a name that is to be invented": ("mos new li", set()),
}
for command in sorted(WORDS):
    line = " ".join(["mos", command, *filter(None, [ARGUMENT.get(command)]), "-"])
    CASES[f"the options of {command}"] = (line, offered_options(command))


def typed_lines():
    return [line for line, _ in CASES.values()]


BASH = """
source "$COMPLETIONS/mos.bash"
compopt() { [[ $* == '-o default' ]] && files=yes; }
while IFS=$'\\t' read -r line words; do
    # A separator at the end is not followed by an empty word.
    IFS=$'\\x1f' read -ra COMP_WORDS <<<"$words"$'\\x1f'
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    files=no
    _mos
    # As readline does it.
    [[ $files == yes ]] && mapfile -t COMPREPLY < <(compgen -f -- "${COMP_WORDS[-1]}")
    printf '%s\\t%s\\n' "$line" "${COMPREPLY[*]}"
done
"""

FISH = """
source $COMPLETIONS/mos.fish
while read --local --delimiter=\\t line
    set --local offered (complete -C "$line" | string split --fields 1 \\t)
    printf '%s\\t%s\\n' "$line" "$offered"
end
"""

# Completes each line as if Tab had been pressed at its end, and writes down what is offered.
ZSH = """
fpath=($COMPLETIONS $fpath)
unsetopt auto_list
autoload -Uz compinit
compinit -u -D
zstyle ':completion:*' completer _complete
typeset -ga offered
compadd() {
    local -a found
    if [[ " $* " != *' '-[OAD]' '* ]]; then
        builtin compadd -O found "$@"
        offered+=("${found[@]}")
    fi
    builtin compadd "$@"
}
zle -C complete-line complete-word _main_complete
zle-line-init() {
    local line
    while IFS= read -r line; do
        BUFFER=$line CURSOR=$#line offered=()
        zle complete-line
        print -r -- "$line"$'\\t'"${(j: :)offered}" >> $OFFERED
    done < $TYPED
    exit
}
zle -N zle-line-init
"""


def bash_words(line):
    """The words as Bash hands them over: "=" is one of its own."""
    words = [piece for word in line.split(" ") for piece in re.split("(=)", word)]
    return [*filter(None, words[:-1]), words[-1]]


def run_bash(place, environment):
    lines = "".join(f"{line}\t{chr(31).join(bash_words(line))}\n" for line in typed_lines())
    return run_shell(["bash", "-c", BASH], place, environment, lines)


def run_fish(place, environment):
    lines = "".join(f"{line}\n" for line in typed_lines())
    return run_shell(["fish", "--no-config", "-c", FISH], place, environment, lines)


def run_shell(words, place, environment, lines):
    done = subprocess.run(
        words,
        cwd=place / "project",
        env=environment,
        input=lines,
        capture_output=True,
        text=True,
        timeout=60,
        check=False,
    )
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout


def run_zsh(place, environment):
    """Completion works in a shell that talks to a terminal only."""
    (place / ".zshrc").write_text(ZSH, encoding="utf-8")
    (place / "typed").write_text("".join(f"{line}\n" for line in typed_lines()), encoding="utf-8")
    terminal, inside = pty.openpty()
    shell = subprocess.Popen(
        ["zsh", "-i"],
        cwd=place / "project",
        env={
            **environment,
            "ZDOTDIR": str(place),
            "TYPED": str(place / "typed"),
            "OFFERED": str(place / "offered"),
            "TERM": "dumb",
        },
        stdin=inside,
        stdout=inside,
        stderr=inside,
    )
    os.close(inside)
    try:
        while os.read(terminal, 4096):
            pass
    except OSError:
        pass  # The shell has closed its side.
    os.close(terminal)
    assert shell.wait(timeout=60) == 0
    return (place / "offered").read_text(encoding="utf-8")


@functools.cache
def offered(shell):
    """{typed line: what the shell offers}, asked for in one go."""
    with tempfile.TemporaryDirectory() as name:
        place = Path(name)
        (place / "project" / "library").mkdir(parents=True)
        (place / "project" / "library.txt").touch()
        environment = {
            "PATH": os.environ["PATH"],
            "HOME": name,
            "LC_ALL": "C.UTF-8",
            "COMPLETIONS": str(COMPLETIONS),
        }
        run = {"bash": run_bash, "zsh": run_zsh, "fish": run_fish}[shell]
        rows = [row.partition("\t") for row in run(place, environment).splitlines()]
    return {
        line: {word.removeprefix("--path=").rstrip("/") for word in words.split()}
        for line, _, words in rows
    }


@pytest.mark.parametrize("shell", ["bash", "zsh", "fish"])
@pytest.mark.parametrize(("typed", "expected"), CASES.values(), ids=CASES.keys())
def test_a_shell_offers(shell, typed, expected):
    if shutil.which(shell) is None:
        pytest.skip(f"{shell} is not installed")
    assert offered(shell)[typed] == expected


def test_the_powershell_file_parses():
    if shutil.which("pwsh") is None:
        pytest.skip("pwsh is not installed")
    script = f". '{COMPLETIONS / 'mos.ps1'}'"
    done = subprocess.run(["pwsh", "-NoProfile", "-Command", script], capture_output=True)
    assert (done.returncode, done.stderr) == (0, b"")
