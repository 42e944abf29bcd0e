#!/usr/bin/env bash
# Measures: scripts/bench.sh [PROGRAM...], every bench/*Bench.cpp by default, and writes the medians
# of all that were measured on this tree, with plots, to bench/RESULTS.md. Run it on an idle machine.
# What is missing on a Debian machine is installed first.
#   QX_BENCH_REPETITIONS  how often each benchmark is run, at least 2, 5 by default
#   QX_BENCH_COUNTS       0 keeps the counts of instructions that were taken before
. "$(dirname "$0")/lib.sh"

install_missing $bench_packages
build bench

programs=("$@")
(($#)) || mapfile -t programs < <(basename -s .cpp bench/*Bench.cpp)

results=build/bench/results
mkdir -p "$results"

# What RESULTS.md says of a program beside its rows.
about() {
    local compiler commit
    compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' build/bench/CMakeCache.txt)
    commit=$(git log -1 --format='%s (%cs)' 2>/dev/null || echo unknown)
    git diff --quiet HEAD -- qx 'bench/*.cpp' 2>/dev/null || commit+=", with changes"
    cat <<EOF
date: $(date +%FT%T)
version: $(sed -n 's/^CMAKE_PROJECT_VERSION:[A-Z]*=//p' build/bench/CMakeCache.txt)
commit: $commit
machine: $(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1), $(nproc) cores, $(uname -sm), $(
        . /etc/os-release && echo "$PRETTY_NAME")
compiler: $(basename "$(realpath "$compiler")" | sed 's/.*-linux-gnu-//') $(
        "$compiler" -dumpfullversion -dumpversion)
EOF
}

# measured PROGRAM: whether it is one of those that this run measures.
measured() { [[ " ${programs[*]} " == *" $1 "* ]]; }

for program in "${programs[@]}"; do
    echo "== $program" >&2
    about >"$results/$program.about"
    # Interleaved, so that a change in the machine's speed meets a row and its peers alike.
    build/bench/bench/"$program" \
        --benchmark_repetitions="${QX_BENCH_REPETITIONS:-5}" \
        --benchmark_enable_random_interleaving=true \
        --benchmark_min_time=0.1 \
        --benchmark_report_aggregates_only=true \
        --benchmark_out_format=json --benchmark_out="$results/$program.json" >/dev/null
done
counter=$(find build/bench/bench -name libCountLoop.so)
if [[ $counter && ${QX_BENCH_COUNTS:-1} != 0 ]]; then
    for program in "${programs[@]}"; do
        echo "== instructions of $program" >&2
        python3 scripts/bench-counts.py "$PWD/$counter" build/bench/bench/"$program" \
            >"$results/$program.counts" || rm "$results/$program.counts" # said why, and goes without
    done
fi
if measured BigIntegerBench; then
    echo "== bigints.py" >&2
    python3 bench/bigints.py >"$results/BigIntegerBench.python.json"
    python3 scripts/bench-plot.py "decimal digits" "$results"/BigIntegerBench.*json \
        >bench/BigIntegerBench.svg
fi
if measured LogBench; then
    python3 scripts/bench-plot.py "one call of so many takes longer" "$results"/LogBench.json \
        >bench/LogBench.svg
fi
if measured TranscodeBench; then
    python3 scripts/bench-bars.py "$results"/TranscodeBench.json >bench/TranscodeBench.svg
fi
if (($# == 0)) || [[ ! -e $results/qxconv.md ]]; then
    echo "== qxconv.sh" >&2
    bench/qxconv.sh build/bench/tools/qxconv >"$results/qxconv.md"
fi
(($#)) || echo $(((SECONDS + 30) / 60)) >"$results/minutes"

python3 scripts/bench-overview.py "$results"/*.json >bench/Overview.svg
{
    python3 scripts/bench-results.py "$results"/*.json
    printf '\n## qxconv\n\nMade by `bench/qxconv.sh`: a file of 256 MiB from UTF-8 to UTF-16LE.\n\n'
    cat "$results/qxconv.md"
} >build/bench/RESULTS.md
mv build/bench/RESULTS.md bench/RESULTS.md
echo "written: bench/RESULTS.md" >&2
sed -n '1,/^## Overview/p' bench/RESULTS.md
