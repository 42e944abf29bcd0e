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

# run_tests FOLDER [CTEST-OPTION...]: runs the tests of a build, under $runner where that is set,
# and keeps ctest's own count of them for the summary.
run_tests() {
    local folder=$1 status=0
    shift
    ${runner:-} ctest --test-dir "$folder" --parallel "$jobs" --output-on-failure "$@" |
        tee "$out/tests.log" || status=$?
    grep -hE '^[0-9]+% tests passed' "$out/tests.log" >>"$out/summary" || status=1
    return $status
}

failed=0
summaries=""
for name; do
    out=$root/build/port/$name
    mkdir -p "$out"
    rm -f "$out/summary"
    # In a process of its own: errexit holds in it, and what it sets does not reach the next.
    outcome=passed
    (
        set -e
        . "scripts/ports/$name.sh"
    ) &
    wait $! || outcome=FAILED failed=1
    counts=$(paste -sd ';' "$out/summary" 2>/dev/null || true)
    summaries+=$(printf '%-12s %s: %s' "$name" "$outcome" "${counts:-no tests ran}")$'\n'
done
printf '\n%s' "$summaries"
exit $failed
