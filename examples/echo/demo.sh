#!/usr/bin/env bash
# Lets the clients in C++ and C talk to the echo server over IPv4 and IPv6, each with the words of
# the README, and compares what comes back with what was sent. Ends with status 1 at the first
# difference. Arguments: the folder of the built examples, and how often the text is sent (50).
set -euo pipefail

examples=$(realpath "$1")
rounds=${2:-50}
text=$(realpath "$(dirname "$0")/../../README.md")
folder=$(mktemp -d)
server=
# The server ends by itself when all has gone well.
trap '[ -z "$server" ] || kill "$server" 2>/dev/null || true; rm -rf "$folder"' EXIT

# Both clients on both addresses. A port that is taken already is given up for the next one.
connections=4
for port in {17007..17107}; do
    "$examples/EchoServer" "$port" 127.0.0.1,::1 "$connections" >"$folder/server" 2>"$folder/errors" &
    server=$!
    until [ -s "$folder/server" ] || ! kill -0 "$server" 2>/dev/null; do sleep 0.05; done
    [ -s "$folder/server" ] && break
    server=
done
[ -n "$server" ] || {
    cat "$folder/errors" >&2
    exit 1
}
cat "$folder/server"

# A machine without IPv6 has only the other address, which is then used twice.
hosts=()
for host in 127.0.0.1 ::1; do
    [[ $(<"$folder/server") != *"$host"* ]] || hosts+=("$host")
done
hosts=("${hosts[0]}" "${hosts[-1]}")

printf '%-12s %-10s %s\n' client host result
for host in "${hosts[@]}"; do
    for client in EchoClient EchoClientC; do
        "$examples/$client" "$host" "$port" "$rounds" <"$text" >"$folder/answer" 2>"$folder/rate" || {
            cat "$folder/rate" >&2
            exit 1
        }
        cmp -s "$text" "$folder/answer" || {
            echo "MISMATCH: $client at $host" >&2
            exit 1
        }
        printf '%-12s %-10s %s\n' "$client" "$host" "$(<"$folder/rate")"
    done
done
wait "$server"
server=
