"""A program that stands in for the Moss compiler."""

import shlex
import struct
import subprocess
from pathlib import Path

from harness.system import on_windows, shown_path


class StandInCompiler:
    """Records each of its runs, prints `out` and `err` and exits with `status`.

    Every stand-in of a room writes to the same record, so that `calls()` shows the order of runs.
    """

    def __init__(self, room, path, status=0, out="", err=""):
        self.path = Path(path)
        self.record = room.root / "compiler-record"
        self.path.parent.mkdir(parents=True, exist_ok=True)
        if on_windows():
            texts = (shown_path(self.record), out, err, str(status))
            settings = b"".join(text.encode() + b"\0" for text in texts)
            trailer = struct.pack("<I", len(settings)) + b"STAND-IN"
            self.path.write_bytes(windows_program(room.root) + settings + trailer)
            self.path.chmod(0o755)
        else:
            self.path.write_text(self.script(status, out, err), encoding="utf-8")
            self.path.chmod(0o755)

    def script(self, status, out, err):
        return (
            "#!/bin/sh\n"
            f'printf \'%s\\0\' "$#" "$PWD" "$0" "$@" >> {shlex.quote(str(self.record))}\n'
            f"printf '%s' {shlex.quote(out)}\n"
            f"printf '%s' {shlex.quote(err)} >&2\n"
            f"exit {status}\n"
        )

    def runs(self):
        """Every run so far as (directory, [program, argument, ...])."""
        if not self.record.exists():
            return []
        words = self.record.read_bytes().decode("utf-8", "surrogateescape").split("\0")[:-1]
        found = []
        while words:
            end = 3 + int(words[0])
            found.append((words[1], words[2:end]))
            words = words[end:]
        return found

    def calls(self):
        """Every run so far as [program, argument, ...]."""
        return [call for _, call in self.runs()]


def windows_program(root):
    """The stand-in as a Windows program, built once for each test run."""
    program = Path(root).parent / "stand-in.exe"
    if not program.exists():
        source = Path(__file__).with_name("compiler_stand_in.c")
        compiler = ["x86_64-w64-mingw32-gcc-posix", "-O1", "-static", "-s", "-municode"]
        subprocess.run([*compiler, "-o", program, source], check=True)
    return program.read_bytes()
