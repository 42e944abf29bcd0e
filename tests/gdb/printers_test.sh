#!/usr/bin/env bash
# Tests the printers of gdb: printers_test.sh PROGRAM TREE PREFIX
# Installs the library that was built in TREE to PREFIX, from where gdb must load the printers by
# itself. Exits with 77 where there is no gdb with python, or where it may not run a program.
set -euo pipefail
program=$1 tree=$2 prefix=$3
export LC_ALL=C.UTF-8 DEBUGINFOD_URLS=

[[ $(gdb -nx -batch -ex 'python print(1)' 2>&1) == 1 ]] || exit 77
run=$(gdb -nx -batch -ex run --args true 2>&1) || exit 77
[[ $run == *'exited normally'* ]] || exit 77

rm -rf "$prefix"
for component in qx_runtime qx_development; do
    cmake --install "$tree" --prefix "$prefix" --component $component >/dev/null
done
library=$(find "$prefix" -name 'libqx.so.*.*.*' -not -name '*.py')

# What gdb prints for each value. The program has no debug information of the classes in the library.
cases=$(
    cat <<'END'
empty      u""
text       u"Grüße\t\"𝄞\" "
lone       u"a\ud800\000b"
literal    u"a literal"
light      u"light"
noText     u""
owner      reference to u"owned"
another    reference to u"owned"
nothing    null reference
*owner.m_pointer u"owned"
small      -8
large      18446744073709551615
real       1.5
array      ArrayList of 3 = {u"one", null, 3}
linked     LinkedList of 3 = {u"one", null, 3}
typed      LinkedList of 3 = {u"one", null, 3}
nested     reference to {u"in", {u"one", null, 3}, {u"another k" = null, u"k" = 7}}
map        HashMap of 2 = {[u"another k"] = null, [u"k"] = 7}
set        HashSet of 1 = {u"element"}
noElements HashSet of 0
byText     StringHashMap of 3 = {[u"null"] = null, [u"a key that does not fit in an entry"] = u"owned", [u"short"] = 1}
crowded    StringHashMap of 60 = {[u"0"] = null, [u"1"] = null...}
noNumbers  IntegerHashMap of 0
lightMap   Str1HashMap of 1 = {[u"answer"] = 42}
zero       0
big        -123456789012345678901234567890
price      -0.05
guid       {00112233-4455-6677-8899-AABBCCDDEEFF}
plainGuid  {00112233-4455-6677-8899-AABBCCDDEEFF}
dangling   reference to <no object at 0x10>
END
)
commands=(-ex 'break stop' -ex run -ex up -ex 'printf "values\n"')
while read -r value _; do
    [[ $value != crowded ]] || commands+=(-ex 'set print elements 4')
    commands+=(-ex "output $value" -ex 'printf "\n"' -ex 'set print elements 200')
done <<<"$cases"
# Every key is there, whatever the order.
commands+=(-ex 'printf "%s\n", "numbers"' -ex 'set print elements 0' -ex 'output byNumber')

printed=$(LD_LIBRARY_PATH=${library%/*} gdb -nx -batch \
    -iex "set auto-load scripts-directory $prefix/share/gdb/auto-load" \
    -iex "add-auto-load-safe-path $prefix/share/gdb/auto-load" "${commands[@]}" "$program" 2>&1)
values=$(sed '1,/^values$/d; /^numbers$/,$d' <<<"$printed")
diff <(sed -E 's/^[^ ]+ +//' <<<"$cases") <(echo "$values") || {
    echo "$printed"
    exit 1
}
keys=$(sed '1,/^numbers$/d' <<<"$printed" | grep -oP '\[\K-?\d+(?=\] = u"owned")' | sort -n)
[[ $keys == "$(seq -100 99)" ]] || { echo "wrong keys: $keys"; exit 1; }
