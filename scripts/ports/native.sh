# g++ with -O3 -march=native
install_missing $test_packages
use_ccache
cmake -S . -B "$out/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQX_WARNINGS_AS_ERRORS=ON \
    -DCMAKE_CXX_FLAGS="-O3 -march=native" -DCMAKE_C_FLAGS="-O3 -march=native"
cmake --build "$out/build" --parallel "$jobs"
run_tests "$out/build" --label-exclude '^(check|consumer|docs)$'
