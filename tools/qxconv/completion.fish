# Made by: tools/gen/completions.py fish qxconv
# Completion of the arguments of qxconv in fish.

# What stands before, without options and their values.
function __qxconv_words
    set -l skips no
    for word in (commandline -opc)[2..]
        if test $skips = yes
            set skips no
        else if contains -- $word -f -t -o -d --errors --line-ends --substitute
            set skips yes
        else if not string match -qr '^-.' -- $word
            printf '%s\n' $word
        end
    end
end
# Whether as many words stand before, COMPARISON NUMBER, for one of the commands.
function __qxconv_at
    set -l words (__qxconv_words)
    test (count $words) $argv[1] $argv[2]
    and begin; not set -q argv[3]; or contains -- "$words[2]" $argv[3..]; end
end
function __qxconv_encodings
    set -l program (commandline -opc)[1]
    $program -l 2>/dev/null | string match -r '^[^ ]+'
end
complete -c qxconv -f
complete -c qxconv -s f -x -a '(__qxconv_encodings)' -d 'encoding of the input'
complete -c qxconv -s t -x -a '(__qxconv_encodings)' -d 'encoding of the output'
complete -c qxconv -s o -r -F -d 'write this file'
complete -c qxconv -s d -x -a '(__fish_complete_directories)' -d 'write a file for each into this folder'
complete -c qxconv -l in-place -d 'write each file anew'
complete -c qxconv -l errors -x -a 'strict replace ignore escape' -d 'what to do with text that cannot be converted'
complete -c qxconv -s c -d 'leave out what cannot be converted'
complete -c qxconv -l line-ends -x -a 'lf crlf cr' -d 'make all ends of lines the same'
complete -c qxconv -s l -d 'list the encodings'
complete -c qxconv -l strict -d 'stop at the first text that cannot be converted'
complete -c qxconv -l substitute -x -d 'what stands for text that cannot be converted'
complete -c qxconv -s h -l help -d 'show a summary'
complete -c qxconv -l version -d 'show the version'
complete -c qxconv -n '__qxconv_at -ge 0' -F
