#!/usr/bin/env bash
# Tries the recipes for vcpkg and Conan without either: scripts/check-recipes.sh VCPKG-PORT CONAN-FOLDER WORK
# The two are as scripts/release.sh writes them. Scripts that do what the two programs are documented to do
# run them, in the folder WORK; what comes out is used by a program outside the tree.
port=$(realpath "$1") conan=$(realpath "$2") work=$(realpath -m "$3")
. "$(dirname "$0")/lib.sh"

use_ccache
export CMAKE_BUILD_PARALLEL_LEVEL=$jobs

# use PREFIX: by find_package and by pkg-config, with what is installed there.
use() {
    local way
    for way in find_package pkg_config; do
        tests/consumer/run.sh $way "$work/consumer" "$1" >/dev/null
        echo "-- used by $way"
    done
}

echo "== the port for vcpkg, with modules"
cmake -DPORT_DIR="$port" -DWORK="$work/vcpkg" "-DFEATURES=core;modules" -P scripts/recipes/vcpkg.cmake
[[ -e $work/vcpkg/packages/qx/lib/qx/modules/qxcodecs.so ]]
[[ ! -e $work/vcpkg/packages/qx/lib/qx/modules/qxtransport_tls.so ]]
use "$work/vcpkg/packages/qx"

echo "== the recipe for Conan, with everything but TLS"
python3 scripts/recipes/conan.py "$conan" "$work/conan"
[[ -x $work/conan/package/bin/qxconv && ! -e $work/conan/package/lib/qx/modules/qxtransport_tls.so ]]
use "$work/conan/package"
