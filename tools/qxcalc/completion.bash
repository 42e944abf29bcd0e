# Made by: tools/gen/completions.py bash qxcalc
# Completion of the arguments of qxcalc in bash.

_qxcalc() {
    local current=${COMP_WORDS[COMP_CWORD]} kind= name i words=()
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    -s) kind=scale ;;
    -i | -o) kind='2|8|10|16|36' ;;
    esac
    if [[ -z $kind && $current == -* ]]; then
        COMPREPLY=($(compgen -W "-s -i -o -h --help --version" -- "$current"))
        return
    fi
    case $kind in
    *'|'*) COMPREPLY=($(compgen -W "${kind//|/ }" -- "$current")) ;;
    esac
}
complete -F _qxcalc qxcalc
