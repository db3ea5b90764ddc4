#!/usr/bin/env bash
# A user's first steps, with which every package of a release is checked, inside `mos-registry run`:
#
#     mos-registry run -- tools/package_journey.sh VERSION WORD...
#
# The words start mos, which has to be of this version. What it prints is compared with what it should
# print. A Windows program gets the path of the tool home as Windows writes it.
set -euo pipefail

readonly version=$1
shift
readonly mos=("$@")

fail() {
    printf 'the journey went wrong: %s\n' "$1" >&2
    exit 1
}

room=$(mktemp -d /tmp/mos-journey.XXXXXX)
trap 'rm -rf "$room"' EXIT
cd "$room"
if [[ ${mos[0]} == wine ]]; then
    MOSS_HOME=Z:${MOSS_HOME//\//\\}
fi

# step <word>...: runs mos with these words and compares what it prints with standard input.
step() {
    sed "s/VERSION/$version/" >"$room/expected"
    "${mos[@]}" "$@" </dev/null >"$room/colored" || fail "mos $* failed"
    sed 's/\x1b\[[0-9;]*m//g' "$room/colored" >"$room/printed"
    diff -u --label expected --label printed "$room/expected" "$room/printed" ||
        fail "mos $* printed something else"
}

step version <<'TEXT'
mos VERSION (Moss Package Manager)
TEXT
step new app <<'TEXT'
Created binary (application) `app` package
TEXT
cd app
step add web <<'TEXT'
Adding web v^1.0.0 to dependencies
Downloading web v1.0.0
Downloading http v2.0.0
Downloading log v0.3.2
Downloading router v0.5.1
Downloading json v2.1.0
Downloading text v1.2.0
Finished installation of dependencies
TEXT
step clean <<'TEXT'
Cleaned project packages and build cache.
TEXT
step install <<'TEXT'
Unpacking web v1.0.0 (cached)
Unpacking http v2.0.0 (cached)
Unpacking log v0.3.2 (cached)
Unpacking router v0.5.1 (cached)
Unpacking json v2.1.0 (cached)
Unpacking text v1.2.0 (cached)
Finished installation of dependencies
TEXT
step tree <<'TEXT'
app
└── web 1.0.0
    ├── http 2.0.0
    │   ├── json 2.1.0
    │   │   └── text 1.2.0
    │   └── text 1.2.0
    ├── log 0.3.2
    │   └── text 1.2.0
    └── router 0.5.1
        ├── http 2.0.0
        │   ├── json 2.1.0
        │   │   └── text 1.2.0
        │   └── text 1.2.0
        └── text 1.2.0
TEXT
step package <<'TEXT'
Packaging app 0.1.0...

Files:
  moss.toml
  README.md
  src/main.moss

Created:
  app-0.1.0.mos

SHA-256:
  sha256:d9f3896b684433ac872165f8806da50ee55a44c2a9e257e37129b9f5ff3b191f
TEXT
printf 'version, new, add, clean, install, tree, package: as they should be\n'
