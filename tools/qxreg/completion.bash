# Completion of the arguments of qxreg in bash.

_qxreg() {
    local current=${COMP_WORDS[COMP_CWORD]} i words=() roots
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --type)
        COMPREPLY=($(compgen -W "string uint32 uint64 bytes" -- "$current"))
        return
        ;;
    --registry)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        return
        ;;
    --count | --interval) return ;;
    esac
    if [[ $current == -* ]]; then
        COMPREPLY=($(compgen -W \
            "--recursive --json --type --count --interval --registry -h --help --version" -- "$current"))
        return
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do # what stands before, without options and their values
        case ${COMP_WORDS[i]} in
        --type | --registry | --count | --interval) ((++i)) ;;
        --*) ;;
        *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
    case ${#words[@]}:${words[0]-} in
    0:)
        COMPREPLY=($(compgen -W \
            "query add delete export import watch register unregister list" -- "$current"))
        ;;
    1:list) ;;
    1:import | 1:register | 1:unregister | 2:export)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        ;;
    1:*) # a path goes on behind the root
        compopt -o nospace 2>/dev/null
        roots=$(printf 'QX_HKEY_%s\n' {USER,CLASSES,CONFIG}{,_32,_64,_CROSS})
        COMPREPLY=($(compgen -W "$roots" -- "$current"))
        ;;
    esac
}
complete -F _qxreg qxreg
