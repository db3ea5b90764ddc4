"""Projects to pack, the same bytes in every run."""

import random
from pathlib import Path

SHAPES = {
    "10,000 files of 2 KiB": (10_000, 2048),
    "500 files of 100 KiB": (500, 102_400),
    "one file of 64 MiB": (1, 64 << 20),
}


def make(folder, files, size):
    chance = random.Random(files)
    root = Path(folder)
    root.mkdir(parents=True)
    (root / "moss.toml").write_text('[package]\nname = "tree"\nversion = "1.0.0"\n')
    (root / "package.json").write_text('{"name": "tree", "version": "1.0.0", "files": ["src"]}\n')
    for number in range(files):
        path = root / "src" / f"part{number // 100}" / f"file{number}.moss"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(chance.randbytes(size))
    return root
