#!/usr/bin/env bash
# Builds the consumer one way and runs it: run.sh (find_package|pkg_config|subdirectory) BUILD PREFIX
# BUILD is made anew; PREFIX is where the library was installed.
set -euo pipefail

way=$1 build=$2 prefix=$3
source=$(cd "$(dirname "$0")" && pwd)

rm -rf "$build"
mkdir -p "$build"
case $way in
find_package)
    cmake -S "$source/find_package" -B "$build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix"
    cmake --build "$build"
    ;;
subdirectory)
    # The flags of the release preset, so that a compiler cache serves what was just built.
    cmake -S "$source/subdirectory" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DQX_WARNINGS_AS_ERRORS=ON
    cmake --build "$build"
    ;;
pkg_config)
    pc=$(find "$prefix" -name qx.pc)
    export PKG_CONFIG_PATH=${pc%/*}
    flags=$(pkg-config --cflags --libs qx)
    library=$(pkg-config --variable=libdir qx)
    # Unquoted: the flags are words.
    ${CXX:-c++} -std=c++20 "$source/main.cpp" -o "$build/consumer_cpp" $flags -Wl,-rpath,"$library"
    ${CC:-cc} -std=c11 -Wall -Wextra -Wpedantic -Werror "$source/main.c" -o "$build/consumer_c" \
        $flags -Wl,-rpath,"$library"
    ;;
*)
    echo "run.sh: unknown way $way" >&2
    exit 2
    ;;
esac

for program in consumer_cpp consumer_c; do
    "$build/$program"
    # Programs must record the name with the ABI version, or a later library breaks them in silence.
    readelf -d "$build/$program" | grep -q 'NEEDED.*\[libqx\.so\.[0-9]*\]'
done
