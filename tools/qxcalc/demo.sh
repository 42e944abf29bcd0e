#!/usr/bin/env bash
# Computes with qxcalc what is known from elsewhere and compares: 10,000 digits of pi and the
# Mersenne prime 2^4423-1, and shows a few more expressions. Ends with status 1 at the first
# difference. Argument: the folder of the built programs.
set -euo pipefail
export LC_ALL=C.UTF-8

qxcalc=$(realpath "$1")/qxcalc
known=$(realpath "$(dirname "$0")/../../tests/data/numbers")

# check FILE EXPRESSION WHAT: the value is the digits of the file
check() {
    local started value milliseconds
    started=${EPOCHREALTIME/./}
    value=$("$qxcalc" "$2")
    milliseconds=$(((${EPOCHREALTIME/./} - started) / 1000))
    [ "$value" == "$(tr -d '\n' <"$known/$1")" ] || { echo "MISMATCH: $3" >&2; exit 1; }
    printf '%-18s %s...%s  %s, as known; %s ms\n' "$2" "${value:0:22}" "${value: -20}" "$3" \
        "$milliseconds"
}

check pi-10000.txt 'pi(10000)' '10,000 digits'
check mersenne-4423.txt '2^4423-1' '1,332 digits'

# A public exponent and its inverse undo each other.
p='(2^127-1)' q='(2^89-1)'
echo
"$qxcalc" "scale=60; sqrt(2); 22/7" \
    "gcd(2^4423-1, 2^2203-1)" \
    "modpow(modpow(123456789, 65537, $p*$q), modinv(65537, ($p-1)*($q-1)), $p*$q)" \
    "obase=16; 2^128-159; ibase=2; 101.101"
