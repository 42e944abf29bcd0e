#!/usr/bin/env bash
# Builds and tests on the platforms that README claims: scripts/port.sh NAME...
# Without a name it lists them. A platform is a file of scripts/ports, whose first line says what it
# is; the file installs what it needs, builds below $out and calls run_tests. At the end stands how
# many tests ran on each.
. "$(dirname "$0")/lib.sh"

names=$(basename -s .sh scripts/ports/*.sh)

if ((!$#)); then
    for name in $names; do
        printf '%-12s %s\n' "$name" "$(sed -n '1s/^# //p' "scripts/ports/$name.sh")"
    done
    exit
fi
for name; do
    grep -qx -- "$name" <<<"$names" || {
        echo "port.sh: unknown platform '$name'; there are:" $names >&2
        exit 2
    }
done

# count_tests LOG: keeps ctest's own count of its tests for the summary. Fails when there is none.
count_tests() {
    awk '/\(Skipped\)$/ { skipped++ }
        /^[0-9]+% tests passed/ { print $0 (skipped ? ", " skipped " skipped" : ""); skipped = 0; ran = 1 }
        END { exit !ran }' "$1" >>"$out/summary"
}

# run_tests FOLDER [CTEST-OPTION...]: runs the tests of a build, under $runner where that is set.
run_tests() {
    local folder=$1 status=0
    shift
    ${runner:-} ctest --test-dir "$folder" --parallel "$jobs" --output-on-failure "$@" |
        tee "$out/tests.log" || status=$?
    count_tests "$out/tests.log" || status=1
    return $status
}

trap 'exit 130' INT # not on to the next one
failed=0
summaries=""
for name; do
    out=$root/build/port/$name
    mkdir -p "$out"
    rm -f "$out/summary"
    # In a process of its own: errexit holds in it, as it would not in a condition, and what it sets
    # does not reach the next.
    set +e
    (
        set -e
        . "scripts/ports/$name.sh"
    )
    (($?)) && outcome=FAILED failed=1 || outcome=passed
    set -e
    counts=$(paste -sd ';' "$out/summary" 2>/dev/null || true)
    summaries+=$(printf '%-12s %s: %s' "$name" "$outcome" "${counts:-no tests ran}")$'\n'
done
printf '\n%s' "$summaries"
exit $failed
