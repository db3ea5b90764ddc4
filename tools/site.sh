#!/usr/bin/env bash
# What `./dev site` does: makes a site of the documents, build/site, with pandoc and without a network,
# and checks its links. Nothing on it comes from elsewhere, and nothing needs a script.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

readonly out=${1:-build/site}

# The heading above a group of pages, or a document and its name in the list of pages.
readonly contents=(
    'Using mos'
    'docs/guide.md Guide'
    'docs/commands.md Commands'
    'docs/moss-toml.md moss.toml'
    'docs/moss-lock.md moss.lock'
    'docs/dependencies.md Dependencies'
    'docs/messages.md Messages and error codes'
    'docs/windows.md Windows'
    'README.md Overview'
    'Registries'
    'docs/registry.md Running a registry'
    'docs/protocol.md Protocol'
    'examples/README.md Example packages'
    'Design'
    'docs/resolver.md How versions are chosen'
    'docs/performance.md Performance'
    'ARCHITECTURE.md Architecture'
    'SECURITY.md Security'
    'Project'
    'CHANGELOG.md Changelog'
    'CONTRIBUTING.md Contributing'
    'docs/coverage.md Coverage'
)

is_document() {
    [[ $1 == *.md' '* ]]
}

# page_of <document>: the file name of its page, as docs/site/links.lua has it.
page_of() {
    case $1 in
    README.md) printf 'readme.html' ;;
    examples/README.md) printf 'examples.html' ;;
    *) basename "${1,,}" .md | tr -d '\n' && printf '.html' ;;
    esac
}

# list_of_pages <document>: the list, in which the page of <document> is the current one.
list_of_pages() {
    local entry document open=
    for entry in "${contents[@]}"; do
        if ! is_document "$entry"; then
            printf '%s<h2>%s</h2>\n<ul>\n' "$open" "$entry"
            open=$'</ul>\n'
            continue
        fi
        document=${entry%% *}
        if [[ -f $document ]]; then
            printf '<li><a href="%s"%s>%s</a></li>\n' "$(page_of "$document")" \
                "$([[ $document == "$1" ]] && printf ' aria-current="page"')" "${entry#* }"
        fi
    done
    printf '</ul>\n'
}

make_page() {
    pandoc --from=gfm --to=html5 --no-highlight --wrap=none --standalone \
        --template=docs/site/page.html --lua-filter=docs/site/links.lua \
        --toc --toc-depth=2 --metadata=place:"$1" --metadata=pages:"${documents[*]}" \
        --variable=nav:"$(list_of_pages "$1")" --output="$out/$(page_of "$1")" "$1"
}

documents=(docs/index.md)
for entry in "${contents[@]}"; do
    if is_document "$entry" && [[ -f ${entry%% *} ]]; then
        documents+=("${entry%% *}")
    fi
done
rm -rf "$out"
mkdir -p "$out"
cp docs/site/style.css bench/results/*.svg "$out/"
for document in "${documents[@]}"; do
    make_page "$document"
done
/usr/bin/python3 tools/check_site.py "$out"
printf '%s/index.html and %s other pages\n' "$out" "$((${#documents[@]} - 1))"
