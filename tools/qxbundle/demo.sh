#!/usr/bin/env bash
# A session with qxbundle: message files with faults and without, what programs get from them in
# several languages, and a file that changes while it is registered. Ends with status 1 where
# something is not as it should be. Argument: the folder of the built programs.
set -euo pipefail
export LC_ALL=C.UTF-8

qxbundle=$(realpath "$1")/qxbundle
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
export XDG_DATA_HOME=$folder/data

fail() {
    echo "MISMATCH: $*" >&2
    exit 1
}

# Prints a command as a user types it and runs it.
show() {
    printf '$ qxbundle'
    printf ' %q' "$@"
    printf '\n'
    "$qxbundle" "$@"
}

# gets EXPECTED ARGUMENTS...: shows it, and holds against what is expected
gets() {
    local expected=$1
    shift
    show get "$@" | tee got
    [ "$(tail -n 1 got)" == "$expected" ] || fail "$expected"
}

mkdir messages
printf 'hello = Good day, {0}!\nbye   = {0}, see you {1}!\n' >messages/Greeter.en_US.messages
printf '# Deutsch\nhello = Guten Tag, {0}!\nbye = Bis {0}!\n' >messages/Greeter.de.messages
printf 'hello = Gr\\u00FCezi, {0}!\n' >messages/Greeter.de_CH.messages

! show check messages || fail "a message with too few arguments"
printf 'hello = Guten Tag, {0}!\nbye = Bis {1}, \\\n    {0}!\n' >messages/Greeter.de.messages
show check messages
show install messages
show list
gets 'Grüezi, {0}!' Greeter hello --locale de_CH
gets 'Bis {1}, {0}!' Greeter bye --locale de_CH
gets 'Good day, {0}!' Greeter hello --locale nl
echo '$ # a change shows at once'
echo 'hello = Moin, {0}!' >aside
mv aside messages/Greeter.de.messages
gets 'Moin, {0}!' Greeter hello --locale de
show uninstall Greeter
! show get Greeter hello || fail "still there"
show compile messages --output greeter.cpp
grep -c 'CompiledText' greeter.cpp >/dev/null || fail "no source"
