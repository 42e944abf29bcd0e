#!/usr/bin/env bash
# Makes a release: scripts/release.sh [--commit COMMIT] [--url URL] [--no-tests] [--once] [FOLDER]
# Leaves in FOLDER (build/dist by default) the archive of the source, the Debian packages, the recipes for
# vcpkg and Conan and SHA256SUMS. Nothing is published.
#   --commit COMMIT  what is released; by default HEAD, and then the tree must be clean
#   --url URL        the folder where the archive will be found, for the recipes; by default FOLDER itself
#   --no-tests       the suite is not run
#   --once           the packages are not built a second time for comparison
# Everything is built from the unpacked archive, in a folder of $TMPDIR outside of the repository.
from=$PWD
. "$(dirname "$0")/lib.sh"

usage() {
    sed -n '2,/^from/s/^# \{0,1\}//p' "$root/scripts/release.sh" >&2
    exit 2
}

commit="" url="" tests=1 twice=1 dist=""
while (($#)); do
    case $1 in
    --commit | --url)
        (($# > 1)) || usage
        declare "${1#--}=$2"
        shift
        ;;
    --no-tests) tests="" ;;
    --once) twice="" ;;
    -*) usage ;;
    *)
        [[ ! $dist ]] || usage
        dist=$1
        ;;
    esac
    shift
done
dist=$(cd "$from" && realpath -m "${dist:-$root/build/dist}")
url=${url:-file://$dist}

fail() {
    echo "release.sh: $*" >&2
    exit 1
}
heading() { printf '\n== %s\n' "$*"; }

if [[ ! $commit ]]; then
    [[ -z $(git status --porcelain) ]] ||
        fail "the tree has changes that are in no commit; commit them, or name a commit with --commit"
    commit=HEAD
fi
commit=$(git rev-parse --verify --quiet "$commit^{commit}") || fail "there is no such commit"
# What all that is made says of its age; in UTC, as users elsewhere make the same.
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct "$commit")
export SOURCE_DATE_EPOCH TZ=UTC0
version=$(git show "$commit:CMakeLists.txt" | sed -nE 's/^project\(qx VERSION ([0-9.]+).*/\1/p')
name=qx-$version

# The same bytes for a commit on every machine with this version of xz: git writes the time of the commit
# and the superuser as owner, the mode is fixed here, and one thread compresses in one piece.
make_archive() {
    git -c tar.umask=0022 -c core.autocrlf=false archive --format=tar --prefix="$name/" "$commit" |
        xz -9 --threads=1 >"$1"
}

heading "archive $name.tar.xz of ${commit:0:12}"
work=$(mktemp -d)
chmod 755 "$work" # some tests run programs as another user
trap 'rm -rf "$work"' EXIT
if git -C "$work" rev-parse --git-dir &>/dev/null; then
    fail "$work lies in a repository; set TMPDIR to a folder outside"
fi
[[ $dist == "$root/build/dist" || ! -d $dist || -z $(ls -A "$dist") ]] || fail "$dist is not empty"
rm -rf "$dist"
mkdir -p "$dist"
make_archive "$dist/$name.tar.xz"
make_archive "$work/again.tar.xz"
cmp "$dist/$name.tar.xz" "$work/again.tar.xz" || fail "two archives of one commit differ"
tar -C "$work" -xf "$dist/$name.tar.xz"
source=$work/$name

heading "version $version"
"$source/scripts/check.sh" version
! grep -qi '^## *unreleased' "$source/CHANGELOG.md" || fail "CHANGELOG.md has changes without a version"

if [[ $tests ]]; then
    heading "tests from the archive"
    "$source/scripts/test.sh" release
fi

# The root is kept: to make it takes minutes and a network.
export QX_CLEAN_ROOT=${QX_CLEAN_ROOT:-$root/build/package/root}
heading "packages"
mkdir -p "${QX_CLEAN_ROOT%/*}"
"$source/scripts/package.sh"
cp "$source"/build/package/packages/*.deb "$dist"

heading "what was built is version $version"
same() { [[ $2 == "$version" ]] || fail "$1 says '$2' and not $version"; }
built=$source/build/package
library=$(find "$built/qx" -type f -name 'libqx.so.*')
same "the name of the library" "${library#*libqx.so.}"
soname=$(readelf -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[[ $soname == libqx.so.${version%%.*} ]] || fail "the SONAME is $soname"
same pkg-config "$(PKG_CONFIG_PATH=$built pkg-config --modversion qx)"
for program in "$source"/docs/man/*.1; do
    program=$(basename "$program" .1)
    same "$program --version" "$("$built/tools/$program" --version | cut -d ' ' -f 2)"
done
for package in "$dist"/*.deb; do
    same "$(basename "$package")" "$(dpkg-deb -f "$package" Version)"
    contents=$(dpkg-deb --fsys-tarfile "$package" | tar -t)
    log=$(grep -m 1 'changelog\.Debian\.gz$' <<<"$contents") || continue # symbols share that of their package
    same "$log" "$(dpkg-deb --fsys-tarfile "$package" | tar -xO "$log" | zcat | sed -nE '1s/.*\((.*)\).*/\1/p')"
done

heading "symbols against the last release"
"$source/scripts/check-symbols.sh" "$library"

if [[ $twice ]]; then
    heading "packages once more, elsewhere and without a compiler cache"
    mkdir "$work/elsewhere"
    tar -C "$work/elsewhere" -xf "$dist/$name.tar.xz"
    second=$work/elsewhere/$name
    CCACHE_DISABLE=1 "$second/scripts/package.sh" build
    for package in "$dist"/*.deb; do
        cmp "$package" "$second/build/package/packages/$(basename "$package")" ||
            fail "two builds of a package differ"
    done
    echo "the same bytes"
fi

heading "recipes"
# write_recipes FOLDER URL: those of packaging, for the archive in the folder URL.
write_recipes() {
    local pattern
    mkdir "$1"
    cp -r "$source"/packaging/{vcpkg,conan} "$1"
    for pattern in "$1/vcpkg/qx/portfile.cmake.in" "$1/conan/conandata.yml.in"; do
        sed "s|@URL@|$2|; s|@VERSION@|$version|g
            s|@SHA512@|$(sha512sum <"$dist/$name.tar.xz" | cut -d ' ' -f 1)|
            s|@SHA256@|$(sha256sum <"$dist/$name.tar.xz" | cut -d ' ' -f 1)|" "$pattern" >"${pattern%.in}"
        rm "$pattern"
    done
}
write_recipes "$work/local" "file://$dist"
# Both compile the same, which a compiler cache then knows wherever it lies.
CCACHE_BASEDIR=$work CCACHE_NOHASHDIR=1 \
    "$source/scripts/check-recipes.sh" "$work/local/vcpkg/qx" "$work/local/conan" "$work/recipes"
write_recipes "$work/published" "$url"
for recipe in vcpkg conan; do
    tar -C "$work/published" --sort=name --owner=0 --group=0 --numeric-owner --mode=u=rwX,go=rX \
        --mtime="@$SOURCE_DATE_EPOCH" -cf - "$recipe" | gzip -9n >"$dist/$name-$recipe.tar.gz"
done

(cd "$dist" && sha256sum -- * >SHA256SUMS)
heading "$dist"
cat "$dist/SHA256SUMS"
