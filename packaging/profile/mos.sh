# mos keeps its cache and the login in MOSS_HOME and never reads HOME itself; without this a login
# shell would have them in whatever directory mos is started in.
# shellcheck shell=sh
if [ -z "${MOSS_HOME:-}" ] && [ -n "${HOME:-}" ]; then
    MOSS_HOME="$HOME/.moss"
    export MOSS_HOME
fi
