"""The manifests for winget and scoop, filled for a release."""

import hashlib
import json
import re
import subprocess
import sys
from pathlib import Path

import pytest

yaml = pytest.importorskip("yaml")

ROOT = Path(__file__).resolve().parents[2]
DIGEST = hashlib.sha256(b"a release").hexdigest()
URL = "https://moss.example/releases/1.2.3/mos-1.2.3-windows-x86_64.zip"


@pytest.fixture
def written(tmp_path):
    """{file name: text} that the tool writes for a release."""
    archive = tmp_path / "mos-1.2.3-windows-x86_64.zip"
    archive.write_bytes(b"a release")
    target = tmp_path / "written"
    target.mkdir()
    tool = [sys.executable, "-B", ROOT / "tools" / "package_manifests.py"]
    subprocess.run([*tool, archive, "1.2.3", "86400", target], check=True)
    return {path.name: path.read_text(encoding="utf-8") for path in target.iterdir()}


def test_every_template_is_filled(written):
    assert sorted(written) == [
        "Moss.mos.installer.yaml",
        "Moss.mos.locale.en-US.yaml",
        "Moss.mos.yaml",
        "mos.json",
    ]
    assert [name for name, text in written.items() if re.search(r"@\w+@", text)] == []


def test_scoop_unpacks_the_zip_and_links_the_program(written):
    manifest = json.loads(written["mos.json"])
    assert manifest == {
        "version": "1.2.3",
        "description": "Package manager of the Moss programming language",
        "homepage": "https://moss.example",
        "license": "MIT",
        "architecture": {
            "64bit": {"url": URL, "hash": DIGEST, "extract_dir": "mos-1.2.3-windows-x86_64"}
        },
        "bin": "mos.exe",
    }


def test_winget_unpacks_the_zip_and_links_the_program(written):
    manifest = yaml.safe_load(written["Moss.mos.installer.yaml"])
    assert manifest == {
        "PackageIdentifier": "Moss.mos",
        "PackageVersion": "1.2.3",
        "Platform": ["Windows.Desktop"],
        "MinimumOSVersion": "10.0.0.0",
        "InstallerType": "zip",
        "NestedInstallerType": "portable",
        "NestedInstallerFiles": [
            {
                "RelativeFilePath": "mos-1.2.3-windows-x86_64\\mos.exe",
                "PortableCommandAlias": "mos",
            }
        ],
        "Commands": ["mos"],
        "ReleaseDate": yaml.safe_load("1970-01-02"),
        "Installers": [
            {"Architecture": "x64", "InstallerUrl": URL, "InstallerSha256": DIGEST.upper()}
        ],
        "ManifestType": "installer",
        "ManifestVersion": "1.6.0",
    }


def test_the_three_files_of_winget_belong_together(written):
    files = [yaml.safe_load(text) for name, text in written.items() if name.endswith(".yaml")]
    assert {file["PackageIdentifier"] for file in files} == {"Moss.mos"}
    assert {file["PackageVersion"] for file in files} == {"1.2.3"}
    assert {file["ManifestVersion"] for file in files} == {"1.6.0"}
    assert {file["ManifestType"] for file in files} == {"version", "installer", "defaultLocale"}
    locales = {file.get("DefaultLocale") or file.get("PackageLocale") for file in files}
    assert locales == {"en-US", None}


def test_the_workflow_runs_what_has_to_pass():
    workflow = yaml.safe_load((ROOT / ".github" / "workflows" / "ci.yml").read_text("utf-8"))
    steps = workflow["jobs"]["test"]["steps"]
    assert steps[-1] == {"run": ".ci/run"}
