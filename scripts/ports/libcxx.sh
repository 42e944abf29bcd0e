# clang 16 with libc++ 16 in the place of libstdc++
install_missing $test_packages clang-16 libc++-16-dev libc++abi-16-dev libclang-rt-16-dev googletest
use_ccache
# The folder has what tests and examples need of std::jthread.
export CC=clang-16 CXX=clang++-16 CXXFLAGS="-stdlib=libc++ -isystem $root/scripts/ports/libcxx"
# What the tests stand on is of the same library.
cmake -S /usr/src/googletest -B "$out/googletest" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_PREFIX="$out/prefix"
cmake --build "$out/googletest" --parallel "$jobs" --target install
cmake -S . -B "$out/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQX_WARNINGS_AS_ERRORS=ON \
    -DCMAKE_PREFIX_PATH="$out/prefix"
cmake --build "$out/build" --parallel "$jobs"
# Left out: what g++ says of mistakes, the debugger's view of containers of libstdc++, a thread that ends
# in the middle (the C library unwinds it by the library of g++, the program has another one), and the
# program without run-time type information, of whose exceptions clang makes types of its own.
run_tests "$out/build" --label-exclude '^(check|consumer|docs|mistakes|gdb)$' \
    --exclude-regex 'MayEndItselfInTheMiddle|example.WithoutRtti'
