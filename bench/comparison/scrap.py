"""What runs leave behind goes out of the way of the next ones without being deleted."""

import contextlib
import os
import tempfile
from pathlib import Path


class Scrap:
    """A folder for files that are no longer wanted, which stay until the end of all measuring, though
    empty. Some file systems pass over inodes that were deleted lately one by one (ext4 without a
    journal does): files written after a deletion of thousands take a hundred times as long, whoever
    writes them. What the files held, on the other hand, would make memory scarce."""

    def __init__(self, folder):
        folder.mkdir(parents=True, exist_ok=True)
        self.folder = folder

    def take(self, path):
        """Moves a file or folder of the same file system away, if there is one."""
        place = Path(tempfile.mkdtemp(dir=self.folder)) / path.name
        with contextlib.suppress(FileNotFoundError):
            path.rename(place)
        for file in [place, *place.rglob("*")]:
            # A second name may be one that is still wanted.
            if file.is_file() and not file.is_symlink() and file.stat().st_nlink == 1:
                file.chmod(0o600)
                os.truncate(file, 0)
