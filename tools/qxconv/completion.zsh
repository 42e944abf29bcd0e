#compdef qxconv
# Made by: tools/gen/completions.py zsh qxconv
# Completion of the arguments of qxconv in zsh.

local program=$words[1] curcontext=$curcontext state line
_arguments -S \
    '-f+[encoding of the input]:encoding:{ compadd -- ${(f)"$(_call_program encodings $program -l | cut -d " " -f 1)"} }' \
    '-t+[encoding of the output]:encoding:{ compadd -- ${(f)"$(_call_program encodings $program -l | cut -d " " -f 1)"} }' \
    '-o+[write this file]:file:_files' \
    '-d+[write a file for each into this folder]:folder:_files -/' \
    '--in-place[write each file anew]' \
    '--errors=[what to do with text that cannot be converted]:value:(strict replace ignore escape)' \
    '-c[leave out what cannot be converted]' \
    '--line-ends=[make all ends of lines the same]:value:(lf crlf cr)' \
    '-l[list the encodings]' \
    '--strict[stop at the first text that cannot be converted]' \
    '--substitute=[what stands for text that cannot be converted]:text:' \
    '(- *)'{-h,--help}'[show a summary]' \
    '(- *)--version[show the version]' \
    '*:file:_files'
