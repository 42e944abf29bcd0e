# Completion of the arguments of qxconv in bash.

_qxconv() {
    local current=${COMP_WORDS[COMP_CWORD]} encodings
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    -f | -t)
        # Whatever way the program was called, it knows the encodings.
        encodings=$("${COMP_WORDS[0]}" -l 2>/dev/null | cut -d ' ' -f 1)
        COMPREPLY=($(compgen -W "$encodings" -- "$current"))
        return
        ;;
    --substitute) return ;;
    esac
    if [[ $current == -* ]]; then
        COMPREPLY=($(compgen -W "-f -t -o -l --strict --substitute -h --help --version" -- "$current"))
    else
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}
complete -F _qxconv qxconv
