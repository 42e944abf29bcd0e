# g++ with -std=c++23, _FORTIFY_SOURCE=3 and the assertions of the standard library
install_missing $test_packages
use_ccache
cmake -S . -B "$out/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_STANDARD=23 \
    -DCMAKE_CXX_FLAGS="-D_FORTIFY_SOURCE=3 -D_GLIBCXX_ASSERTIONS" -DQX_WARNINGS_AS_ERRORS=ON
cmake --build "$out/build" --parallel "$jobs"
run_tests "$out/build" --label-exclude '^(check|consumer|docs)$'
