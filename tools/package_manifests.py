#!/usr/bin/python3
"""Fills the templates of packaging/winget and packaging/scoop for a zip of the Windows program.

    tools/package_manifests.py ZIP VERSION EPOCH DIR

VERSION is the release's, EPOCH its time in seconds. The files are written into DIR, named like the
templates without ".in".
"""

import hashlib
import re
import sys
from datetime import datetime, timezone
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
TEMPLATES = ["winget/*.yaml.in", "scoop/*.json.in"]
RELEASES = "https://moss.example/releases"


def values(archive, version, epoch):
    """{placeholder: text} of a release."""
    digest = hashlib.sha256(archive.read_bytes()).hexdigest()
    return {
        "VERSION": version,
        "DATE": datetime.fromtimestamp(epoch, timezone.utc).strftime("%Y-%m-%d"),
        "DIRECTORY": archive.stem,
        "URL": f"{RELEASES}/{version}/{archive.name}",
        "SHA256": digest,
        "SHA256_UPPER": digest.upper(),
    }


def filled(template, texts):
    """`template` with every @NAME@ replaced; KeyError for a name that is not known."""
    return re.sub(r"@(\w+)@", lambda match: texts[match[1]], template)


def main():
    archive, version, epoch, target = sys.argv[1:]
    texts = values(Path(archive), version, int(epoch))
    for pattern in TEMPLATES:
        for template in sorted((ROOT / "packaging").glob(pattern)):
            written = filled(template.read_text(encoding="utf-8"), texts)
            (Path(target) / template.stem).write_text(written, encoding="utf-8")


if __name__ == "__main__":
    main()
