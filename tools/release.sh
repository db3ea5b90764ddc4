#!/usr/bin/env bash
# What `./dev release` does: builds the packages of the last commit twice, in two folders, compares
# them, checks each, and leaves them in build/packages-VERSION with SHA256SUMS.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# The mode of a new file is part of a package.
umask 022

readonly python=/usr/bin/python3
codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
readonly codename
version=$(sed -n 's/^project(mos VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
readonly version
readonly out=$PWD/build/packages-$version
commit=$(git rev-parse HEAD)
readonly commit
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct "$commit")
export SOURCE_DATE_EPOCH

readonly deb=mos_${version}_amd64.deb
readonly registry_deb=mos-registry_${version}_amd64.deb
readonly tarball=mos-$version-linux-x86_64.tar.gz
readonly zip=mos-$version-windows-x86_64.zip
readonly components=mos-$version.cdx.json

readonly work=$PWD/build/release-work
readonly chroot=$work/chroot
failed=0
declare -A results

as_root() {
    if [[ $EUID -eq 0 ]]; then
        "$@"
    else
        sudo "$@"
    fi
}

# What was worked with; the chroot is root's.
clean_up() {
    as_root rm -rf "$work"
}
trap clean_up EXIT

# record <artefact> <check> <command>...: runs a check of an artefact and remembers how it ended.
record() {
    local artefact=$1 check=$2 log="$work/$1-$2.log"
    shift 2
    printf '==> %s: %s\n' "$artefact" "$check"
    # Within a condition, a shell would not end at the first failing command.
    set +e
    (
        set -e
        "$@"
    ) >"$log" 2>&1
    local status=$?
    set -e
    if [[ $status -eq 0 ]]; then
        results[$artefact]+="${results[$artefact]:+, }$check ok"
    else
        results[$artefact]+="${results[$artefact]:+, }$check FAILED"
        failed=1
        cat "$log"
    fi
}

# --- Building -----------------------------------------------------------------------------------

# configure_and_build <preset>: in the current directory, with the output in <preset>.log.
configure_and_build() {
    { cmake --preset "$1" && cmake --build --preset "$1"; } >"$1.log" 2>&1 || {
        tail -n 40 "$1.log"
        return 1
    }
}

# build_in <folder>: builds the last commit there and puts every artefact into <folder>/artefacts.
build_in() (
    mkdir -p "$1"
    git archive "$commit" | tar -x -C "$1"
    cd "$1"
    configure_and_build packages
    configure_and_build packages-windows
    # For files that belong to root, whoever builds, and for times in a zip, which are local ones.
    TZ=UTC fakeroot cpack --config build/packages/CPackConfig.cmake -B "$PWD/artefacts" >cpack.log 2>&1
    TZ=UTC fakeroot cpack --config build/packages-windows/CPackConfig.cmake -B "$PWD/artefacts" >>cpack.log 2>&1
    rm -r artefacts/_CPack_Packages
    tools/component_list.py "$version" "$SOURCE_DATE_EPOCH" mos=build/packages \
        mos-registry=build/packages mos.exe=build/packages-windows >"artefacts/$components"
    tools/package_manifests.py "artefacts/$zip" "$version" "$SOURCE_DATE_EPOCH" artefacts
)

same_in_both() {
    cmp "$work/first/artefacts/$1" "$work/the second/artefacts/$1"
}

build_twice() {
    local artefact
    printf '==> first build\n'
    build_in "$work/first"
    printf '==> second build, in another folder\n'
    # What else must not matter: the time zone, the order of the alphabet, a cache of the compiler's.
    TZ=Pacific/Auckland LC_ALL=C.UTF-8 CCACHE_DISABLE=1 build_in "$work/the second"
    mkdir -p "$out"
    find "$out" -mindepth 1 -delete
    for artefact in "$work/first/artefacts"/*; do
        cp -p "$artefact" "$out/"
        record "${artefact##*/}" 'same twice' same_in_both "${artefact##*/}"
    done
    (cd "$out" && LC_ALL=C sha256sum -- *) >"$work/SHA256SUMS"
    mv "$work/SHA256SUMS" "$out/"
}

# --- Debian packages ----------------------------------------------------------------------------

lint_package() {
    lintian --allow-root --pedantic --display-info --fail-on error,warning,info,pedantic "$out/$1"
}

# The address from which this machine installs Debian's own packages.
mirror() {
    # shellcheck disable=SC2016  # apt-get fills in the name.
    apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' "Codename: $codename" |
        head -n 1
}

# in_chroot <word>...: runs a command in the chroot, with a /proc of its own that goes with it.
in_chroot() {
    # shellcheck disable=SC2016  # The inner shell fills in the words.
    as_root unshare --mount --fork sh -c '
        mount -t proc proc "$0/proc" && exec chroot "$0" /usr/bin/env -i \
            PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"' \
        "$chroot" "$@"
}

# As what a user types after logging in.
as_user() {
    in_chroot su --login ada --command "$1"
}

make_chroot() {
    mkdir -p "$PWD/build/debootstrap"
    as_root debootstrap --variant=minbase --cache-dir="$PWD/build/debootstrap" \
        "$codename" "$chroot" "$(mirror)"
    apt-config dump | { grep -E '^Acquire::https?::Proxy' || true; } |
        as_root tee "$chroot/etc/apt/apt.conf.d/00proxy"
    as_root cp "$out/$deb" "$out/$registry_deb" "$chroot/root/"
    as_root cp tools/package_journey.sh "$chroot/usr/local/bin/package_journey"
    in_chroot useradd --create-home --shell /bin/bash ada
    in_chroot apt-get -qq update
}

install_package() {
    in_chroot apt-get -qq -y install "/root/$1"
    in_chroot dpkg --verify "${1%%_*}"
}

login_shells_know_the_home() {
    # shellcheck disable=SC2016  # The shell of the user fills it in.
    [[ $(as_user 'printf "%s" "$MOSS_HOME"') == /home/ada/.moss ]]
    [[ $(as_user 'mos cache path') == /home/ada/.moss ]]
    [[ $(as_user 'MOSS_HOME=/elsewhere sh -l -c "mos cache path"') == /elsewhere ]]
}

journey_in_chroot() {
    as_user "mos-registry run -- package_journey $version mos"
}

service_is_in_order() {
    in_chroot getent passwd mos-registry
    in_chroot systemd-analyze verify --man=no mos-registry.service
    # Of 100; anything above 50 counts as exposed.
    in_chroot systemd-analyze security --offline=yes --threshold=15 mos-registry.service
}

nothing_stays() {
    local files
    # shellcheck disable=SC2016  # The inner shell fills in the names.
    files=$(in_chroot sh -c 'dpkg -L mos mos-registry |
        while read -r file; do [ -d "$file" ] || echo "$file"; done')
    in_chroot apt-get -qq -y purge mos mos-registry
    # shellcheck disable=SC2016,SC2086  # One word for each file.
    in_chroot sh -c 'for file; do [ ! -e "$file" ] || { echo "$file is left" && exit 1; }; done' \
        sh $files
}

check_debian_packages() {
    local package
    for package in "$deb" "$registry_deb"; do
        record "$package" lintian lint_package "$package"
    done
    record "$deb" 'clean chroot' make_chroot
    record "$deb" installed install_package "$deb"
    # What mos loads when it makes its first request comes with it.
    record "$deb" 'libcurl there' in_chroot dpkg-query -W libcurl4
    record "$registry_deb" 'installed in the same chroot' install_package "$registry_deb"
    record "$deb" 'MOSS_HOME in login shells' login_shells_know_the_home
    record "$deb" journey journey_in_chroot
    record "$registry_deb" journey journey_in_chroot
    record "$registry_deb" 'user and unit' service_is_in_order
    record "$registry_deb" removal nothing_stays
}

# --- Archives -----------------------------------------------------------------------------------

tarball_journey() {
    tar -xzf "$out/$tarball" -C "$work"
    "$work/first/build/packages/mos-registry" run -- tools/package_journey.sh "$version" \
        "$work/${tarball%.tar.gz}/bin/mos"
}

zip_journey() {
    (cd "$work" && "$python" -m zipfile -e "$out/$zip" .)
    ./dev wine "$work/first/build/packages/mos-registry" run -- tools/package_journey.sh "$version" \
        wine "$work/${zip%.zip}/mos.exe"
}

components_are_well_formed() {
    "$python" -m json.tool "$out/$components"
}

# --- The table ----------------------------------------------------------------------------------

print_table() {
    local sum artefact
    printf '\n%s: version %s, commit %s\n\n' "$out" "$version" "$commit"
    while read -r sum artefact; do
        printf '%s\n    %s bytes\n    sha256 %s\n    again  %s\n    %s\n' "$artefact" \
            "$(stat -c %s "$out/$artefact")" "$sum" \
            "$(sha256sum <"$work/the second/artefacts/$artefact" | cut -d ' ' -f 1)" \
            "${results[$artefact]}"
    done <"$out/SHA256SUMS"
    if [[ $failed -ne 0 ]]; then
        printf '\nThe release is not in order.\n'
    fi
}

if [[ -n $(git status --porcelain) ]]; then
    printf 'What is not committed is not in the release.\n' >&2
fi
clean_up
mkdir -p "$work"
build_twice
check_debian_packages
record "$tarball" journey tarball_journey
record "$zip" 'journey under Wine' zip_journey
record "$components" 'well-formed' components_are_well_formed
print_table
[[ $failed -eq 0 ]]
