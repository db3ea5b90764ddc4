"""What runs leave behind goes out of the way of the next ones without being deleted."""

import contextlib
import tempfile
from pathlib import Path


class Scrap:
    """A folder for what is no longer wanted, which stays until the end of all measuring. Some file
    systems pass over inodes that were deleted lately one by one (ext4 without a journal does): files
    written after a deletion of thousands take a hundred times as long, whoever writes them."""

    def __init__(self, folder):
        folder.mkdir(parents=True, exist_ok=True)
        self.folder = folder

    def take(self, path):
        """Moves a file or folder of the same file system away, if there is one."""
        with contextlib.suppress(FileNotFoundError):
            path.rename(Path(tempfile.mkdtemp(dir=self.folder)) / path.name)
