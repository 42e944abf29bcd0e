#!/usr/bin/env bash
# Lets a pool of worker processes do jobs, first in peace and then while its workers are killed, and
# looks for every job and for what is left behind. Ends with status 1 when one is missing. Arguments:
# the folder of the built examples, and the thousands of jobs (20).
set -euo pipefail

pool=$(realpath "$1")/JobPool
jobs=${2:-20}000
for kills in 0 50 200; do
    printf '%4s kills a second: ' "$kills"
    timeout 50 "$pool" "$jobs" 4 "$kills"
done
left=$(find "/dev/shm/qx-$(id -u)" -name '*pool%20of%20*' 2>/dev/null | wc -l)
[ "$left" == 0 ] || { echo "MISMATCH: $left files are left" >&2; exit 1; }
