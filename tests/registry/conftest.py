"""Fixtures of the tests of mos-registry. Rooms for runs of mos are those of the black-box tests."""

import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "blackbox"))
sys.path.insert(0, str(Path(__file__).resolve().parent))

from harness import Room  # noqa: E402
from live_registry import LiveRegistry  # noqa: E402


@pytest.fixture
def server(tmp_path):
    """A registry without packages and users."""
    with LiveRegistry(tmp_path / "data") as live:
        yield live


@pytest.fixture
def token(server):
    """A token of the user "you"."""
    return server.token()


@pytest.fixture
def room(tmp_path, server):
    """A project directory and a tool home for mos, which talks to the registry."""
    made = Room(tmp_path)
    made.env["MOS_REGISTRY"] = server.url
    return made
