# Completion of the arguments of qxini in bash.

_qxini() {
    local current=${COMP_WORDS[COMP_CWORD]} i words=() file set
    COMPREPLY=()
    [[ ${COMP_WORDS[COMP_CWORD - 1]} != --semaphore ]] || return
    for ((i = 1; i < COMP_CWORD; ++i)); do # what stands before, without options and their values
        case ${COMP_WORDS[i]} in
        --semaphore) ((++i)) ;;
        --*) ;;
        *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
    if [[ $current == -* ]]; then
        COMPREPLY=($(compgen -W "--json --keep --semaphore -h --help --version" -- "$current"))
        return
    fi
    file=${words[0]-}
    file=${file/#\~/$HOME}
    case ${#words[@]} in
    0)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        ;;
    1) COMPREPLY=($(compgen -W "get set delete delete-set list sets" -- "$current")) ;;
    2) # the names of the sets, quoted for the shell
        while IFS= read -r set; do
            set=$(printf %q "$set")
            [[ $set != "$current"* ]] || COMPREPLY+=("$set")
        done < <("${COMP_WORDS[0]}" "$file" sets 2>/dev/null)
        ;;
    esac
}
complete -F _qxini qxini
