# Debian 13 (g++ 14, clang 19) in a root folder: all of .ci/run, the demos, the packages; needs root and debootstrap
. scripts/ports/lib/root.sh
make_root trixie http://deb.debian.org/debian "main" /usr/share/keyrings/debian-archive-keyring.gpg sid
test_in_root .ci/run
try_in_root
