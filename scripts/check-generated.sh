#!/bin/sh
# Regenerates every file whose first line is "// Made by: COMMAND" (or "# Made by: COMMAND") and
# compares. COMMAND runs in the top folder and prints the file. Exit status 1 when one differs.
set -u
cd "$(dirname "$0")/.." || exit 1
fresh=$(mktemp) || exit 1
trap 'rm -f "$fresh"' EXIT

checked=0 status=0
for file in $(grep -rlE --exclude-dir=.git --exclude-dir=build '^(//|#) Made by: ' .); do
    command=$(sed -nE '1s,^(//|#) Made by: ,,p' "$file")
    [ -n "$command" ] || continue
    checked=$((checked + 1))
    if ! sh -c "$command" > "$fresh"; then
        echo "$file: '$command' failed" >&2
        status=1
    elif ! diff -u "$file" "$fresh" > /dev/null; then
        echo "$file: differs from what '$command' prints" >&2
        status=1
    fi
done
echo "$checked generated files checked"
[ "$checked" -gt 0 ] && exit $status
exit 1
