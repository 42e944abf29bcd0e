# Shared by the scripts of this folder, which source it first. Leaves the shell in the root of the
# repository with its path in $root.

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
jobs=$(nproc)
export LC_ALL=C.UTF-8 # a fresh machine may have none, and the texts of the tests are UTF-8

# Compile through a compiler cache where there is one.
use_ccache() {
    if command -v ccache >/dev/null; then
        export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
    fi
}

# What every build needs, and what each script needs beside it.
build_packages="cmake ninja-build g++ ccache libgtest-dev"
test_packages="$build_packages pkg-config python3 clang-format locales
    libexpat1-dev libssl-dev openssl socat netcat-openbsd netbase groff-base gdb doxygen fish zsh"
demo_packages="$build_packages python3 netcat-openbsd"
bench_packages="$build_packages python3 libbenchmark-dev libicu-dev qtbase5-dev libboost-dev
    libgmp-dev libssl-dev libbotan-2-dev libpoco-dev libglib2.0-dev libspdlog-dev
    libabsl-dev valgrind"

# install_missing PACKAGE...: installs those that are not there, as root or through sudo. Where
# there is no apt-get it is left to the build to say what it misses.
install_missing() {
    command -v apt-get >/dev/null || return 0
    local package missing=()
    for package; do
        dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed ||
            missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    echo "installing ${missing[*]}" >&2
    local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -qq)
    [[ $(id -u) == 0 ]] || apt=(sudo "${apt[@]}")
    "${apt[@]}" update
    "${apt[@]}" -y --no-install-recommends install "${missing[@]}" >/dev/null
}

# install_clang: with its run-time libraries, whose package has the version in its name.
install_clang() {
    install_missing clang
    command -v clang >/dev/null || return 0
    install_missing "libclang-rt-$(clang -dumpversion | cut -d . -f 1)-dev"
}

# build PRESET [TARGET...]: configures and builds; everything without a target.
build() {
    local preset=$1
    shift
    use_ccache
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" --parallel "$jobs" ${1:+--target "$@"}
}
