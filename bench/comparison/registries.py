"""The same packages for mos, cargo and the JavaScript tools, as files that one web server serves."""

import base64
import hashlib
import io
import json
import random
import tarfile
import zipfile

FILES = 20
FILE_SIZE = 2048


class Packages:
    """`count` packages; each needs the next two. `contents[name]` is {path: bytes}."""

    def __init__(self, count):
        self.names = [f"package{number:04}" for number in range(count)]
        self.needs = {
            name: self.names[number + 1 : number + 3] for number, name in enumerate(self.names)
        }
        chance = random.Random(count)
        self.contents = {
            name: {f"part{i}": chance.randbytes(FILE_SIZE) for i in range(FILES)}
            for name in self.names
        }


def write(path, data):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(data if isinstance(data, bytes) else data.encode())


def tarball(files):
    buffer = io.BytesIO()
    with tarfile.open(fileobj=buffer, mode="w:gz", format=tarfile.USTAR_FORMAT) as archive:
        for name, data in files.items():
            member = tarfile.TarInfo(name)
            member.size = len(data)
            archive.addfile(member, io.BytesIO(data))
    return buffer.getvalue()


def mos_archive(name, packages):
    buffer = io.BytesIO()
    needs = "".join(f'{other} = "^1.0"\n' for other in packages.needs[name])
    manifest = f'[package]\nname = "{name}"\nversion = "1.0.0"\n\n[dependencies]\n{needs}'
    with zipfile.ZipFile(buffer, "w", zipfile.ZIP_STORED) as archive:
        archive.writestr("moss.toml", manifest)
        for path, data in packages.contents[name].items():
            archive.writestr(f"src/{path}.moss", data)
    return buffer.getvalue()


def write_for_mos(tree, packages):
    for name in packages.names:
        data = mos_archive(name, packages)
        place = tree / "api" / "v1" / "packages" / name
        needs = [{"name": other, "constraint": "^1.0"} for other in packages.needs[name]]
        metadata = {
            "name": name,
            "version": "1.0.0",
            "checksum": "sha256:" + hashlib.sha256(data).hexdigest(),
            "dependencies": needs,
        }
        write(place / "versions", '["1.0.0"]')
        write(place / "1.0.0" / "index.json", json.dumps(metadata))
        write(place / "1.0.0" / "download", data)


def write_for_cargo(tree, packages, url):
    write(tree / "cargo" / "config.json", json.dumps({"dl": f"{url}/crates"}))
    for name in packages.names:
        needs = "".join(f'{other} = "^1.0"\n' for other in packages.needs[name])
        manifest = (
            f'[package]\nname = "{name}"\nversion = "1.0.0"\nedition = "2021"\n\n'
            f"[dependencies]\n{needs}"
        )
        files = {f"{name}-1.0.0/Cargo.toml": manifest.encode(), f"{name}-1.0.0/src/lib.rs": b""}
        for path, data in packages.contents[name].items():
            files[f"{name}-1.0.0/src/{path}.bin"] = data
        data = tarball(files)
        write(tree / "crates" / name / "1.0.0" / "download", data)
        entry = {
            "name": name,
            "vers": "1.0.0",
            "deps": [
                {
                    "name": other,
                    "req": "^1.0",
                    "features": [],
                    "optional": False,
                    "default_features": True,
                    "target": None,
                    "kind": "normal",
                }
                for other in packages.needs[name]
            ],
            "cksum": hashlib.sha256(data).hexdigest(),
            "features": {},
            "yanked": False,
        }
        write(tree / "cargo" / name[:2] / name[2:4] / name, json.dumps(entry) + "\n")


def write_for_node(tree, packages, url):
    for name in packages.names:
        needs = {other: "^1.0.0" for other in packages.needs[name]}
        manifest = {"name": name, "version": "1.0.0", "dependencies": needs}
        files = {"package/package.json": json.dumps(manifest).encode()}
        for path, data in packages.contents[name].items():
            files[f"package/src/{path}.bin"] = data
        data = tarball(files)
        write(tree / "npm" / name / "-" / f"{name}-1.0.0.tgz", data)
        digest = base64.b64encode(hashlib.sha512(data).digest()).decode()
        version = {
            **manifest,
            "dist": {
                "tarball": f"{url}/npm/{name}/-/{name}-1.0.0.tgz",
                "integrity": f"sha512-{digest}",
                "shasum": hashlib.sha1(data).hexdigest(),
            },
        }
        document = {"name": name, "dist-tags": {"latest": "1.0.0"}, "versions": {"1.0.0": version}}
        write(tree / "npm" / name / "index.json", json.dumps(document))


def write_projects(folder, wanted, url):
    """A project for each tool with the needs `wanted`: {name: constraint}."""
    needs = "".join(f'{name} = "{constraint}"\n' for name, constraint in wanted.items())
    head = '[package]\nname = "app"\nversion = "1.0.0"\n'
    write(folder / "mos" / "moss.toml", f"{head}\n[dependencies]\n{needs}")
    write(folder / "cargo" / "Cargo.toml", f'{head}edition = "2021"\n\n[dependencies]\n{needs}')
    write(folder / "cargo" / "src" / "lib.rs", "")
    write(
        folder / "cargo" / ".cargo" / "config.toml",
        '[source.crates-io]\nreplace-with = "local"\n\n'
        f'[source.local]\nregistry = "sparse+{url}/cargo/"\n',
    )
    manifest = {
        "name": "app",
        "version": "1.0.0",
        "private": True,
        "dependencies": wanted,
    }
    for tool in ("npm", "pnpm", "yarn"):
        write(folder / tool / "package.json", json.dumps(manifest))
        write(folder / tool / ".npmrc", f"registry={url}/npm/\n")
    write(folder / "yarn" / ".yarnrc", f'registry "{url}/npm/"\n')
