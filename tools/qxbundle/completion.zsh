#compdef qxbundle
# Made by: tools/gen/completions.py zsh qxbundle
# Completion of the arguments of qxbundle in zsh.

local program=$words[1] curcontext=$curcontext state line
_arguments -S \
    '--output=[compile: the source, else standard output]:file:_files' \
    '--module=[install: qxmessages.so, else the one that came with the program]:file:_files' \
    '--locale=[get: language, language_COUNTRY, with @variant]:locale:' \
    '--registry=[use the registry in this folder]:folder:_files -/' \
    '(- *)'{-h,--help}'[show a summary]' \
    '(- *)--version[show the version]' \
    '1:command:->command' \
    '2:parameter:->1' \
    '*:parameter:->rest' && return
if [[ $state == command ]]; then
    local -a commands=(
        'check:print what is wrong with message files'
        'compile:write the source of a module with the messages in it'
        'install:enter message files into the registry'
        'uninstall:take all files of a base out of it'
        'list:print the bundles of the registry'
        'get:print the message that programs get'
    )
    _describe command commands
    return
fi
case $state:$line[1] in
(1|rest):(check|compile|install)) _files -g "*.messages" ;;
*) return 1 ;;
esac
