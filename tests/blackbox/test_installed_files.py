"""What `cmake --install` puts where."""

import os
import shutil
import subprocess
from pathlib import Path

import pytest

from harness import on_windows, program

MOS = {
    "share/bash-completion/completions/mos": "completions/mos.bash",
    "share/zsh/site-functions/_mos": "completions/_mos",
    "share/fish/vendor_completions.d/mos.fish": "completions/mos.fish",
    "share/mos/completions/mos.ps1": "completions/mos.ps1",
    "share/man/man1/mos.1": "man/mos.1",
    "share/man/man5/moss.toml.5": "man/moss.toml.5",
    "share/man/man5/moss.lock.5": "man/moss.lock.5",
    "share/doc/mos/guide.md": "docs/guide.md",
    "share/doc/mos/commands.md": "docs/commands.md",
    "share/doc/mos/moss-toml.md": "docs/moss-toml.md",
    "share/doc/mos/moss-lock.md": "docs/moss-lock.md",
    "share/doc/mos/dependencies.md": "docs/dependencies.md",
    "share/doc/mos/messages.md": "docs/messages.md",
    "share/doc/mos/LICENSE": "LICENSE",
}
LOGIN_SHELLS = {
    "etc/profile.d/mos.sh": "packaging/profile/mos.sh",
    "share/fish/vendor_conf.d/mos.fish": "packaging/profile/mos.fish",
}
REGISTRY = {
    "share/man/man1/mos-registry.1": "man/mos-registry.1",
    "share/doc/mos-registry/registry.md": "docs/registry.md",
    "share/doc/mos-registry/protocol.md": "docs/protocol.md",
    "share/doc/mos-registry/LICENSE": "LICENSE",
    "lib/systemd/system/mos-registry.service": "packaging/registry/mos-registry.service",
    "lib/sysusers.d/mos-registry.conf": "packaging/registry/sysusers.conf",
}
WINDOWS_ARCHIVE = {
    "mos.ps1": "completions/mos.ps1",
    "README.txt": "packaging/windows/README.txt",
    "LICENSE.txt": "LICENSE",
}

ROOT = Path(__file__).resolve().parents[2]


def build_directory():
    """Where the program under test was built; None for one that was put elsewhere."""
    directory = Path(program()[-1]).parent
    return directory if (directory / "cmake_install.cmake").exists() else None


def installed(options, root, **environment):
    """{relative path: bytes} of what `cmake --install` writes below a directory."""
    if build_directory() is None or shutil.which("cmake") is None:
        pytest.skip("the program does not stand in a build directory")
    command = ["cmake", "--install", build_directory(), *options]
    subprocess.run(command, check=True, capture_output=True, env={**os.environ, **environment})
    return {
        path.relative_to(root).as_posix(): path.read_bytes()
        for path in root.rglob("*")
        if path.is_file()
    }


def expected(files, *programs):
    """The same of these files of the source tree and these built programs."""
    suffix = ".exe" if on_windows() else ""
    built = {
        f"{folder}{name}{suffix}": (build_directory() / f"{name}{suffix}").read_bytes()
        for folder, name in programs
    }
    return {place: (ROOT / source).read_bytes() for place, source in files.items()} | built


def test_everything_is_installed_below_a_prefix(tmp_path):
    found = installed(["--prefix", tmp_path], tmp_path)
    # The registry is a program for Linux alone, like the login shells.
    if on_windows():
        assert found == expected(MOS, ("bin/", "mos"))
    else:
        files = {**MOS, **LOGIN_SHELLS, **REGISTRY}
        assert found == expected(files, ("bin/", "mos"), ("bin/", "mos-registry"))


@pytest.mark.skipif(on_windows(), reason="a package of Linux")
@pytest.mark.parametrize(
    "component, files", [("mos", {**MOS, **LOGIN_SHELLS}), ("mos-registry", REGISTRY)]
)
def test_a_component_is_installed_by_itself_into_another_root(component, files, tmp_path):
    options = ["--prefix", "/usr", "--component", component]
    found = installed(options, tmp_path / "usr", DESTDIR=str(tmp_path))
    assert found == expected(files, ("bin/", component))
    assert [path.name for path in tmp_path.iterdir()] == ["usr"]


@pytest.mark.skipif(not on_windows(), reason="the archive of Windows")
def test_the_archive_of_windows_has_no_folders(tmp_path):
    options = ["--prefix", tmp_path, "--component", "windows-archive"]
    assert installed(options, tmp_path) == expected(WINDOWS_ARCHIVE, ("", "mos"))
