#!/usr/bin/env bash
# Runs every fuzz target: scripts/fuzz.sh [SECONDS], 60 for each by default; 0 only replays the
# seeds. Inputs that reach new code are kept under build/fuzz/corpus, failures under
# build/fuzz/failures. What is missing on a Debian machine is installed first.
. "$(dirname "$0")/lib.sh"

seconds=${1:-60}

install_missing $build_packages
install_clang
build fuzz

found=build/fuzz/corpus
failures=build/fuzz/failures
mkdir -p "$found" "$failures"

limit=(-max_total_time="$seconds")
((seconds)) || limit=(-runs=0)

# A target that fails leaves its files behind.
memory=/dev/shm
[ -w $memory ] || memory=/tmp
TMPDIR=$(mktemp -d -p $memory qx-fuzz-XXXXXX)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT

status=0
for source in fuzz/*Fuzz.cpp; do
    name=$(basename "$source" .cpp)
    mkdir -p "$found/$name"
    echo "== $name"
    build/fuzz/fuzz/"$name" "${limit[@]}" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$failures/$name-" "$found/$name" "fuzz/corpus/$name" \
        >"build/fuzz/$name.log" 2>&1 || {
        status=1
        echo "FAILED, see build/fuzz/$name.log"
    }
    grep -E 'number_of_executed_units|new_units_added' "build/fuzz/$name.log" || true
    tail -n 20 "build/fuzz/$name.log" | grep -E '^(==|SUMMARY|artifact)' || true
done
exit $status
