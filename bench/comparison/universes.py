"""Packages without content, whose versions are to be chosen: the same for mos, cargo and the
JavaScript tools, as files that one web server serves."""

import json
import random
from dataclasses import dataclass

from comparison.registries import write


@dataclass
class Universe:
    needs: dict  # of the project: {name: constraint}
    packages: dict  # {name: {version: {name: constraint}}}


def numbered(number):
    return f"package{number:05}"


def direct(count):
    names = [numbered(i) for i in range(count)]
    return Universe({name: "^1.0" for name in names}, {name: {"1.0.0": {}} for name in names})


def chain(count):
    packages = {
        numbered(i): {"1.0.0": {numbered(i + 1): "^1.0"} if i + 1 < count else {}}
        for i in range(count)
    }
    return Universe({numbered(0): "^1.0"}, packages)


def realistic(count, versions, seed):
    """Versions in two major lines. Packages need up to five others that come later, in versions of
    about the same age; one need in twenty is exact."""
    chance = random.Random(seed)

    def version(place):
        return f"{1 + 2 * place // versions}.{place}.0"

    def constraint(place):
        wanted = version(max(0, place - chance.randrange(3)))
        return f"={wanted}" if chance.randrange(20) == 0 else f"^{wanted}"

    packages = {}
    for i in range(count):
        packages[numbered(i)] = {
            version(place): {
                numbered(chance.randrange(i + 1, count)): constraint(place)
                for _ in range(chance.randrange(6) if i + 1 < count else 0)
            }
            for place in range(versions)
        }
    return Universe({numbered(i): "*" for i in range(count // 10)}, packages)


def write_for_mos(tree, universe):
    for name, versions in universe.packages.items():
        place = tree / "api" / "v1" / "packages" / name
        write(place / "versions", json.dumps(list(versions)))
        for version, needs in versions.items():
            metadata = {
                "name": name,
                "version": version,
                "checksum": "sha256:" + "0" * 64,
                "dependencies": [{"name": k, "constraint": v} for k, v in needs.items()],
            }
            write(place / version, json.dumps(metadata))


def write_for_cargo(tree, universe, url):
    write(tree / "cargo" / "config.json", json.dumps({"dl": f"{url}/crates"}))
    for name, versions in universe.packages.items():
        lines = []
        for version, needs in versions.items():
            deps = [
                {"name": k, "req": v, "features": [], "optional": False,
                 "default_features": True, "target": None, "kind": "normal"}
                for k, v in needs.items()
            ]
            lines.append(json.dumps({"name": name, "vers": version, "deps": deps,
                                     "cksum": "0" * 64, "features": {}, "yanked": False}))
        write(tree / "cargo" / name[:2] / name[2:4] / name, "\n".join(lines) + "\n")


def write_for_node(tree, universe, url):
    for name, versions in universe.packages.items():
        documents = {
            version: {
                "name": name,
                "version": version,
                "dependencies": needs,
                "dist": {
                    "tarball": f"{url}/npm/{name}/-/{name}-{version}.tgz",
                    "integrity": "sha512-" + "A" * 86 + "==",
                },
            }
            for version, needs in versions.items()
        }
        document = {"name": name, "dist-tags": {"latest": list(versions)[-1]}, "versions": documents}
        write(tree / "npm" / name / "index.json", json.dumps(document))
