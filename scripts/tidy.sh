#!/usr/bin/env bash
# Runs clang-tidy over changed sources: scripts/tidy.sh [COMMIT | FILE...]
# A commit (default: main) names what the work tree is compared with; files name themselves. It takes
# seconds per file, so it is run by hand on a change and not over the whole tree by CI.
. "$(dirname "$0")/lib.sh"

install_missing $build_packages clang-tidy libgtest-dev
install_clang

if (($#)) && [[ -f $1 ]]; then
    files=("$@")
else
    mapfile -t files < <(git diff --name-only --diff-filter=d "${1:-main}" -- '*.cpp' ':!bench' ':!fuzz')
fi
((${#files[@]})) || { echo "no source changed"; exit 0; }

use_ccache
cmake --preset dev >/dev/null
printf '%s\n' "${files[@]}" |
    xargs -P "$jobs" -n 1 clang-tidy -p build/dev --quiet --warnings-as-errors='*'
