# Made by: tools/gen/completions.py bash qxbundle
# Completion of the arguments of qxbundle in bash.

_qxbundle() {
    local current=${COMP_WORDS[COMP_CWORD]} kind= name i words=()
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --output | --module) kind=file ;;
    --locale) kind=locale ;;
    --registry) kind=folder ;;
    esac
    if [[ -z $kind && $current == -* ]]; then
        COMPREPLY=($(compgen -W "--output --module --locale --registry -h --help --version" -- "$current"))
        return
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do # what stands before, without options and their values
        case ${COMP_WORDS[i]} in
        --output | --module | --locale | --registry) ((++i)) ;;
        -?*) ;;
        *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
    [[ -n $kind ]] || case ${#words[@]}:${words[0]-} in
    0:*) kind='check|compile|install|uninstall|list|get' ;;
    [1-9]*:check | [1-9]*:compile | [1-9]*:install) kind=messages ;;
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
    messages)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -d -- "$current"; compgen -f -X '!*.messages' -- "$current")
        ;;
    *'|'*) COMPREPLY=($(compgen -W "${kind//|/ }" -- "$current")) ;;
    esac
}
complete -F _qxbundle qxbundle
