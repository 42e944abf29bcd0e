#!/usr/bin/env bash
# Runs the programs, and the service of the examples, where users have them: in locales of every kind,
# without a home, with one that cannot be written, with closed standard streams. Arguments: qxreg, in
# the folder of the other programs, the folder of the test data, and the service when it is built.
# These are taken before checks.sh changes the folder.
data=$(realpath "$2")
service=${3:+$(realpath "$3")}
. "$(dirname "$0")/checks.sh"
programs=$(dirname "$program")
export XDG_DATA_HOME=$folder/data

# use PROGRAM: what `fails` runs
use() {
    name=$1
    program=$programs/$1
    [ "$name" == Service ] && program=$service
    return 0
}

# prints OUTPUT COMMAND...
prints() {
    local expected=$1 output
    shift
    output=$("$@" 2>&1)
    equal "status of $*" $? 0
    equal "output of $*" "$output" "$expected"
}

# serve ARGUMENTS...: starts the service and ends it as soon as it listens
serve() {
    : >served # what the one before has printed is not read again
    "$service" --addresses 127.0.0.1 --port 0 "$@" >served 2>&1 &
    for _ in $(seq 500); do
        grep -q listening served && break
        sleep 0.02
    done
    kill -TERM $!
    wait $!
}

# The module of codecs beside the library: copies, for the build tree may be one from which no module
# is loaded.
if [ -n "${QX_MODULES-}" ]; then
    mkdir lib modules
    cp "$(ldd "$program" | awk '/libqx/ { print $3 }')" lib
    install -m 755 "$QX_MODULES"/{qxcodecs,qxmessages}.so modules
    export LD_LIBRARY_PATH=$folder/lib
else
    echo "skipped: locales that need the module of codecs"
fi

# --- locales. LOCALE and the bytes of two names in it, which no encoding may confuse
mkdir -p locales
for language in de_DE.ISO-8859-1 de_DE.ISO-8859-15 ja_JP.EUC-JP zh_CN.GBK zh_CN.GB18030 ru_RU.KOI8-R \
    ko_KR.EUC-KR zh_HK.BIG5-HKSCS th_TH.TIS-620 zh_TW.EUC-TW ta_IN.TSCII; do
    localedef -i "${language%.*}" -f "${language#*.}" "locales/$language" >localedef.log 2>&1
done
export LOCPATH=$folder/locales
while read -r locale first second bad; do
    if [[ $bad == - && $locale != *-1 && -z ${QX_MODULES-} ]]; then
        continue
    elif [ ! -e "locales/$locale" ] && [[ $locale == *_* ]]; then
        echo "skipped: the system cannot make the locale $locale"
        continue
    fi
    export LC_ALL=$locale
    first=$(printf "$first") second=$(printf "$second")
    mkdir "$locale"
    cd "$locale" || exit 1
    for each in qxbundle qxcalc qxconv qxini qxipc qxreg ${service:+Service}; do
        use $each
        "$program" --help >help 2>&1
        equal "status of $each --help in $locale" $? 0
        equal "$each --help in $locale" "$(grep -ci "^usage: $each" help)" 1
    done
    prints 2 "$programs/qxcalc" 1+1
    for each in "$first" "$second"; do
        prints '' "$programs/qxreg" --registry reg add "QX_HKEY_USER/$each" "$each" "value $each"
        prints '' "$programs/qxini" "$each.ini" set "$each" key "$each"
        prints '' "$programs/qxbundle" compile "$data/messages" --output "$each.cpp"
        printf x | "$programs/qxconv" -f UTF-8 -o "$each.txt"
        [ -z "$service" ] || { mkdir "$each" && serve --folder "$each"; }
        equal "status of the last in $locale" $? 0
    done
    for each in "$first" "$second"; do
        equal "registry in $locale" "$("$programs/qxreg" --registry reg query "QX_HKEY_USER/$each" "$each" |
            "$programs/qxconv" -f UTF-8)" "value $each"
        equal "INI file in $locale" "$(sed -n 's/^key=//p' "$each.ini")" "$each"
        equal "files in $locale" "$(cat "$each.txt")$(wc -l <"$each.cpp")" "x$(wc -l <"$first.cpp")"
        [ -z "$service" ] || equal "logs in $locale" "$(ls "$each")" $'service-1.xml\nservice.log'
    done
    if [ "$bad" != - ]; then # no text in the locale's encoding
        bad=$(printf "$bad")
        message='"\xFFx" is no text in the default encoding UTF-8'
        use qxreg && fails 1 "$message" --registry reg add QX_HKEY_USER/Bad "$bad" 1
        use qxini && fails 1 "$message" "$bad" set a b c
        use qxbundle && fails 1 "$message" check "$bad"
        use qxcalc && fails 1 "$message" "$bad"
        use qxconv && fails 1 "$message" --substitute "$bad" "$first.txt"
        equal "nothing is made in $locale" "$(ls -d ?x \?* 2>/dev/null)" ""
    fi
    cd ..
done <<'END'
C \xc3\x84 \xc3\x96 \xffx
C.UTF-8 \xc3\x84 \xc3\x96 \xffx
de_DE.ISO-8859-1 \xc4 \xd6 -
de_DE.ISO-8859-15 \xa4 \xbe -
ja_JP.EUC-JP \xc6\xfc \xcb\xdc -
zh_CN.GBK \xd6\xd0 \xce\xc4 -
zh_CN.GB18030 \xd6\xd0 \x81\x30\x84\x36 -
ru_RU.KOI8-R \xc4 \xd6 -
ko_KR.EUC-KR \xc7\xd1 \xb1\xdb -
zh_HK.BIG5-HKSCS \xa4\xa4 \x88\x62 -
th_TH.TIS-620 \xa1 \xa2 -
zh_TW.EUC-TW \xc4\xe3 \x8e\xa2\xa1\xa1 -
ta_IN.TSCII \xc3\x84 \xc3\x96 \xffx
END
export LC_ALL=C.UTF-8

# --- closed standard streams: what is written goes where it should, or fails in words
echo 'A' >text
printf '[s]\nk=v\n' >kept.ini
use qxcalc && prints 2 "$program" 1+1 <&-
use qxini && prints v "$program" kept.ini get s k <&-
use qxconv && prints A "$program" text <&-
use qxbundle && prints '' "$program" check "$data/messages" <&-
prints '' "$programs/qxreg" add QX_HKEY_USER/K n v <&-
equal "qxconv without input" "$("$programs/qxconv" 2>&1 <&-)" "qxconv: standard input: invalid handle"
equal "qxreg without input" "$("$programs/qxreg" import 2>&1 <&-)" "qxreg: standard input: invalid handle"
while read -r each arguments; do
    "$programs/$each" $arguments >&- 2>message
    equal "status of $each without output" $? 1
    equal "$each without output" "$(cat message)" "$each: standard output: invalid handle"
    "$programs/$each" $arguments 2>&- >/dev/null
    equal "status of $each without errors" $? 0
done <<'END'
qxbundle --help
qxcalc 1+1
qxconv text
qxini kept.ini list
qxreg query QX_HKEY_USER/K n
END
# A message must not end up in a file that got the number of the stream.
"$programs/qxini" kept.ini get s missing 2>&-
equal "status without errors" $? 1
"$programs/qxini" kept.ini set s k2 v2 >&- 2>&- <&-
equal "status without streams" $? 0
equal "INI file" "$(cat kept.ini)" $'[s]\nk=v\nk2=v2'
printf 'A\xff' >bad
"$programs/qxconv" --strict -o out bad 2>&-
equal "status of qxconv" "$? $(find . -name out -o -name '.qxconv*')" "1 "
if [ -n "$service" ]; then
    mkdir closed
    serve --folder closed <&- && equal "service without input" "$(ls closed | wc -l)" 2
fi

# --- homes. As a user who is nobody here, when this is the superuser
as_nobody=(env)
if [ "$(id -u)" == 0 ]; then
    as_nobody=(setpriv --reuid=54321 --regid=54321 --clear-groups)
    chmod 755 "$folder"
fi
unset XDG_DATA_HOME
key='QX_HKEY_USER\K'
# fails_at_home MESSAGE PROGRAM ARGUMENTS...
fails_at_home() {
    local message=$1 each=$2
    shift 2
    equal "$each $*" "$(HOME=$folder/home "${as_nobody[@]}" "$programs/$each" "$@" 2>&1; echo $?)" \
        "$each: $message"$'\n1'
}
mkdir home
printf '[s]\nk=v\n' >home/f.ini
chmod 555 home
chmod 444 home/f.ini
# Not by running it: to find it, setpriv still has the rights of the superuser.
if ! "${as_nobody[@]}" test -x "$programs/qxreg" -a -d "$data/messages"; then
    echo "skipped: nobody else can reach the programs where they are built, or the test data"
else
    registry=$folder/home/.local/share/qx/registry
    fails_at_home "$key: access denied, or others may write the registry in $registry" \
        qxreg add "$key" n v
    fails_at_home "$key: does not exist" qxreg query "$key"
    [ -z "${QX_MODULES-}" ] ||
        fails_at_home "registry: access denied, or others may write the registry in $registry" \
            qxbundle install "$data/messages" --module "$folder/modules/qxmessages.so"
    fails_at_home "home/f.ini: Permission denied" qxini home/f.ini set s k w
    fails_at_home "home/out: Permission denied" qxconv -o home/out text
    fails_at_home "home/out: Permission denied" qxbundle compile "$data/messages" --output home/out
    equal "INI file at home" "$(cat home/f.ini)" $'[s]\nk=v'
    [ -z "$service" ] || equal "service at home" "$(HOME=$folder/home "${as_nobody[@]}" timeout 20 "$service" --port 0 \
        --folder home 2>&1 >/dev/null)" 'Service: Permission denied: home/service.log (0x80070005)'
    if [ "$(id -u)" == 0 ]; then
        for each in "add $key n v" "query $key"; do
            equal "$each without a home" "$(env -u HOME "${as_nobody[@]}" "$programs/qxreg" $each 2>&1)" \
                "qxreg: $key: the user has no home folder for the registry (set HOME or XDG_DATA_HOME)"
        done
        # A program with a group that its user is not in does not ask where he is at home. Behind
        # that a sanitizer may say that it cannot search it for leaks.
        equal "another group" "$(setpriv --reuid=65534 --rgid=65534 --egid=54321 --clear-groups \
            "$programs/qxreg" query "$key" 2>&1 | head -n 1)" \
            "qxreg: $key: the user has no home folder for the registry (set HOME or XDG_DATA_HOME)"
        equal "without a home" "$(env -u HOME "${as_nobody[@]}" "$programs/qxcalc" 1+1 2>&1)" 2
        equal "without a home" "$(env -u HOME "${as_nobody[@]}" "$programs/qxconv" text 2>&1)" A
    else
        echo "skipped: a user whom the system does not know, which takes the superuser"
    fi
fi
# A file system that is mounted for reading only.
if unshare --mount true 2>/dev/null; then
    equal "read-only home" "$(unshare --mount bash -c '
        mount --bind home home && mount -o remount,bind,ro home || exit
        HOME=$PWD/home "$0/qxreg" add "$1" n v' "$programs" "$key" 2>&1)" \
        "qxreg: $key: Read-only file system, for the registry in $folder/home/.local/share/qx/registry"
else
    echo "skipped: a file system for reading only, which cannot be mounted here"
fi
chmod -R u+w home

finish
