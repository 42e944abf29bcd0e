#!/usr/bin/env bash
# Tests the program qxconv as a user meets it. Arguments: the program, the folder of the test data,
# and "sanitized" for a build whose memory use means nothing.
. "$(dirname "$0")/checks.sh"
qxconv=$program
texts=$2/texts
sanitized=${3-}
export XDG_DATA_HOME=$PWD/data # no codecs that the user registered

hex() { od -An -v -tx1 | tr -d ' \n'; }
bytes() { printf "$(sed 's/../\\x&/g' <<<"$1")"; }

# converts HEX-IN HEX-OUT ARGUMENTS...: from standard input to standard output
converts() {
    local in=$1 out=$2
    shift 2
    equal "$in $*" "$(bytes "$in" | "$qxconv" "$@" 2>&1 | hex)" "$out"
}

# replaces HEX-IN HEX-OUT WHAT ARGUMENTS...: the same with text that is not in TO, and the status says so
replaces() {
    local in=$1 out=$2 what=$3
    shift 3
    bytes "$in" >bad.in
    fails 1 "replaced $what, first in bad.in (--substitute TEXT says by what, --strict refuses)" "$@" bad.in
    equal "$in $*" "$(hex <stdout)" "$out"
}

# bad HEX-IN MESSAGE ARGUMENTS...: --strict refuses the input
bad() {
    bytes "$1" >bad.in
    local text=$2
    shift 2
    fails 1 "bad.in: $text" --strict "$@" bad.in
}

no_leftovers() { equal "leftovers $1" "$(find . -name '.*.tmp')" ""; }

# --- encodings and their defaults
converts 41c3a9e282acf09f9880 4100e900ac203dd800de -f UTF-8 -t UTF-16LE
converts 4100e900ac203dd800de 41c3a9e282acf09f9880 -fUTF-16LE -tUTF-8
converts 80e9 e282acc3a9 -f windows-1252
converts c3a9 e9 -t latin1
converts c3a9 c3a9
converts "" "" -t UTF-32BE
converts fffe4100 efbbbf41 -f UTF-16LE -t UTF-8 # a byte order mark is text

# --- replacement of bad text
replaces 41ff42 41efbfbd42 'invalid UTF-8' -t UTF-8
replaces eda08041 efbfbdefbfbdefbfbd41 'invalid UTF-8' # a surrogate: three maximal subparts
replaces 41c3 41efbfbd 'invalid UTF-8'
replaces efbfbde241 efbfbdefbfbd41 'invalid UTF-8' # what ends a broken sequence is text
replaces 00d84100 efbfbd41 'invalid UTF-16LE' -f UTF-16LE -t UTF-8
replaces 00dc410000d8 efbfbd41efbfbd 'invalid UTF-16LE' -f UTF-16LE -t UTF-8
replaces 410042 41efbfbd 'invalid UTF-16LE' -f UTF-16LE # half a unit
replaces 00d80000410000000000110042000000 efbfbd41efbfbd42 'invalid UTF-32LE' -f UTF-32LE -t UTF-8
replaces 265f443830303b41 efbfbd41 'invalid AMP-7' -f AMP-7 -t UTF-8 # an escape for a surrogate
replaces e4b8ad41f09f9880 3f413f 'characters without a form in CP1252' -t CP1252
replaces 41ff42 413f42 'invalid UTF-8 and characters without a form in ASCII' -t ASCII
converts 41efbfbd42 41efbfbd42 # U+FFFD in the input
converts 41ff42 412d2d76657273696f6e42 --substitute --version # a value asks nothing
converts 41ff42e282ac43 413c3f3e423c3f3e43 -t ISO8859_1 --substitute '<?>'
converts 41e282acf09f988042 41e9e942 -t ISO8859_1 --substitute é
converts 41ffefbfbd42 4178efbfbd42 --substitute x # U+FFFD in the input is no bad text
converts 00d84100 7841 -f UTF-16LE -t UTF-8 --substitute x
converts 00d84100 41 -f UTF-16LE -t UTF-8 --substitute=

# Text that is bad all over, across many blocks, stays in step.
yes $'\xff\xe2\x82\xacA' | tr -d '\n' | head -c 300000 >all-bad
equal "bad all over" "$("$qxconv" -t CP437 --substitute '[]' all-bad | cksum)" \
    "$(yes '[][]A' | tr -d '\n' | head -c 300000 | cksum)"

# --- strict: the offset of the bad sequence
bad 41ff42 'invalid UTF-8 at byte offset 1'
bad 4142eda080 'invalid UTF-8 at byte offset 2'     # surrogate
bad c3a9c080 'invalid UTF-8 at byte offset 2'       # over-long
bad f4908080 'invalid UTF-8 at byte offset 0'       # above U+10FFFF
bad 41f09f9841 'invalid UTF-8 at byte offset 1'
bad efbfbdefbfbd80 'invalid UTF-8 at byte offset 6' # behind the same character in the input
bad 41e282 'incomplete UTF-8 at byte offset 1'
bad 410000d84200 'invalid UTF-16LE at byte offset 2' -f UTF-16LE
bad 410000dc4200 'invalid UTF-16LE at byte offset 2' -f UTF-16LE -t UTF-16LE
bad d83dde00d83d 'invalid UTF-16BE at byte offset 4' -f UTF-16BE
bad 410042 'incomplete UTF-16LE at byte offset 2' -f UTF-16LE
bad 4100000000d8000042000000 'invalid UTF-32LE at byte offset 4' -f UTF-32LE
bad 0000004100110000 'invalid UTF-32BE at byte offset 4' -f UTF-32BE
bad 410000004200 'incomplete UTF-32LE at byte offset 4' -f UTF-32LE
bad 4142e4 'invalid ASCII at byte offset 2' -f ASCII
bad 418142 'invalid CP1252 at byte offset 1' -f CP1252
bad 4126783b 'invalid AMP-7 at byte offset 1' -f AMP-7
bad 4126414d503b265f443830303b 'invalid AMP-7 at byte offset 6' -f AMP-7
bad 41265f4538 'incomplete AMP-7 at byte offset 1' -f AMP-7
bad c3a9c3a9e4b8ad 'U+4E2D has no form in CP1252, at byte offset 4' -t CP1252
bad c3a9f09f9880 'U+1F600 has no form in CP437, at byte offset 2' -t CP437
bad 3dd800de 'U+1F600 has no form in ASCII, at byte offset 0' -f UTF-16LE -t ASCII

# Far into a file, around the places where blocks may end.
for far in 65535 65536 131071 131072 131073 262143 1000001; do
    { head -c $far /dev/zero && printf '\xe4\xb8\xad\xff'; } >far
    fails 1 "far: U+4E2D has no form in ASCII, at byte offset $far" --strict -t ASCII far
    fails 1 "far: invalid UTF-8 at byte offset $((far + 3))" --strict -t UTF-16LE far
    # every character that a block's end cuts is put together again
    yes 'é中😀' | head -c $((far + 12)) | sed '$d' >cut
    "$qxconv" --strict -t UTF-16BE cut | "$qxconv" --strict -f UTF-16BE -t UTF-8 | cmp - cut
    equal "characters across blocks" $? 0
done
fails 1 'standard input: invalid UTF-8 at byte offset 0' --strict - <<<$'\xff'
printf 'A\0' >even
printf 'A\0B' >odd
fails 1 'odd: incomplete UTF-16LE at byte offset 2' --strict -f UTF-16LE even odd even

# --- what is done with errors when it is asked for
converts 41ffe4b8ad42 4142 -t ASCII -c
converts 41ffe4b8adf09f988042 415c7846465c75344532445c55303030314636303042 -t ASCII --errors=escape
converts 41ffe4b8ad42 413f3f42 -t ASCII --errors replace

# --- marks and ends of lines
converts fffe4100 41 -f UTF-16 -t UTF-8
converts 0041fffe 41efbfbe -f UTF-16 -t UTF-8
converts 41 fffe4100 -t UTF-16
converts c3a9 efbbbfc3a9 -t UTF-8-SIG
converts "" "" -t UTF-16
for each in efbbbf41 fffe4100 feff0041 fffe000041000000 0000feff00000041 41; do
    converts $each 41 -f auto
done
converts 0d0a0d0d0a0a41 0a0a0a0a41 --line-ends=lf
converts 0d0a0d0d0a0a41 0d0a0d0a0d0a0d0a41 --line-ends crlf
bytes 0d0ae4b8ad >bad.in
fails 1 'bad.in: U+4E2D has no form in ASCII, at byte offset 2' --strict -t ASCII --line-ends cr bad.in

# --- files
mkdir outs
printf 'one\303\251' >1
printf '\377\376a\0' >2
"$qxconv" -f auto -t latin1 -d outs 1 2
equal "files in a folder" "$(hex <outs/1) $(hex <outs/2)" "6f6e65e9 61"
chmod 600 1
"$qxconv" -t UTF-16BE --in-place=.old 1
equal "in place" "$(hex <1) $(hex <1.old) $(stat -c %a 1)" "006f006e006500e9 6f6e65c3a9 600"
fails 1 "/dev/null: is no file that can be written anew" --in-place /dev/null
fails 2 "./2: is another name of a file before it" --in-place 2 ./2
fails 2 "1.old: would be what is kept of 1, and is a file" --in-place=.old 1 1.old
fails 1 "2: invalid UTF-8 at byte offset 0" --strict --in-place 2
equal "not in place" "$(hex <2)" fffe6100
printf 'one' >1
chmod 644 1
printf 'two' >2
equal "files in order" "$(echo ' and' | "$qxconv" 1 - 2)" $'one and\ntwo'
"$qxconv" -o out -t UTF-16BE 1 2
equal "output file" "$(hex <out)" 006f006e006500740077006f
touch plain
equal "mode of a new file" "$(stat -c %a out)" "$(stat -c %a plain)"
chmod 640 out
ln -s out link
"$qxconv" -o link 1
equal "through a link" "$(readlink link) $(cat out)" "out one"
equal "mode of an old file" "$(stat -c %a out)" 640
"$qxconv" -t UTF-16LE -o 1 1
equal "in place" "$(hex <1)" 6f006e006500
(umask 077 && "$qxconv" -o private 2)
equal "mode under a umask" "$(stat -c %a private)" 600
equal "to standard output by name" "$("$qxconv" -o - 2)" two
"$qxconv" -o /dev/null 2
equal "a device stays one" "$(stat -c %F /dev/null)" "character special file"
mkfifo pipe
"$qxconv" -o pipe 2 &
equal "into a named pipe" "$(cat pipe)" two
wait
printf 'dashes' >--strict
equal "a file like an option" "$("$qxconv" -- --strict)" dashes

# --- a failure leaves the output as it was
printf 'old' >out
printf 'A\xff' >bad
fails 1 'missing: not found' -o out 2 missing
fails 1 'bad: invalid UTF-8 at byte offset 1' --strict -o out 2 bad
fails 1 'bad: invalid UTF-8 at byte offset 1' --strict -o new bad
fails 1 '.: is a folder' -o out .
fails 1 '.: is a folder' -o . 2
equal "old output" "$(cat out)" old
equal "no new output" "$(find . -name new)" ""
fails 1 'nowhere/out: not found' -o nowhere/out 2
fails 1 '/dev/full: No space left on device' -o /dev/full 2
equal "full disk" "$("$qxconv" 2 2>&1 >/dev/full; echo $?)" \
    $'qxconv: standard output: No space left on device\n1'
equal "full disk for the list" "$("$qxconv" -l 2>&1 >/dev/full; echo $?)" \
    $'qxconv: standard output: No space left on device\n1'
no_leftovers "after failures"
if [ "$(id -u)" != 0 ]; then
    chmod 400 out
    fails 1 'out: Permission denied' -o out 2
    chmod 600 out
fi

# --- a reader that leaves ends the program, quietly and soon
equal "closed pipe" "$({ yes | "$qxconv" 2>err; echo $? >status; } | head -c 1; cat err status)" y1

# --- a signal removes what was written
for signal in INT TERM; do
    mkfifo endless
    # a background job of a script ignores SIGINT unless told otherwise
    env --default-signal=INT "$qxconv" -o out endless &
    exec 3>endless
    echo text >&3
    for _ in $(seq 100); do
        [ -n "$(find . -name '.*.tmp')" ] && break
        sleep 0.1
    done
    kill -$signal $!
    wait $! 2>/dev/null
    equal "ended by SIG$signal" $(($? - 128)) "$(kill -l $signal)"
    exec 3>&-
    rm endless
done
equal "output after a signal" "$(cat out)" old
no_leftovers "after a signal"

# --- usage
usage='(qxconv --help tells more)'
fails 2 "unknown option -x $usage" -x
fails 2 "unknown option --strictly $usage" --strictly
fails 2 "unknown option --substituted $usage" --substituted
fails 2 "option -f needs a value $usage" -f
fails 2 "option --substitute needs a value $usage" --substitute
fails 2 "option -t is given twice $usage" -t UTF-8 -t UTF-8
fails 2 "--strict and --substitute exclude each other $usage" --strict --substitute x
fails 2 "-l takes no files $usage" -l 2
fails 2 'unknown encoding "UTF-9"; is it UTF-8? (qxconv -l lists all)' -f UTF-9 -o out 2
fails 2 'unknown encoding "" (qxconv -l lists all)' -t '' 2
fails 2 'the substitution text has no form in CP437' -t CP437 --substitute 中 2
equal "output after usage errors" "$(cat out)" old
fails 2 "option --errors takes one of strict, replace, ignore, escape, not \"lax\" $usage" --errors lax
fails 2 "--errors excludes --strict and --substitute $usage" --errors strict --strict
fails 2 "-o, -d and --in-place exclude each other $usage" -d . --in-place 2
fails 2 "-d and --in-place need files $usage" --in-place
fails 2 'two of the files would be outs/2' -d outs 2 ./2
fails 2 'unknown encoding "ASCII//TRANSLIT": instead of "//TRANSLIT" say --errors=replace' -t ASCII//TRANSLIT 2
fails 2 'unknown encoding "ASCII//IGNORE": instead of "//IGNORE" say --errors=ignore' -t ASCII//IGNORE 2

# --- encodings of the module beside the library
if [ -n "${QX_MODULES-}" ]; then
    # Copies: the build tree may be one from which no module is loaded.
    mkdir modules lib
    cp "$(ldd "$qxconv" | awk '/libqx/ { print $3 }')" lib
    export LD_LIBRARY_PATH=$PWD/lib
    fails 2 'unknown encoding "CP932", and the module qxcodecs.so is not installed beside the library; is it CP437? (qxconv -l lists all)' -f CP932
    install -m 700 "$QX_MODULES/qxcodecs.so" modules
    chmod o+w modules
    fails 2 'unknown encoding "CP932", and the module qxcodecs.so beside the library is not usable: Permission denied; is it CP437? (qxconv -l lists all)' -f CP932
    equal "not listed" "$("$qxconv" -l | grep -c '^CP932')" 0
    chmod o-w modules
    fails 2 'unknown encoding "koi8-x"; is it KOI8-R or KOI8-T or KOI8-U? (qxconv -l lists all)' -f koi8-x
    equal "listed" "$("$qxconv" -l | grep -E '^(CP932|KOI8-U|ISO-8859-2) ' | tr -s ' ' | tr '\n' ,)" \
        "CP932 932 module Windows-31J WINDOWS-31J MS932 SJIS-OPEN SJIS-WIN CSWINDOWS31J,ISO-8859-2 28592 module ISO-IR-101 ISO_8859-2:1987 LATIN2 L2 CSISOLATIN2 8859_2 IBM912 CP912,KOI8-U 21866 module CSKOI8U,"
    "$QXREG" register modules/qxcodecs.so
    equal "all registered" "$("$qxconv" -l | awk '$3 == "registered"' | wc -l)" 255
    "$QXREG" unregister modules/qxcodecs.so
    converts 93fa967b8cea21 e697a5e69cace8aa9e21 -f CP932 -t UTF-8
    converts e697a5e69cace8aa9e21 c6fccbdcb8ec21 -f UTF-8 -t euc-jp
    replaces 41826082 41efbca1efbfbd 'invalid CP932' -f cp932 # cut off at the end
    bad 418260ff41 'invalid CP932 at byte offset 3' -f CP932 -t UTF-8
    bad 4182608f 'incomplete CP932 at byte offset 3' -f CP932 -t UTF-8
    bad 41c3a9f09f9880 'U+1F600 has no form in CP1258, at byte offset 3' -f UTF-8 -t CP1258
    # Characters that lie across the blocks in which the program reads.
    yes $'\x82\xa0a' | tr -d '\n' | head -c 999999 >kana
    equal "across blocks" "$("$qxconv" -f CP932 -t UTF-8 kana | "$qxconv" -f UTF-8 -t CP932 |
        cksum)" "$(cksum <kana)"
    unset LD_LIBRARY_PATH
fi

# --- the list: every name in it is taken, for both directions
"$qxconv" -l | awk '$3 == "built-in" { $3 = ""; print }' >list
equal "encodings" "$(awk '{ print $1, $2 }' list | LC_ALL=C sort | tr '\n' ' ')" \
    "AMP-7 - ASCII 20127 CP1252 1252 CP437 437 ISO8859_1 28591 UTF-16 - UTF-16BE - UTF-16LE - UTF-32 - UTF-32BE - UTF-32LE - UTF-8 65001 UTF-8-SIG - "
equal "names" "$(awk '{ n += NF - 1 } END { print n }' list)" 47
while read -r name _ aliases; do
    for alias in $name $aliases; do
        there=$(printf A | "$qxconv" -f ASCII -t "$alias" | hex)
        equal "from $alias" "$(bytes "$there" | "$qxconv" -f "$alias" -t ASCII)" A
        equal "$alias is $name" "$(printf A | "$qxconv" -f ASCII -t "$name" | hex)" "$there"
    done
done <list

# --- real text, through every encoding and back
for text in "$texts"/*.txt; do
    while read -r name _; do
        if "$qxconv" --strict -t "$name" -o there "$text" 2>/dev/null; then
            "$qxconv" --strict -f "$name" there | cmp - "$text"
            equal "$text through $name" $? 0
        else
            case $name in
            ASCII | ISO8859_1 | CP437 | CP1252) ;;
            *) equal "form of $text in $name" none some ;;
            esac
        fi
    done <list
done

# --- progress on a terminal, for long input only
head -c 70000000 /dev/zero >long
if command -v script >/dev/null; then
    shown=$(script -qec "'$qxconv' -o /dev/null long" /dev/null)
    equal "progress" "$(grep -c 'qxconv: [0-9]* of 66 MiB ([0-9]* %)' <<<"$shown")" 1
    shown=$(script -qec "head -c 70000000 /dev/zero | '$qxconv' -o /dev/null" /dev/null)
    equal "progress of unknown length" "$(grep -c 'qxconv: 6[0-9] MiB' <<<"$shown")" 1
    equal "no progress" "$(script -qec "'$qxconv' -o /dev/null 2" /dev/null)" ""
fi
equal "no progress without a terminal" "$("$qxconv" -o /dev/null long 2>&1)" ""

# --- memory does not grow with the input
if [ "$sanitized" != sanitized ]; then
    for from in UTF-8 CP1252; do
        for input in long all-bad; do
            mkfifo feed
            "$qxconv" -f $from -t UTF-32LE feed >/dev/null &
            exec 3>feed
            cat $input >&3
            peak=$(awk '/VmHWM/ { print $2 }' /proc/$!/status)
            exec 3>&-
            rm feed
            wait $!
            equal "peak of $peak KiB for $input is below 16 MiB" $((peak > 0 && peak < 16384)) 1
        done
    done
fi

finish
