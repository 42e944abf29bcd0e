# Made by: tools/gen/completions.py fish qxcalc
# Completion of the arguments of qxcalc in fish.

# What stands before, without options and their values.
function __qxcalc_words
    set -l skips no
    for word in (commandline -opc)[2..]
        if test $skips = yes
            set skips no
        else if contains -- $word -s -i -o
            set skips yes
        else if not string match -qr '^-.' -- $word
            printf '%s\n' $word
        end
    end
end
# Whether as many words stand before, COMPARISON NUMBER, for one of the commands.
function __qxcalc_at
    set -l words (__qxcalc_words)
    test (count $words) $argv[1] $argv[2]
    and begin; not set -q argv[3]; or contains -- "$words[2]" $argv[3..]; end
end
complete -c qxcalc -f
complete -c qxcalc -s s -x -d 'digits behind the point of quotients and roots'
complete -c qxcalc -s i -x -a '2 8 10 16 36' -d 'radix of the numbers that are read'
complete -c qxcalc -s o -x -a '2 8 10 16 36' -d 'radix of the results'
complete -c qxcalc -s h -l help -d 'show a summary'
complete -c qxcalc -l version -d 'show the version'
