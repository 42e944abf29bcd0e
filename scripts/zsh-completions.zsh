# Prints what zsh would offer for the last word, one a line: zsh -f zsh-completions.zsh FILE WORD...
# FILE is the completion of the program that the first word is. Only the line editor completes, so the
# words are typed into a terminal, in which what is added for the list is printed.
zmodload zsh/zpty
zpty shell zsh -f -i
zpty -w shell "stty -echo; PROMPT= PS2= RPROMPT="
zpty -w shell "autoload -Uz compinit && compinit -D -u
compadd() {
    if [[ \${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then builtin compadd \"\$@\"; return; fi
    local -a added
    builtin compadd -O added \"\$@\"
    (( ! \$#added )) || printf 'offered %s\\n' \$added
    builtin compadd \"\$@\"
}
answer() { _main_complete; echo 'all is offered'; exit }
zle -C answer list-choices answer
bindkey '^I' answer
fpath=(${(q)1:h} \$fpath)
functions[_program]=\$(<${(q)1})
compdef _program ${(q)2:t}
echo 'keys are'' read'"
zpty -r shell read_before '*keys are read*'
zpty -w -n shell "${(j: :)@[2,-1]}"$'\t'
zpty -r shell answer '*all is offered*'
print -r -- ${answer//$'\r'/} | sed -n 's/^.*offered \(.*\)/\1/p' | grep -vx 'all is offered'
