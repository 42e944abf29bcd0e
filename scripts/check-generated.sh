#!/bin/sh
# Regenerates every file whose first or second line is "// Made by: COMMAND" (or the same as a comment
# with # or in <!-- -->) and compares: scripts/check-generated.sh [FOLDER], everything by default.
# COMMAND runs in the top folder and prints the file; one that exits with 77 misses a program that is
# built first, and its file is passed over. Exit status 1 when a file differs.
set -u
cd "$(dirname "$0")/.." || exit 1
fresh=$(mktemp) || exit 1
trap 'rm -f "$fresh"' EXIT

checked=0 passed_over=0 status=0
for file in $(grep -rlE --exclude-dir=.git --exclude-dir=build '^(//|#|<!--) Made by: ' "${1:-.}"); do
    command=$(sed -nE '1,2{s, -->$,,;s,^(//|#|<!--) Made by: ,,p}' "$file")
    [ -n "$command" ] || continue
    sh -c "$command" > "$fresh"
    result=$?
    if [ "$result" = 77 ]; then
        echo "$file: passed over" >&2
        passed_over=$((passed_over + 1))
        continue
    fi
    checked=$((checked + 1))
    if [ "$result" != 0 ]; then
        echo "$file: '$command' failed" >&2
        status=1
    elif ! diff -u "$file" "$fresh" > /dev/null; then
        echo "$file: differs from what '$command' prints" >&2
        status=1
    fi
done
echo "$checked generated files checked, $passed_over passed over"
[ "$checked" -gt 0 ] && exit $status
exit 1
