#compdef qxcalc
# Made by: tools/gen/completions.py zsh qxcalc
# Completion of the arguments of qxcalc in zsh.

local program=$words[1] curcontext=$curcontext state line
_arguments -S \
    '-s+[digits behind the point of quotients and roots]:scale:' \
    '-i+[radix of the numbers that are read]:value:(2 8 10 16 36)' \
    '-o+[radix of the results]:value:(2 8 10 16 36)' \
    '(- *)'{-h,--help}'[show a summary]' \
    '(- *)--version[show the version]' \
    '*:expression:'
