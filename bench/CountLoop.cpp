// Counts what the loops of the benchmarks execute, and nothing else: scripts/bench-counts.py loads
// this library before the program under callgrind and reads the dumps, one for each loop.

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

namespace {

using Member = void (*)(benchmark::State*);

// The body of the framework that one of the members below stands before.
Member next(const char* mangledName) {
    void* const found = dlsym(RTLD_NEXT, mangledName);
    if (!found) {
        std::fprintf(stderr, "The benchmark library has no %s.\n", mangledName);
        std::abort();
    }
    return reinterpret_cast<Member>(found);
}

} // namespace

// Members of the class of the framework, which its headers call and this library gets between. The
// beginning of a loop goes through ResumeTiming and its end through PauseTiming. Callgrind switches
// the counting for the thread that asks.
namespace benchmark {

void State::StartKeepRunning() {
    static const Member start = next("_ZN9benchmark5State16StartKeepRunningEv");
    CALLGRIND_ZERO_STATS;
    start(this);
}

void State::FinishKeepRunning() {
    static const Member finish = next("_ZN9benchmark5State17FinishKeepRunningEv");
    finish(this); // stops the clock before the dump takes its time
    char turns[32];
    std::snprintf(turns, sizeof turns, "%lld", static_cast<long long>(max_iterations));
    CALLGRIND_DUMP_STATS_AT(turns);
}

void State::PauseTiming() {
    static const Member pause = next("_ZN9benchmark5State11PauseTimingEv");
    CALLGRIND_TOGGLE_COLLECT;
    pause(this);
}

void State::ResumeTiming() {
    static const Member resume = next("_ZN9benchmark5State12ResumeTimingEv");
    resume(this);
    CALLGRIND_TOGGLE_COLLECT;
}

} // namespace benchmark
