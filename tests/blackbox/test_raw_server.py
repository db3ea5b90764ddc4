"""What a test's own server must not leave to the tests after it."""

import threading

from harness.raw_server import RawServer


def test_nothing_waits_for_connections_once_a_server_has_ended():
    before = set(threading.enumerate())
    with RawServer():
        pass
    assert set(threading.enumerate()) <= before
