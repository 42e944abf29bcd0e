# 64-bit ARM, by the cross compiler of Debian and qemu
. scripts/cross.sh
cross_build aarch64 arm64
run_tests "$out/build" --label-exclude '^(check|consumer|docs)$' --exclude-regex "$not_emulated"
