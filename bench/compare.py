#!/usr/bin/python3
"""Compares mos with the tools that people would use instead, as whole processes on this machine.

    MOS_BIN=build/release/mos bench/compare.py [--rounds N] [--only SECTION] [--write]

Every table is measured in one run, in turns. Peers that are not installed are named as missing.
`--write` puts the tables into docs/performance.md and the plots into bench/results.
"""

import argparse
import os
import platform
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from comparison import registries, report, trees
from comparison.timing import Job, measure, measure_starts
from comparison.web_server import WebServer, free_port

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent
PEERS = ROOT / "build" / "peers" / "node_modules" / ".bin"
MOS = str(Path(os.environ.get("MOS_BIN", ROOT / "build" / "release" / "mos")).resolve())


def found(name):
    """The path of a program, or nothing."""
    return shutil.which(name, path=f"{PEERS}:{os.environ['PATH']}:/usr/sbin")


def rows_of(measured):
    return [(one.name, one.median, one.spread, one.processor_median) for one in measured]


def without_missing(jobs, missing):
    """The jobs whose programs are there; the names of the others go to `missing`."""
    kept = []
    for program, job in jobs:
        if program is None or found(program):
            kept.append(job)
        else:
            missing.append(program)
    return kept


def starts(folder, rounds, missing):
    timer, minimal = folder / "spawn_timer", folder / "minimal"
    subprocess.run(
        ["cc", "-O2", "-o", timer, HERE / "comparison" / "spawn_timer.c"], check=True
    )
    (folder / "minimal.cpp").write_text(
        '#include <string>\nint main() { return std::string("mos").size() == 3 ? 0 : 1; }\n'
    )
    subprocess.run(["c++", "-O2", "-static", "-o", minimal, folder / "minimal.cpp"], check=True)
    project = folder / "fifty"
    project.mkdir()
    needs = "".join(f'package-number-{i} = "^1.{i}"\n' for i in range(50))
    (project / "moss.toml").write_text(
        f'[package]\nname = "app"\nversion = "1.0.0"\n\n[dependencies]\n{needs}'
    )
    commands = [
        ("a static C++ program", [str(minimal)]),
        ("mos version", [MOS, "version"]),
        ("mos list, 50 dependencies", [MOS, "list"]),
        ("mos cache path", [MOS, "cache", "path"]),
    ]
    for name, *words in (("cargo", "--version"), ("npm", "--version"), ("pnpm", "--version")):
        if found(name):
            commands.append((" ".join([name, *words]), [found(name), *words]))
        else:
            missing.append(name)
    here = os.getcwd()
    os.chdir(project)
    own = measure_starts(timer, commands[:4], 200)
    peers = measure_starts(timer, commands[4:], max(rounds, 5)) if commands[4:] else []
    os.chdir(here)
    rows = [(name, median, (high - low) / 2 / median, None) for name, median, low, high in own + peers]
    return [("Starting", rows, "The first row is the least that a program can take here.")]


def packing(folder, rounds, missing):
    tables = []
    for shape, (files, size) in trees.SHAPES.items():
        tree = trees.make(folder / f"tree{files}", files, size)
        out = folder / "out"

        def fresh(out=out):
            shutil.rmtree(out, ignore_errors=True)
            out.mkdir()

        digest = "openssl dgst -sha256"
        jobs = [
            (None, Job("mos package", [MOS, "package"], tree, before=fresh)),
            ("7z", Job("7z", f"7z a -tzip -mx=0 {out}/a.zip moss.toml src && {digest} {out}/a.zip",
                       tree, before=fresh)),
            ("bsdtar", Job("bsdtar", f"bsdtar --format zip --options zip:compression=store -cf "
                           f"{out}/a.zip moss.toml src && {digest} {out}/a.zip", tree, before=fresh)),
            ("zip", Job("zip -0", f"zip -0 -q -r {out}/a.zip moss.toml src && {digest} {out}/a.zip",
                        tree, before=fresh)),
            ("npm", Job("npm pack", f"npm pack --pack-destination {out}", tree, before=fresh)),
        ]
        measured = measure(without_missing(jobs, missing), rounds)
        tables.append((f"Packing {shape}", rows_of(measured),
                       "With the SHA-256 and the list of files, as `mos package` gives them."))
    return tables


def unpacking(folder, rounds, missing):
    tables = []
    for shape, (files, size) in trees.SHAPES.items():
        tree = trees.make(folder / f"tree{files}", files, size)
        subprocess.run([MOS, "package"], cwd=tree, stdout=subprocess.DEVNULL, check=True)
        archive = tree / "tree-1.0.0.mos"
        files_tree = folder / f"served{files}"
        place = files_tree / "api/v1/packages/tree"
        registries.write(place / "versions", '["1.0.0"]')
        registries.write(place / "1.0.0" / "index.json", '{"name":"tree","dependencies":[]}')
        server = WebServer(found("nginx"), folder / f"server{files}", files_tree)
        home = folder / f"home{files}"
        cached = home / "cache/packages/tree/1.0.0/tree-1.0.0.mos"
        cached.parent.mkdir(parents=True)
        shutil.copy(archive, cached)
        project = folder / f"project{files}"
        registries.write(project / "moss.toml", '[package]\nname = "app"\n\n[dependencies]\ntree = "*"\n')
        out = folder / "out"

        def fresh(out=out, project=project):
            shutil.rmtree(out, ignore_errors=True)
            shutil.rmtree(project / "packages", ignore_errors=True)
            (project / "moss.lock").unlink(missing_ok=True)
            out.mkdir()

        env = {"MOSS_HOME": str(home), "MOS_REGISTRY": server.url}
        jobs = [
            (None, Job("mos install, cached", [MOS, "install"], project, env, fresh)),
            ("unzip", Job("unzip", ["unzip", "-q", archive, "-d", out], before=fresh)),
            ("bsdtar", Job("bsdtar", ["bsdtar", "-xf", archive, "-C", out], before=fresh)),
            ("7z", Job("7z", ["7z", "x", "-tzip", f"-o{out}", archive], before=fresh)),
        ]
        measured = measure(without_missing(jobs, missing), rounds)
        server.stop()
        tables.append((f"Unpacking {shape}", rows_of(measured),
                       "`mos install` asks the registry for the version as well."))
    return tables


def installing(folder, rounds, missing):
    tables = []
    for count in (50, 200):
        tables += installing_some(folder / f"install{count}", count, rounds, missing)
    return tables


def installing_some(folder, count, rounds, missing):
    packages = registries.Packages(count)
    tree = folder / "tree"
    tree.mkdir(parents=True)
    server = WebServer(found("nginx"), folder / "server", tree)
    registries.write_for_mos(tree, packages)
    registries.write_for_cargo(tree, packages, server.url)
    registries.write_for_node(tree, packages, server.url)
    projects = folder / "projects"
    registries.write_projects(projects, packages, server.url)
    homes = folder / "homes"
    urls = "".join(f"url = {server.url}/api/v1/packages/{name}/1.0.0/download\noutput = {name}.mos\n"
                   for name in packages.names)
    registries.write(projects / "curl" / "urls", urls)

    leftovers = {
        "mos": ["packages", "moss.lock"],
        "cargo": ["Cargo.lock", "vendor"],
        "npm": ["node_modules", "package-lock.json"],
        "pnpm": ["node_modules", "pnpm-lock.yaml"],
        "yarn": ["node_modules", "yarn.lock"],
        "curl": ["out"],
    }

    def fresh(tool, cold):
        def clean():
            for name in leftovers[tool]:
                path = projects / tool / name
                if path.is_dir():
                    shutil.rmtree(path)
                else:
                    path.unlink(missing_ok=True)
            if cold:
                shutil.rmtree(homes / tool, ignore_errors=True)
            (homes / tool).mkdir(parents=True, exist_ok=True)
        return clean

    def jobs(cold):
        def job(program, tool, name, words, env=None):
            return program, Job(name, words, projects / tool, env or {}, fresh(tool, cold))

        home = {tool: str(homes / tool) for tool in leftovers}
        node = ["--ignore-scripts"]
        return [
            job(None, "mos", "mos install", [MOS, "install"],
                {"MOSS_HOME": home["mos"], "MOS_REGISTRY": server.url}),
            job("cargo", "cargo", "cargo fetch", ["cargo", "fetch", "-q"], {"CARGO_HOME": home["cargo"]}),
            job("cargo", "cargo", "cargo vendor", ["cargo", "vendor", "-q"], {"CARGO_HOME": home["cargo"]}),
            job("pnpm", "pnpm", "pnpm install",
                [found("pnpm") or "", "install", *node, "--store-dir", home["pnpm"]],
                {"XDG_CACHE_HOME": home["pnpm"]}),
            job("npm", "npm", "npm install",
                ["npm", "install", *node, "--no-audit", "--no-fund", "--cache", home["npm"]]),
            job("yarn", "yarn", "yarn install",
                [found("yarn") or "", "install", *node, "--cache-folder", home["yarn"]]),
            job("curl", "curl", "a loop of curl",
                "mkdir -p out && cd out && while read -r _ _ url && read -r _ _ name; do "
                "curl -sf -o $name $url; done < ../urls"),
        ]

    tables = []
    for cold in (True, False):
        state = "nothing cached" if cold else "all cached"
        kept = without_missing(jobs(cold), missing)
        if not cold:
            kept = [job for job in kept if "curl" not in job.name]
        measured = measure(kept, rounds)
        tables.append((f"Installing {count} packages, {state}", rows_of(measured),
                       "20 files of 2 KiB each, from nginx on 127.0.0.1."))
    server.stop()
    return tables


def digests(folder, rounds, missing):
    path = folder / "large"
    path.write_bytes(trees.random.Random(1).randbytes(64 << 20))
    project = folder / "digest"
    project.mkdir()
    jobs = [
        ("openssl", Job("openssl dgst -sha256", ["openssl", "dgst", "-sha256", path])),
        ("sha256sum", Job("sha256sum", ["sha256sum", path])),
        ("7z", Job("7z h -scrcSHA256", ["7z", "h", "-scrcSHA256", path])),
    ]
    return [("SHA-256 of 64 MiB", rows_of(measure(without_missing(jobs, missing), rounds)),
             "The figures of `mos` itself are in the table of the functions.")]


SECTIONS = {
    "starts": starts,
    "packing": packing,
    "unpacking": unpacking,
    "installing": installing,
    "digests": digests,
}


def machine():
    cpu = re.search(r"model name\s*:\s*(.*)", Path("/proc/cpuinfo").read_text())
    return f"{cpu.group(1) if cpu else platform.machine()}, {os.cpu_count()} processors, Linux"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rounds", type=int, default=9, help="runs that count (default 9)")
    parser.add_argument("--only", choices=SECTIONS, action="append")
    parser.add_argument("--write", metavar="DATE", help="write docs and plots, dated")
    options = parser.parse_args()
    missing, texts = [], []
    results = HERE / "results"
    for name in options.only or SECTIONS:
        with tempfile.TemporaryDirectory(prefix="mos-bench-") as folder:
            for title, rows, note in SECTIONS[name](Path(folder), options.rounds, missing):
                text = report.table(title, rows, note)
                print(text, flush=True)
                texts.append(text)
                if options.write:
                    results.mkdir(exist_ok=True)
                    file = re.sub(r"[^a-z0-9]+", "-", title.lower()).strip("-")
                    (results / f"{file}.svg").write_text(report.plot(title, rows))
    if missing:
        print(f"Missing here: {', '.join(sorted(set(missing)))}")
    if options.write:
        head = (
            "# Performance\n\nMeasured by `./dev bench`: whole processes, every table in one run, "
            "its jobs in turns; medians. Ratios are to the first row.\n\n"
            f"{options.write}, {machine()}.\n\n"
        )
        (ROOT / "docs" / "performance.md").write_text(head + "\n".join(texts))
    return 0


if __name__ == "__main__":
    sys.exit(main())
