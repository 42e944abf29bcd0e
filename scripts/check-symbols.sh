#!/usr/bin/env bash
# Checks what the built library exports: scripts/check-symbols.sh LIBRARY
# Holds it against qx/libqx.symbols, which scripts/check-symbols.sh --update LIBRARY writes.
set -euo pipefail
export LC_ALL=C
list=$(cd "$(dirname "$0")/.." && pwd)/qx/libqx.symbols
update=
[[ $1 != --update ]] || { update=1; shift; }

symbols() { nm -D --defined-only "$@" | cut -d ' ' -f 2-; }

# of_type TYPES: the mangled names of the exported symbols of some types. Virtual tables and type
# information come and go with the compiler and its options; whoever needs one has his own.
of_type() {
    symbols --without-symbol-versions "$library" |
        awk -v types="$1" 'index(types, $1) && $2 !~ /^_ZT[VTIS]/ && $2 != "QX_1" { print $2 }'
}
strong() { of_type ABDRT; }
# The members of explicitly instantiated templates. Function templates are instantiated by the way.
weak() {
    local names
    names=$(of_type W)
    paste <(echo "$names") <(c++filt <<<"$names") | awk -F '\t' '$2 !~ /^[^(]*>\(/ { print $1 }'
}

library=$1
if [[ $update ]]; then
    { strong; weak; } | sort -u >"$list"
    exit
fi

exported=$(symbols -C --without-symbol-versions "$library" | grep -v '^A QX_1$')
status=0

# reject RULE PATTERN: fails and shows the exported symbols that match.
reject() {
    ! grep -E "$2" <<<"$exported" || { echo "^ $1"; status=1; }
}

reject "a unique symbol would keep dlclose from unloading the library" '^u '
reject "only qx:: and QX names belong to us" '^[TDB] [a-z_][a-z0-9_]*$'
unversioned=$(symbols "$library" | grep -v '@@QX_1$' | grep -vx 'A QX_1') || true
[[ -z $unversioned ]] || { echo "without the version QX_1: $unversioned"; status=1; }

# A compiler may export more weak symbols than another, but none less.
gone=$(comm -23 <(sort -u "$list") <({ strong; weak; } | sort -u) | c++filt)
new=$(comm -13 <(sort -u "$list") <(strong | sort -u) | c++filt)
if [[ $gone$new ]]; then
    [[ -z $gone ]] || sed 's/^/gone: /' <<<"$gone"
    [[ -z $new ]] || sed 's/^/new: /' <<<"$new"
    echo "^ not as in the list; where it is meant: scripts/check-symbols.sh --update $library"
    status=1
fi

cd "$(dirname "$0")/.."
# Every function that a C header declares is there under its C name.
declared=$(find qx -name '*.h' -not -path '*/detail/*' -not -path '*/posix/*' |
    xargs grep -l 'extern "C"' | xargs cat | tr '\n' ' ' |
    grep -oP 'QX_API [^;{}()]*?\b\K(QX|QxNet)\w+(?=\()' | sort -u)
missing=$(comm -23 <(echo "$declared") <(cut -d ' ' -f 2 <<<"$exported" | sort -u))
[[ $declared == *QxNet* && -z $missing ]] || { echo "declared, not exported: $missing"; status=1; }
exit $status
