#!/usr/bin/env bash
# Carries real text in many scripts from UTF-8 through encodings and back with qxconv, all of the
# library and some of every kind of the module with more codecs, compares with the system's iconv
# where that knows the encoding, and prints a table. Ends with status 1 at the first difference.
# Argument: the folder of the built programs.
set -euo pipefail
export LC_ALL=C.UTF-8

qxconv=$(realpath "$1")/qxconv
qxreg=$(realpath "$1")/qxreg
module=$(realpath "$1/../modules/qxcodecs.so")
texts=$(realpath "$(dirname "$0")/../../tests/data/texts")
long_bytes=$((4 << 20))
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# A registry of its own, which goes with the folder.
export XDG_DATA_HOME=$folder/data
install -m 700 "$module" . # a copy, in a folder that nobody else may write
"$qxreg" register qxcodecs.so

fail() {
    echo "MISMATCH: $*" >&2
    exit 1
}

same() { cmp -s "$1" "$2" || fail "$3"; }

# The name by which iconv knows an encoding; nothing for one that it lacks.
iconv_name() {
    case $1 in
    AMP-7 | CP720 | UTF-8-SIG) ;;
    ISO8859_1) echo ISO-8859-1 ;;
    *) echo "$1" ;;
    esac
}

# Seconds since the epoch with a fraction, as a number of microseconds.
now() { echo "${EPOCHREALTIME/./}"; }

# MB/s of carrying the file $1 through the rest of the arguments.
rate() {
    local bytes started ended
    bytes=$(stat -c %s "$1")
    shift
    started=$(now)
    "$@"
    ended=$(now)
    echo $((bytes / (ended - started)))
}

# A text that has a form in the encoding: there and back, beside iconv.
carry() {
    local text=$1 encoding=$2 peer=$3
    "$qxconv" --strict -f UTF-8 -t "$encoding" -o there "$text"
    "$qxconv" --strict -f "$encoding" -t UTF-8 -o back there
    same back "$text" "$text through $encoding and back"
    [ -n "$peer" ] || return 0
    iconv -f UTF-8 -t "$peer" "$text" >peer
    same there peer "$text to $encoding: iconv writes something else"
    iconv -f "$peer" -t UTF-8 there >peer
    same back peer "$text from $encoding: iconv reads something else"
}

# A text that has none: refused when strict, and without what has no form the same as iconv's.
reject() {
    local text=$1 encoding=$2 peer=$3
    [ "$encoding" != AMP-7 ] || fail "$text has no form in $encoding"
    [ -n "$peer" ] || return 0
    ! iconv -f UTF-8 -t "$peer" "$text" >peer 2>&1 || fail "$text has a form in $encoding for iconv"
    "$qxconv" -f UTF-8 -t "$encoding" --substitute= -o there "$text"
    iconv -c -f UTF-8 -t "$peer" "$text" >peer 2>/dev/null || true
    same there peer "$text to $encoding without what it lacks: iconv writes something else"
}

# Repeats files to the length of the long text, by doubling: a process each time would be too many.
repeat() {
    cat "$@" >long
    while (($(stat -c %s long) < long_bytes)); do
        cat long long >twice
        mv twice long
    done
}

total=$(find "$texts" -name '*.txt' | wc -l)
printf '%-11s  %-12s  %-10s  %12s  %12s\n' encoding 'texts' 'iconv' 'to, MB/s' 'from, MB/s'
of_library=$("$qxconv" -l | awk '$3 == "built-in" { print $1 }')
for encoding in $of_library CP720 CP866 CP1250 CP1251 CP1256 ISO-8859-2 ISO-8859-15 KOI8-R TIS-620 CP932 \
    CP949 BIG5-HKSCS EUC-JP EUC-TW GB18030 ISO-2022-JP; do
    peer=$(iconv_name "$encoding")
    fitting=()
    for text in "$texts"/*.txt; do
        if "$qxconv" --strict -f UTF-8 -t "$encoding" "$text" >/dev/null 2>&1; then
            carry "$text" "$encoding" "$peer"
            fitting+=("$text")
        else
            reject "$text" "$encoding" "$peer"
        fi
    done
    [ ${#fitting[@]} -gt 0 ] || fail "no text has a form in $encoding"
    repeat "${fitting[@]}"
    carry long "$encoding" "$peer"
    to=$(rate long "$qxconv" --strict -f UTF-8 -t "$encoding" -o there long)
    from=$(rate there "$qxconv" --strict -f "$encoding" -t UTF-8 -o back there)
    printf '%-11s  %-12s  %-10s  %12s  %12s\n' "$encoding" "${#fitting[@]} of $total" \
        "${peer:+agrees}" "$to" "$from"
done
echo "Every text came back as it was; the rates are those of a text of $((long_bytes >> 20)) to $((long_bytes >> 19)) MiB."
