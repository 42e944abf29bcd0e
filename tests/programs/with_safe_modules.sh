#!/usr/bin/env bash
# Runs a test program with copies of the component modules among its arguments, which may be loaded:
# the build tree may belong to somebody else, or be one that a group may write.
# Arguments: the program and its arguments.
set -eu
program=$1
shift
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
arguments=()
for argument; do
    if [[ $argument == *.so ]]; then
        install -m 700 "$argument" "$folder"
        argument=$folder/${argument##*/}
    fi
    arguments+=("$argument")
done
"$program" "${arguments[@]}"
