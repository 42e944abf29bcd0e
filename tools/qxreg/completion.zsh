#compdef qxreg
# Made by: tools/gen/completions.py zsh qxreg
# Completion of the arguments of qxreg in zsh.

local program=$words[1] curcontext=$curcontext state line
_arguments -S \
    '--recursive[query: also all keys below]' \
    '--json[query, watch, list: print JSON]' \
    '--type=[add: what the value is]:value:(string uint32 uint64 bytes)' \
    '--interval=[watch: milliseconds between two looks]:number:' \
    '--count=[watch: end after so many changes, 0 never]:number:' \
    '--registry=[use the registry in this folder]:folder:_files -/' \
    '(- *)'{-h,--help}'[show a summary]' \
    '(- *)--version[show the version]' \
    '1:command:->command' \
    '2:parameter:->1' \
    '3:parameter:->2' \
    '*:parameter:->rest' && return
if [[ $state == command ]]; then
    local -a commands=(
        'query:print a value, or all values and subkeys of a key'
        'add:set a value, or make a key'
        'delete:delete a value, or a key with all below it'
        'export:write a key with all below it as text'
        'import:read such a text'
        'watch:print what changes below a key'
        'register:enter the classes of a component module'
        'unregister:take them out again'
        'list:print the registered classes'
    )
    _describe command commands
    return
fi
case $state:$line[1] in
1:(query|add|delete|export|watch)) compadd -S "" -- QX_HKEY_{USER,{CLASSES,CONFIG}{,_32,_64,_CROSS}} ;;
2:(export)) _files ;;
1:(import|register|unregister)) _files ;;
*) return 1 ;;
esac
