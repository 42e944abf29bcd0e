#!/usr/bin/env bash
# Times qxconv beside the system's iconv on the same files in the same run, UTF-8 to UTF-16LE, and
# prints a table for RESULTS.md: medians of the wall time, of the processor time and the peak memory.
# The two take turns, so that a change of the machine's load meets both.
#
# usage: bench/qxconv.sh PROGRAM [REPETITIONS] [MIB]
set -euo pipefail
export LC_ALL=C.UTF-8

qxconv=$(realpath "$1")
repetitions=${2:-7}
mebibytes=${3:-256}
texts=$(realpath "$(dirname "$0")/../tests/data/texts")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# repeat FILES...: their text again and again, up to the wanted size
repeat() {
    local count
    cat "$@" >once
    count=$(((mebibytes << 20) / $(stat -c %s once)))
    # in two steps, so that a short text does not take a program for each repetition
    for ((i = 0; i < 1000; ++i)); do cat once; done >thousand
    for ((i = 0; i < count / 1000; ++i)); do cat thousand; done
    for ((i = 0; i < count % 1000; ++i)); do cat once; done
}

repeat "$texts/indonesian.txt" >ascii
repeat "$texts"/*.txt >mixed

# timed LOG COMMAND...: appends wall seconds, processor seconds and KiB to the log
timed() {
    local log=$1 TIMEFORMAT='%R %U %S'
    shift
    { time "$@"; } 2>&1 | awk '{ print $1, $2 + $3 }' >>"$log"
}

# The peak of a run, which the kernel tells of a process that is held at the end of its input.
peak() {
    rm -f feed
    mkfifo feed
    "$@" feed >/dev/null &
    exec 3>feed
    cat "$input" >&3
    awk '/VmHWM/ { print $2 }' "/proc/$!/status"
    exec 3>&-
    wait $!
}

median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
column() { awk -v n="$2" '{ print $n }' "$1"; }

echo '| Input | Output | `qxconv` wall (cpu) | `iconv` wall (cpu) | Ratio of wall (cpu) | Peak KiB |'
echo '|---|---|---|---|---|---|'
for input in ascii mixed; do
    memory="$(peak "$qxconv" -f UTF-8 -t UTF-16LE) / $(peak iconv -f UTF-8 -t UTF-16LE)"
    for output in file /dev/null; do
        [ $output == file ] && target=out || target=$output
        rm -f ours peers
        for ((i = 0; i < repetitions; ++i)); do
            rm -f out
            timed ours "$qxconv" -f UTF-8 -t UTF-16LE -o "$target" "$input"
            [ $output == file ] && mv out first
            timed peers iconv -f UTF-8 -t UTF-16LE -o "$target" "$input"
            [ $output == file ] && cmp first out
            rm -f first
        done
        awk -v input="$input, $mebibytes MiB" -v output="$output" -v memory="$memory" \
            -v w1="$(column ours 1 | median)" -v c1="$(column ours 2 | median)" \
            -v w2="$(column peers 1 | median)" -v c2="$(column peers 2 | median)" 'BEGIN {
            printf "| %s | %s | %.2f s (%.2f) | %.2f s (%.2f) | %.1f (%.1f) | %s |\n",
                input, output, w1, c1, w2, c2, w2 / w1, c2 / c1, memory }'
    done
done
