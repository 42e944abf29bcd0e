# Ubuntu 24.04 (g++ 13) in a root folder: the tests, the demos, the packages; needs root and debootstrap
. scripts/ports/lib/root.sh
need_root_rights
keyring=$(ubuntu_keyring)
make_root noble http://archive.ubuntu.com/ubuntu "main universe" "$keyring" gutsy
test_in_root scripts/test.sh
try_in_root
