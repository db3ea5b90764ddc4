"""A room: everything that one test's runs of the program can see."""

import subprocess
from dataclasses import dataclass
from pathlib import Path

from harness.archives import as_bytes
from harness.compiler import CompilerRecord, StandInCompiler
from harness.system import (
    clean_environment,
    program,
    shown_path,
    wine_gave_up,
    without_wine,
    words_to_start,
)


@dataclass
class Result:
    """What one run left behind: the exit status, both streams as bytes and as text."""

    code: int
    raw_out: bytes
    raw_err: bytes

    @property
    def out(self):
        return self.raw_out.decode("utf-8", "surrogateescape")

    @property
    def err(self):
        return self.raw_err.decode("utf-8", "surrogateescape")

    @property
    def all(self):
        """(exit status, standard output, standard error), to compare in one go."""
        return self.code, self.out, self.err


class Room:
    """`dir` is the project directory and the current directory of every run, `home` the tool home
    (not created), `env` the environment: clean but for MOSS_HOME."""

    def __init__(self, root):
        self.root = Path(root)
        self.dir = self.root / "project"
        self.home = self.root / "home"
        self.compiler_record = CompilerRecord(self.root / "compiler-record")
        self.dir.mkdir()
        self.env = clean_environment()
        self.env["MOSS_HOME"] = shown_path(self.home)

    def run(self, *args, stdin=b"", env=None, cwd=None, timeout=60):
        """Runs the program; `env` adds variables, a value of None takes one away."""
        return self.run_words([*program(), *args], stdin=stdin, env=env, cwd=cwd, timeout=timeout)

    def run_words(self, words, stdin=b"", env=None, cwd=None, timeout=60):
        """Like run, for another command line, such as a copy of the program elsewhere."""
        variables = {**self.env, **(env or {})}
        recorded = self.compiler_record.contents()
        for _ in range(3):
            self.compiler_record.put_back(recorded)
            done = subprocess.run(
                words_to_start(words, variables),
                cwd=cwd or self.dir,
                input=as_bytes(stdin),
                env={name: value for name, value in variables.items() if value is not None},
                capture_output=True,
                timeout=timeout,
                check=False,
            )
            result = Result(done.returncode, done.stdout, without_wine(done.stderr))
            if not wine_gave_up(result, len(self.compiler_record.runs(recorded))):
                break
        return result

    def start(self, *args, env=None, cwd=None):
        """Starts the program and returns the process, with pipes for its three streams."""
        variables = {**self.env, **(env or {})}
        return subprocess.Popen(
            [*program(), *args],
            cwd=cwd or self.dir,
            env={name: value for name, value in variables.items() if value is not None},
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        )

    @staticmethod
    def finish(process, stdin=b"", timeout=60):
        """Waits for a process that `start` returned; what it still had to say, like run."""
        out, err = process.communicate(as_bytes(stdin), timeout=timeout)
        return Result(process.returncode, out, without_wine(err))

    def path(self, relative="."):
        """A path below the project directory."""
        return self.dir / relative

    def shown(self, relative=""):
        """The path of something below the project directory as the program prints it."""
        return shown_path(self.dir / relative if relative else self.dir)

    def shown_home(self, relative=""):
        """The path of something below the tool home as the program prints it."""
        return shown_path(self.home / relative if relative else self.home)

    def write(self, relative, contents):
        """Writes a file below the project directory with its parents; returns its path."""
        path = self.dir / relative
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(as_bytes(contents))
        return path

    def read(self, relative):
        """A file below the project directory as text, line ends untouched."""
        return (self.dir / relative).read_bytes().decode("utf-8", "surrogateescape")

    def exists(self, relative):
        """Whether anything of that name exists below the project directory."""
        path = self.dir / relative
        return path.exists() or path.is_symlink()

    def tree(self, relative="."):
        """Everything below a directory of the project: {"folder/": None, "folder/file": bytes}."""
        return tree_of(self.dir / relative)

    def manifest(self, deps=(), name="app", version="0.1.0", more=""):
        """Writes moss.toml; `deps` maps names to constraints, `more` follows at the end."""
        pairs = list(deps.items() if isinstance(deps, dict) else deps)
        text = f'[package]\nname = "{name}"\nversion = "{version}"\n'
        if pairs:
            text += "\n[dependencies]\n" + "".join(f'{key} = "{value}"\n' for key, value in pairs)
        return self.write("moss.toml", text + more)

    def cached(self, name, version):
        """Where the tool home keeps the archive of a version."""
        return self.home / "cache" / "packages" / name / version / f"{name}-{version}.mos"

    def cache(self, name, version, data):
        """Puts an archive into the tool home, as an earlier install would have."""
        path = self.cached(name, version)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)
        return path

    def compiler(self, relative="moss.exe", status=0, out="", err=""):
        """Puts a stand-in for the compiler below the project directory; see StandInCompiler."""
        return StandInCompiler(self, self.dir / relative, status, out, err)


def tree_of(directory):
    """Everything below `directory`: {"folder/": None, "folder/file": bytes, "link": "-> to"}."""
    found = {}
    for path in sorted(Path(directory).rglob("*")):
        name = path.relative_to(directory).as_posix()
        if path.is_symlink():
            found[name] = f"-> {path.readlink()}"
        elif path.is_dir():
            found[name + "/"] = None
        else:
            found[name] = path.read_bytes()
    return found
