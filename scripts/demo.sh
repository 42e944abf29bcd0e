#!/usr/bin/env bash
# Builds the programs and shows each at work: runs every tools/<program>/demo.sh and every
# examples/<example>/demo.sh with the folder of the built programs as its argument. What is missing
# on a Debian machine is installed first.
. "$(dirname "$0")/lib.sh"

install_missing $demo_packages
build release qx_tools qx_modules qx_examples

for demo in {tools,examples}/*/demo.sh; do
    program=$(basename "$(dirname "$demo")")
    echo
    echo "== $program"
    "$demo" "$root/build/release/${demo%%/*}"
done
