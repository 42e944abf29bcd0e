#!/usr/bin/env bash
# Tests the program qxreg as a user meets it. Arguments: the program and the folder of the test data.
# QX_TEST_MODULES names the folder of component modules for tests.
data=$(realpath "$2") # before checks.sh changes the folder
. "$(dirname "$0")/checks.sh"
qxreg=$program
export XDG_DATA_HOME=$folder/data

key='QX_HKEY_USER\Software\Maker'

# --- values of every type, by their names in any case
gives '' add "$key" Name 'a "quoted" text'
gives 'a "quoted" text' query "${key,,}" NAME
gives '' add "$key" n32 0xFFFFFFFF --type uint32
gives 4294967295 query "$key" n32
gives '' add "$key" n64 --type=uint64 18446744073709551615
gives 18446744073709551615 query "$key" n64
gives '' add "$key" raw 00fFa0 --type bytes
gives 00ffa0 query "$key" raw
gives '{"type": "bytes", "value": "00ffa0"}' query "$key" raw --json
gives '' add qx_hkey_user/Software/Maker '' -- --default
gives --default query "$key" ''
gives '' add "$key/Sub/Deep"
gives "$key
  \"\"=string:\"--default\"
  \"n32\"=uint32:4294967295
  \"n64\"=uint64:18446744073709551615
  \"Name\"=string:\"a \\\"quoted\\\" text\"
  \"raw\"=bytes:00ffa0
$key\\Sub" query "$key"
gives "$key\\Sub
$key\\Sub\\Deep" query "$key\\Sub" --recursive
equal "folder of the user" "$(ls "$XDG_DATA_HOME/qx/registry")" user.qxreg
XDG_DATA_HOME=relative HOME=$folder/house "$qxreg" add "$key" Name text
equal "folder at home" "$(ls house/.local/share/qx/registry)" user.qxreg

if command -v python3 >/dev/null; then
    equal "JSON" "$("$qxreg" query QX_HKEY_USER --recursive --json | python3 -c '
import json, sys
keys = json.load(sys.stdin)
print(len(keys), keys[2]["key"], len(keys[2]["values"]), keys[2]["values"][2]["value"])')" \
        "5 $key 5 18446744073709551615"
fi

# --- export and import carry everything
"$qxreg" add "$key" $'odd\t\x01"\\' $'line\nbreak é 😀'
"$qxreg" export QX_HKEY_USER all || equal "export" $? 0
sed -i 's/raw/raw\\ud800/' all
gives '' --registry copy import all
gives "$(cat all)" --registry copy export QX_HKEY_USER
gives '' import --registry second - <all
gives '00ffa0' query "$key" raw # the other registries are others

# --- files have one order of bytes, whatever that of the machine is
mkdir pinned
cp "$data/registry/user.qxreg" pinned
gives "$(cat "$data/registry/user.txt")" --registry pinned export QX_HKEY_USER
gives '' --registry pinned add "$key" N32 7 --type uint32
equal "what lies in a file" "$(cmp -n 576 "$data/registry/user.qxreg" pinned/user.qxreg 2>&1)" ''
gives 7 --registry pinned query "$key" n32

# --- an import is made in whole or not at all
sed '$ s/$/junk/' all >bad
fails 1 "line $(wc -l <bad): expected a key in quotes" --registry third import bad
equal "nothing was imported" "$(ls third 2>&1 | wc -l)" 1
printf 'qxreg 1\nkey "QX_HKEY_USER"\n"n"=uint32:x\n' >bad
fails 1 'line 3: expected string:, uint32:, uint64: or bytes: and a value' import bad
printf 'qxreg 1\n"n"=uint32:1\n' >bad
fails 1 'line 2: a value before the first key' import bad
printf 'qxreg 1\nkey "QX_HKEY_NONE\\\\A"\n' >bad
fails 1 'line 2: Unknown QX_HKEY' import bad
printf 'qxreg 1\nkey "QX_HKEY_USER/A\\\\B"\n' >bad
fails 1 'line 2: expected "\\" behind the root of a key' import bad
for text in '' 'text\n'; do
    printf "$text" >bad
    fails 1 'line 1: not written by qxreg export' import bad
done
printf 'qxreg 1\nkey "QX_HKEY_USER\\\\\xff"\n' >bad
fails 1 'the text is not UTF-8' import bad

# --- watch
fails 2 'option --count takes 1 value, not 0 (qxreg --help tells more)' watch "$key" --count --json
mkfifo feed
"$qxreg" watch "$key" --count 3 --interval 10 >feed &
exec 3<feed
read -r line <&3
equal "watch begins" "$line" "watching $key"
"$qxreg" add QX_HKEY_USER/Elsewhere n 1
"$qxreg" add "$key" n32 1 --type uint32
read -r line <&3
equal "watch a value" "$line" "set $key \"n32\"=uint32:1"
"$qxreg" delete "$key\\Sub"
read -r line <&3
equal "watch a key" "$line" "deleted $key\\Sub"
wait $!
equal "status of watch" $? 0
exec 3<&-

# --- component modules
if [ -n "${QX_TEST_MODULES-}" ]; then
    thing='{7468696E-6701-4000-8000-000000000001}'
    umask 022 # a module that others may change is refused
    cp "$QX_TEST_MODULES"/{things,without_note,of_next_version}.so .
    gives '' list
    gives '' register things.so
    gives "\"Test.Thing.1\" $thing \"A thing\" \"$PWD/things.so\"
\"Test.Other.1\" ${thing/1\}/2\}} \"\" \"$PWD/things.so\"" list
    gives '' unregister ./things.so
    fails 1 "$PWD/things.so: is not registered (qxreg list shows what is)" unregister things.so
    gives '' list
    mkdir newer
    cp things.so newer
    gives '' register things.so
    gives '' register newer/things.so
    fails 1 "$PWD/things.so: is not registered (qxreg list shows what is)" unregister things.so
    gives '' unregister newer/things.so
    fails 1 "$PWD/without_note.so: is no component module" register without_note.so
    fails 1 "$PWD/of_next_version.so: was built for another version of the library (build it again)" \
        register of_next_version.so
    fails 1 "$PWD/all: is no library" register all
    chmod go+w things.so
    fails 1 "$PWD/things.so: access denied, or others may change the file or a folder above it" \
        register things.so
    chmod go-w things.so
    gives '' register things.so
    rm things.so
    "$qxreg" list | grep -c ' missing$' >counted
    equal "modules that are gone" "$(cat counted)" 2
    equal "the same in JSON" "$("$qxreg" list --json | grep -c '"missing": true')" 2
    gives '' unregister things.so
    gives '[]' list --json
    fails 1 'QX_HKEY_CLASSES_64\Test.Thing: does not exist' query QX_HKEY_CLASSES/Test.Thing
    fails 1 "$PWD/things.so: does not exist" unregister things.so
fi

# --- deleting
gives '' delete "$key" NAME
fails 1 "$key \"Name\": does not exist" query "$key" Name
fails 1 "$key \"Name\": does not exist" delete "$key" Name
gives '' delete QX_HKEY_USER/Software
fails 1 'QX_HKEY_USER\Software: does not exist' query 'QX_HKEY_USER\Software'
fails 1 'QX_HKEY_USER: is a root, which cannot be deleted' delete QX_HKEY_USER

# --- damage and usage
printf 'x' | dd of="$XDG_DATA_HOME/qx/registry/user.qxreg" bs=1 conv=notrunc status=none
fails 1 'QX_HKEY_USER: the file of the registry is damaged' query QX_HKEY_USER
more='(qxreg --help tells more)'
fails 2 "no command $more"
fails 2 "unknown command show $more" show
fails 2 "no key: KEY; one begins with a root such as QX_HKEY_USER $more" query KEY
fails 2 "wrong number of arguments for add $more" add "$key" name
fails 2 "wrong number of arguments for watch $more" watch "$key" name
fails 2 "unknown type text; it is string, uint32, uint64 or bytes $more" add "$key" n v --type text
fails 2 '4294967296 is no value of type uint32' add "$key" n 4294967296 --type uint32
fails 2 '0af is no value of type bytes' add "$key" n 0af --type bytes
fails 2 "unknown option --all $more" query "$key" --all
fails 2 "--recursive does not go with list $more" list --json --recursive
equal "help" "$("$qxreg" --help | head -n 1)" 'usage: qxreg query KEY [NAME] [--recursive] [--json]'

finish
