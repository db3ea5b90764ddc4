#!/usr/bin/python3
"""Lays package archives out as files that any web server can serve as a registry.

    tools/static_registry.py TREE ARCHIVE...

A path that is both a document and a directory is a directory whose document is `index.json`:

    TREE/api/v1/packages/NAME/index.json             what the package is, and its versions
    TREE/api/v1/packages/NAME/versions               every version text
    TREE/api/v1/packages/NAME/VERSION/index.json     checksum and dependencies of one version
    TREE/api/v1/packages/NAME/VERSION/download       the archive
"""

import hashlib
import json
import sys
import tomllib
import zipfile
from pathlib import Path


def numeric(version):
    """A sort key for plain versions such as "1.10.0"."""
    return [int(piece) for piece in version.split(".")]


def read_manifest(archive):
    with zipfile.ZipFile(archive) as members:
        damaged = members.testzip()
        if damaged is not None:
            raise SystemExit(f"{archive}: the member {damaged} is damaged")
        return tomllib.loads(members.read("moss.toml").decode("utf-8"))


def write_json(path, document):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(json.dumps(document, indent=2) + "\n", encoding="utf-8")


def add_version(packages, archive):
    """Writes the documents of one archive; returns its manifest's [package] table."""
    manifest = read_manifest(archive)
    package = manifest["package"]
    data = archive.read_bytes()
    place = packages / package["name"] / package["version"]
    dependencies = manifest.get("dependencies", {})
    write_json(
        place / "index.json",
        {
            "name": package["name"],
            "version": package["version"],
            "checksum": "sha256:" + hashlib.sha256(data).hexdigest(),
            "dependencies": [
                {"name": name, "constraint": constraint}
                for name, constraint in dependencies.items()
            ],
        },
    )
    (place / "download").write_bytes(data)
    return package


def main():
    if len(sys.argv) < 3:
        raise SystemExit(__doc__)
    packages = Path(sys.argv[1]) / "api" / "v1" / "packages"
    by_name = {}
    for archive in sys.argv[2:]:
        package = add_version(packages, Path(archive))
        by_name.setdefault(package["name"], []).append(package)
    for name, published in by_name.items():
        published.sort(key=lambda package: numeric(package["version"]))
        latest = published[-1]
        versions = [package["version"] for package in published]
        write_json(packages / name / "versions", versions)
        write_json(
            packages / name / "index.json",
            {
                "name": name,
                "latest": latest["version"],
                "description": latest.get("description", ""),
                "license": latest.get("license", ""),
                "versions": versions,
            },
        )


if __name__ == "__main__":
    main()
