# Made by: tools/gen/completions.py fish qxini
# Completion of the arguments of qxini in fish.

# What stands before, without options and their values.
function __qxini_words
    set -l skips no
    for word in (commandline -opc)[2..]
        if test $skips = yes
            set skips no
        else if contains -- $word --semaphore
            set skips yes
        else if not string match -qr '^-.' -- $word
            printf '%s\n' $word
        end
    end
end
# Whether as many words stand before, COMPARISON NUMBER, for one of the commands.
function __qxini_at
    set -l words (__qxini_words)
    test (count $words) $argv[1] $argv[2]
    and begin; not set -q argv[3]; or contains -- "$words[2]" $argv[3..]; end
end
function __qxini_sets
    set -l program (commandline -opc)[1]
    set -l file (__qxini_words)[1]
    $program (string replace -r '^~' $HOME -- $file) sets 2>/dev/null
end
complete -c qxini -f
complete -c qxini -l json -d 'list, sets: print JSON'
complete -c qxini -l keep -d 'set: fail when the key is there'
complete -c qxini -l semaphore -x -d 'name by which the processes that share the file take turns'
complete -c qxini -s h -l help -d 'show a summary'
complete -c qxini -l version -d 'show the version'
complete -c qxini -n '__qxini_at -eq 1' -a get -d 'print a value'
complete -c qxini -n '__qxini_at -eq 1' -a set -d 'set a value'
complete -c qxini -n '__qxini_at -eq 1' -a delete -d 'delete a key'
complete -c qxini -n '__qxini_at -eq 1' -a delete-set -d 'delete a set and its subsets'
complete -c qxini -n '__qxini_at -eq 1' -a list -d 'print keys with their values'
complete -c qxini -n '__qxini_at -eq 1' -a sets -d 'print the names of the sets'
complete -c qxini -n '__qxini_at -eq 0' -F
complete -c qxini -n '__qxini_at -eq 2 get set delete delete-set list sets' -a '(__qxini_sets)'
