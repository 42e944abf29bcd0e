#!/usr/bin/env bash
# Runs a program in a container that holds nothing but the program and its libraries: no shell, no
# users, no locales, no configuration. The root is read-only, the environment empty, and the program
# is the first process, as a user who stands in no passwd.
#
#     container.sh EXAMPLES DATA [MOUNT...] -- PROGRAM [ARGUMENT...]
#
# EXAMPLES is the folder of the built programs, DATA a folder that is /data inside and the only one to
# be written. MOUNTs are tmp, shm (/dev/shm) and proc, each with a file system of its own, and gconv,
# the system's conversions of encodings.
# ROOT (environment): a folder that is made to be the root; a new one that goes afterwards otherwise.
# Needs user namespaces; exits with 77 where there are none.
set -euo pipefail

examples=$(realpath "$1")
data=$(realpath "$2")
shift 2
mounts=
while [[ $1 != -- ]]; do
    mounts+=" $1"
    shift
done
program=$2
shift 2

unshare --user --map-root-user --mount --pid --fork true 2>/dev/null || {
    echo "container.sh: there are no user namespaces" >&2
    exit 77
}
root=${ROOT:-$(mktemp -d)}
[[ -n ${ROOT:-} ]] || trap 'rm -rf "$root"' EXIT

# The recipe: the program, the libraries that it names, those that it finds for itself (the modules
# lie in the folder qx/modules beside the library), and the places where something is mounted.
mkdir -p "$root"/{bin,lib/qx/modules,data,tmp,proc,dev/shm}
cp "$examples/$program" "$root/bin"
codecs=$examples/../modules/qxcodecs.so
[[ ! -f $codecs ]] || install -m 755 "$codecs" "$root/lib/qx/modules"
ldd "$examples/$program" | sed -n 's/^[^/]*\(\/[^ ]*\).*/\1/p' | while read -r library; do
    case $library in
    */ld-*) install -D "$library" "$root$library" ;;
    *) cp -L "$library" "$root/lib" ;;
    esac
done
if [[ $mounts == *gconv* ]]; then
    conversions=$(find /usr/lib* -name gconv-modules -printf '%h\n' -quit)
    mkdir -p "$root$conversions"
    cp -r "$conversions"/{gconv-modules*,ISO*} "$root$conversions"
fi

# Waits for the program with the signals passed on: what ends this script is to end it.
# shellcheck disable=SC2016 # that is for the inner shell
unshare --user --map-root-user --mount --pid --fork --kill-child --propagation private bash -c '
    set -euo pipefail
    root=$1 data=$2 mounts=$3
    shift 3
    mount --bind "$root" "$root"
    mount --bind "$data" "$root/data"
    for kind in $mounts; do
        case $kind in
        tmp) mount -t tmpfs tmp "$root/tmp" ;;
        shm) mount -t tmpfs -o mode=1777 shm "$root/dev/shm" ;;
        proc) mount -t proc proc "$root/proc" ;;
        esac
    done
    mount -o remount,bind,ro,nosuid,nodev "$root"
    exec env -i LD_LIBRARY_PATH=/lib \
        "$(command -v unshare)" --user --map-user 4711 --map-group 4711 --root "$root" --wd / "$@"
' container "$root" "$data" "$mounts" "/bin/$program" "$@" <&0 &
container=$!
trap 'pkill -TERM -P "$container" || true' TERM INT
status=0
wait "$container" || status=$?
while kill -0 "$container" 2>/dev/null; do # a signal has ended the wait
    status=0
    wait "$container" || status=$?
done
exit "$status"
