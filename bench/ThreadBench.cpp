#include <thread>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <qx/core/Reference.h>
#include <qx/exec/CallableRunnable.h>
#include <qx/exec/Process.h>
#include <qx/exec/Thread.h>

// One item is one thread or one child process from its start to its end. The child is the smallest
// program there is; the peer of Process does the same by the system's calls, pipes included.

namespace {

using qx::exec::makeRunnable;
using qx::exec::Process;
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

void processQx(benchmark::State& state) {
    for (auto _ : state) {
        Process process(u"/bin/true", nullptr, nullptr, nullptr, 0);
        process.join();
    }
    state.SetItemsProcessed(state.iterations());
}

void processPosix(benchmark::State& state) {
    char name[] = "/bin/true";
    char* const arguments[] = {name, nullptr};
    for (auto _ : state) {
        int pipes[3][2];
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        for (int stream = 0; stream < 3; ++stream) {
            if (pipe2(pipes[stream], O_CLOEXEC) != 0)
                return state.SkipWithError("no pipe");
            posix_spawn_file_actions_adddup2(&actions, pipes[stream][stream == 0 ? 0 : 1], stream);
        }
        pid_t child = 0;
        int status = posix_spawn(&child, name, &actions, nullptr, arguments, environ);
        posix_spawn_file_actions_destroy(&actions);
        if (status != 0)
            return state.SkipWithError("no process");
        waitpid(child, &status, 0);
        for (auto& ends : pipes) {
            close(ends[0]);
            close(ends[1]);
        }
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(startAndJoinQx)->Name("ThreadStartJoin/qx")->UseRealTime();
BENCHMARK(startAndJoinStd)->Name("ThreadStartJoin/std")->UseRealTime();
BENCHMARK(restartQx)->Name("ThreadRestart/qx")->UseRealTime();
BENCHMARK(startAndJoinStd)->Name("ThreadRestart/std")->UseRealTime();

BENCHMARK(processQx)->Name("ProcessStartJoin/qx")->UseRealTime();
BENCHMARK(processPosix)->Name("ProcessStartJoin/posix_spawn")->UseRealTime();

} // namespace

BENCHMARK_MAIN();
