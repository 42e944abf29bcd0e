# What the tests of the programs share; they source it, say at their end `finish`, and run in a
# folder of their own, which goes with them. $program is the program under test, $1 of the script.
set -u
export LC_ALL=C.UTF-8
program=$(realpath "$1")
name=$(basename "$program")
[ -x "$program" ] || { echo "no program $program"; exit 1; }
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
failures=0
checks=0

# equal WHAT ACTUAL EXPECTED
equal() {
    checks=$((checks + 1))
    [ "$2" == "$3" ] && return
    echo "FAILED $1: got '$2', expected '$3'"
    failures=$((failures + 1))
}

# gives OUTPUT ARGUMENTS...: status 0 and what is printed
gives() {
    local expected=$1 output
    shift
    output=$("$program" "$@" 2>&1)
    equal "status of $*" $? 0
    equal "$*" "$output" "$expected"
}

# fails STATUS MESSAGE ARGUMENTS...: what it prints before is in the file stdout
fails() {
    local status=$1 text=$2 message
    shift 2
    message=$("$program" "$@" 2>&1 >stdout)
    equal "status of $*" $? "$status"
    equal "message of $*" "$message" "$name: $text"
}

# Ends the test: fails if a check did.
finish() {
    echo "$checks checks, $failures failed"
    [ "$failures" == 0 ]
}
