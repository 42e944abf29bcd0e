# IBM Z, whose numbers begin with their highest byte, by Debian's cross compiler and qemu
. scripts/cross.sh
cross_build s390x s390x

# A registry that one machine has written is read and gone on with by the other.
cmake -S . -B "$out/native" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQX_BUILD_TESTS=OFF \
    -DQX_BUILD_MODULES=OFF -DQX_BUILD_EXAMPLES=OFF
cmake --build "$out/native" --parallel "$jobs" --target qxreg
native() { "$out/native/tools/qxreg" --registry "$out/registry" "$@"; }
foreign() { $runner "$out/build/tools/qxreg" --registry "$out/registry" "$@"; }
rm -rf "$out/registry"
native import tests/data/registry/user.txt
diff <(foreign export QX_HKEY_USER) tests/data/registry/user.txt
foreign add 'QX_HKEY_USER\Software\Maker\Ключ' größer 4294967297 --type uint64
diff <(native export QX_HKEY_USER) <(foreign export QX_HKEY_USER)
[[ $(native query 'QX_HKEY_USER\Software\Maker\КЛЮЧ' GRÖßER) == 4294967297 ]]
rm -rf "$out/registry"
foreign import tests/data/registry/user.txt
diff <(native export QX_HKEY_USER) tests/data/registry/user.txt

run_tests "$out/build" --label-exclude '^(check|consumer|docs)$' --exclude-regex "$not_emulated"
