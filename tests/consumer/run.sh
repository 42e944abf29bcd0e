#!/usr/bin/env bash
# Builds the consumer one way and runs it: run.sh (find_package|pkg_config|subdirectory) BUILD PREFIX
# BUILD is made anew; PREFIX is where run.sh install TREE PREFIX has put what was built in TREE.
set -euo pipefail

way=$1 build=$2 prefix=$3
source=$(cd "$(dirname "$0")" && pwd)

# refuse COMMAND...: ends the test when it succeeds.
refuse() {
    if "$@"; then
        echo "run.sh: this should have failed: $*" >&2
        exit 1
    fi
}

# Installs for one prefix, staged as packagers do, and moves the tree to another.
install() {
    local tree=$1 prefix=$2 stage=$2.stage
    rm -rf "$prefix" "$stage"
    DESTDIR=$stage cmake --install "$tree" --prefix /opt/qx
    [[ $(ls -A "$stage") == opt && $(ls -A "$stage/opt") == qx ]]
    mv "$stage/opt/qx" "$prefix"
    rm -r "$stage"
    # Neither place is written into what must work at the third.
    refuse grep -rlE "/opt/qx|$tree" "$prefix" --include=*.cmake --include=*.pc --include=*.h
    refuse grep -E '(RPATH|RUNPATH).*\[[^$]' \
        <(find "$prefix" -type f -exec readelf -d {} + 2>/dev/null)
}

if [[ $way == install ]]; then
    install "$build" "$prefix"
    exit
fi
rm -rf "$build"
mkdir -p "$build"
case $way in
find_package)
    configure=(cmake -S "$source/find_package" -G Ninja -DCMAKE_PREFIX_PATH="$prefix")
    components=library
    [[ ! -e $prefix/bin/qxcalc ]] || components+=";tools"
    [[ -z $(find "$prefix" -path '*/qx/modules/*.so') ]] || components+=";modules"
    "${configure[@]}" -B "$build" -Dcomponents="$components"
    cmake --build "$build"
    # What cannot be had is refused with its name.
    message=$(refuse "${configure[@]}" -B "$build/unknown" -Dcomponents=brew 2>&1)
    [[ ${message//[[:space:]]/} == *'nocomponent"brew":itscomponentsarelibrary,toolsandmodules'* ]]
    ;;
subdirectory)
    # Not optimised, which compiles in a third of the time.
    cmake -S "$source/subdirectory" -B "$build" -G Ninja -DCMAKE_CXX_FLAGS=-O0 \
        -DCMAKE_BUILD_TYPE=None -DQX_WARNINGS_AS_ERRORS=ON
    cmake --build "$build"
    ;;
pkg_config)
    pc=$(find "$prefix" -name qx.pc)
    export PKG_CONFIG_PATH=${pc%/*}
    flags=$(pkg-config --cflags --libs qx)
    library=$(pkg-config --variable=libdir qx)
    # Unquoted: the flags are words.
    ${CXX:-c++} -std=c++20 -fno-rtti "$source/main.cpp" -o "$build/consumer_cpp" $flags -Wl,-rpath,"$library"
    ${CC:-cc} -std=c11 -Wall -Wextra -Wpedantic -Werror "$source/main.c" -o "$build/consumer_c" \
        $flags -Wl,-rpath,"$library"
    # A program that sees objects of another layout than the library does not link.
    other=-DQX_LEAK_LIST
    [[ $flags != *"$other"* ]] || other=-UQX_LEAK_LIST
    refuse ${CXX:-c++} -std=c++20 "$source/main.cpp" -o "$build/disagreeing" $flags $other 2>/dev/null
    ;;
*)
    echo "run.sh: unknown way $way" >&2
    exit 2
    ;;
esac

modules=()
if [[ $way != subdirectory ]]; then
    # Copies: modules are loaded from where nobody else may write, as others may the build tree.
    copies=$(mktemp -d)
    trap 'rm -rf "$copies"' EXIT
    find "$prefix" -path '*/qx/modules/*.so' -exec install -m 644 -t "$copies" {} +
    modules=("$copies"/*.so)
fi
for program in consumer_cpp consumer_c; do
    "$build/$program" ${modules[0]:+"$build/registry" "${modules[@]}"}
    # Programs must record the name with the ABI version, or a later library breaks them in silence.
    readelf -d "$build/$program" | grep -q 'NEEDED.*\[libqx\.so\.[0-9]*\]'
done
