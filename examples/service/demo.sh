#!/usr/bin/env bash
# Runs the example service with settings from an INI file and the command line, stops it with SIGTERM
# and shows the last entries of its log files. Ends with status 1 when an entry is missing. Argument: the folder of the built examples.
set -euo pipefail

examples=$(realpath "$1")
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
"$examples/Service" --settings service.ini --threads 4 >output &
service=$!
until grep -q serving output; do
    kill -0 "$service" 2>/dev/null || { service=; exit 1; } # it has ended, and has said why
    sleep 0.05
done
sleep 0.3
kill -TERM "$service"
wait "$service"
service=
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
