# g++ with link-time optimisation of everything
install_missing $test_packages
use_ccache
cmake -S . -B "$out/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQX_WARNINGS_AS_ERRORS=ON \
    -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON
cmake --build "$out/build" --parallel "$jobs"
run_tests "$out/build" --label-exclude '^(check|consumer|docs)$'
