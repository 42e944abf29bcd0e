#!/usr/bin/env bash
# Builds one preset and runs its tests: scripts/test.sh [PRESET [SUBSYSTEM...]]
# The preset is release by default. With subsystems (core, sync, ...) only their test programs are
# built and run. What is missing on a Debian machine is installed first.
. "$(dirname "$0")/lib.sh"

preset=${1:-release}
subsystems=("${@:2}")

install_missing $test_packages

if ((${#subsystems[@]})); then
    build "$preset" $(printf "qx_%s_tests " "${subsystems[@]}")
    labels=$(IFS='|' && echo "^(${subsystems[*]})$")
    selection=(--label-regex "$labels")
else
    build "$preset"
    selection=()
fi

# The thread sanitizer of g++ 12 cannot map its memory where the kernel randomises addresses widely.
run=()
if [[ $preset == tsan ]] && setarch --addr-no-randomize true 2>/dev/null; then
    run=(setarch --addr-no-randomize)
fi
"${run[@]}" ctest --preset "$preset" --parallel "$jobs" --schedule-random "${selection[@]}"
