#!/usr/bin/env bash
# Checks what the built library exports: scripts/check-symbols.sh LIBRARY
set -euo pipefail

exported=$(nm -DC --defined-only "$1" | cut -d ' ' -f 2-)
status=0

# reject RULE PATTERN: fails and shows the exported symbols that match.
reject() {
    ! grep -E "$2" <<<"$exported" || { echo "^ $1"; status=1; }
}

reject "a unique symbol would keep dlclose from unloading the library" '^u '
reject "only qx:: and QX names belong to us" '^[TDB] [a-z_][a-z0-9_]*$'
exit $status
