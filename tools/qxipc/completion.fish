# Made by: tools/gen/completions.py fish qxipc
# Completion of the arguments of qxipc in fish.

# What stands before, without options and their values.
function __qxipc_words
    set -l skips no
    for word in (commandline -opc)[2..]
        if test $skips = yes
            set skips no
        else if contains -- $word --interval --count
            set skips yes
        else if not string match -qr '^-.' -- $word
            printf '%s\n' $word
        end
    end
end
# Whether as many words stand before, COMPARISON NUMBER, for one of the commands.
function __qxipc_at
    set -l words (__qxipc_words)
    test (count $words) $argv[1] $argv[2]
    and begin; not set -q argv[3]; or contains -- "$words[1]" $argv[3..]; end
end
function __qxipc_objects
    set -l program (commandline -opc)[1]
    $program list 2>/dev/null | string replace -rf '^[^ ]+ (.*): .*' '$1'
end
complete -c qxipc -f
complete -c qxipc -l json -d 'print JSON, one state a line with watch'
complete -c qxipc -l interval -x -d 'watch: milliseconds between two looks'
complete -c qxipc -l count -x -d 'watch: end after so many states, 0 never'
complete -c qxipc -s h -l help -d 'show a summary'
complete -c qxipc -l version -d 'show the version'
complete -c qxipc -n '__qxipc_at -eq 0' -a list -d 'print all objects, or those of a name'
complete -c qxipc -n '__qxipc_at -eq 0' -a watch -d 'print them again whenever something has changed'
complete -c qxipc -n '__qxipc_at -eq 0' -a clean -d 'remove what nobody uses'
complete -c qxipc -n '__qxipc_at -eq 1 list watch' -a '(__qxipc_objects)'
