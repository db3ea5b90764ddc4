# mos keeps its cache and the login in MOSS_HOME and never reads HOME itself; without this a login
# shell would have them in whatever directory mos is started in.
if status is-login; and test -z "$MOSS_HOME"; and test -n "$HOME"
    set -gx MOSS_HOME "$HOME/.moss"
end
