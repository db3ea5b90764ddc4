"""The one place that knows on which system the program under test runs."""

import os
import re
import shlex
from pathlib import Path

START = Path.cwd()

# Variables that steer the program or its connections; a room starts without them.
STEERING_PREFIX = "MOS"
STEERING_NAMES = {"USERPROFILE"}


def on_windows():
    """Whether MOS_BIN is a Windows program (run through Wine)."""
    return os.environ.get("MOS_BIN_KIND") == "windows"


def program():
    """The words that start the program under test; paths are made absolute, for runs elsewhere."""
    words = shlex.split(os.environ["MOS_BIN"])
    return [str(START / word) if "/" in word else word for word in words]


def shown_path(path):
    """`path` as the program receives and prints it."""
    if not on_windows():
        return str(path)
    return "Z:" + str(path).replace("/", "\\")


def library_number(libcurl, wininet):
    """The number of a failed transfer in the messages: each client library has its own."""
    return wininet if on_windows() else libcurl


def loop_reason():
    """What the system says of a link that leads to itself."""
    if on_windows():
        return "The filename cannot be resolved"
    return "Too many levels of symbolic links"


def words_to_start(words, variables):
    """The words that start `words` so that the program sees these variables.

    Wine itself sets USERPROFILE for every program it starts; only a Windows program can set another
    one for a program of its own.
    """
    if not on_windows() or variables.get("MOSS_HOME"):
        return words
    runner, executable, *arguments = words
    profile = variables.get("USERPROFILE") or ""
    setting = f"USERPROFILE={profile}&&"
    return [runner, "cmd", "/c", "set", setting, shown_path(executable), *arguments]


def clean_environment():
    """The environment of this process without what steers the program."""
    kept = {
        name: value
        for name, value in os.environ.items()
        if not name.startswith(STEERING_PREFIX)
        and name not in STEERING_NAMES
        and not name.lower().endswith("_proxy")
    }
    return kept


def wine_gave_up(result, compilers):
    """Whether Wine ended a program before it began, which happens once in some thousand starts
    where addresses are random: the program itself never fails without a word. Of the interpreter
    and the compiler, which it starts, it then tells a status that they never have, or the compiler
    does not record its run (`compilers`: how many did); where there is none it is so every time."""
    if not on_windows():
        return False
    if (result.code, result.raw_out, result.raw_err) == (1, b"", b""):
        return True
    if re.search(rb"exit code (-1|9009)\b", result.raw_out + result.raw_err):
        return True
    calls = re.findall(rb"\x1b\[1;32m(?:Checking|Compiling|Running)\x1b", result.raw_out)
    return result.code != 0 and compilers < len(calls)


def without_wine(err):
    """Standard error without what Wine itself says there, now and then, when a program ends while
    one of its threads talks to Wine's server."""
    if not on_windows():
        return err
    return re.sub(rb"wine client error:[0-9a-f]+: (?:[a-z]+: [^\n]*\n)?", b"", err)
