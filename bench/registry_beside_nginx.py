#!/usr/bin/python3
"""Measures mos-registry beside nginx that serves the exported files: requests a second for metadata
and bytes a second for downloads, in one run, as ratios.

    MOS_REGISTRY_BIN=build/release/mos-registry bench/registry_beside_nginx.py [--seconds N]

Needs nginx and wrk (Debian's packages of these names). Both servers have one thread and write no
log; they are measured in turns, and the medians count.
"""

import argparse
import re
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

TESTS = Path(__file__).resolve().parents[1] / "tests"
sys.path.insert(0, str(TESTS / "registry"))
sys.path.insert(0, str(TESTS / "blackbox"))

from live_registry import LiveRegistry, package  # noqa: E402
from nginx_process import Nginx, documented  # noqa: E402

CONNECTIONS = 32
LARGE = 8 * 1024 * 1024
UNITS = {"B": 1, "KB": 1024, "MB": 1024**2, "GB": 1024**3}


def measure(url, seconds):
    """(requests, bytes) a second."""
    words = ["wrk", "-t", "1", "-c", str(CONNECTIONS), "-d", f"{seconds}s", url]
    out = subprocess.run(words, check=True, capture_output=True, text=True).stdout
    if "Non-2xx" in out or "Socket errors" in out:
        raise SystemExit(f"{url}\n{out}")
    requests = float(re.search(r"Requests/sec:\s+([\d.]+)", out)[1])
    number, unit = re.search(r"Transfer/sec:\s+([\d.]+)(\w+)", out).groups()
    return requests, float(number) * UNITS[unit]


def compare(title, path, column, show, servers, options):
    found = {name: [] for name in servers}
    for _ in range(options.rounds):
        for name, server in servers.items():
            found[name].append(measure(server.url + path, options.seconds)[column])
    medians = {name: statistics.median(values) for name, values in found.items()}
    ratio = medians["mos-registry"] / medians["nginx"]
    print(
        f"{title:28} mos-registry {show(medians['mos-registry'])}, "
        f"nginx {show(medians['nginx'])}: {ratio:.2f}",
        flush=True,
    )


def requests(number):
    return f"{number:8.0f} requests/s"


def mebibytes(number):
    return f"{number / 1024**2:8.0f} MiB/s"


def main():
    parser = argparse.ArgumentParser(description="Measures mos-registry beside nginx.")
    parser.add_argument("--seconds", type=int, default=3, help="of each measurement")
    parser.add_argument("--rounds", type=int, default=5, help="measurements of each")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="mos-beside-") as place:
        room = Path(place)
        with LiveRegistry(room / "data", "--threads", "1", "--access-log", "off") as registry:
            token = registry.token()
            for number in range(200):
                for version in ["1.0.0", "1.1.0"]:
                    registry.publish(package(f"package-{number}", version, 'text = "^1.0"'), token)
            registry.publish(package("big", "1.0.0", files={"src/big": bytes(LARGE)}), token)
            registry.command("export", str(room / "tree"))
            # A temporary directory is its owner's alone, and nginx as root serves as somebody else.
            room.chmod(0o755)
            block = documented("static hosting").replace("/srv/moss-registry", str(room / "tree"))
            with Nginx(room / "nginx", block, "sendfile on; tcp_nopush on;") as web:
                servers = {"mos-registry": registry, "nginx": web}
                packages = "/api/v1/packages"
                for title, path, column, show in [
                    ("versions", f"{packages}/package-7/versions", 0, requests),
                    ("metadata of a version", f"{packages}/package-7/1.1.0", 0, requests),
                    ("small downloads", f"{packages}/package-7/1.1.0/download", 0, requests),
                    ("downloads of 8 MiB", f"{packages}/big/1.0.0/download", 1, mebibytes),
                ]:
                    compare(title, path, column, show, servers, options)


if __name__ == "__main__":
    main()
