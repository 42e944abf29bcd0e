#!/usr/bin/env bash
# Measures: scripts/bench.sh [PROGRAM...], every bench/*Bench.cpp by default, and writes the medians
# of all that were measured on this tree to bench/RESULTS.md. Run it on an idle machine. What is
# missing on a Debian machine is installed first.
#   QX_BENCH_REPETITIONS  how often each benchmark is run, 5 by default
. "$(dirname "$0")/lib.sh"

install_missing $bench_packages
build bench

programs=("$@")
(($#)) || mapfile -t programs < <(basename -s .cpp bench/*Bench.cpp)

results=build/bench/results
mkdir -p "$results"
for program in "${programs[@]}"; do
    echo "== $program" >&2
    # Interleaved, so that a change in the machine's speed meets a row and its peers alike.
    build/bench/bench/"$program" \
        --benchmark_repetitions="${QX_BENCH_REPETITIONS:-5}" \
        --benchmark_enable_random_interleaving=true \
        --benchmark_min_time=0.1 \
        --benchmark_report_aggregates_only=true \
        --benchmark_out_format=json --benchmark_out="$results/$program.json" >/dev/null
done
if [[ " ${programs[*]} " == *" BigIntegerBench "* ]]; then
    echo "== bigints.py" >&2
    python3 bench/bigints.py >"$results/BigIntegerBench.python.json"
    python3 scripts/bench-plot.py "decimal digits" "$results"/BigIntegerBench.*json \
        >bench/BigIntegerBench.svg
fi
if [[ " ${programs[*]} " == *" LogBench "* ]]; then
    python3 scripts/bench-plot.py "one call of so many takes longer" "$results"/LogBench.json \
        >bench/LogBench.svg
fi
{
    python3 scripts/bench-results.py "$results"/*.json
    printf '\n## qxconv\n\nMade by `bench/qxconv.sh`: a file of 256 MiB from UTF-8 to UTF-16LE.\n\n'
    bench/qxconv.sh build/bench/tools/qxconv
} >bench/RESULTS.md
cat bench/RESULTS.md
