"""What `cmake --install` puts where."""

import shutil
import subprocess
from pathlib import Path

import pytest

from harness import on_windows, program

INSTALLED = {
    "share/bash-completion/completions/mos": "completions/mos.bash",
    "share/zsh/site-functions/_mos": "completions/_mos",
    "share/fish/vendor_completions.d/mos.fish": "completions/mos.fish",
    "share/mos/completions/mos.ps1": "completions/mos.ps1",
    "share/man/man1/mos.1": "man/mos.1",
    "share/man/man5/moss.toml.5": "man/moss.toml.5",
    "share/man/man5/moss.lock.5": "man/moss.lock.5",
    "share/doc/mos/dependencies.md": "docs/dependencies.md",
    "share/doc/mos/messages.md": "docs/messages.md",
}
# The registry is a program for Linux alone.
INSTALLED_WITH_REGISTRY = {"share/doc/mos/registry.md": "docs/registry.md"}

ROOT = Path(__file__).resolve().parents[2]


def build_directory():
    """Where the program under test was built; None for one that was put elsewhere."""
    directory = Path(program()[-1]).parent
    return directory if (directory / "cmake_install.cmake").exists() else None


def test_the_program_its_pages_and_completions_are_installed(tmp_path):
    if build_directory() is None or shutil.which("cmake") is None:
        pytest.skip("the program does not stand in a build directory")
    command = ["cmake", "--install", build_directory(), "--prefix", tmp_path]
    subprocess.run(command, check=True, capture_output=True)
    found = {
        path.relative_to(tmp_path).as_posix(): path.read_bytes()
        for path in tmp_path.rglob("*")
        if path.is_file() and path.parent.name != "bin"
    }
    files = INSTALLED if on_windows() else {**INSTALLED, **INSTALLED_WITH_REGISTRY}
    programs = ["mos"] if on_windows() else ["mos", "mos-registry"]
    assert found == {place: (ROOT / source).read_bytes() for place, source in files.items()}
    assert sorted(path.stem for path in (tmp_path / "bin").iterdir()) == programs
