# g++ without optimisation, with the list of live objects
install_missing $test_packages
use_ccache
cmake -S . -B "$out/build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQX_LEAK_LIST=ON -DQX_WARNINGS_AS_ERRORS=ON
cmake --build "$out/build" --parallel "$jobs"
run_tests "$out/build" --label-exclude '^(check|consumer|docs)$'
