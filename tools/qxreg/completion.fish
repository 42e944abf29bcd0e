# Made by: tools/gen/completions.py fish qxreg
# Completion of the arguments of qxreg in fish.

# What stands before, without options and their values.
function __qxreg_words
    set -l skips no
    for word in (commandline -opc)[2..]
        if test $skips = yes
            set skips no
        else if contains -- $word --type --interval --count --registry
            set skips yes
        else if not string match -qr '^-.' -- $word
            printf '%s\n' $word
        end
    end
end
# Whether as many words stand before, COMPARISON NUMBER, for one of the commands.
function __qxreg_at
    set -l words (__qxreg_words)
    test (count $words) $argv[1] $argv[2]
    and begin; not set -q argv[3]; or contains -- "$words[1]" $argv[3..]; end
end
complete -c qxreg -f
complete -c qxreg -l recursive -d 'query: also all keys below'
complete -c qxreg -l json -d 'query, watch, list: print JSON'
complete -c qxreg -l type -x -a 'string uint32 uint64 bytes' -d 'add: what the value is'
complete -c qxreg -l interval -x -d 'watch: milliseconds between two looks'
complete -c qxreg -l count -x -d 'watch: end after so many changes, 0 never'
complete -c qxreg -l registry -x -a '(__fish_complete_directories)' -d 'use the registry in this folder'
complete -c qxreg -s h -l help -d 'show a summary'
complete -c qxreg -l version -d 'show the version'
complete -c qxreg -n '__qxreg_at -eq 0' -a query -d 'print a value, or all values and subkeys of a key'
complete -c qxreg -n '__qxreg_at -eq 0' -a add -d 'set a value, or make a key'
complete -c qxreg -n '__qxreg_at -eq 0' -a delete -d 'delete a value, or a key with all below it'
complete -c qxreg -n '__qxreg_at -eq 0' -a export -d 'write a key with all below it as text'
complete -c qxreg -n '__qxreg_at -eq 0' -a import -d 'read such a text'
complete -c qxreg -n '__qxreg_at -eq 0' -a watch -d 'print what changes below a key'
complete -c qxreg -n '__qxreg_at -eq 0' -a register -d 'enter the classes of a component module'
complete -c qxreg -n '__qxreg_at -eq 0' -a unregister -d 'take them out again'
complete -c qxreg -n '__qxreg_at -eq 0' -a list -d 'print the registered classes'
complete -c qxreg -n '__qxreg_at -eq 1 query add delete export watch' -a 'QX_HKEY_{USER,{CLASSES,CONFIG}{,_32,_64,_CROSS}}'
complete -c qxreg -n '__qxreg_at -eq 2 export' -F
complete -c qxreg -n '__qxreg_at -eq 1 import register unregister' -F
