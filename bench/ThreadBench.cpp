#include <thread>

#include <benchmark/benchmark.h>

#include <qx/core/Reference.h>
#include <qx/exec/CallableRunnable.h>
#include <qx/exec/Thread.h>

// One item is one thread from its start to its end.

namespace {

using qx::exec::makeRunnable;
using qx::exec::Thread;

void startAndJoinQx(benchmark::State& state) {
    for (auto _ : state) {
        Thread thread(makeRunnable([] {}));
        thread.start();
        thread.join();
    }
    state.SetItemsProcessed(state.iterations());
}

void startAndJoinStd(benchmark::State& state) {
    for (auto _ : state) {
        std::thread thread([] {});
        thread.join();
    }
    state.SetItemsProcessed(state.iterations());
}

/// The same object again and again, as its owner may do.
void restartQx(benchmark::State& state) {
    Thread thread(makeRunnable([] {}));
    for (auto _ : state) {
        thread.start();
        thread.join();
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(startAndJoinQx)->Name("ThreadStartJoin/qx")->UseRealTime();
BENCHMARK(startAndJoinStd)->Name("ThreadStartJoin/std")->UseRealTime();
BENCHMARK(restartQx)->Name("ThreadRestart/qx")->UseRealTime();
BENCHMARK(startAndJoinStd)->Name("ThreadRestart/std")->UseRealTime();

} // namespace

BENCHMARK_MAIN();
