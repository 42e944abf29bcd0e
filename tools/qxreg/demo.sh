#!/usr/bin/env bash
# A session with qxreg: values, what eight writers at once leave behind, a copy, a change seen by
# another process, damage. Ends with status 1 where something is not as it should be. Argument: the
# folder of the built programs.
set -euo pipefail
export LC_ALL=C.UTF-8

qxreg=$(realpath "$1")/qxreg
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
export XDG_DATA_HOME=$folder

fail() {
    echo "MISMATCH: $*" >&2
    exit 1
}

# Prints a command as a user types it and runs it.
show() {
    printf '$ qxreg'
    printf ' %q' "$@"
    printf '\n'
    "$qxreg" "$@"
}

show add 'QX_HKEY_USER\Software\Maker\Editor' Font 'Überschrift'
show add 'QX_HKEY_USER\Software\Maker\Editor' Size 11 --type uint32
show query 'qx_hkey_user\software' --recursive
echo

echo '$ # 8 writers at once, 25 values each'
for writer in {1..8}; do
    for value in {1..25}; do
        "$qxreg" add 'QX_HKEY_USER\Shared' "value $writer.$value" "$writer" --type uint32
    done &
done
wait
count=$("$qxreg" query 'QX_HKEY_USER\Shared' | grep -c uint32)
[ "$count" == 200 ] || fail "$count of 200 values"
echo "$count of 200 values are there"
echo

show export QX_HKEY_USER copy
show delete 'QX_HKEY_USER\Shared'
show watch QX_HKEY_USER --count 1 --interval 10 >seen &
until [ -s seen ] && grep -q watching seen; do sleep 0.01; done
show import copy
wait
cat seen
[ "$("$qxreg" query 'QX_HKEY_USER\Shared' | grep -c uint32)" == 200 ] || fail "import"
echo

echo '$ # a writer that was cut off in the middle leaves the state before'
file=qx/registry/user.qxreg
truncate -s -5 "$file"
"$qxreg" query 'QX_HKEY_USER\Software\Maker\Editor' Font || fail "the values before"
! "$qxreg" query 'QX_HKEY_USER\Shared' 2>&1 || fail "half of an import"
echo '$ # and damage in the middle is told'
show add QX_HKEY_USER later 1
printf x | dd of="$file" bs=1 seek=100 conv=notrunc status=none
! "$qxreg" query QX_HKEY_USER 2>&1 || fail "damage was not noticed"
