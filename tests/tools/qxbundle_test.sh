#!/usr/bin/env bash
# Tests the program qxbundle, the module qxmessages.so and compiled messages as a user meets them.
# Arguments: the program, the folder of the test data.
data=$(realpath "$2")/messages
. "$(dirname "$0")/checks.sh"
# Copies: modules are loaded from where nobody else may write, as a build tree need not be.
built=$(realpath "$(dirname "$program")/..")
mkdir "$folder"/{tools,modules}
install "$built"/tools/{qxbundle,qxreg} "$folder/tools"
install -m 700 "$built/modules/qxmessages.so" "$folder/modules"
install -m 700 "$built/tests/qx_test_bundles.so" "$folder"
program=$folder/tools/qxbundle
qxbundle=$program
qxreg=$folder/tools/qxreg
module=$folder/modules/qxmessages.so
export XDG_DATA_HOME=$folder/home

# finds EXPECTED FILES...: what check prints when it finds something
finds() {
    local expected=$1
    shift
    equal "check of $*" "$("$qxbundle" check "$@" 2>&1; echo "status $?")" "$expected
status 1"
}

# --- check
gives '' check "$data"
mkdir bad
printf 'a = {0} {1}\nb = {0} {2}\nc = 1\nd = {0}\n' >bad/M.de.messages
printf 'a = {1} {0} {0}\nb = {0}\nc =\nd = {0} {1} {2}\ne = 1\n' >bad/M.en_US.messages
printf 'c = \ne = 2' >bad/M.de_AT.messages
printf 'only = here' >bad/Other.fr.messages
finds 'bad/M.de.messages:2: {2} of b is never replaced, for there is no {1}
bad/M.de.messages: no text for e, which bad/M.de_AT.messages has
bad/M.en_US.messages:4: d has {0} to {2}, but {0} in bad/M.de.messages:4
bad/M.en_US.messages: no text for c, which bad/M.de.messages has' bad
printf 'x\ny = \\q\n' >bad/M.de.messages
printf '\xff = 1' >bad/Other.fr.messages
printf 'a = {1}' >bad/Whole.fr.messages
finds 'bad/M.de.messages:1: no "="
bad/M.de.messages:2: the unknown escape \q
bad/Other.fr.messages:1: not UTF-8
bad/Whole.fr.messages:1: {1} of a is never replaced, for there is no {0}' bad

for file in M.messages .de.messages M.de M._DE.messages 'M\x.de.messages' M.de_.messages; do
    echo 'a = 1' >"$file"
    fails 1 "$file: not called BASE.LOCALE.messages" check "$file"
done
fails 1 'none: not found' check none
mkdir empty
fails 1 'empty: no message files in it' install empty
cp bad/M.en_US.messages m.EN_us.messages
fails 1 'bad/M.en_US.messages and m.EN_us.messages: two files of one bundle' \
    check m.EN_us.messages bad/M.en_US.messages

# --- install: what programs get
none='no bundle Greeter (qxbundle list shows which there are)'
fails 1 "$none" get Greeter hello
cp -r "$data" msgs
gives '' install msgs
gives "Greeter de $PWD/msgs/Greeter.de.messages
Greeter de_CH $PWD/msgs/Greeter.de_CH.messages
Greeter en_US $PWD/msgs/Greeter.en_US.messages
Nothing en_US $PWD/msgs/Nothing.en_US.messages" list
gives "Nothing en_US $PWD/msgs/Nothing.en_US.messages" list nothing

# serves: the same from files and from a module
serves() {
    gives 'Grüezi, {0}!' get Greeter hello --locale de_CH@variant
    gives '„Anführung“ "\n" ??/ A
😀' get Greeter quote --locale de_CH # what the general file has
    gives 'Guten Tag, {0}!' get GREETER hello --locale de_AT
    gives 'Good day, {0}!' get Greeter hello --locale fr_CA
    gives 'Good day, {0}!' get Greeter hello
    fails 1 'no text for none in Greeter, de' get Greeter none --locale de
    fails 1 'no text for hello in Nothing, en_US' get Nothing hello
}
serves
class=$("$qxreg" query 'QX_HKEY_CLASSES\Orbelle.Greeter.StringBundle.de\CLSID' '')
equal "module of the class" \
    "$("$qxreg" query "QX_HKEY_CLASSES\\CLSID\\$class\\InprocServer32" '')" "$module"

# --- files that change, break and go while they are registered
echo 'hello = Tag!' >aside && mv aside msgs/Greeter.de.messages
gives 'Tag!' get Greeter hello --locale de
echo 'hello Tag!' >msgs/Greeter.de.messages
gives 'Good day, {0}!' get Greeter hello --locale de
gives 'Grüezi, {0}!' get Greeter hello --locale de_CH # needs nothing of the bad one
fails 1 'no text for quote in Greeter, de_CH' get Greeter quote --locale de_CH
rm msgs/Greeter.de_CH.messages msgs/Greeter.de.messages
gives 'Good day, {0}!' get Greeter hello --locale de_CH
rm msgs/Greeter.en_US.messages
fails 1 "$none" get Greeter hello --locale de_CH

# --- all or none, and again
gives '' uninstall greeter
fails 1 'no message files of Greeter' uninstall Greeter
printf 'a = 1\n' >msgs/Greeter.de.messages
printf 'a = 1\na = 2\n' >msgs/Greeter.fr.messages
fails 1 'msgs/Greeter.fr.messages:2: the key a was there in line 1' install msgs
fails 1 "$none" list Greeter
gives '' install "$data" --module "$module"
gives '' install "$data/Greeter.de.messages" "$data"
serves
gives '' uninstall Greeter
gives '' uninstall Nothing
equal "left in the registry" "$("$qxreg" query QX_HKEY_CLASSES --recursive | grep -v CLSID)" \
    QX_HKEY_CLASSES_64
fails 1 "$PWD/none.so: not found" install "$data" --module none.so
fails 1 "$PWD/m.EN_us.messages: is no library" install "$data" --module m.EN_us.messages
equal "register the module for files" "$("$qxreg" register "$module" >/dev/null 2>&1; echo $?)" 1

# --- compile
gives '' compile "$data" --output a.cpp
gives '' compile "$data" --output=a,b.cpp
(echo first && "$qxbundle" compile "$data" --output /dev/stdout) >a,c.cpp
equal "behind what is there" "$(cat a,c.cpp)" "first
$(cat a,b.cpp)"
equal "compile to standard output" "$("$qxbundle" compile "$data"/*.messages)" "$(cat a.cpp)"
fails 1 'bad/M.de.messages:1: no "="' compile bad
compiled=$folder/qx_test_bundles.so
"$qxreg" register "$compiled"
equal "register what was compiled" $? 0
serves
gives "Greeter de $compiled
Greeter de_CH $compiled
Greeter en_US $compiled" list Greeter
fails 1 "Orbelle.Greeter.StringBundle.de: is in the module $compiled" install "$data"
fails 1 'no message files of Greeter' uninstall Greeter
"$qxreg" unregister "$compiled"
fails 1 "$none" get Greeter hello

# --- another registry, usage
gives '' install "$data" --registry elsewhere
gives 'Guten Tag, {0}!' get Greeter hello --locale de --registry elsewhere
fails 1 "$none" get Greeter hello --locale de
more='(qxbundle --help tells more)'
fails 2 "no command $more"
fails 2 "unknown command show $more" show
fails 2 "wrong number of arguments for check $more" check
fails 2 "wrong number of arguments for get $more" get Greeter
fails 2 "--locale does not go with list $more" list --locale de
fails 2 "unknown option --all $more" check --all "$data"
equal "help" "$("$qxbundle" --help | head -n 1)" 'usage: qxbundle check FILE...'

finish
