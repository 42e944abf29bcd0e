# Made by: tools/gen/completions.py bash qxreg
# Completion of the arguments of qxreg in bash.

_qxreg() {
    local current=${COMP_WORDS[COMP_CWORD]} kind= name i words=()
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --type) kind='string|uint32|uint64|bytes' ;;
    --interval | --count) kind=number ;;
    --registry) kind=folder ;;
    esac
    if [[ -z $kind && $current == -* ]]; then
        COMPREPLY=($(compgen -W "--recursive --json --type --interval --count --registry -h --help --version" -- "$current"))
        return
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do # what stands before, without options and their values
        case ${COMP_WORDS[i]} in
        --type | --interval | --count | --registry) ((++i)) ;;
        -?*) ;;
        *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
    [[ -n $kind ]] || case ${#words[@]}:${words[0]-} in
    0:*) kind='query|add|delete|export|import|watch|register|unregister|list' ;;
    1:query | 1:add | 1:delete | 1:export | 1:watch) kind=registry-key ;;
    2:export) kind=file ;;
    1:import | 1:register | 1:unregister) kind=file ;;
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
    registry-key)
        # a path goes on behind the root
        compopt -o nospace 2>/dev/null
        COMPREPLY=($(compgen -W "$(echo QX_HKEY_{USER,{CLASSES,CONFIG}{,_32,_64,_CROSS}})" -- "$current"))
        ;;
    *'|'*) COMPREPLY=($(compgen -W "${kind//|/ }" -- "$current")) ;;
    esac
}
complete -F _qxreg qxreg
