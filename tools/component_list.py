#!/usr/bin/python3
"""Writes what the programs of a release are made of, beside their own sources, as CycloneDX JSON.

    tools/component_list.py VERSION EPOCH PROGRAM=BUILD_DIRECTORY... >mos-VERSION.cdx.json

VERSION is the release's, EPOCH its time in seconds. PROGRAM is the file name of a program, which was
built with MOS_LINK_MAPS in BUILD_DIRECTORY. Listed are the Debian packages of which code is in the
program: those of the static libraries and object files that the linker took something of, and those
of headers that are libraries by themselves. What a program loads when it runs is not listed; a
package depends on it.
"""

import json
import re
import subprocess
import sys
import uuid
from datetime import datetime, timezone
from pathlib import Path
from urllib.parse import quote

# Libraries without anything to link.
HEADER_LIBRARIES = {"libboost1.81-dev", "nlohmann-json3-dev"}
# Packages whose headers only declare what is linked or loaded from elsewhere, or what the compiler
# knows by itself.
DECLARING_PACKAGES = {
    "libc6-dev",
    "libcurl4-openssl-dev",
    "libgcc-12-dev",
    "libsodium-dev",
    "libsqlite3-dev",
    "libstdc++-12-dev",
    "linux-libc-dev",
}


def owners(paths):
    """The Debian packages that the files belong to."""
    files = sorted({str(Path(path).resolve()) for path in paths})
    shown = subprocess.run(["dpkg", "-S", *files], capture_output=True, text=True, check=False)
    if shown.returncode != 0:
        raise SystemExit(f"belongs to no Debian package: {shown.stderr}")
    return {line.split(":")[0] for line in shown.stdout.splitlines()}


def linked_files(link_map):
    """The files outside the build that the linker took code of, by its map."""
    text = link_map.read_text(encoding="utf-8", errors="replace")
    loaded = re.findall(r"^LOAD (/\S.*\.o)$", text, re.MULTILINE)
    members, _, _ = text.partition("\nDiscarded input sections")
    archives = re.findall(r"^(/\S.*\.a)\(", members, re.MULTILINE)
    return set(loaded) | set(archives)


def header_files(build, program):
    """The headers outside the build that the sources of a program read."""
    log = subprocess.run(
        ["ninja", "-C", build, "-t", "deps"], capture_output=True, text=True, check=True
    ).stdout
    headers = set()
    for entry in log.split("\n\n"):
        target, *files = entry.strip().split("\n")
        # The registry's own objects lie in a folder; the library of all others is in both programs.
        if program.startswith("mos-registry") or not target.startswith("server/"):
            headers |= {file.strip() for file in files if file.strip().startswith("/usr/")}
    return headers


def packages_of(program, build):
    """The Debian packages of which there is code in a program."""
    from_headers = {
        package for package in owners(header_files(build, program)) if "mingw" not in package
    }
    if unknown := from_headers - HEADER_LIBRARIES - DECLARING_PACKAGES:
        raise SystemExit(f"are these libraries without anything to link? {sorted(unknown)}")
    linked = owners(linked_files(Path(build) / f"{program}.map"))
    return sorted(linked | from_headers & HEADER_LIBRARIES)


def library(package):
    """The component of a Debian package."""
    fields = "${Version}\n${source:Package}\n${source:Version}\n${Architecture}"
    shown = subprocess.run(
        ["dpkg-query", "-W", "-f", fields, package], capture_output=True, text=True, check=True
    ).stdout
    version, source, source_version, architecture = shown.split("\n")[:4]
    url = f"pkg:deb/debian/{quote(package)}@{quote(version)}?arch={architecture}&distro=bookworm"
    return {
        "type": "library",
        "bom-ref": url,
        "name": package,
        "version": version,
        "purl": url,
        "properties": [{"name": "debian:source", "value": f"{source} {source_version}"}],
    }


def document(version, epoch, contents):
    """The whole document; `contents` maps programs to packages."""
    programs = [
        {
            "type": "application",
            "bom-ref": program,
            "name": program,
            "version": version,
            "licenses": [{"license": {"id": "MIT"}}],
        }
        for program in contents
    ]
    libraries = {package: library(package) for package in sorted(set().union(*contents.values()))}
    made = {
        "bomFormat": "CycloneDX",
        "specVersion": "1.5",
        "version": 1,
        "metadata": {
            "timestamp": datetime.fromtimestamp(epoch, timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ"),
            "component": {
                "type": "application",
                "bom-ref": "release",
                "name": "mos",
                "version": version,
                "licenses": [{"license": {"id": "MIT"}}],
            },
        },
        "components": programs + list(libraries.values()),
        "dependencies": [{"ref": "release", "dependsOn": list(contents)}]
        + [
            {"ref": program, "dependsOn": [libraries[package]["bom-ref"] for package in packages]}
            for program, packages in contents.items()
        ],
    }
    # The same contents have the same number.
    number = uuid.uuid5(uuid.NAMESPACE_OID, json.dumps(made, sort_keys=True))
    return {**made, "serialNumber": f"urn:uuid:{number}"}


def main():
    version, epoch, *programs = sys.argv[1:]
    contents = {}
    for word in programs:
        program, _, build = word.partition("=")
        contents[program] = packages_of(program, build)
    json.dump(document(version, int(epoch), contents), sys.stdout, indent=2, sort_keys=True)
    print()


if __name__ == "__main__":
    main()
