"""The file mos.exe itself: what it imports, how it is hardened, what it says about itself, and that
the same sources give the same bytes.

It is looked at, not run. MOS_WINDOWS_FILE names another one than the build's.
"""

import hashlib
import os
import re
import shutil
import subprocess
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
PROGRAM = Path(os.environ.get("MOS_WINDOWS_FILE", ROOT / "build" / "windows" / "mos.exe"))
IMPORTS = ROOT / "cmake" / "windows_imports.txt"
SOURCES = ["CMakeLists.txt", "CMakePresets.json", "cmake", "src", "completions", "man", "docs",
           "packaging", "LICENSE"]


@pytest.fixture(scope="module")
def content():
    return PROGRAM.read_bytes()


@pytest.fixture(scope="module")
def headers():
    """What objdump says of the program's headers and imports."""
    command = ["x86_64-w64-mingw32-objdump", "-p", PROGRAM]
    return subprocess.run(command, check=True, capture_output=True, encoding="utf-8").stdout


def allowed_imports():
    """{library: reason}"""
    lines = IMPORTS.read_text(encoding="utf-8").splitlines()
    entries = [line.split(maxsplit=1) for line in lines if line and not line.startswith("#")]
    assert all(len(entry) == 2 for entry in entries), "each library stands with its reason"
    return dict(entries)


def project_version():
    text = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"project\(mos VERSION ([\d.]+)", text)[1]


def test_the_imports_are_those_of_the_list(headers):
    imported = re.findall(r"^\s*DLL Name: (\S+)$", headers, re.MULTILINE)
    assert sorted(imported, key=str.lower) == sorted(allowed_imports(), key=str.lower)


def test_it_is_loaded_anywhere_and_its_data_is_never_run(headers):
    characteristics = headers[headers.index("DllCharacteristics") :].splitlines()[1:4]
    assert [line.strip() for line in characteristics] == [
        "HIGH_ENTROPY_VA",
        "DYNAMIC_BASE",
        "NX_COMPAT",
    ]
    assert "PE File Base Relocations" in headers


def test_it_carries_the_application_manifest(content):
    manifest = (ROOT / "cmake" / "mos.manifest.in").read_text(encoding="utf-8")
    manifest = manifest.replace("@PROJECT_VERSION@", project_version())
    assert ">UTF-8</activeCodePage>" in manifest
    assert ">true</longPathAware>" in manifest
    assert content.count(manifest.encode("utf-8")) == 1


@pytest.mark.parametrize(
    "name, value",
    [
        ("FileDescription", "Moss Package Manager"),
        ("FileVersion", project_version()),
        ("InternalName", "mos"),
        ("OriginalFilename", "mos.exe"),
        ("ProductName", "mos"),
        ("ProductVersion", project_version()),
    ],
)
def test_its_version_resource_says_what_it_is(content, name, value):
    key = (name + "\0").encode("utf-16-le")
    start = content.index(key) + len(key)
    found = content[start : start + 100].decode("utf-16-le", errors="replace").lstrip("\0")
    assert found.split("\0")[0] == value


def test_no_folder_of_the_machine_that_built_it_is_in_it(content):
    assert str(ROOT).encode("utf-8") not in content


def test_a_build_in_another_folder_gives_the_same_bytes(content, tmp_path):
    folder = tmp_path / "a folder with another name"
    folder.mkdir()
    for name in SOURCES:
        copy = shutil.copytree if (ROOT / name).is_dir() else shutil.copy2
        copy(ROOT / name, folder / name)
    configure = ["cmake", "--preset", "windows", "-DMOS_BUILD_TESTS=OFF"]
    subprocess.run(configure, cwd=folder, check=True, capture_output=True)
    build = ["cmake", "--build", "--preset", "windows", "--target", "mos"]
    subprocess.run(build, cwd=folder, check=True, capture_output=True)
    again = (folder / "build" / "windows" / "mos.exe").read_bytes()
    assert hashlib.sha256(again).hexdigest() == hashlib.sha256(content).hexdigest()
