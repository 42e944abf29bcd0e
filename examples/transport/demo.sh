#!/usr/bin/env bash
# Registers the TCP transport in a registry of its own and carries a text through a connection that it
# makes; the program knows the transport by its name alone. Ends with status 1 when something else
# comes back. Argument: the folder of the built examples.
set -euo pipefail

examples=$(realpath "$1")
text=$(realpath "$(dirname "$0")/../../README.md")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export XDG_DATA_HOME=$folder

qxreg=$examples/../tools/qxreg module=$examples/../modules/qxtransport_tcp.so
if [[ ! -x $qxreg || ! -f $module ]]; then
    echo "the transport is not built"
    exit 0
fi
echo "-- before it is registered"
! "$examples/TransportEcho" Orbelle.Transport.TCP <"$text" || exit 1
# A copy: whoever may write the folders of the build could exchange what is loaded.
install -m 700 "$module" "$folder"
module=$folder/${module##*/}
"$qxreg" register "$module"
"$qxreg" list | sed 's,"/.*/,".../,'
"$examples/TransportEcho" Orbelle.Transport.TCP host=127.0.0.1 port=0 <"$text" >"$folder/answer"
cmp "$text" "$folder/answer"
echo "-- $(wc -c <"$text") bytes went through a connection and came back"
"$qxreg" unregister "$module"
