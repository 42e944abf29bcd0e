# Made by: tools/gen/completions.py bash qxini
# Completion of the arguments of qxini in bash.

_qxini() {
    local current=${COMP_WORDS[COMP_CWORD]} kind= name i words=()
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --semaphore) kind=name ;;
    esac
    if [[ -z $kind && $current == -* ]]; then
        COMPREPLY=($(compgen -W "--json --keep --semaphore -h --help --version" -- "$current"))
        return
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do # what stands before, without options and their values
        case ${COMP_WORDS[i]} in
        --semaphore) ((++i)) ;;
        -?*) ;;
        *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
    [[ -n $kind ]] || case ${#words[@]}:${words[1]-} in
    1:*) kind='get|set|delete|delete-set|list|sets' ;;
    0:*) kind=file ;;
    2:get | 2:set | 2:delete | 2:delete-set | 2:list | 2:sets) kind=set ;;
    esac
    case $kind in
    file)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        ;;
    set)
        while IFS= read -r name; do # quoted for the shell
            name=$(printf %q "$name")
            [[ $name != "$current"* ]] || COMPREPLY+=("$name")
        done < <("${COMP_WORDS[0]}" "${words[0]/#\~/$HOME}" sets 2>/dev/null)
        ;;
    *'|'*) COMPREPLY=($(compgen -W "${kind//|/ }" -- "$current")) ;;
    esac
}
complete -F _qxini qxini
