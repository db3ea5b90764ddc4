"""Fixtures of the black-box tests. What they hand out is described in the harness folder."""

import os

import pytest

from harness import Room, ScriptedRegistry, on_windows


def pytest_configure():
    if on_windows() and "WINEPREFIX" not in os.environ:
        raise pytest.UsageError("Windows programs are tested in a Wine of their own: ./dev wine ...")


@pytest.fixture
def room(tmp_path):
    """A project directory, a tool home and an environment of the test's own."""
    return Room(tmp_path)


@pytest.fixture
def registry(room):
    """A registry on 127.0.0.1 that the programs run in `room` talk to."""
    with ScriptedRegistry() as scripted:
        room.env["MOS_REGISTRY"] = scripted.url
        yield scripted
