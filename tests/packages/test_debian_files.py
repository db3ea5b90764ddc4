"""What the Debian packages hold beside what is installed from the tree."""

import re
import shlex
import subprocess
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
DEBIAN = ROOT / "packaging" / "debian"
UNIT = (ROOT / "packaging" / "registry" / "mos-registry.service").read_text(encoding="utf-8")


def registry(*words):
    """Standard output of the registry that stands beside the program under test."""
    from harness import program

    path = Path(program()[-1]).parent / "mos-registry"
    return subprocess.run([path, *words], check=True, capture_output=True, text=True).stdout


def test_the_changelog_begins_with_the_version_of_the_project():
    cmake = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    version = re.search(r"project\(mos VERSION ([\d.]+)", cmake)[1]
    first = (DEBIAN / "changelog").read_text(encoding="utf-8").splitlines()[0]
    assert first == f"mos ({version}) unstable; urgency=medium"


def test_the_copyright_file_has_the_licence():
    shown = (DEBIAN / "copyright").read_text(encoding="utf-8").split("\nLicense: Expat\n")[-1]
    text = re.sub(r"^ \.?", "", shown, flags=re.MULTILINE)
    licence = (ROOT / "LICENSE").read_text(encoding="utf-8")
    assert licence.endswith("\n" + text)
    assert re.search(r"^Copyright \(c\) (.*)$", licence, re.MULTILINE)[1] in (
        DEBIAN / "copyright"
    ).read_text("utf-8")


@pytest.mark.parametrize("script", ["postinst", "prerm", "postrm"])
def test_a_maintainer_script_is_strict_and_executable(script):
    path = DEBIAN / script
    assert path.read_text(encoding="utf-8").startswith("#!/bin/sh\nset -e\n")
    assert path.stat().st_mode & 0o111
    subprocess.run(["sh", "-n", path], check=True)


def test_the_service_starts_the_registry_with_options_that_it_knows():
    words = shlex.split(re.search(r"^ExecStart=(.*)$", UNIT, re.MULTILINE)[1])
    setting = shlex.split(re.search(r"^Environment=(.*)$", UNIT, re.MULTILINE)[1])[0]
    name, _, options = setting.partition("=")
    assert words == ["mos-registry", "serve", "--data", "/var/lib/mos-registry", f"${name}"]
    known = re.findall(r"^  (--[\w-]+)", registry("serve", "--help"), re.MULTILINE)
    used = [word for word in options.split() if word.startswith("--")]
    assert used and set(used) <= set(known)


def test_the_service_has_the_user_and_the_directory_that_the_package_makes():
    settings = dict(re.findall(r"^(User|Group|StateDirectory)=(.*)$", UNIT, re.MULTILINE))
    user = (ROOT / "packaging" / "registry" / "sysusers.conf").read_text(encoding="utf-8")
    assert settings == dict.fromkeys(["User", "Group", "StateDirectory"], "mos-registry")
    assert shlex.split(user)[:3] == ["u", "mos-registry", "-"]
    assert shlex.split(user)[-1] == "/var/lib/mos-registry"


def test_the_manual_page_of_the_registry_has_every_command_and_option():
    page = (ROOT / "man" / "mos-registry.1").read_text(encoding="utf-8")
    commands = re.findall(r"^  ([a-z]+(?: [a-z]+)?) {2,}|^  ([a-z]+(?: [a-z]+)?) (?=[A-Z-])",
                          registry("--help"), re.MULTILINE)
    words = sorted(first or second for first, second in commands)
    described = re.findall(r"^\.It Cm ([a-z]+(?: (?:add|create|list|revoke))?)", page, re.MULTILINE)
    assert sorted(described) == words
    for command in words:
        options = re.findall(r"^  --([\w-]+)", registry(*command.split(), "--help"), re.MULTILINE)
        assert [name for name in options if f"Fl Fl {name}" not in page] == []
