#!/usr/bin/python3
"""Keeps the command lines that the documentation shows true: runs them and writes what they print.

    tools/shown_commands.py            write what has changed
    tools/shown_commands.py --check    show what would change; exit status 1 when anything would

A document holds the output between the lines `<!-- shown: NAME -->` and `<!-- end: NAME -->`. The
program is named by MOS_BIN, split like a shell splits words, or is build/release/mos. It talks to a
mos-registry on 127.0.0.1 (the one that MOS_REGISTRY_BIN names, or that stands beside the program); a
few lines of shell stand in for the Moss compiler. Addresses, paths and tokens are replaced by fixed
ones, colours are left out.
"""

import difflib
import os
import pty
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
SHOWN_URL = "http://127.0.0.1:8080"
SHOWN_TOKEN = "mos_8c1f02d4"
PASSWORD = "swordfish"

# Checks nothing, and runs nothing but the calls of println.
COMPILER = r"""#!/bin/sh
if [ "$1" = run ]; then
    sed -n 's/.*println("\(.*\)").*/\1/p' "$2"
fi
"""


def program():
    """The program's words; paths are made absolute, for runs elsewhere."""
    words = shlex.split(os.environ.get("MOS_BIN", "build/release/mos"))
    base = Path.cwd() if "MOS_BIN" in os.environ else ROOT
    return [str(base / word) if "/" in word else word for word in words]


def clean_environment():
    """This process's environment without what steers the program, its connections or its words."""
    return {
        name: value
        for name, value in os.environ.items()
        if not name.startswith(("MOS", "LC_", "LANG"))
        and name != "USERPROFILE"
        and not name.lower().endswith("_proxy")
    }


def registry_program():
    """The words that start mos-registry."""
    if "MOS_REGISTRY_BIN" in os.environ:
        return shlex.split(os.environ["MOS_REGISTRY_BIN"])
    return [str(Path(program()[-1]).parent / "mos-registry")]


class Registry:
    """A registry to which packages can be added, from `with` to the end of the block, with the user
    "you" whose password is PASSWORD."""

    def __init__(self, room):
        self.room = room
        self.process = None
        self.url = None
        self.token = None

    def __enter__(self):
        data = ["--data", str(self.room / "registry")]
        self.process = subprocess.Popen(
            [*registry_program(), "serve", *data, "--listen", "127.0.0.1:0", "--access-log", "off"],
            stderr=subprocess.PIPE,
            text=True,
        )
        self.url = self.process.stderr.readline().split()[-1]
        add_user = [*registry_program(), "user", "add", "you", "--email", "you@example.org", *data]
        subprocess.run(add_user, input=PASSWORD, check=True, capture_output=True, text=True)
        create = [*registry_program(), "token", "create", "you", *data]
        made = subprocess.run(create, check=True, capture_output=True, text=True)
        self.token = made.stdout.strip()
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.communicate()

    def publish(self, project):
        environment = {
            **clean_environment(),
            "MOS_REGISTRY": self.url,
            "MOS_TOKEN": self.token,
            "MOSS_HOME": str(self.room / "publisher"),
        }
        words = [*program(), "publish"]
        subprocess.run(words, cwd=project, env=environment, check=True, capture_output=True)

    def add_examples(self):
        for manifest in sorted((ROOT / "examples").glob("*/moss.toml")):
            project = self.room / "examples" / manifest.parent.name
            shutil.copytree(manifest.parent, project)
            self.publish(project)

    def add(self, name, version, dependencies=""):
        """Offers a small package; `dependencies` are lines of its manifest."""
        project = self.room / "small" / f"{name}-{version}"
        (project / "src").mkdir(parents=True)
        manifest = f'[package]\nname = "{name}"\nversion = "{version}"\n'
        if dependencies:
            manifest += f"\n[dependencies]\n{dependencies}\n"
        (project / "moss.toml").write_text(manifest, encoding="utf-8")
        (project / "src" / f"{name}.moss").write_text(f"// {name}\n", encoding="utf-8")
        self.publish(project)


class Session:
    """A shell session in a room of its own, of which a transcript is kept."""

    def __init__(self, room, registry):
        self.room = room
        self.registry = registry
        self.home = room / "home" / "you"
        self.directory = self.home
        self.lines = []
        tools = room / "tools"
        tools.mkdir(parents=True)
        self.home.mkdir(parents=True)
        (tools / "moss").write_text(COMPILER, encoding="utf-8")
        (tools / "moss").chmod(0o755)
        # The shell finds the program under its own name, whatever words start it.
        (tools / "mos").write_text(f'#!/bin/sh\nexec {shlex.join(program())} "$@"\n')
        (tools / "mos").chmod(0o755)
        self.environment = {
            **clean_environment(),
            "PATH": f"{tools}:{os.environ['PATH']}",
            "LC_ALL": "C",
            "MOSS_HOME": str(self.home / ".moss"),
            "MOS_REGISTRY": registry.url,
        }

    def shown(self, output):
        """`output` without what differs between runs and machines."""
        text = re.sub(r"\x1b\[[0-9;]*m", "", output.decode("utf-8")).replace("\r\n", "\n")
        text = re.sub(r"mos_[a-z2-7]{8}\.", f"{SHOWN_TOKEN}.", text)
        return text.replace(self.registry.url, SHOWN_URL).replace(str(self.room), "")

    def note(self, text):
        """A line of the transcript that is no command."""
        self.lines.append(f"# {text}\n")

    def run(self, command, status=0):
        """Runs a command line that must end with `status`; `cd` works as in a shell."""
        self.lines.append(f"$ {command}\n" if command else "\n")
        if command.startswith("cd "):
            self.directory = (self.directory / command.removeprefix("cd ")).resolve()
            return
        done = subprocess.run(
            ["/bin/sh", "-c", command],
            cwd=self.directory,
            env=self.environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            check=False,
        )
        output = self.shown(done.stdout)
        if done.returncode != status:
            raise SystemExit(f"{command}: exit status {done.returncode}\n{output}")
        self.lines.append(output)
        if status != 0:
            self.lines.append(f"$ echo $?\n{status}\n")

    def run_typing(self, command, *answers):
        """Runs a command line on a terminal of its own and types an answer to each prompt."""
        self.lines.append(f"$ {command}\n")
        terminal, inside = pty.openpty()
        child = subprocess.Popen(
            ["/bin/sh", "-c", command],
            cwd=self.directory,
            env=self.environment,
            stdin=inside,
            stdout=inside,
            stderr=inside,
        )
        os.close(inside)
        output, left = b"", list(answers)
        while True:
            try:
                output += os.read(terminal, 4096)
            except OSError:  # The other side of the terminal is closed.
                break
            if left and output.endswith(b": "):
                os.write(terminal, left.pop(0).encode() + b"\n")
        os.close(terminal)
        if child.wait() != 0 or left:
            raise SystemExit(f"{command}: exit status {child.returncode}\n{self.shown(output)}")
        self.lines.append(self.shown(output))

    def write(self, name, text):
        """Shows a file of the current directory being written."""
        (self.directory / name).write_text(text, encoding="utf-8")
        self.lines.append(f"$ cat > {name}\n{text}")

    def hidden(self, command):
        """Runs a command line that the transcript leaves out."""
        kept = list(self.lines)
        self.run(command)
        self.lines = kept

    def block(self):
        """The transcript so far as a code block."""
        return "```\n" + "".join(self.lines).rstrip("\n") + "\n```\n"


# --- README.md ------------------------------------------------------------------------------------


def projects(shell):
    shell.run("mos new app")
    shell.run("cd app")
    shell.run("mos check")
    shell.run("mos build")
    shell.run("mos run -- first second")
    shell.run("mos clean")
    shell.run("mkdir ../words")
    shell.run("cd ../words")
    shell.run("mos init")


def dependencies(shell):
    shell.registry.add_examples()
    shell.hidden("mos new app")
    shell.hidden("cd app")
    shell.run("mos add text")
    shell.run("mos add json@^1.2")
    shell.run("mos list")
    shell.run("mos tree")
    shell.run("mos install")
    shell.run("mos update --dry-run")
    shell.run("mos remove text")


def registry(shell):
    shell.registry.add_examples()
    shell.hidden("mos new words")
    shell.hidden("cd words")
    shell.run("mos search json")
    shell.run("mos info json")
    shell.run_typing("mos login", "you", PASSWORD)
    shell.run("mos whoami")
    shell.run("mos package")
    shell.run("mos publish")
    shell.run("mos logout")


def cache(shell):
    shell.registry.add_examples()
    shell.hidden("mos new app")
    shell.hidden("cd app")
    shell.hidden("mos add text")
    shell.run("mos cache")
    shell.run("mos cache path")
    shell.run("mos cache clean")


def summary(shell):
    shell.run("mos version")
    shell.run("mos help")


# --- docs/dependencies.md -------------------------------------------------------------------------


def project(shell, dependency_lines):
    """A project with these dependencies, without a word in the transcript."""
    shell.hidden("mkdir app")
    shell.hidden("cd app")
    text = f'[package]\nname = "app"\nversion = "0.1.0"\n\n[dependencies]\n{dependency_lines}\n'
    (shell.directory / "moss.toml").write_text(text, encoding="utf-8")


def exact_version(shell):
    for version in ["1.2.0", "1.2.1", "1.3.0"]:
        shell.registry.add("text", version)
    project(shell, 'text = "1.2.0"')
    shell.note("The registry has text 1.2.0, 1.2.1 and 1.3.0; moss.toml says 1.2.0.")
    shell.run("mos tree")
    shell.run("mos add text@~1.2.0")
    shell.run("mos tree")
    shell.run("mos add text")
    shell.run("mos list")


def kept_version(shell):
    shell.registry.add("text", "1.2.0")
    project(shell, 'text = "^1.2"')
    shell.run("mos install")
    shell.registry.add("text", "1.3.0")
    shell.note("text 1.3.0 is published, and the packages are fetched anew.")
    shell.run("mos clean")
    shell.run("mos install")


def unread_lock(shell):
    shell.registry.add("text", "1.2.0")
    shell.registry.add("json", "1.4.0", 'text = "^1.2"')
    project(shell, 'json = "^1.4"')
    shell.run("mos install")
    shell.run("tail -n 13 moss.lock")
    shell.registry.add("text", "1.3.0")
    shell.registry.add("json", "1.5.0", 'text = "^1.2"')
    shell.note("json 1.5.0 and text 1.3.0 are published.")
    shell.run("mos clean")
    shell.run("mos install")


def kept_alone(shell):
    shell.registry.add("text", "1.2.0")
    shell.registry.add("json", "1.4.0", 'text = "^1.2"')
    project(shell, 'json = "^1.4"')
    shell.hidden("mos install")
    shell.note("The list of json is deleted from moss.lock by hand.")
    shell.run("sed -i '/^dependencies/,/^]/d' moss.lock")
    shell.run("mos clean")
    shell.run("mos install")
    shell.run("ls packages")
    shell.run("mos install")


def kept_directory(shell):
    shell.registry.add("text", "1.2.0")
    project(shell, 'text = "^1.2"')
    shell.hidden("mos install")
    shell.registry.add("text", "1.3.0")
    shell.note("text 1.2.0 is installed, and 1.3.0 is published.")
    shell.run("mos update")
    shell.run("grep ^version moss.lock packages/text/moss.toml")
    shell.run("mos clean")
    shell.run("mos install")
    shell.run("grep ^version moss.lock packages/text/moss.toml")


def locked_install(shell):
    shell.registry.add("text", "1.2.0")
    shell.registry.add("json", "1.4.0", 'text = "^1.2"')
    project(shell, 'json = "^1.4"')
    shell.hidden("mos install")
    shell.registry.add("text", "1.3.0")
    shell.registry.add("json", "1.5.0", 'text = "^1.2"')
    shell.note("json 1.4.0 and text 1.2.0 are locked; json 1.5.0 and text 1.3.0 are published.")
    shell.run("mos clean")
    shell.run("mos cache clean")
    shell.run("mos install --locked")
    shell.note("What is changed is made right; what is not locked goes.")
    shell.run("echo '// mine' >> packages/json/src/main.moss")
    shell.run("mkdir packages/other")
    shell.run("mos install --locked")
    shell.note("With every archive in the cache, no registry is needed.")
    shell.run("MOS_REGISTRY=http://127.0.0.1:1 mos install --locked --offline")
    shell.run("sed -i 's/1.4/2.0/' moss.toml")
    shell.run("mos install --locked", status=4)


def offline(shell):
    shell.registry.add("text", "1.2.0")
    project(shell, 'text = "^1.2"')
    shell.hidden("mos install")
    shell.run("mos clean")
    shell.run("mos install --offline")
    shell.note("Nobody listens on port 1: a registry that is switched off.")
    shell.run("MOS_REGISTRY=http://127.0.0.1:1 mos install --offline", status=4)
    shell.run("MOS_OFFLINE=1 mos install", status=4)
    shell.registry.add("text", "1.3.0")
    shell.note("text 1.3.0 is published; moss.lock keeps 1.2.0, but update does not look at it.")
    shell.run("mos clean")
    shell.run("mos update --offline", status=1)


def path_dependency(shell):
    shell.registry.add("text", "1.2.0")
    shell.registry.add("text", "2.0.0")
    shell.hidden("mos new text")
    project(shell, "")
    shell.run("mos add text --path ../text")
    shell.run("cat moss.toml")
    shell.run("diff -q ../text packages/text", status=1)


def rewritten_manifest(shell):
    shell.registry.add("text", "1.2.0")
    shell.hidden("mkdir app")
    shell.hidden("cd app")
    shell.write(
        "moss.toml",
        '[package]\nname = "app"       # counts words\nversion = "0.1.0"\n'
        'keywords = ["words"]\nrating = 5\n\n[dependencies]\n'
        'local = { path = "../local", version = "^1.0" }\ntext = { version = "^1.2" }\n',
    )
    shell.run("mos remove text")
    shell.run("cat moss.toml")


def conflict(shell):
    shell.registry.add("text", "1.2.0")
    shell.registry.add("text", "2.0.0")
    shell.registry.add("json", "1.4.0", 'text = "^1.2"')
    project(shell, 'text = "^2.0"\njson = "^1.4"')
    shell.run("mos install", status=4)


# --- docs/guide.md ----------------------------------------------------------------------------------


def first_project(shell):
    shell.run("mos new app")
    shell.run("cd app")
    shell.run("find . -type f | sort")
    shell.run("cat moss.toml")
    shell.run("mos check")
    shell.run("mos run")


def first_dependency(shell):
    shell.registry.add_examples()
    shell.hidden("mos new app")
    shell.hidden("cd app")
    shell.run("mos add config")
    shell.run("mos add web")
    shell.run("mos tree")
    shell.run("tail -n 4 moss.toml")


def newer_version(shell):
    shell.registry.add("text", "1.2.0")
    project(shell, 'text = "^1.2"')
    shell.hidden("mos install")
    shell.registry.add("text", "1.3.0")
    shell.note("text 1.3.0 is published.")
    shell.run("mos clean")
    shell.run("mos update")


def first_publication(shell):
    shell.hidden("mos new words")
    shell.hidden("cd words")
    shell.run_typing("mos login", "you", PASSWORD)
    shell.run("mos publish")
    shell.run("mos info words")


def workspace(shell):
    for member in ["one", "two"]:
        shell.hidden(f"mos new {member}")
    shell.write("moss.toml", '[workspace]\nmembers = ["one", "two"]\n')
    shell.run("mos build")


# --- docs/moss-lock.md ------------------------------------------------------------------------------


def lock_file(shell):
    shell.registry.add_examples()
    shell.hidden("mos new app")
    shell.hidden("cd app")
    shell.hidden("mos add json@^1.2")
    shell.run("cat moss.lock")


DOCUMENTS = {
    "README.md": [projects, dependencies, registry, cache, summary],
    "docs/dependencies.md": [
        exact_version,
        kept_version,
        unread_lock,
        kept_alone,
        kept_directory,
        locked_install,
        offline,
        path_dependency,
        rewritten_manifest,
        conflict,
    ],
    "docs/guide.md": [first_project, first_dependency, newer_version, first_publication, workspace],
    "docs/moss-lock.md": [lock_file],
}


def transcript(scene):
    """The code block of a scene, played in a room that is thrown away."""
    with tempfile.TemporaryDirectory(prefix="mos-shown-") as place:
        room = Path(place).resolve()
        with Registry(room) as offered:
            shell = Session(room, offered)
            scene(shell)
            return shell.block()


def filled(text, scenes):
    """`text` with the code block of every scene between its two lines."""
    for scene in scenes:
        name = scene.__name__.replace("_", "-")
        begin, end = f"<!-- shown: {name} -->\n", f"<!-- end: {name} -->\n"
        if text.count(begin) != 1 or text.count(end) != 1:
            raise SystemExit(f"the lines {begin.strip()} and {end.strip()} must stand there once")
        before, _, rest = text.partition(begin)
        text = before + begin + transcript(scene) + end + rest.partition(end)[2]
    return text


def main():
    if sys.argv[1:] not in ([], ["--check"]):
        raise SystemExit(__doc__)
    changed = False
    for name, scenes in DOCUMENTS.items():
        document = ROOT / name
        text = document.read_text(encoding="utf-8")
        new_text = filled(text, scenes)
        if new_text == text:
            continue
        changed = True
        if sys.argv[1:]:
            old_lines, new_lines = text.splitlines(True), new_text.splitlines(True)
            sys.stdout.writelines(difflib.unified_diff(old_lines, new_lines, name, "as it is run"))
        else:
            document.write_text(new_text, encoding="utf-8")
    return 1 if changed and sys.argv[1:] else 0


if __name__ == "__main__":
    sys.exit(main())
