# Completion of the arguments of qxbundle in bash.

_qxbundle() {
    local current=${COMP_WORDS[COMP_CWORD]} i words=()
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --registry)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        return
        ;;
    --output | --module)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    --locale) return ;;
    esac
    if [[ $current == -* ]]; then
        COMPREPLY=($(compgen -W "--output --module --locale --registry -h --help --version" -- "$current"))
        return
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do # what stands before, without options and their values
        case ${COMP_WORDS[i]} in
        --output | --module | --locale | --registry) ((++i)) ;;
        --*) ;;
        *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
    case ${#words[@]}:${words[0]-} in
    0:) COMPREPLY=($(compgen -W "check compile install uninstall list get" -- "$current")) ;;
    *:check | *:compile | *:install)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -d -- "$current"; compgen -f -X '!*.messages' -- "$current")
        ;;
    esac
}
complete -F _qxbundle qxbundle
