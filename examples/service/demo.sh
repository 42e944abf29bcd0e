#!/usr/bin/env bash
# Shows the log-collecting service at work: settings from three places, clients of four kinds, both
# logs, the statistics, a stop, and a start in other languages. Ends with status 1 when anything is
# missing. Argument: the folder of the built examples.
set -euo pipefail

examples=$(realpath "$1")
tools=$examples/../tools
messages=$(dirname "$(realpath "$0")")/messages
folder=$(mktemp -d)
service=
trap '[[ -z $service ]] || kill -KILL "$service" 2>/dev/null; rm -rf "$folder"' EXIT
cd "$folder"
export XDG_DATA_HOME=$folder/data # with the registry, in which nothing is yet
export LC_ALL=C.UTF-8

# start OPTION...: runs the service; its addresses are then in $addresses, separated by commas.
start() {
    : >output # what the service before has printed is not read again
    "$examples/Service" --settings service.ini "$@" >output &
    service=$!
    until grep -q listening output; do
        kill -0 "$service" 2>/dev/null || { service=; exit 1; } # it has ended, and has said why
        sleep 0.02
    done
    addresses=$(sed -n 's/^listening on //p' output)
    addresses=${addresses//; /,}
}

stop() {
    kill -TERM "$service"
    wait "$service"
    service=
}

# expect WANTED FOUND WHAT
expect() {
    [[ $1 == "$2" ]] && return
    echo "MISSING: $3: $2 instead of $1" >&2
    exit 1
}

echo "-- settings: the command line goes before the registry, that before the INI file"
mkdir logs
cat >service.ini <<END
[Service]
folder = logs
port = 0
line = 300
locale = de
END
cat service.ini
longest=300
if [[ -x $tools/qxreg ]]; then
    "$tools/qxreg" add QX_HKEY_USER/Examples/Service line 200
    "$tools/qxreg" query QX_HKEY_USER/Examples/Service
    longest=200
fi
hosts=127.0.0.1
! grep -qs ' lo$' /proc/net/if_inet6 || hosts+=,::1
echo "Service --settings service.ini --addresses $hosts --locale en"
start --addresses "$hosts" --locale en
cat output
"$examples/Service" --settings service.ini --port 99999 || expect 2 $? "the status of a mistake"
printf '[Service]\nlevel debug\n' >broken.ini
{ "$examples/Service" --settings broken.ini --port 99999 2>&1 || :; } | grep "broken.ini: line 2"

echo "-- LogSend, 1000 lines over four connections"
seq -f 'line %g of many' 1000 >many
"$examples/LogSend" --connections 4 --source seq "$addresses" many
stored=1000 refused=0

first=${addresses%%,*}
if command -v nc >/dev/null; then
    echo "-- nc"
    printf 'INFO shell a line\nWARNING shell\nQUIT\n' >typed
    timeout 10 nc "${first%:*}" "${first##*:}" <typed >heard
    paste -d '|' <(echo; cat typed) heard | sed 's/^\(.*\)|/-> \1\n<- /; s/^-> \n//'
    expect "HELLO collector|OK 1|ERROR 2 expected LEVEL SOURCE MESSAGE|OK 3|" \
        "$(tr '\n' '|' <heard)" "answers to nc"
    stored=$((stored + 1)) refused=$((refused + 1))
fi
if command -v python3 >/dev/null; then
    echo "-- python"
    python3 - "${first%:*}" "${first##*:}" >heard <<'END'
import socket
import sys

lines = ["ERROR python Grüße & <Küsse>", "DEBUG python 日本", "INFO python " + "x" * 300, "STATS", "QUIT"]
with socket.create_connection(sys.argv[1:3]) as connection:
    connection.sendall(("\n".join(lines) + "\n").encode())
    print(connection.makefile(encoding="utf-8").read(), end="")
END
    cat heard
    expect "ERROR 3 line of more than $longest bytes" "$(sed -n 4p heard)" "the answer to a long line"
    stored=$((stored + 2)) refused=$((refused + 1))
fi

echo "-- stopped by SIGTERM, it prints its statistics"
stop
tail -n +2 output
grep -q "^STAT \* lines=$stored .* refused=$refused$" output || expect "$stored stored, $refused refused" \
    "$(tail -n 1 output)" statistics
grep -qx 'STAT seq lines=1000 bytes=15893 mean=15.893000 variance=0.115551' output

echo "-- logs/service.log"
head -n 4 logs/service.log
echo ...
tail -n 15 logs/service.log
echo "-- logs/service-1.xml"
tail -n 15 logs/service-1.xml
expect 1000 "$(grep -c ' | line [0-9]* of many$' logs/service.log)" "lines in service.log"
expect "$(sort many)" "$(sed -n 's/^    <text> \(line.*many\) <.text>$/\1/p' logs/service-1.xml | sort)" \
    "lines in service-1.xml"
expect $((stored + 3)) "$(grep -c '^  </entry>$' logs/service-1.xml)" "entries in service-1.xml"
expect "</log>" "$(tail -n 1 logs/service-1.xml)" "the end of service-1.xml"

[[ -x $tools/qxbundle && -f $examples/../modules/qxmessages.so ]] || exit 0
echo "-- started again, with registered messages"
"$tools/qxbundle" check "$messages"
# A copy: whoever may write the folders of the build could exchange what is loaded.
install -m 700 "$examples/../modules/qxmessages.so" .
"$tools/qxbundle" install "$messages" --module qxmessages.so
run=1
# Canadian French is there as it is, Swiss German is German, and Dutch the language of the user.
for language in "fr_CA:à l" de_CH:Empfang nl:listening; do
    start --locale "${language%%:*}" --addresses "$hosts"
    "$examples/LogSend" "$addresses" <<<"in ${language%%:*}" >/dev/null
    stop
    run=$((run + 1))
    echo "${language%%:*}: $(grep -m 1 '<text>' logs/service-$run.xml)"
    grep -q -m 1 "<text> ${language#*:}.*127.0.0.1:" logs/service-$run.xml
    grep -q " | in ${language%%:*}\$" logs/service.log
done
