#!/usr/bin/env bash
# Runs a command where programs of another processor run like those of this machine's, through qemu:
#     scripts/emulate.sh MACHINE LIBRARIES COMMAND [ARGUMENT...]
# LIBRARIES are folders, separated by colons, with the libraries that such programs need.
#
# The kernel is told of the programs, and the libraries lie at their usual place, only as the command
# and what it starts see it: nothing of the machine changes, and no more than a user's rights are
# needed. That takes Linux 6.7. Before that the programs have to run by themselves already, as the
# packages qemu-user-static and binfmt-support see to, and their libraries have to be installed.
set -euo pipefail

machine=$1 libraries=$2
shift 2

# What the first bytes of a program say: 64 bits, the byte order, an executable or a shared object,
# and the number of the processor. The byte that names the system does not count.
case $machine in
aarch64) order='\x01' type='\x02\x00' types='\xfe\xff' number='\xb7\x00' ;;
s390x) order='\x02' type='\x00\x02' types='\xff\xfe' number='\x00\x16' ;;
*)
    echo "emulate.sh: unknown machine '$machine'; there are: aarch64 s390x" >&2
    exit 2
    ;;
esac
zeros='\x00\x00\x00\x00\x00\x00\x00\x00'
ones='\xff\xff\xff\xff\xff\xff\xff\xff'
magic='\x7fELF\x02'$order'\x01\x00'$zeros$type$number
mask='\xff\xff\xff\xff\xff\xff\xff\x00'$ones$types'\xff\xff'
emulator=$(command -v "qemu-$machine" || command -v "qemu-$machine-static")

export QX_TESTS_EMULATED=1 # what qemu cannot do is not tested (tests/support/Emulated.h)

# F opens qemu now and so works below another root, P keeps the name by which a program is called.
registration=":qx-$machine:M::$magic:$mask:$emulator:PF"
private=$(
    cat <<'END'
set -e
mount -t binfmt_misc none /proc/sys/fs/binfmt_misc
printf %s "$1" >/proc/sys/fs/binfmt_misc/register
mount -t overlay -o "lowerdir=$2:/usr/lib" overlay /usr/lib
shift 2
END
)
separate() { unshare --user --map-root-user --mount bash -c "$private"$'\n'"$1" emulate.sh "${@:2}"; }
if why=$(separate : "$registration" "$libraries" 2>&1); then
    separate 'exec "$@"' "$registration" "$libraries" "$@"
elif compgen -G "/proc/sys/fs/binfmt_misc/*$machine*" >/dev/null; then
    exec "$@"
else
    echo "emulate.sh: cannot have programs of $machine run by themselves: $why" >&2
    exit 1
fi
