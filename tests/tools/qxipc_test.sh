#!/usr/bin/env bash
# Tests the program qxipc as a user meets it. Argument: the program.

# Whatever begins to use named objects removes what killed processes have left, so that objects of a
# folder of our own, where the system permits that, stay until they are looked at.
[ "${APART-}" ] || for apart in "unshare -m" "unshare -rm"; do
    $apart mount -t tmpfs tmpfs /dev/shm 2>/dev/null &&
        APART=1 exec $apart bash -c 'mount -t tmpfs tmpfs /dev/shm && exec bash "$0" "$@"' "$0" "$@"
done

completion=$(realpath "$(dirname "$0")/../../tools/qxipc/completion.bash")
. "$(dirname "$0")/checks.sh"
qxipc=$program
own="qxipc $$ ä" # as there may be objects of others

# --- usage
usage='(qxipc --help tells more)'
fails 2 "unknown command lst $usage" lst
fails 2 "wrong number of arguments for clean $usage" clean x
fails 2 "wrong number of arguments for list $usage" list a b
fails 2 "--count does not go with list $usage" list --count 1
fails 2 "--interval takes a number from 1 to 2147483647, not 1s $usage" watch --interval 1s
fails 1 "$own: no object of that name" list "$own"
equal "nothing to watch" "$("$qxipc" watch "$own" --count 1)" nothing
equal "the same in JSON" "$("$qxipc" watch "$own" --count 1 --json)" '[]'
equal "without a command" "$("$qxipc" 2>&1 | grep -c "$own")" 0

# --- what processes do; the library cannot be loaded so under the sanitizers
if [ "${3-}" == sanitized ] || ! command -v python3 >/dev/null; then finish; exit; fi
cat >user.py <<'END'
import ctypes, os, sys
qx, handle, name = ctypes.CDLL(sys.argv[1]), ctypes.c_uint64(), os.fsencode(sys.argv[2])
memory, mutex = ctypes.c_uint64(), sys.argv[3] == "mutex"
if mutex:
    qx.QXMutexCreate(name, 1, ctypes.byref(handle))
    qx.QXSharedMemOpen(name, 1, 0, 4096, ctypes.byref(memory))
else:
    qx.QXSemaphoreCreate(3, name, 1, ctypes.byref(handle))
for _ in range(int(sys.argv[4])):
    qx.QXMutexAcquire(handle) if mutex else qx.QXSemaphoreWait(handle)
open("done." + str(os.getpid()), "w").close()
sys.stdin.read()
END
library=$(ldd "$program" | awk '/libqx/ { print $3 }')
mkfifo wait
exec 3<>wait
# use NAME KIND TIMES: the number of the process is in $user
use() { python3 user.py "$library" "$@" <&3 & user=$!; }
# soon COMMAND...: waits until it succeeds
soon() { for ((try = 0; try < 300; ++try)); do "$@" 2>/dev/null && return; sleep 0.1; done; return 1; }
shows() { "$qxipc" list "$1" | grep -q "$2"; }
# listed NAME: with the program alone where a shell has found it
listed() { "$qxipc" list "$1" | sed 's, [^ ]*/python3, python3,'; }
command_of() { echo "python3 user.py $library $*"; }

use "$own" mutex 2 && holder=$user && soon test -e done.$holder
use "$own" mutex 1 && waiter=$user && soon shows "$own" "$waiter: waits"
equal "a mutex" "$(listed "$own" | grep -v ': uses it')" "mutex $own: held 2 times
  $holder: holds 2  $(command_of "$own" mutex 2)
  $waiter: waits  $(command_of "$own" mutex 1)
memory $own: 4096 bytes"
equal "users of memory" "$("$qxipc" list "$own" | grep ': uses it' | cut -d: -f1 | sort)" \
    "$(printf '  %s\n' $holder $waiter | sort)"
equal "JSON" "$("$qxipc" list "$own" --json | python3 -c '
import json, sys
mutex, memory = json.load(sys.stdin)
print(mutex["kind"], mutex["name"], mutex["value"], memory["value"], mutex["fromDead"], mutex["file"])
for user in mutex["users"]:
    print(*(user[key] for key in ("process", "alive", "holds", "writes", "waits")))')" \
    "mutex $own 2 4096 False /dev/shm/qx-$(id -u)/lock.qxipc%20$$%20%C3%A4
$holder True 2 False 0
$waiter True 0 False 1"

use "$own g" guard 1 && keeper=$user && soon test -e done.$keeper
use "$own g" guard 2 && victim=$user && soon test -e done.$victim
"$qxipc" watch "$own g" --interval 1 --json >states &
watcher=$!
soon grep -q '"holds": 2' states
kill -9 $victim && wait $victim 2>/dev/null
soon grep -q '"value": 2' states # behind others, while the process goes
equal "states" "$(sed -n '1p; $p' states | grep -o '"value": [0-9]*' | paste -sd ' ')" '"value": 0 "value": 2'
kill $watcher && wait $watcher 2>/dev/null
equal "a dead holder" "$(listed "$own g")" "semaphore $own g: 2 units free, left by the dead
  $keeper: holds 1  $(command_of "$own g" guard 1)
  dead: holds 2"
use "$own g" guard 0 && late=$user && soon test -e done.$late
equal "one in its place" "$(listed "$own g")" "semaphore $own g: 2 units free, left by the dead
  $keeper: holds 1  $(command_of "$own g" guard 1)
  $late: uses it  $(command_of "$own g" guard 0)"
equal "completion" "$(. "$completion"; COMP_WORDS=("$qxipc" list "") COMP_CWORD=2; _qxipc; printf '%s\n' "${COMPREPLY[@]}" | grep -c "$keeper\|$late")" 0
# what is nothing of the library, a long name, and one that is no UTF-8
truncate -s 40G "/dev/shm/qx-$(id -u)/lock.%5C$$"
equal "a strange file" "$("$qxipc" list '\x5C'$$ | grep -o 'unknown.*: being\|(.*')" \
    "unknown \\x5C$$: being
(/dev/shm/qx-$(id -u)/lock.%5C$$)"
equal "the strange one cleaned" "$("$qxipc" clean | grep "unknown.*$$")" "removed unknown \\x5C$$"
for long in "$own$(printf %0200d)" $'\xC2\x9B\xFF'$$; do
    use "$long" guard 1 && late+=" $user" && soon test -e done.$user
done
equal "a long name" "$("$qxipc" list "$own$(printf %0200d)" | grep -c '^semaphore.*~\|holds 1')" 2
equal "bytes" "$("$qxipc" list '\xC2\x9B\xFF'$$ | head -n 1)" "semaphore \\xC2\\x9B\\xFF$$: 2 units free"
kill -9 $late && wait $late 2>/dev/null
"$qxipc" clean >/dev/null
equal "what is used stays" "$("$qxipc" clean | grep -c "$own")" 0
kill -9 $keeper $holder $waiter && wait $keeper $holder $waiter 2>/dev/null
equal "cleaned" "$("$qxipc" clean | grep "$own")" "removed mutex $own
removed memory $own
removed semaphore $own g"
fails 1 "$own: no object of that name" list "$own"

finish
