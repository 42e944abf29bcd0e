#!/usr/bin/env bash
# Tells what the tests run of the library: scripts/coverage.sh [SUBSYSTEM...]
# Builds the preset coverage, runs all tests or those of the subsystems, prints lines and branches by
# folder and writes the files with their sources to build/coverage/html/index.html; the table by file
# stands in build/coverage/files.txt. Branches that only an exception takes are not counted, nor are
# those that the compiler alone sees, such as behind each call in a line without a condition: what
# remains is what a test can choose.
. "$(dirname "$0")/lib.sh"

install_missing $test_packages gcovr

subsystems=("$@")
selection=(--label-exclude '^(check|consumer|gdb)$')
if ((${#subsystems[@]})); then
    build coverage $(printf "qx_%s_tests " "${subsystems[@]}")
    selection=(--label-regex "$(IFS='|' && echo "^(${subsystems[*]})$")")
else
    build coverage
fi

# Counts of earlier runs, and of objects whose source has gone.
find build/coverage -name '*.gcda' -delete
ctest --preset coverage --parallel "$jobs" --schedule-random "${selection[@]}" ||
    echo "some tests failed: what they did not come to is not counted. example.service.managed and" \
        "contained, tools.environments and tools.qxconv always fail: programs that count need more" \
        "memory than these allow, and complain where they may write no counts" >&2

has_condition='\b(if|for|while|case|default|catch|do)\b|\?|&&|\|\|'
report=build/coverage/html
rm -rf "$report" && mkdir -p "$report"
gcovr --root . --filter 'qx/' --filter 'modules/' -j "$jobs" \
    --exclude-throw-branches --exclude-unreachable-branches \
    --exclude-branches-by-pattern "^(?!.*($has_condition))" \
    --html-details "$report/index.html" --json-summary build/coverage/summary.json \
    build/coverage >/dev/null
python3 scripts/coverage-table.py build/coverage/summary.json build/coverage/files.txt
echo "by file: build/coverage/files.txt, with the sources: $report/index.html"
