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
run_tests "$out/build" --label-exclude '^(check|consumer|docs)$'
