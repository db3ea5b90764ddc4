"""What the black-box tests are written with.

A test takes the fixture `room` (and `registry` when it needs one), prepares files, calls
`room.run(...)` and compares whole outputs, files and the exit status:

    def test_an_unknown_command_is_refused(room):
        result = room.run("frobnicate")
        assert result.err == error_line("Unknown command 'frobnicate'. Run 'mos help' for usage.")
        assert (result.code, result.out) == (2, "")

The program is named by MOS_BIN, split like a shell splits words; MOS_BIN_KIND=windows says that it
is a Windows program, which `./dev wine` gives a Wine to run in.
"""

from harness.archives import archive, sha256
from harness.room import Result, Room, tree_of
from harness.scripted_registry import Reply, ScriptedRegistry, refused_url
from harness.system import (
    library_number,
    loop_reason,
    on_windows,
    program,
    shown_path,
    without_wine,
)
from harness.texts import (
    block,
    debug_line,
    error_line,
    file_error_line,
    heading,
    lock_file,
    status,
)

__all__ = [
    "Reply",
    "Result",
    "Room",
    "ScriptedRegistry",
    "archive",
    "block",
    "debug_line",
    "error_line",
    "file_error_line",
    "heading",
    "library_number",
    "lock_file",
    "loop_reason",
    "on_windows",
    "program",
    "refused_url",
    "sha256",
    "shown_path",
    "status",
    "tree_of",
    "without_wine",
]
