# Made by: tools/gen/completions.py bash qxconv
# Completion of the arguments of qxconv in bash.

_qxconv() {
    local current=${COMP_WORDS[COMP_CWORD]} kind= name i words=()
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    -f | -t) kind=encoding ;;
    -o) kind=file ;;
    -d) kind=folder ;;
    --errors) kind='strict|replace|ignore|escape' ;;
    --line-ends) kind='lf|crlf|cr' ;;
    --substitute) kind=text ;;
    esac
    if [[ -z $kind && $current == -* ]]; then
        COMPREPLY=($(compgen -W "-f -t -o -d --in-place --errors -c --line-ends -l --strict --substitute -h --help --version" -- "$current"))
        return
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do # what stands before, without options and their values
        case ${COMP_WORDS[i]} in
        -f | -t | -o | -d | --errors | --line-ends | --substitute) ((++i)) ;;
        -?*) ;;
        *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
    [[ -n $kind ]] || case ${#words[@]}:${words[0]-} in
    [0-9]*:*) kind=file ;;
    esac
    case $kind in
    file)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        ;;
    folder)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        ;;
    encoding)
        # Whatever way the program was called, it knows the encodings, in any letter case.
        while read -r name _; do
            [[ ${name,,} != "${current,,}"* ]] || COMPREPLY+=("$name")
        done < <("${COMP_WORDS[0]}" -l 2>/dev/null)
        ;;
    *'|'*) COMPREPLY=($(compgen -W "${kind//|/ }" -- "$current")) ;;
    esac
}
complete -F _qxconv qxconv
