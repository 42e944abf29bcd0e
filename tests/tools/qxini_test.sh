#!/usr/bin/env bash
# Tests the program qxini as a user meets it. Argument: the program.
. "$(dirname "$0")/checks.sh"
qxini=$program

# --- a file from nothing
gives '' f.ini set Main Port 80
gives '' f.ini set 'Main\Log' 'the "file"' 'C:\log'
gives '' f.ini set main PORT 8080
gives '' f.ini set zß ä '日本'
gives '' f.ini set Main minus -- -1
gives 8080 f.ini get MAIN port
gives -1 f.ini get Main minus
gives $'minus=-1\nPort=8080' f.ini list main
gives $'Main\nMain\\Log\nzß' f.ini sets
gives Log f.ini sets Main
gives '' f.ini sets zß
gives $'[Main]\nminus=-1\nPort=8080\n\n[Main\\Log]\nthe "file"=C:\\log\n\n[zß]\nä=日本' f.ini list
equal "the file" "$(sort f.ini)" "$("$qxini" f.ini list | sort)" # in the order of the commands

# --- JSON
gives '[
  "Log"
]' f.ini sets Main --json
gives '{
  "the \"file\"": "C:\\log"
}' f.ini list --json 'Main\Log'
gives '[]' f.ini sets --json zß
if command -v python3 >/dev/null; then
    equal "JSON of all" "$("$qxini" f.ini list --json | python3 -c '
import json, sys
file = json.load(sys.stdin)
print(list(file), file["Main\\Log"]["the \"file\""], file["zß"]["ä"])')" \
        "['Main', 'Main\\\\Log', 'zß'] C:\\log 日本"
fi

# --- deleting
gives '' f.ini delete main minus
fails 1 'f.ini: no set main with a key minus' f.ini delete main minus
gives '' f.ini delete-set Main
fails 1 'f.ini: no set Main' f.ini delete-set Main
gives $'[zß]\nä=日本' f.ini list
fails 1 'f.ini: no set Main' f.ini list Main

# --- what is not done
fails 1 'f.ini: the key is there already (without --keep it is replaced)' f.ini set zß Ä x --keep
fails 1 'f.ini: no set none with a key k' f.ini get none k
fails 1 'f.ini: a text may not hold a line feed, and a key neither hold "=" nor begin with "[", "#", ":" or ";" nor begin or end with a blank' f.ini set a b=c d
fails 1 'none.ini: no such file, or it cannot be read' none.ini list
fails 1 'no/f.ini: not found' no/f.ini set a k v
equal "the disk is full" "$("$qxini" f.ini list 2>&1 >/dev/full; echo $?)" \
    $'qxini: standard output: No space left on device\n1'

# --- the lines of others
long=$(printf 'x%.0s' {1..3000})
gives '' f.ini set a k "$long"
gives "$long" f.ini get a k
printf '[Service]\nEnvironment=A\nEnvironment=B\n# why\nExecStart=x \\\n  -y\n' >unit.ini
fails 1 'unit.ini: nothing was changed: line 3: the key stands in line 2 already' \
    unit.ini set Service Environment C
gives '' unit.ini set Service ExecStart z
gives '' unit.ini set Service Restart always
equal "a unit" "$(<unit.ini)" \
    $'[Service]\nEnvironment=A\nEnvironment=B\n# why\nExecStart=z\nRestart=always'

# --- many at once, by one semaphore
for i in $(seq 20); do
    "$qxini" --semaphore "qxini-test-$$" shared.ini set s "k$i" "$i" &
done
wait
equal "keys of many writers" "$("$qxini" shared.ini list s | wc -l)" 20

# --- usage
usage='(qxini --help tells more)'
fails 2 "no file $usage"
fails 2 "no command $usage" f.ini
fails 2 "unknown command fetch $usage" f.ini fetch
fails 2 "wrong number of arguments for get $usage" f.ini get a
fails 2 "wrong number of arguments for sets $usage" f.ini sets a b
fails 2 "--json does not go with get $usage" f.ini get a b --json
fails 2 "--keep does not go with list $usage" f.ini list --keep
equal "unknown option" "$("$qxini" f.ini list --jsn >/dev/null 2>&1; echo $?)" 2
equal "help names every option" "$("$qxini" --help | grep -cE '^ +-*(json|keep|semaphore|h, --help|version)\b')" 5
equal "status of help" "$("$qxini" --help >/dev/null; echo $?)" 0

finish
