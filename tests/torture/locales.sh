#!/usr/bin/env bash
# Runs the programs under locales whose encoding a component module serves, side by side with UTF-8:
# they print the same text, and none hangs. Arguments: the folders of the programs and of the modules.
# Ends with status 77 where the system cannot make such locales.
set -u
programs=$(realpath "$1") modules=$(realpath "$2")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
export LOCPATH=$folder/locales XDG_DATA_HOME=$folder/data PATH=$programs:$PATH
mkdir locales
install -m 700 "$modules/qxcodecs.so" "$folder"

# work TEXT: uses the programs with a text in the encoding of the locale. They print UTF-8 but for what
# is converted; relative names only, since they are printed.
work() {
    qxconv -t UTF-8 <<<"$1"
    qxconv -t UTF-8 <<<"$1" | qxconv -f UTF-8 | cmp - <(echo "$1")
    qxini "$1.ini" set "$1" key "$1 value" && qxini "$1.ini" get "$1" key && qxini "$1.ini" list
    qxini "$1.ini" get "$1" "no $1"
    local key="QX_HKEY_USER/$1"
    qxreg add "$key" "$1" "$1 in the registry" && qxreg query "$key" --recursive
    qxreg query "$key/no $1"
    qxreg export "$key" "$1.reg" && qxreg delete "$key" && qxreg import "$1.reg"
    qxreg query "$key" "$1" --json
    qxreg register ./qxcodecs.so && qxreg list | grep -c CharCodec
}
export -f work

# in_locale NAME ENCODING TEXT: what work prints there, with the module registered before.
in_locale() {
    local here=$folder/work text
    mkdir "$here"
    cp qxcodecs.so "$here"
    LC_ALL=C.UTF-8 qxreg register "$folder/qxcodecs.so"
    text=$(iconv -f UTF-8 -t "$2" <<<"$3")
    (cd "$here" && LC_ALL=$1 timeout 60 bash -c 'work "$1"' work "$text" 2>&1; echo "status $?")
    rm -r "$here" data
}

status=0 locales=0
while read -r language encoding text; do
    name=$language.$encoding
    # Warnings make the exit status 1 although the locale is there.
    localedef -i "$language" -f "$encoding" "locales/$name" 2>/dev/null
    [[ $(LC_ALL=$name locale charmap 2>/dev/null) == "$encoding" ]] || continue
    locales=$((locales + 1))
    expected=$(in_locale C.UTF-8 UTF-8 "$text")
    actual=$(in_locale "$name" "$encoding" "$text")
    [[ $actual == "$expected" && $actual == *"status 0" ]] && continue
    echo "$name:"
    diff <(echo "$expected") <(echo "$actual")
    status=1
done <<'END'
ja_JP EUC-JP 日本語テキスト
bg_BG CP1251 Български
zh_TW BIG5 繁體中文
zh_CN GB2312 简体中文
END
((locales)) || exit 77
echo "the programs under $locales locales"
exit $status
