#compdef qxipc
# Made by: tools/gen/completions.py zsh qxipc
# Completion of the arguments of qxipc in zsh.

local program=$words[1] curcontext=$curcontext state line
_arguments -S \
    '--json[print JSON, one state a line with watch]' \
    '--interval=[watch: milliseconds between two looks]:number:' \
    '--count=[watch: end after so many states, 0 never]:number:' \
    '(- *)'{-h,--help}'[show a summary]' \
    '(- *)--version[show the version]' \
    '1:command:->command' \
    '2:parameter:->1' \
    '*:parameter:->rest' && return
if [[ $state == command ]]; then
    local -a commands=(
        'list:print all objects, or those of a name'
        'watch:print them again whenever something has changed'
        'clean:remove what nobody uses'
    )
    _describe command commands
    return
fi
case $state:$line[1] in
1:(list|watch)) compadd -- ${(f)"$(_call_program objects $program list | sed -n "s/^[^ ][^ ]* \(.*\): .*/\1/p")"} ;;
*) return 1 ;;
esac
