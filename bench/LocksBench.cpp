#include <mutex>
#include <semaphore>
#include <shared_mutex>

#include <benchmark/benchmark.h>

#ifdef QX_BENCH_HAVE_QT
#include <QMutex>
#include <QReadWriteLock>
#include <QSemaphore>
#endif

#include <qx/sync/Mutex.h>
#include <qx/sync/ReaderWriterLock.h>
#include <qx/sync/Semaphore.h>

#include "OnOwnCpu.h"

// One item is one lock and unlock, or one wait and signal. The virtual call and the check of the
// result are within the figures of qx, whose locks are used through a reference the compiler cannot
// see behind. Contended rows protect a counter; their time is wall time for all threads together.

namespace {

using qx::sync::LockObject;
using qx::sync::Mutex;
using qx::sync::ReaderWriterLock;
using qx::sync::Semaphore;

template <class Lock, class Enter, class Leave>
void uncontended(benchmark::State& state, Lock& lock, Enter enter, Leave leave) {
    Lock* hidden = &lock;
    benchmark::DoNotOptimize(hidden);
    for (auto _ : state) {
        enter(*hidden);
        leave(*hidden);
    }
    state.SetItemsProcessed(state.iterations());
}

template <class Lock>
void exclusive(benchmark::State& state) {
    Lock lock;
    uncontended(
        state, lock, [](auto& l) { l.lock(); }, [](auto& l) { l.unlock(); });
}

void mutexThroughLockObject(benchmark::State& state) {
    Mutex mutex;
    uncontended(
        state, static_cast<LockObject&>(mutex), [](auto& l) { l.wait(); },
        [](auto& l) { l.signal(); });
}

void sharedQx(benchmark::State& state) {
    ReaderWriterLock lock;
    uncontended(
        state, lock, [](auto& l) { l.waitShared(); }, [](auto& l) { l.signalShared(); });
}

void sharedStd(benchmark::State& state) {
    std::shared_mutex lock;
    uncontended(
        state, lock, [](auto& l) { l.lock_shared(); }, [](auto& l) { l.unlock_shared(); });
}

void semaphoreQx(benchmark::State& state) {
    Semaphore semaphore(1);
    uncontended(
        state, semaphore, [](auto& s) { s.wait(); }, [](auto& s) { s.signal(); });
}

template <class Counting>
void semaphorePeer(benchmark::State& state) {
    Counting semaphore(1);
    uncontended(
        state, semaphore, [](auto& s) { s.acquire(); }, [](auto& s) { s.release(); });
}

#ifdef QX_BENCH_HAVE_QT
void sharedQt(benchmark::State& state) {
    QReadWriteLock lock;
    uncontended(
        state, lock, [](auto& l) { l.lockForRead(); }, [](auto& l) { l.unlock(); });
}
#endif

template <class Lock>
void contended(benchmark::State& state) {
    static Lock lock;
    static int64_t counter = 0;
    for (auto _ : state) {
        lock.lock();
        benchmark::DoNotOptimize(++counter);
        lock.unlock();
    }
    state.SetItemsProcessed(state.iterations());
}

/// Three reads, then one write.
template <class Lock>
void contendedReadersAndWriters(benchmark::State& state) {
    static Lock lock;
    static int64_t counter = 0;
    int turn = 0;
    for (auto _ : state) {
        if (++turn % 4 != 0) {
            lock.lock_shared();
            benchmark::DoNotOptimize(counter);
            lock.unlock_shared();
        } else {
            lock.lock();
            benchmark::DoNotOptimize(++counter);
            lock.unlock();
        }
    }
    state.SetItemsProcessed(state.iterations());
}

/// Two threads hand a turn to and fro between two CPUs.
template <class Semaphore, auto Wait, auto Signal>
void pingPong(benchmark::State& state) {
    static Semaphore turns[2]{Semaphore(1), Semaphore(0)};
    const int own = state.thread_index();
    const OnOwnCpu onOwnCpu(own);
    for (auto _ : state) {
        Wait(turns[own]);
        Signal(turns[1 - own]);
    }
    state.SetItemsProcessed(state.iterations());
}
template <class Peer>
void pingPongPeer(benchmark::State& state) {
    pingPong<Peer, [](Peer& s) { s.acquire(); }, [](Peer& s) { s.release(); }>(state);
}

template <class Lock>
void makeAndEnd(benchmark::State& state) {
    for (auto _ : state) {
        Lock lock;
        benchmark::DoNotOptimize(&lock);
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(exclusive<Mutex>)->Name("mutex/qx");
BENCHMARK(mutexThroughLockObject)->Name("mutex/qx::LockObject");
BENCHMARK(exclusive<std::mutex>)->Name("mutex/std");
BENCHMARK(exclusive<std::recursive_mutex>)->Name("mutex/std::recursive");
#ifdef QX_BENCH_HAVE_QT
BENCHMARK(exclusive<QMutex>)->Name("mutex/QMutex");
#endif

BENCHMARK(makeAndEnd<Mutex>)->Name("make-mutex/qx");
BENCHMARK(makeAndEnd<std::recursive_mutex>)->Name("make-mutex/std::recursive");

BENCHMARK(semaphoreQx)->Name("semaphore/qx");
BENCHMARK(semaphorePeer<std::counting_semaphore<>>)->Name("semaphore/std");
#ifdef QX_BENCH_HAVE_QT
BENCHMARK(semaphorePeer<QSemaphore>)->Name("semaphore/QSemaphore");
#endif

BENCHMARK(pingPong<Semaphore, [](Semaphore& s) { s.wait(); }, [](Semaphore& s) { s.signal(); }>)
    ->Name("ping-pong/qx")
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(pingPongPeer<std::counting_semaphore<>>)
    ->Name("ping-pong/std")
    ->Threads(2)
    ->UseRealTime();
#ifdef QX_BENCH_HAVE_QT
BENCHMARK(pingPongPeer<QSemaphore>)->Name("ping-pong/QSemaphore")->Threads(2)->UseRealTime();
#endif

BENCHMARK(sharedQx)->Name("shared/qx");
BENCHMARK(sharedStd)->Name("shared/std");
#ifdef QX_BENCH_HAVE_QT
BENCHMARK(sharedQt)->Name("shared/QReadWriteLock");
#endif

BENCHMARK(exclusive<ReaderWriterLock>)->Name("exclusive/qx");
BENCHMARK(exclusive<std::shared_mutex>)->Name("exclusive/std");

BENCHMARK(contended<Mutex>)->Name("contended/qx")->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(contended<std::mutex>)->Name("contended/std")->Threads(2)->Threads(4)->UseRealTime();

BENCHMARK(contendedReadersAndWriters<ReaderWriterLock>)
    ->Name("contended-rw/qx")
    ->Threads(2)
    ->Threads(4)
    ->UseRealTime();
BENCHMARK(contendedReadersAndWriters<std::shared_mutex>)
    ->Name("contended-rw/std")
    ->Threads(2)
    ->Threads(4)
    ->UseRealTime();

} // namespace

BENCHMARK_MAIN();
