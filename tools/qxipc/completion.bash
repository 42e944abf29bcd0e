# Made by: tools/gen/completions.py bash qxipc
# Completion of the arguments of qxipc in bash.

_qxipc() {
    local current=${COMP_WORDS[COMP_CWORD]} kind= name i words=()
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --interval | --count) kind=number ;;
    esac
    if [[ -z $kind && $current == -* ]]; then
        COMPREPLY=($(compgen -W "--json --interval --count -h --help --version" -- "$current"))
        return
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do # what stands before, without options and their values
        case ${COMP_WORDS[i]} in
        --interval | --count) ((++i)) ;;
        -?*) ;;
        *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
    [[ -n $kind ]] || case ${#words[@]}:${words[0]-} in
    0:*) kind='list|watch|clean' ;;
    1:list | 1:watch) kind=object ;;
    esac
    case $kind in
    object)
        while IFS= read -r name; do # quoted for the shell
            name=$(printf %q "$name")
            [[ $name != "$current"* ]] || COMPREPLY+=("$name")
        done < <("${COMP_WORDS[0]}" list 2>/dev/null | sed -n 's/^[^ ][^ ]* \(.*\): .*/\1/p')
        ;;
    *'|'*) COMPREPLY=($(compgen -W "${kind//|/ }" -- "$current")) ;;
    esac
}
complete -F _qxipc qxipc
