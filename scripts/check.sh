#!/usr/bin/env bash
# Checks of the repository that need no build: scripts/check.sh [CHECK...], all of them by default.
# Prints what is wrong and fails. A check whose tool is missing is left out; alone, it exits with 77.
. "$(dirname "$0")/lib.sh"

# The files that the checks look at; ours are those of the library, the rest uses it.
sources() { find "$@" -name '*.h' -o -name '*.cpp' -o -name '*.c' | sort; }
public_headers() { find qx -name '*.h' -not -path '*/detail/*' -not -path '*/posix/*' | sort; }
all_folders() { find qx modules tools examples tests bench fuzz -maxdepth 0 2>/dev/null; }

# Include direction; operating-system headers, errno and platform branches above the platform layer.
check_layers() { python3 scripts/check-layers.py; }

# Every public header compiles alone and included twice; those for C also as strict C99, C11 and
# C++20 by each of the two compilers that is there, and all of them also for a program without
# run-time type information.
check_headers() {
    local flags="-fsyntax-only -I. -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror"
    local standard compiler c_commands=() no_rtti_commands=()
    export cxx="${CXX:-c++} -std=c++20 $flags -x c++ -"
    for compiler in gcc clang; do
        command -v "$compiler" >/dev/null || continue
        no_rtti_commands+=("${compiler}_no_rtti")
        export "${no_rtti_commands[-1]}=$compiler -std=c++20 -fno-rtti $flags -x c++ -"
        for standard in c99 c11 c++20; do
            c_commands+=("${compiler}_${standard/++/xx}")
            export "${c_commands[-1]}=$compiler -std=$standard -pedantic-errors $flags \
                -x $([[ $standard == c++* ]] && echo c++ || echo c) -"
        done
    done
    # One header a line, with the compiler command; xargs fails when any of them does.
    {
        printf '%s qx/qx.h\n' "${no_rtti_commands[@]}"
        public_headers | sed 's/^/cxx /'
        for compiler in "${c_commands[@]}"; do
            public_headers | xargs grep -l '__cplusplus' | sed "s/^/$compiler /"
        done
    } | xargs -P "$jobs" -L 1 bash -c '
        printf "#include <%s>\n#include <%s>\n" "$1" "$1" | ${!0} ||
            { echo "$1: not self-contained ($0)"; exit 1; }' &&
        check_compile_time
}

# What takes a program a good part of its compile time is included by the sources that need it. The
# standard library of g++ is what is looked at; others include more by themselves.
check_compile_time() {
    (($(g++ -dumpversion | cut -d. -f1) >= 12)) || return 0 # <atomic> included <chrono> before
    ! g++ -std=c++20 -I. -M -include qx/qx.h -x c++ /dev/null |
        grep -oE '/(algorithm|chrono|filesystem|functional|iostream|map|regex|thread|unordered_map) ' ||
        { echo "^ no public header includes these; qx/qx.h does"; return 1; }
}

# complain RULE PATTERN FOLDER...: fails and shows the lines of the sources that match.
complain() {
    local rule=$1 pattern=$2
    shift 2
    ! sources "$@" | xargs grep -nHE "$pattern" || { echo "^ $rule"; return 1; }
}

check_text() {
    local status=0 header
    complain "open ends are finished or become an issue" '\b([T]ODO|[F]IXME|[X]XX)\b' \
        $(all_folders) || status=1
    complain "no path of a machine" '"/([r]oot|[w]ork)/|/tmp/[b]ash' $(all_folders) || status=1
    complain "a suppressed check is named and has its reason" 'NOLINT[A-Z]*(\)|$|[^A-Z(])' \
        $(all_folders) || status=1
    complain "tabs and trailing blanks" $'\t|[ ]+$' $(all_folders) || status=1
    for header in $(find $(all_folders) -name '*.h'); do
        grep -qx '#pragma once' "$header" || { echo "$header: no #pragma once"; status=1; }
    done
    ! public_headers | xargs grep -nHE '^ *using namespace' ||
        { echo "^ a header opens no namespace for its users"; status=1; }
    return $status
}

check_format() {
    local format
    for format in clang-format-14 clang-format; do
        [[ $($format --version 2>/dev/null) == *"version 14."* ]] || continue
        sources $(all_folders) | xargs -P "$jobs" -n 40 $format --dry-run -Werror
        return
    done
    echo "clang-format 14 is not there; others lay out differently"
    return 77
}

# code_lines FOLDER...: lines of C and C++ that are neither blank nor a comment.
code_lines() { sources "$@" | xargs cat | grep -cvE '^\s*(//.*)?$'; }

# The tests stay small enough to be read; the bound is lowered whenever they shrink.
check_size() {
    local most=22000 tests all
    tests=$(code_lines tests)
    all=$(code_lines $(all_folders))
    echo "tests: $tests lines of code (at most $most), $((100 * tests / all))% (at most a third) of $all"
    ((tests <= most && 3 * tests <= all))
}

# Generated sources, the umbrella header among them, are what their generators write.
check_generated() { scripts/check-generated.sh; }

# Doxygen has nothing to complain about: unknown commands and parameters, links that lead nowhere.
check_docs() {
    command -v doxygen >/dev/null || return 77
    printf '%s\n' 1.9.4 "$(doxygen --version)" | sort -C -V || return 77 # older ones misread requires clauses
    local status=0 reference
    reference=$(mktemp -d)
    scripts/reference.sh check "$reference" >/dev/null || status=1
    rm -rf "$reference"
    return $status
}

# The pages name no file, program or option that is not there.
check_links() { python3 scripts/check-links.py; }

# The version of the project and its date are the same wherever they stand; how it is with what is built,
# scripts/release.sh checks.
check_version() {
    local version date page status=0
    version=$(sed -nE 's/^project\(qx VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
    # says FILE EXPECTED SED-SCRIPT: the script prints what the file says of the version.
    says() {
        local said
        said=$(sed -nE "$3" "$1" | head -n 1)
        [[ $said == "$2" ]] || { echo "$1 says '$said' where $2 should stand"; status=1; }
    }
    says CHANGELOG.md "$version" 's/^## ([0-9]+\.[0-9.]+) \(.*/\1/p'
    date=$(sed -nE "s/^## $version \(([0-9]{4}-[0-9]{2}-[0-9]{2})\)$/\1/p" CHANGELOG.md)
    for page in docs/man/*.1; do
        says "$page" "\"$date\" \"qx $version\"" 's/^\.TH [A-Z]+ 1 (.*) "User Commands"$/\1/p'
    done
    says qx/libqx.map "QX_${version%%.*}" 's/^(QX_.*) \{$/\1/p'
    says README.md "${version%%.*}" 's/^find_package\(qx ([0-9.]+) .*/\1/p'
    says SECURITY.md "${version%.*}" 's/^\| ([0-9.]+) \| yes \|$/\1/p'
    says packaging/conan/conanfile.py "$version" 's/^    version = "(.*)"$/\1/p'
    says packaging/vcpkg/qx/vcpkg.json "$version" 's/^ *"version": "(.*)",$/\1/p'
    return $status
}

checks=("$@")
(($#)) || checks=(layers headers text format size generated docs links version)
status=0
for check in "${checks[@]}"; do
    outcome=0
    "check_$check" || outcome=$?
    if ((outcome == 77)); then
        echo "check $check left out"
        ((${#checks[@]} > 1)) || exit 77
    elif ((outcome)); then
        echo "check $check failed"
        status=1
    fi
done
exit $status
