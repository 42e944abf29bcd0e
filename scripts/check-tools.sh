#!/usr/bin/env bash
# Holds what a program says about itself together: scripts/check-tools.sh PROGRAM...
# --help, the manual page docs/man/<name>.1 and the completions tools/<name>/completion.<shell> must name
# the same options and the same usage; of the shells, bash and those that are there are asked. Exits
# with 77 where the formatter of the page is missing.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
export LC_ALL=C.UTF-8
command -v groff >/dev/null || exit 77
mapfile -t programs < <(realpath -- "$@")
status=0

# same WHAT EXPECTED ACTUAL
same() {
    [[ $2 == "$3" ]] && return
    printf '%s: %s\n' "$name" "$1"
    diff <(echo "$2") <(echo "$3")
    status=1
}

shells=(bash)
for shell in fish zsh; do
    ! command -v $shell >/dev/null || shells+=($shell)
done

# completions_SHELL WORD...: what the shell would offer for the last word, one a line.
completions_bash() {
    (
        source "$root/tools/$name/completion.bash"
        [[ $(complete -p "$name") =~ -F\ ([^ ]+) ]] || exit
        COMP_WORDS=("$program" "$@") COMP_CWORD=$#
        "${BASH_REMATCH[1]}" "$name" "${*: -1}"
        printf '%s\n' "${COMPREPLY[@]}"
    )
}

# Without those that fish 4 adds because the last word is scattered in them.
completions_fish() {
    fish --no-config -c 'source $argv[1]; complete -C "$argv[2..]"' \
        "$root/tools/$name/completion.fish" "$program" "$@" | cut -f 1 |
        word=${*: -1} awk 'index($0, ENVIRON["word"]) == 1'
}

# A terminal in which the Tab key lists what was added.
completions_zsh() {
    zsh -f "$root/scripts/zsh-completions.zsh" "$root/tools/$name/completion.zsh" "$program" "$@"
}

# offers EXPECTED WORD...: the completions of the program $name, on one line, in every shell.
offers() {
    local expected=$1 shell
    shift
    for shell in "${shells[@]}"; do
        same "completion of '$*' in $shell" "$expected" \
            "$("completions_$shell" "$@" | sed 's,\\,,g; s,/$,,; /^$/d' | sort -u | paste -sd ' ')"
    done
}

# options START: the options that lines begin with behind START, sorted.
options() { grep -oP "$1\K--?[a-z][-a-z]*(, --[a-z]+)?" | sed 's/, /\n/' | sort; }

check() {
    local page=$root/docs/man/$name.1 help text usage commands
    help=$("$program" --help 2>&1)
    same "exit status of --help" 0 $?
    same "-h" "$help" "$("$program" -h 2>&1)"
    same "--version" "$name $(sed -nE 's/^project\(qx VERSION ([0-9.]+).*/\1/p' "$root/CMakeLists.txt")" \
        "$("$program" --version 2>&1)"
    text=$("$program" --no-such-option 2>/dev/null </dev/null)
    same "exit status of a wrong option" 2 $?
    same "a wrong option goes to the error stream" "" "$text"
    "$program" --help >/dev/full 2>/dev/null
    same "exit status on a full device" 1 $?

    same "warnings of the page" "" "$(groff -man -Tutf8 -ww -z "$page" 2>&1)"
    text=$(groff -man -Tascii -P-cbou -rLL=200n "$page")
    usage=$(sed -n '/^usage:/,/^$/p' <<<"$help" | sed -E 's/^(usage:)? +//; /^$/d')
    same "usage: --help, page" "$usage" \
        "$(sed -n '/^SYNOPSIS/,/^DESC/p' <<<"$text" | sed -nE '/--version$/d; s/^ +//p')"

    # A command stands behind the program's name, or behind the file that it is about.
    commands=$(awk '{ for (i = 2; i <= NF; ++i) if ($i ~ /^[a-z]+(-[a-z]+)*$/) { print $i; next } }' \
        <<<"$usage" | sort)
    local before=()
    [[ ! $usage =~ ^[a-z]+\ [A-Z] ]] || before=(FILE)
    [[ -z $commands ]] || offers "$(paste -sd ' ' <<<"$commands")" "${before[@]}" ""

    local options
    options=$(options '^  ' <<<"$help")
    same "options: --help, page" "$options" \
        "$(sed -n '/^OPTIONS/,/^[A-NP-Z]/p' <<<"$text" | options '^ {7}')"
    offers "$(paste -sd ' ' <<<"$options")" -
    offers --help --he
}

for program in "${programs[@]}"; do
    name=$(basename "$program")
    check
done

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
printf '[One two]\na=1\n[Other]\nb=2\n' >some.ini
mkdir some.folder
touch some.messages
for program in "${programs[@]}"; do
    name=$(basename "$program")
    case $name in
    qxbundle)
        offers "check compile" c
        offers "some.folder some.messages" install some
        offers "some.folder some.ini some.messages" compile some.messages --output some
        offers "" get --locale d
        ;;
    qxcalc)
        offers "10 16" -o 1
        offers "" 1+
        ;;
    qxconv)
        offers "UTF-16LE" -f UTF-16L
        offers "some.folder some.ini some.messages" -f UTF-8 some
        offers "" --substitute s
        ;;
    qxini)
        offers some.ini some.i
        offers "delete delete-set" some.ini del
        offers 'One two Other' some.ini --json list O
        offers "" --semaphore s
        offers "" some.ini get Other b
        ;;
    qxipc)
        offers "clean" cl
        offers "" watch --interval 1
        offers "--json" list --j
        offers "" clean c
        ;;
    qxreg)
        offers "export" ex
        offers "QX_HKEY_USER" query --registry some.folder QX_HKEY_U
        offers "QX_HKEY_CONFIG QX_HKEY_CONFIG_32 QX_HKEY_CONFIG_64 QX_HKEY_CONFIG_CROSS" \
            export QX_HKEY_CO
        offers "uint32 uint64" add --type u
        offers "--recursive --registry" query QX_HKEY_USER --re
        offers some.folder export QX_HKEY_USER some.f
        offers some.folder import --registry some
        offers some.ini register some.i
        offers "" register some.ini s
        ;;
    esac
done
exit $status
