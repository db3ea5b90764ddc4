"""The Linux and the Windows build must not differ: both are told the same story.

MOS_BIN names the Linux program, MOS_WINDOWS_BIN the Windows one, each as the words that start it.
"""

import os
import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "blackbox"))

from harness import Room  # isort: skip  (needs the path)


@pytest.fixture
def tell_both(tmp_path, monkeypatch):
    """Calls `story(room)` with a room of each program and returns what the two calls return, the
    Linux one first."""

    def tell(story):
        outcomes = []
        for kind, variable in [("linux", "MOS_BIN"), ("windows", "MOS_WINDOWS_BIN")]:
            folder = tmp_path / kind
            folder.mkdir()
            with monkeypatch.context() as patch:
                patch.setenv("MOS_BIN", os.environ[variable])
                patch.setenv("MOS_BIN_KIND", kind)
                outcomes.append(story(Room(folder)))
        return outcomes

    return tell
