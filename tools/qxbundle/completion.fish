# Made by: tools/gen/completions.py fish qxbundle
# Completion of the arguments of qxbundle in fish.

# What stands before, without options and their values.
function __qxbundle_words
    set -l skips no
    for word in (commandline -opc)[2..]
        if test $skips = yes
            set skips no
        else if contains -- $word --output --module --locale --registry
            set skips yes
        else if not string match -qr '^-.' -- $word
            printf '%s\n' $word
        end
    end
end
# Whether as many words stand before, COMPARISON NUMBER, for one of the commands.
function __qxbundle_at
    set -l words (__qxbundle_words)
    test (count $words) $argv[1] $argv[2]
    and begin; not set -q argv[3]; or contains -- "$words[1]" $argv[3..]; end
end
complete -c qxbundle -f
complete -c qxbundle -l output -r -F -d 'compile: the source, else standard output'
complete -c qxbundle -l module -r -F -d 'install: qxmessages.so, else the one that came with the program'
complete -c qxbundle -l locale -x -d 'get: language, language_COUNTRY, with @variant'
complete -c qxbundle -l registry -x -a '(__fish_complete_directories)' -d 'use the registry in this folder'
complete -c qxbundle -s h -l help -d 'show a summary'
complete -c qxbundle -l version -d 'show the version'
complete -c qxbundle -n '__qxbundle_at -eq 0' -a check -d 'print what is wrong with message files'
complete -c qxbundle -n '__qxbundle_at -eq 0' -a compile -d 'write the source of a module with the messages in it'
complete -c qxbundle -n '__qxbundle_at -eq 0' -a install -d 'enter message files into the registry'
complete -c qxbundle -n '__qxbundle_at -eq 0' -a uninstall -d 'take all files of a base out of it'
complete -c qxbundle -n '__qxbundle_at -eq 0' -a list -d 'print the bundles of the registry'
complete -c qxbundle -n '__qxbundle_at -eq 0' -a get -d 'print the message that programs get'
complete -c qxbundle -n '__qxbundle_at -ge 1 check compile install' -a '(__fish_complete_path (commandline -ct) | string match -r "^.*(?:/|\.messages)(?=\t)")'
