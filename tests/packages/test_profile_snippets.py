"""Login shells get MOSS_HOME where it is not set, and nowhere else."""

import shutil
import subprocess
from pathlib import Path

import pytest

PROFILE = Path(__file__).resolve().parents[2] / "packaging" / "profile"
SHELLS = ["sh", "dash", "bash", "busybox"]
ENVIRONMENTS = {
    "not set": ({"HOME": "/home/ada"}, "/home/ada/.moss"),
    "empty, which the program takes for not set": (
        {"HOME": "/home/ada", "MOSS_HOME": ""},
        "/home/ada/.moss",
    ),
    "set": ({"HOME": "/home/ada", "MOSS_HOME": "/srv/moss"}, "/srv/moss"),
    "a home with blanks and stars": ({"HOME": "/home/a  *"}, "/home/a  */.moss"),
    "no home": ({}, "not set"),
}


def printed(words, environment):
    """What a shell prints for MOSS_HOME as a program sees it; it must say nothing else."""
    path = {"PATH": "/usr/bin:/bin"}
    done = subprocess.run(
        words, env={**path, **environment}, capture_output=True, text=True, check=False
    )
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout.rstrip("\n")


def require(shell):
    if shutil.which(shell) is None:
        pytest.skip(f"{shell} is not installed")


@pytest.mark.parametrize("environment, expected", ENVIRONMENTS.values(), ids=ENVIRONMENTS)
@pytest.mark.parametrize("shell", SHELLS)
def test_a_shell_that_reads_the_profile_gets_a_home(shell, environment, expected):
    require(shell)
    words = [shell, "sh"] if shell == "busybox" else [shell]
    # A profile may be read by shells that end at the first error or unset variable.
    script = f". {PROFILE / 'mos.sh'}; printenv MOSS_HOME || echo not set"
    assert printed([*words, "-euc", script], environment) == expected


def fish(options, environment, room):
    """What fish prints when the file lies where packages put it."""
    require("fish")
    vendor = room / "share" / "fish" / "vendor_conf.d"
    vendor.mkdir(parents=True)
    shutil.copy(PROFILE / "mos.fish", vendor)
    own = {
        "XDG_DATA_DIRS": str(room / "share"),
        "XDG_CONFIG_HOME": str(room / "config"),
        "XDG_DATA_HOME": str(room / "data"),
    }
    script = "printenv MOSS_HOME; or echo not set"
    return printed(["fish", *options, "-c", script], {**own, **environment})


# fish finds a HOME by itself.
WITH_HOME = {name: case for name, case in ENVIRONMENTS.items() if "HOME" in case[0]}


@pytest.mark.parametrize("environment, expected", WITH_HOME.values(), ids=WITH_HOME)
def test_a_login_fish_gets_a_home(environment, expected, tmp_path):
    assert fish(["--login"], environment, tmp_path) == expected


def test_a_fish_that_is_no_login_shell_is_left_alone(tmp_path):
    assert fish([], {"HOME": "/home/ada"}, tmp_path) == "not set"
