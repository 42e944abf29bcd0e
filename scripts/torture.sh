#!/usr/bin/env bash
# Looks for faults that no single test waits for: scripts/torture.sh [MINUTES [STAGE...]], 60 minutes
# and all stages by default. A third of the time goes to the fuzz targets and a third to the threads; the
# kills and the soak take more the more there is, the other stages take what they take. Writes the figures
# of the stages to their rows in docs/reliability.md, the logs to build/torture, and fails when a stage has
# found something. What is missing on a Debian machine is installed first.
. "$(dirname "$0")/lib.sh"

minutes=${1:-60}
all_stages=(fuzz allocations calls kills pool damage threads locales forks descriptors soak valgrind)
stages=("${@:2}")
((${#stages[@]})) || stages=("${all_stages[@]}")

install_missing $test_packages valgrind
install_clang

logs=build/torture
mkdir -p "$logs"
tests=build/release/tests
export TMPDIR=/dev/shm # no disk to wait for

# sum PATTERN FILE...: adds up the number that stands before or behind a word in the lines of files.
sum() { grep -hoE "$1" "${@:2}" | grep -oE '[0-9]+' | awk '{ s += $1 } END { print s + 0 }'; }

# tested NAME FILTER REPETITIONS: repeats tests of a program; fails when there is none of the kind.
tested() {
    # Not grep -q, which ends the program amid its list.
    "$tests/qx_${1}_tests" --gtest_list_tests --gtest_filter="$2" | grep '^  ' >/dev/null || return 1
    "$tests/qx_${1}_tests" --gtest_filter="$2" --gtest_repeat="$3" --gtest_brief=1 \
        --gtest_break_on_failure
}

# Each stage prints, as its last line, what it did.

stage_fuzz() {
    local count
    count=$(find fuzz -name '*Fuzz.cpp' | wc -l)
    scripts/fuzz.sh $((minutes * 20 / count + 1)) || return 1
    echo "$count targets, $(sum 'number_of_executed_units: *[0-9]+' build/fuzz/*Fuzz.log) executions"
}

stage_allocations() {
    build release qx_torture_allocations && build asan qx_torture_allocations || return 1
    local program=tests/torture/qx_torture_allocations
    build/release/$program | tee /dev/stderr | tail -n 1 >"$logs/allocations.plain"
    ((PIPESTATUS[0] == 0)) || return 1
    build/asan/$program | tee /dev/stderr | tail -n 1 >"$logs/allocations.sanitized"
    ((PIPESTATUS[0] == 0)) || return 1
    echo "$(cat "$logs/allocations.plain"); the same under the sanitizers: \
$(sum '[0-9]+ failures' "$logs/allocations.sanitized") failures in \
$(sum 'in [0-9]+ runs' "$logs/allocations.sanitized") runs"
}

stage_calls() {
    build release qx_torture_preload qx_tools qx_modules qx_examples \
        example_{LineCount,Transcode,WorkQueue} || return 1
    python3 tests/torture/calls.py "$tests/torture/qx_torture_preload.so" build/release
}

stage_kills() {
    build release qx_{ipc,io}_tests qx_torture_meetings || return 1
    local many=$((minutes < 18 ? 1 : minutes / 9)) left
    "$tests/torture/qx_torture_meetings" --stride $((minutes < 60 ? 120 / minutes + 1 : 1)) |
        tee /dev/stderr >"$logs/meetings"
    ((PIPESTATUS[0] == 0)) &&
        tested ipc 'Kinds/Crash.*' $((25 * many)) &&
        tested ipc 'CrashUnderTraffic.*:*ADeadWaiter*:*AReaderWho*' $((200 * many)) &&
        tested ipc '*IsToldThat*:*TellsIts*:*AreTold*:*TellsWhoever*' $((25 * many)) &&
        tested ipc '*APeerStopped*' $((5 * many)) &&
        tested io 'FileStream.Sixteen*' $((50 * many)) || return 1
    left=$(find "/dev/shm/qx-$(id -u)" -type f 2>/dev/null | wc -l)
    echo "$(sum '[0-9]+ killed' "$logs/meetings") processes were killed as they met another one at a lock, a \
block of memory, the registry or an INI file, and at random moments $((5950 * many)) holders and waiters of \
locks and semaphores and $((200 * many)) appenders; $left files are left of them"
    ((left == 0))
}

stage_pool() {
    build release JobPool || return 1
    python3 examples/workers/throughput.py build/release/examples --seconds "$((minutes * 10))" \
        --plot docs/pool.svg
}

stage_damage() {
    build release qx_platform_tests || return 1
    tested platform 'RegistryDamage.*' 1 && echo "cut at every byte, every bit flipped"
}

stage_threads() {
    build tsan qx_torture_threads || return 1
    local program=build/tsan/tests/torture/qx_torture_threads areas seconds
    areas=$(setarch --addr-no-randomize "$program" --seconds 0 | wc -l) # one a line
    seconds=$((minutes * 20 / areas))
    TSAN_OPTIONS=halt_on_error=1 setarch --addr-no-randomize \
        "$program" --seconds "$((seconds < 60 ? seconds : 60))" |
        tee /dev/stderr | awk '{ rounds += $2 } END { print NR " areas, " rounds " rounds" }'
    ((PIPESTATUS[0] == 0))
}

stage_locales() {
    build release qx_tools qx_modules || return 1
    tests/torture/locales.sh build/release/tools build/release/modules
}

stage_forks() {
    build release qx_fork_tests || return 1
    local rounds=100 parts
    parts=$("$tests/qx_fork_tests" --gtest_list_tests | grep -c '^  ')
    tested fork '*' "$rounds" &&
        echo "$((rounds * 25 * parts)) children were forked from programs with busy threads"
}

stage_descriptors() {
    local programs="platform io net exec ipc util log"
    build release $(printf 'qx_%s_tests ' $programs) || return 1
    ulimit -n 16384
    local descriptor i
    for ((i = 0; i < 5100; ++i)); do exec {descriptor}</dev/null; done
    local program
    for program in $programs; do
        tested "$program" '*' 1 || return 1
    done
    echo "the tests of $programs with 5,100 descriptors open"
}

stage_soak() {
    build release qx_examples qx_modules qx_tools || return 1
    local soak=(python3 tests/torture/soak.py build/release/examples --minutes "$((minutes / 6 + 1))")
    "${soak[@]}" --tls >"$logs/soak.tls" 2>&1 &
    "${soak[@]}" --plot docs/soak.svg | tee /dev/stderr | tail -n 1 >"$logs/soak.plain"
    local plain=${PIPESTATUS[0]}
    wait $! || plain=1
    cat "$logs/soak.tls"
    echo "$(cat "$logs/soak.plain"); beside it, $(tail -n 1 "$logs/soak.tls")"
    return "$plain"
}

# slow_tests REPORT: names of the tests that took more than 0.2 s, for a filter.
slow_tests() {
    python3 - "$1" <<'END'
import json, sys
report = json.load(open(sys.argv[1]))
print(":".join(f"{suite['name']}.{test['name']}" for suite in report["testsuites"]
               for test in suite["testsuite"] if float(test["time"].rstrip("s")) > 0.2))
END
}

stage_valgrind() {
    build release || return 1
    # Beside what is slow: what needs signals at certain moments, descriptors of processes, as many
    # descriptors as a process may have or none at all, an operator new that refuses, or word of a program
    # that cannot be executed. valgrind has none of them. It takes for leaks what the threads of its parent
    # had in their hands when a child was forked.
    local left_out='*Process*:*Signal*:*Interrupt*:*Descriptor*:*TablesThatCannotBe*:*Fork*:NamedFailure.*:*PastFailures*'
    local program report ran=0 all=0
    for program in "$tests"/qx_*_tests; do
        report=$logs/$(basename "$program").json
        "$program" --gtest_brief=1 --gtest_output="json:$report" || return 1
        all=$((all + $(sum '^  "tests": [0-9]+' "$report")))
        # The tests count allocations by an operator new of their own.
        valgrind --quiet --error-exitcode=9 --leak-check=full --errors-for-leak-kinds=definite \
            --suppressions=tests/torture/valgrind.supp --fair-sched=yes \
            --soname-synonyms=somalloc=nouserintercepts "$program" \
            --gtest_brief=1 --gtest_output="json:$report.valgrind" \
            --gtest_filter="-$left_out:$(slow_tests "$report")" || return 1
        ran=$((ran + $(sum '^  "tests": [0-9]+' "$report.valgrind")))
    done
    echo "$ran of the $all tests"
}

# put_row STAGE ROW: replaces the row of a stage in the table; rows stand in the order of the stages.
put_row() {
    local page=docs/reliability.md each
    {
        sed '/^| Stage/,$d' "$page"
        echo "| Stage | What was done | When | Time | Findings |"
        echo "|---|---|---|---|---|"
        for each in "${all_stages[@]}"; do
            if [[ $each == "$1" ]]; then echo "$2"; else grep "^| $each |" "$page" || true; fi
        done
    } >"$logs/reliability.md"
    cp "$logs/reliability.md" "$page"
}

status=0
for stage in "${stages[@]}"; do
    echo "== $stage" >&2
    begin=$SECONDS
    outcome=none
    (set +e; "stage_$stage") >"$logs/$stage.log" 2>&1 || { outcome="**yes**, see the log"; status=1; }
    figure=$(tail -n 1 "$logs/$stage.log")
    row="| $stage | $figure | $(date +%F) | $((SECONDS - begin)) s | $outcome |"
    put_row "$stage" "$row"
    echo "$row" >&2
done
exit $status
