#!/usr/bin/env bash
# What ./dev demo shows, inside `mos-registry run --empty --`: an empty registry that a user is added
# to, who publishes the example packages and installs some of them into a new project.
#
#     mos-registry run --empty -- tools/demo.sh
#
# mos and mos-registry are those in PATH. What is printed is compared with what it should be.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

fail() {
    printf 'the demo went wrong: %s\n' "$1" >&2
    exit 1
}

# expect <what> <file>: compares standard input with a file.
expect() {
    diff -u --label "expected: $1" --label "found: $1" - "$2" || fail "$1"
}

# show <directory> <word>...: shows a command line and what it prints; keeps the output without
# colours in $room/output.
show() {
    local directory=$1
    shift
    printf '\n$ %s\n' "$*"
    (cd "$directory" && "$@") | tee "$room/colored"
    sed 's/\x1b\[[0-9;]*m//g' "$room/colored" >"$room/output"
}

room=$(mktemp -d /tmp/mos-demo.XXXXXX)
trap 'rm -rf "$room"' EXIT
mkdir "$room/work"
cp -R examples "$room/examples"

show "$room" mos-registry user add you --email you@example.org <<<'correct horse'
show "$room" mos login <<<$'you\ncorrect horse'
for project in "$room"/examples/*/; do
    show "$project" mos publish
done
show "$room" mos search json
expect "mos search" "$room/output" <<TEXT
Packages matching "json"

json
  JSON documents
  latest: 2.1.0

config
  Settings in JSON files
  latest: 1.1.0

Browse packages online: $MOS_REGISTRY/#packages
TEXT
show "$room" mos info json

show "$room/work" mos new app
show "$room/work/app" mos add config
expect "mos add config" "$room/output" <<'TEXT'
Adding config v^1.1.0 to dependencies
Downloading config v1.1.0
Downloading json v1.4.0
Downloading text v1.2.0
Finished installation of dependencies
TEXT
show "$room/work/app" mos add web
expect "mos add web" "$room/output" <<'TEXT'
Adding web v^1.0.0 to dependencies
Downloading web v1.0.0
Downloading http v1.3.0
Downloading log v0.3.2
Downloading router v0.5.1
Finished installation of dependencies
TEXT
show "$room/work/app" mos install
expect "mos install" "$room/output" <<'TEXT'
Finished installation of dependencies
TEXT
show "$room/work/app" mos tree

for name in config-1.1.0 http-1.3.0 json-1.4.0 log-0.3.2 router-0.5.1 text-1.2.0 web-1.0.0; do
    diff -r "examples/$name" "$room/work/app/packages/${name%-*}" ||
        fail "packages/${name%-*} is not examples/$name"
done
printf '\nhttp 2.0.0 needs json 2, config needs json 1: http 1.3.0 was chosen.\n'
