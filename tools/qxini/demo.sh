#!/usr/bin/env bash
# Writes a configuration with qxini, shows it, lets many processes add to it at once and some of them
# be killed, and holds that nothing that was said to be done is lost. Ends with status 1 otherwise.
# Argument: the folder of the built programs.
set -euo pipefail
export LC_ALL=C.UTF-8

qxini=$(realpath "$1")/qxini
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# Shows a command and runs it.
show() {
    echo "\$ qxini $*"
    "$qxini" "$@"
}

cat >server.ini <<END
; settings of the server
[Server]
port = 8080
host = example.org
[Server\\Log]
file = /var/log/server.log
level = warning
END
show server.ini list
show server.ini set server PORT 8443
show server.ini set 'Server\Log' rotate daily
show server.ini get Server port
show server.ini sets Server
show server.ini list Server --json

# Writers take turns by a semaphore. Each notes a key when it is told that the key is stored.
echo
writers=8
keys=40
start=${EPOCHREALTIME/./}
for ((w = 0; w < writers; ++w)); do
    (
        for ((k = 0; k < keys; ++k)); do
            "$qxini" --semaphore "qxini-demo-$$" shared.ini set keys "$w.$k" done || exit 0
            echo "$w.$k" >>"noted.$w"
        done
    ) 2>/dev/null &
    pids[w]=$!
done
killed=0
for victim in 1 3 5; do
    sleep 0.05
    children=/proc/${pids[victim]}/task/${pids[victim]}/children
    for ((try = 0; try < 100; ++try)); do # between two programs there is none to be killed
        child=
        read -r child _ 2>/dev/null <"$children" || true
        [ -n "$child" ] && kill -KILL "$child" 2>/dev/null && killed=$((killed + 1)) && break
        sleep 0.003
    done
done
wait 2>/dev/null || true
milliseconds=$(((${EPOCHREALTIME/./} - start) / 1000))

"$qxini" shared.ini list keys | cut -d= -f1 | sort >stored
sort noted.* >noted
missing=$(comm -13 stored noted | wc -l)
echo "$(wc -l <noted) keys were stored by $writers processes in $milliseconds ms, $killed of" \
    "which were killed; $missing are missing"
[ "$missing" == 0 ]
[ -z "$(find . -name '.*.tmp')" ] || { echo "MISMATCH: a file is left aside" >&2; exit 1; }
