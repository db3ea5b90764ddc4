#!/usr/bin/python3
"""Compares mos with the tools that people would use instead, as whole processes on this machine.

    MOS_BIN=build/release/mos bench/compare.py [--rounds N] [--only SECTION]... [--write DATE]

Every table is measured in one run, in turns. Peers that are not installed are named as missing.
`--write` puts the tables into docs/performance.md and the plots into bench/results. What runs
beside mos (mos_bench, mos_lookups, mos_digest) is in the folder `bench` beside it.
"""

import argparse
import dataclasses
import functools
import json
import os
import platform
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

from comparison import registries, trees, universes
from comparison.report import BesideLookups, Timings
from comparison.scrap import Scrap
from comparison.timing import Job, Row, measure, measure_starts, peak_memory
from comparison.web_server import WebServer

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent
PEERS = ROOT / "build" / "peers" / "node_modules" / ".bin"
MOS = str(Path(os.environ.get("MOS_BIN", ROOT / "build" / "release" / "mos")).resolve())
BESIDE = Path(os.environ.get("MOS_BENCH_DIR", Path(MOS).parent / "bench"))


def found(name):
    """The path of a program, or nothing."""
    return shutil.which(name, path=f"{PEERS}:{os.environ['PATH']}:/usr/sbin")


def timings(title, jobs, rounds, note=""):
    rows, left_out = measure(jobs, rounds)
    return Timings(title, rows, note, left_out)


def without_missing(jobs, missing):
    """The jobs whose programs are there, those without one being this project's own; the names of
    the others go to `missing`."""
    kept = []
    for program, job in jobs:
        if program is None or found(program):
            kept.append(dataclasses.replace(job, own=program is None))
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
    own = measure_starts(timer, commands[:4], 400)
    peers = measure_starts(timer, commands[4:], max(rounds, 5)) if commands[4:] else []
    os.chdir(here)
    yield Timings("Starting", own + peers, "The first row is the least that a program can take.")


def packing(folder, rounds, missing):
    for shape, (files, size) in trees.SHAPES.items():
        tree = trees.make(folder / f"tree{files}", files, size)
        out = folder / "out"

        def fresh(out=out, tree=tree):
            for old in [*out.glob("*"), *tree.glob("*.mos")]:
                old.unlink()

        out.mkdir(exist_ok=True)
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
        yield timings(f"Packing {shape}", without_missing(jobs, missing), rounds,
                      "With the SHA-256, which `mos package` prints with the list of files, and with the "
                      "archive flushed to the disk. `npm pack` makes a compressed archive and prints a SHA-1 "
                      "and a SHA-512.")


def unpacking(folder, rounds, missing):
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
        out, scrap = folder / "out", Scrap(folder / "scrap")

        def fresh(out=out, project=project, scrap=scrap):
            for left in (out, project / "packages", project / "moss.lock"):
                scrap.take(left)
            out.mkdir()

        env = {"MOSS_HOME": str(home), "MOS_REGISTRY": server.url}
        jobs = [
            (None, Job("mos install, cached", [MOS, "install"], project, env, fresh)),
            ("unzip", Job("unzip", ["unzip", "-q", archive, "-d", out], before=fresh)),
            ("bsdtar", Job("bsdtar", ["bsdtar", "-xf", archive, "-C", out], before=fresh)),
            ("7z", Job("7z", ["7z", "x", "-tzip", f"-o{out}", archive], before=fresh)),
        ]
        yield timings(f"Unpacking {shape}", without_missing(jobs, missing), rounds,
                      "`mos install` asks the registry for the version and writes `moss.lock` as well; it trusts "
                      "what is cached, while the others compare the CRC-32 of every file.")
        server.stop()


def installing(folder, rounds, missing):
    for count in (50, 200):
        yield from installing_some(folder / f"install{count}", count, rounds, missing)


def installing_some(folder, count, rounds, missing):
    packages = registries.Packages(count)
    tree = folder / "tree"
    tree.mkdir(parents=True)
    server = WebServer(found("nginx"), folder / "server", tree)
    registries.write_for_mos(tree, packages)
    registries.write_for_cargo(tree, packages, server.url)
    registries.write_for_node(tree, packages, server.url)
    projects = folder / "projects"
    registries.write_projects(projects, {name: "^1.0" for name in packages.names}, server.url)
    homes, scrap = folder / "homes", Scrap(folder / "scrap")
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
                scrap.take(projects / tool / name)
            if cold:
                scrap.take(homes / tool)
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
            job("cargo", "cargo", "cargo vendor", ["cargo", "vendor", "-q", "--respect-source-config"], {"CARGO_HOME": home["cargo"]}),
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

    for cold in (True, False):
        state = "nothing cached" if cold else "all cached"
        kept = without_missing(jobs(cold), missing)
        if not cold:
            kept = [job for job in kept if "curl" not in job.name]
        yield timings(f"Installing {count} packages, {state}", kept, rounds,
                      "20 files of 2 KiB each, from nginx on 127.0.0.1. "
                      + ("`cargo fetch` unpacks below its home; the loop of curl does not unpack." if cold
                         else "`cargo fetch` has unpacked them before and writes a lock file alone."))
    server.stop()


def resolving(folder, rounds, missing):
    shapes = {
        "5,000 direct dependencies": lambda: universes.direct(5000),
        "a chain of 20,000 packages": lambda: universes.chain(20_000),
        "1,000 packages in 20 versions": lambda: universes.realistic(1000, 20, 1),
    }
    for number, (shape, make) in enumerate(shapes.items()):
        yield resolving_one(folder / f"universe{number}", shape, make(), rounds, missing)


def resolving_one(folder, shape, universe, rounds, missing):
    tree, projects, homes = folder / "tree", folder / "projects", folder / "homes"
    scrap = Scrap(folder / "scrap")
    tree.mkdir(parents=True)
    recorder = WebServer(found("nginx"), folder / "recorder", tree, keeps_paths=True)
    server = WebServer(found("nginx"), folder / "server", tree)
    universes.write_for_mos(tree, universe)
    universes.write_for_cargo(tree, universe, server.url)
    universes.write_for_node(tree, universe, server.url)
    registries.write_projects(projects, universe.needs, server.url)
    # What mos asks once is what is asked again without resolving.
    subprocess.run([MOS, "tree", "--json"], cwd=projects / "mos", stdout=subprocess.DEVNULL, check=True,
                   env={**os.environ, "MOSS_HOME": str(homes / "mos"), "MOS_REGISTRY": recorder.url})
    recorder.stop()
    paths = [path.split("/")[4:] for path in recorder.asked.read_text().splitlines()]
    questions = folder / "questions"
    questions.write_text("".join(
        f"{name}\n" if last == "versions" else f"{name} {last}\n" for name, last in paths))

    def fresh(tool, *leftovers):
        def clean():
            for name in leftovers:
                scrap.take(projects / tool / name)
            scrap.take(homes / tool)
            (homes / tool).mkdir(parents=True)
        return clean

    env = {"MOSS_HOME": str(homes / "mos"), "MOS_REGISTRY": server.url}
    node = ["install", "--ignore-scripts"]
    jobs = [
        (None, Job("mos tree --json", [MOS, "tree", "--json"], projects / "mos", env)),
        (None, Job("the look-ups alone", [BESIDE / "mos_lookups", questions], env=env)),
        ("cargo", Job("cargo generate-lockfile", ["cargo", "generate-lockfile", "-q"], projects / "cargo",
                      {"CARGO_HOME": str(homes / "cargo")}, fresh("cargo", "Cargo.lock"))),
        ("pnpm", Job("pnpm install --lockfile-only",
                     [found("pnpm") or "", *node, "--lockfile-only", "--store-dir", homes / "pnpm"],
                     projects / "pnpm", {"XDG_CACHE_HOME": str(homes / "pnpm")},
                     fresh("pnpm", "pnpm-lock.yaml"))),
        ("npm", Job("npm install --package-lock-only",
                    ["npm", *node, "--package-lock-only", "--no-audit", "--no-fund", "--cache",
                     homes / "npm"],
                    projects / "npm", before=fresh("npm", "package-lock.json"))),
    ]
    for _, job in jobs[2:]:
        job.limit = 30
    table = timings(f"Resolving {shape}", without_missing(jobs, missing), rounds)
    memory = peak_memory(jobs[0][1])
    server.stop()
    mos, lookups = table.rows[:2]
    table.note = (f"mos asks {len(paths):,} questions and takes {mos.median / lookups.median:.2f} times as "
                  f"long as asking them without resolving, with {memory / 2**20:.0f} MiB of memory "
                  "at most. Nothing is cached. cargo and npm may choose several versions of one package.")
    return table


def digests(folder, rounds, missing):
    path = folder / "large"
    path.write_bytes(trees.random.Random(1).randbytes(64 << 20))
    jobs = [
        (None, Job("mos (mos_digest)", [BESIDE / "mos_digest", path])),
        ("openssl", Job("openssl dgst -sha256", ["openssl", "dgst", "-sha256", path])),
        ("sha256sum", Job("sha256sum", ["sha256sum", path])),
        ("7z", Job("7z h -scrcSHA256", ["7z", "h", "-scrcSHA256", path])),
    ]
    yield timings("The digest of a file of 64 MiB", without_missing(jobs, missing), rounds)


@functools.cache
def functions_measured():
    """{name: ([seconds of processor time], {counter: median})} of everything in mos_bench that
    tables show."""
    names = "^(crc32 .*/(2048|1048576)|sha256 .*/(4096|67108864)|resolver .*/(0|1|5000|20000|1000))$"
    output = subprocess.run(
        [BESIDE / "mos_bench", f"--benchmark_filter={names}", "--benchmark_format=json",
         "--benchmark_min_time=0.02", "--benchmark_repetitions=9",
         "--benchmark_enable_random_interleaving=true"],
        capture_output=True, text=True, check=True).stdout
    units = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
    runs = {}
    for run in json.loads(output)["benchmarks"]:
        if run["run_type"] == "iteration" and not run.get("error_occurred"):
            runs.setdefault(run["run_name"], []).append(run)
    return {
        name: ([run["cpu_time"] * units[run["time_unit"]] for run in some],
               {key: statistics.median(run[key] for run in some) for key in ("lookups_ms",)
                if key in some[0]})
        for name, some in runs.items()
    }


def functions(_folder, _rounds, missing):
    measured = functions_measured()
    crc = {"mos": "crc32 fastest", "mos, portable vectors": "crc32 portable", "a plain loop": "crc32 plain loop"}
    sha = {"mos": "sha256 fastest", "OpenSSL": "sha256 openssl",
           "mos, without SHA instructions": "sha256 portable"}
    for title, rows, size in (
        ("CRC-32 of 1 MiB", crc, 1 << 20),
        ("CRC-32 of 2 KiB", crc, 2048),
        ("SHA-256 of 64 MiB in memory", sha, 64 << 20),
        ("SHA-256 of 4 KiB in memory", sha, 4096),
    ):
        kept = {name: f"{key}/{size}" for name, key in rows.items() if f"{key}/{size}" in measured}
        missing.extend(name for name in rows if name not in kept)
        yield Timings(title, [Row(name, measured[key][0]) for name, key in kept.items()],
                      "Processor time in one process.")
    families = {
        "5,000 direct dependencies": "resolver direct/5000",
        "a chain of 20,000": "resolver chain/20000",
        "1,000 packages in 20 versions, exact pins": "resolver realistic/1000",
        "20,000 that each want another version of one": "resolver popular/20000",
        "50 independent packages in 20 versions, no solution": "resolver independent/0",
        "50 independent packages in 20 versions, one solution": "resolver independent/1",
        "50 chained packages in 20 versions, no solution": "resolver chained/0",
        "50 chained packages in 20 versions, one solution": "resolver chained/1",
    }
    yield BesideLookups(
        "Choosing versions in memory",
        [(name, statistics.median(measured[key][0]), measured[key][1]["lookups_ms"] / 1e3)
         for name, key in families.items()],
        "Processor time in one process, with a package source that is a table in memory.")


SECTIONS = {
    "functions": functions,
    "starts": starts,
    "packing": packing,
    "unpacking": unpacking,
    "installing": installing,
    "resolving": resolving,
    "digests": digests,
}


def machine():
    cpu = re.search(r"model name\s*:\s*(.*)", Path("/proc/cpuinfo").read_text())
    return f"{cpu.group(1) if cpu else platform.machine()}, {os.cpu_count()} processors, Linux"


def write_results(tables, missing, date):
    results = HERE / "results"
    results.mkdir(exist_ok=True)
    for old in results.glob("*.svg"):
        old.unlink()
    parts = [
        "# Performance\n\nMeasured by `./dev bench`: every table in one run, its rows in turns (other "
        "programs' starts after mos's own). Medians (for other programs that take more than 1 s of "
        "three runs, for those that take more than 5 s of one) and half the distance between the quartiles "
        "or, of three runs, between the extremes. Ratios are to the first row, or to the look-ups where these "
        f"have a column. Nothing in the tests depends on these figures.\n\n{date}, {machine()}.\n"
    ]
    if missing:
        parts.append(f"Missing on that machine: {', '.join(missing)}.\n")
    for table in tables:
        file = re.sub(r"[^a-z0-9]+", "-", table.title.lower()).strip("-") + ".svg"
        (results / file).write_text(table.plot())
        parts.append(f"{table.text()}\n![{table.title}](../bench/results/{file})\n")
    (ROOT / "docs" / "performance.md").write_text("\n".join(parts))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rounds", type=int, default=7, help="runs that count (default 7)")
    parser.add_argument("--only", choices=SECTIONS, action="append")
    parser.add_argument("--write", metavar="DATE", help="write docs and plots, dated")
    options = parser.parse_args()
    missing, tables = [], []
    with tempfile.TemporaryDirectory(prefix="mos-bench-") as root:
        for name in options.only or SECTIONS:
            folder = Path(root) / name
            folder.mkdir()
            for table in SECTIONS[name](folder, options.rounds, missing):
                print(table.text(), flush=True)
                tables.append(table)
    missing = sorted(set(missing))
    if missing:
        print(f"Missing here: {', '.join(missing)}")
    if options.write:
        write_results(tables, missing, options.write)
    return 0


if __name__ == "__main__":
    sys.exit(main())
