"""A program that stands in for the Moss compiler."""

import shlex
import struct
import subprocess
from pathlib import Path

from harness.system import on_windows, shown_path


class CompilerRecord:
    """What the stand-ins of a room write of their runs; one for all, so that it shows the order."""

    def __init__(self, path):
        self.path = path

    def contents(self):
        """The record as it stands, empty before the first run."""
        return self.path.read_bytes() if self.path.exists() else b""

    def put_back(self, contents):
        """Makes the record again what it was."""
        if self.contents() != contents:
            self.path.write_bytes(contents)

    def runs(self, since=b""):
        """Every run so far, or after that record, as (directory, [program, argument, ...])."""
        added = self.contents()[len(since) :]
        words = added.decode("utf-8", "surrogateescape").split("\0")[:-1]
        found = []
        while words:
            end = 3 + int(words[0])
            found.append((words[1], words[2:end]))
            words = words[end:]
        return found


class StandInCompiler:
    """Records each of its runs, prints `out` and `err` and exits with `status`."""

    def __init__(self, room, path, status=0, out="", err=""):
        self.path = Path(path)
        self.record = room.compiler_record
        self.path.parent.mkdir(parents=True, exist_ok=True)
        if on_windows():
            texts = (shown_path(self.record.path), out, err, str(status))
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
            f'printf \'%s\\0\' "$#" "$PWD" "$0" "$@" >> {shlex.quote(str(self.record.path))}\n'
            f"printf '%s' {shlex.quote(out)}\n"
            f"printf '%s' {shlex.quote(err)} >&2\n"
            f"exit {status}\n"
        )

    def runs(self):
        """Every run of a stand-in of the room so far as (directory, [program, argument, ...])."""
        return self.record.runs()

    def calls(self):
        """Every run of a stand-in of the room so far as [program, argument, ...]."""
        return [call for _, call in self.runs()]


def windows_program(root):
    """The stand-in as a Windows program, built once for each test run."""
    program = Path(root).parent / "stand-in.exe"
    if not program.exists():
        source = Path(__file__).with_name("compiler_stand_in.c")
        compiler = ["x86_64-w64-mingw32-gcc-posix", "-O1", "-static", "-s", "-municode"]
        subprocess.run([*compiler, "-o", program, source], check=True)
    return program.read_bytes()
