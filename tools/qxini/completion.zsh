#compdef qxini
# Made by: tools/gen/completions.py zsh qxini
# Completion of the arguments of qxini in zsh.

local program=$words[1] curcontext=$curcontext state line
_arguments -S \
    '--json[list, sets: print JSON]' \
    '--keep[set: fail when the key is there]' \
    '--semaphore=[name by which the processes that share the file take turns]:name:' \
    '(- *)'{-h,--help}'[show a summary]' \
    '(- *)--version[show the version]' \
    '1:file:_files' \
    '2:command:->command' \
    '3:parameter:->2' \
    '*:parameter:->rest' && return
if [[ $state == command ]]; then
    local -a commands=(
        'get:print a value'
        'set:set a value'
        'delete:delete a key'
        'delete-set:delete a set and its subsets'
        'list:print keys with their values'
        'sets:print the names of the sets'
    )
    _describe command commands
    return
fi
case $state:$line[2] in
2:(get|set|delete|delete-set|list|sets)) compadd -- ${(f)"$(_call_program sets $program $line[1] sets)"} ;;
*) return 1 ;;
esac
