#!/usr/bin/env bash
# Runs the example service with settings from an INI file and the command line, stops it with SIGTERM
# and shows the last entries of its log files; then, where qxbundle and the module for message files
# were built, the service in other languages. Ends with status 1 when an entry is missing. Argument:
# the folder of the built examples.
set -euo pipefail

examples=$(realpath "$1")
messages=$(dirname "$(realpath "$0")")/messages
folder=$(mktemp -d)
service=
trap '[[ -z $service ]] || kill -KILL "$service" 2>/dev/null; rm -rf "$folder"' EXIT
cd "$folder"

cat >service.ini <<END
; The command line goes before the values here.
[Service]
folder = $folder
threads = 5
level = 2
END
export XDG_DATA_HOME=$folder/data # with the registry, in which nothing is yet

# serve SECONDS OPTION...: runs the service
serve() {
    local seconds=$1
    shift
    "$examples/Service" --settings service.ini "$@" >output &
    service=$!
    until grep -q serving output; do
        kill -0 "$service" 2>/dev/null || { service=; exit 1; } # it has ended, and has said why
        sleep 0.05
    done
    sleep "$seconds"
    kill -TERM "$service"
    wait "$service"
    service=
}

serve 0.3 --threads 4
grep -qx 'serving on 4 threads' output
read -r logged _ < <(tail -n 1 output)

echo "-- service.log"
tail -n 12 service.log
echo "-- service.xml"
tail -n 15 service.xml
plain=$(grep -c -- '^-\{25\}$' service.log)
xml=$(grep -c '^  </entry>$' service.xml)
echo "-- $logged entries were logged, $plain are in service.log, $xml in service.xml"
[[ $logged -gt 0 && $plain == "$logged" && $xml == "$logged" &&
    $(tail -n 1 service.xml) == "</log>" ]]
grep -qx 'text=request 1 handled' service.log

qxbundle=$examples/../tools/qxbundle module=$examples/../modules/qxmessages.so
[[ -x $qxbundle && -f $module ]] || exit 0
echo "-- the same with registered messages"
"$qxbundle" check "$messages"
"$qxbundle" install "$messages"
# Canadian French is there as it is, Swiss German is German, and Dutch the language of the user.
for language in fr_CA:requête de_CH:Anfrage nl:request; do
    LC_ALL=C.UTF-8 serve 0.1 --locale "${language%%:*}" --level 1
    echo "${language%%:*}: $(grep -m 1 '^text=.* 1 ' service.log)"
    grep -q "^text=${language#*:} 1 " service.log
done
