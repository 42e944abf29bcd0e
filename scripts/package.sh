#!/usr/bin/env bash
# Builds the Debian packages and tries them out: scripts/package.sh [prefix | build]
# Leaves them in build/package/packages. They are installed in a clean root made by debootstrap, where
# the programs run and a program outside the tree is built against them, and removed again without a
# trace. With "prefix", and where a clean root cannot be made, they are unpacked below an empty prefix
# and the same is run from there; with "build" they are only built. The root is build/package/root or
# $QX_CLEAN_ROOT. What is missing on a Debian machine is installed first.
# Every build of a commit makes the same bytes: the time in the packages is that of the commit, or the one
# of SOURCE_DATE_EPOCH.
. "$(dirname "$0")/lib.sh"

install_missing $build_packages dpkg-dev file pkg-config libssl-dev doxygen python3

export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null || date +%s)}
umask 022
export CCACHE_BASEDIR= # it would write paths of sources into the symbols in another way
packages=$root/build/package/packages
outside="g++ cmake ninja-build pkg-config" # what a program outside the tree is built with

# A machine to install on, with what the consumer is built with; made once.
make_clean_root() {
    local made=$1 suite mirror components=main
    [[ ! -e $made/etc/debian_version ]] || return 0
    [[ $(id -u) == 0 ]] || return 1
    install_missing debootstrap || return 1
    . /etc/os-release
    suite=$VERSION_CODENAME
    [[ $ID == debian ]] || components+=,universe # where Ubuntu has Ninja
    # Either may be missing.
    mirror=$({ cat /etc/apt/sources.list /etc/apt/sources.list.d/* 2>/dev/null || true; } |
        grep -oP -m 1 "^(URIs:|deb) *(\\[.*\\] *)?\\Khttps?://\\S*$ID/?(?=\\s|\$)") || return 1
    rm -rf "$made.part"
    debootstrap --variant=minbase --components=$components "$suite" "$made.part" "$mirror" >"$made.log" &&
        run_in "$made.part" apt-get -qq -y -o Dpkg::Use-Pty=0 --no-install-recommends install $outside >>"$made.log" &&
        mv "$made.part" "$made"
}

# run_in ROOT COMMAND...: with processes of its own, which /proc shows, as everywhere.
run_in() {
    local made=$1
    shift
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
        unshare --mount --pid --fork --kill-child \
        bash -ec 'mount -t proc proc "$0/proc"; exec chroot "$0" "$@"' "$made" "$@"
}

# What a user would try first. BIN and PREFIX say where the packages lie.
smoke='
set -euo pipefail
cd "$(mktemp -d)"
[[ $("$BIN/qxcalc" "2^127-1") == 170141183460469231731687303715884105727 ]]
[[ $(printf "\xDC" | "$BIN/qxconv" -f Cp1252 -t UTF-8) == $(printf "\u00DC") ]]
"$BIN/qxini" a.ini set Server port 8443
[[ $("$BIN/qxini" a.ini get server PORT) == 8443 ]]
[[ $("$BIN/qxipc" list --json) == "["*"]" ]]
"$BIN/qxreg" --registry "$PWD/registry" add QX_HKEY_USER/Editor Font Sans
[[ $("$BIN/qxreg" --registry "$PWD/registry" query QX_HKEY_USER/Editor Font) == Sans ]]
for program in "$BIN"/qx*; do
    [[ -e $PREFIX/share/man/man1/$(basename "$program").1 ]]
    [[ -e $PREFIX/share/bash-completion/completions/$(basename "$program") ]]
    [[ -e $PREFIX/share/fish/vendor_completions.d/$(basename "$program").fish ]]
    [[ -e $PREFIX/share/zsh/vendor-completions/_$(basename "$program") ]]
done
[[ -e $PREFIX/share/doc/qx/html/index.html && -e $PREFIX/share/doc/libqx1/changelog.Debian.gz ]]
ls "$PREFIX"/share/gdb/auto-load/usr/lib/*/libqx.so.*-gdb.py
ls "$PREFIX"/lib/*/qx/modules/*.so "$PREFIX"/lib/*/qx/modules/qxtransport_tls.so
'

# Every file there is, but the caches and records of the package manager itself.
list_files() {
    (cd "$1" && find . -xdev \( -path ./tmp -o -path ./var/cache -o -path ./var/log \
        -o -path ./var/lib/dpkg -o -path ./var/lib/apt \) -prune -o -print | sort)
}

try_in_clean_root() {
    local made=$1
    run_in "$made" dpkg --purge $names &>/dev/null || true # what a run that failed has left
    list_files "$made" >"$made.before"
    rm -rf "$made/tmp/qx"
    mkdir "$made/tmp/qx"
    cp -r "$packages"/*.deb tests/consumer "$made/tmp/qx"
    run_in "$made" bash -c 'apt-get -qq -y -o Dpkg::Use-Pty=0 install /tmp/qx/*.deb >/dev/null'
    run_in "$made" env BIN=/usr/bin PREFIX=/usr bash -c "$smoke"
    local way
    for way in find_package pkg_config; do
        echo "-- consumer by $way"
        run_in "$made" /tmp/qx/consumer/run.sh $way /tmp/qx/build /usr >/dev/null
    done
    run_in "$made" apt-get -qq -y -o Dpkg::Use-Pty=0 purge $names >/dev/null
    diff "$made.before" <(list_files "$made")
}

try_below_prefix() {
    local below=$root/build/package/prefix package way
    rm -rf "$below"
    for package in "$packages"/*.deb; do
        dpkg -x "$package" "$below"
    done
    export LD_LIBRARY_PATH
    LD_LIBRARY_PATH=$(dirname "$(find "$below" -name 'libqx.so.1')")
    BIN=$below/usr/bin PREFIX=$below/usr bash -c "$smoke"
    for way in find_package pkg_config; do
        echo "-- consumer by $way"
        tests/consumer/run.sh $way "$root/build/package/consumer" "$below/usr" >/dev/null
    done
}

# cpack ends the name of a package with symbols as another distribution does, and writes the folder it
# worked in before the names of the files whose sums it lists.
finish_symbols() {
    local below
    below=$(mktemp -d)
    dpkg-deb -R "$1" "$below/package"
    sed -i 's|  /.*-dbgsym/usr/|  usr/|' "$below/package/DEBIAN/md5sums"
    DPKG_DEB_THREADS_MAX=1 dpkg-deb --root-owner-group -Zxz -b "$below/package" "${1%.ddeb}.deb" >/dev/null
    rm -r "$below" "$1"
}

# Every compiled file has its symbols in a package beside, under the name by which debuggers look for them,
# and nothing knows where it was built.
check_contents() {
    local below file id
    below=$(mktemp -d)
    mkdir "$below/control"
    for file in "$packages"/*.deb; do
        dpkg -x "$file" "$below"
        dpkg-deb -e "$file" "$below/control/$(basename "$file")"
    done
    for file in $(find "$below/usr/lib" "$below/usr/bin" -type f \( -name '*.so*' -o -path '*/bin/*' \)); do
        id=$(readelf -n "$file" | sed -n 's/ *Build ID: //p')
        [[ -e $below/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug ]] ||
            { echo "no symbols of ${file#"$below"}"; return 1; }
    done
    ! grep -rlF "$root/" "$below" | sed "s|^$below||; s|$| names the folder it was built in|" | grep . || return 1
    # The texts of the symbols may be compressed.
    ! grep -F -m 1 "$root/" <(find "$below/usr/lib/debug" -name '*.debug' \
        -exec readelf -z -p .debug_str -p .debug_line_str {} + 2>/dev/null) || return 1
    rm -r "$below"
}

build package
rm -rf "$packages"
cpack --config build/package/CPackConfig.cmake -B "$packages" >/dev/null
rm -rf "$packages/_CPack_Packages"
for package in "$packages"/*.ddeb; do
    finish_symbols "$package"
done
check_contents
names=$(for package in "$packages"/*.deb; do dpkg-deb -f "$package" Package; done)
for package in "$packages"/*.deb; do
    echo "== $(basename "$package"): $(dpkg-deb -f "$package" Section Depends | paste -sd ' ')"
done

[[ ${1-} != build ]] || exit 0

clean_root=${QX_CLEAN_ROOT:-$root/build/package/root}
if [[ ${1-} != prefix ]] && make_clean_root "$clean_root"; then
    echo "== in a clean root"
    try_in_clean_root "$clean_root"
else
    echo "== below an empty prefix"
    try_below_prefix
fi
echo "the packages work"
