#!/usr/bin/env bash
# Checks what the built library exports: scripts/check-symbols.sh LIBRARY
set -euo pipefail

symbols() { nm -D --defined-only "$@" | cut -d ' ' -f 2-; }
exported=$(symbols -C --without-symbol-versions "$1" | grep -v '^A QX_1$')
status=0

# reject RULE PATTERN: fails and shows the exported symbols that match.
reject() {
    ! grep -E "$2" <<<"$exported" || { echo "^ $1"; status=1; }
}

reject "a unique symbol would keep dlclose from unloading the library" '^u '
reject "only qx:: and QX names belong to us" '^[TDB] [a-z_][a-z0-9_]*$'

unversioned=$(symbols "$1" | grep -v '@@QX_1$' | grep -vx 'A QX_1') || true
[[ -z $unversioned ]] || { echo "without the version QX_1: $unversioned"; status=1; }

cd "$(dirname "$0")/.."
# Every function that a C header declares is there under its C name.
declared=$(find qx -name '*.h' -not -path '*/detail/*' -not -path '*/posix/*' |
    xargs grep -l 'extern "C"' | xargs cat | tr '\n' ' ' |
    grep -oP 'QX_API [^;{}()]*?\b\K(QX|QxNet)\w+(?=\()' | sort -u)
missing=$(comm -23 <(echo "$declared") <(cut -d ' ' -f 2 <<<"$exported" | sort -u))
[[ $declared == *QxNet* && -z $missing ]] || { echo "declared, not exported: $missing"; status=1; }
exit $status
