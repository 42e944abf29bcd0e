# Completion of the arguments of qxcalc in bash.

_qxcalc() {
    local current=${COMP_WORDS[COMP_CWORD]}
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    -i | -o) COMPREPLY=($(compgen -W "2 8 10 16 36" -- "$current")) ;;
    -s) ;;
    *)
        [[ $current != -* ]] ||
            COMPREPLY=($(compgen -W "-s -i -o -h --help --version" -- "$current"))
        ;;
    esac
}
complete -F _qxcalc qxcalc
