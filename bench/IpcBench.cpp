// Locks between processes, uncontended and contended, and signals from one process to another,
// beside what the system offers for the same purpose. Of the peers only the robust mutex and the
// System V semaphore survive the death of a holder.

#include <atomic>
#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <qx/ipc/Semaphore.h>
#include <qx/ipc/SemaphoreR.h>
#include <qx/platform/sync.h>
#include <qx/sync/Condition.h>
#include <qx/sync/Mutex.h>
#include <qx/sync/ReaderWriterLock.h>

#include "OnOwnCpu.h"

namespace {

std::string uniqueName(const char* label) {
    return "qxbench." + std::to_string(getpid()) + "." + label;
}

/// An object in memory that other processes could share.
template <class T>
class Mapped {
public:
    Mapped()
        : m_object(static_cast<T*>(mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE,
                                        MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
        if (m_object == MAP_FAILED)
            std::abort();
    }
    ~Mapped() { munmap(m_object, sizeof(T)); }
    Mapped(const Mapped&) = delete;
    Mapped& operator=(const Mapped&) = delete;
    T* get() const { return m_object; }

private:
    T* m_object;
};

template <class Lock>
void waitAndSignal(benchmark::State& state, Lock& lock) {
    for (auto _ : state) {
        lock.wait();
        lock.signal();
    }
    state.SetItemsProcessed(state.iterations());
}

void NamedSemaphoreGuard(benchmark::State& state) {
    qx::ipc::Semaphore semaphore(uniqueName("guard").c_str(), 1);
    waitAndSignal(state, semaphore);
}
BENCHMARK(NamedSemaphoreGuard)->Name("SemaphoreGuard/qx");

void NamedSemaphoreSignal(benchmark::State& state) {
    qx::ipc::Semaphore semaphore(uniqueName("signal").c_str(), 0);
    for (auto _ : state) {
        semaphore.signal();
        semaphore.wait();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(NamedSemaphoreSignal)->Name("SemaphoreSignal/qx");

void NamedSemaphoreRecursive(benchmark::State& state) {
    qx::ipc::SemaphoreR semaphore(uniqueName("recursive").c_str(), 1, nullptr);
    waitAndSignal(state, semaphore);
}
BENCHMARK(NamedSemaphoreRecursive)->Name("SemaphoreRecursive/qx");

void PosixSemaphore(benchmark::State& state) {
    const Mapped<sem_t> semaphore;
    sem_init(semaphore.get(), 1, 1);
    for (auto _ : state) {
        sem_wait(semaphore.get());
        sem_post(semaphore.get());
    }
    state.SetItemsProcessed(state.iterations());
    sem_destroy(semaphore.get());
}
BENCHMARK(PosixSemaphore)->Name("SemaphoreGuard/posix");
BENCHMARK(PosixSemaphore)->Name("SemaphoreSignal/posix");

void SystemVSemaphoreWithUndo(benchmark::State& state) {
    const int id = semget(IPC_PRIVATE, 1, 0600);
    if (id < 0 || semctl(id, 0, SETVAL, 1) != 0) {
        state.SkipWithError("no System V semaphores");
        return;
    }
    sembuf wait = {0, -1, SEM_UNDO};
    sembuf post = {0, 1, SEM_UNDO};
    for (auto _ : state) {
        semop(id, &wait, 1);
        semop(id, &post, 1);
    }
    state.SetItemsProcessed(state.iterations());
    semctl(id, 0, IPC_RMID);
}
BENCHMARK(SystemVSemaphoreWithUndo)->Name("SemaphoreGuard/sysv_undo");

void SharedMutex(benchmark::State& state) {
    qx::sync::Mutex mutex(uniqueName("mutex").c_str(), QX_SYNC_SHARED);
    waitAndSignal(state, mutex);
}
BENCHMARK(SharedMutex)->Name("SharedMutex/qx");

void SharedMutexContended(benchmark::State& state) {
    static qx::sync::Mutex mutex(uniqueName("contended").c_str(), QX_SYNC_SHARED);
    waitAndSignal(state, mutex);
}
BENCHMARK(SharedMutexContended)->Name("SharedMutexContended/qx")->Threads(4)->UseRealTime();

void initialiseRobust(pthread_mutex_t* mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

class PosixMutex {
public:
    PosixMutex() { initialiseRobust(m_mutex.get()); }
    void wait() { pthread_mutex_lock(m_mutex.get()); }
    void signal() { pthread_mutex_unlock(m_mutex.get()); }

private:
    Mapped<pthread_mutex_t> m_mutex;
};

void RobustMutex(benchmark::State& state) {
    static PosixMutex mutex;
    waitAndSignal(state, mutex);
}
BENCHMARK(RobustMutex)->Name("SharedMutex/robust_pthread");
BENCHMARK(RobustMutex)->Name("SharedMutexContended/robust_pthread")->Threads(4)->UseRealTime();

void SharedWriterLock(benchmark::State& state) {
    qx::sync::ReaderWriterLock lock(uniqueName("lock").c_str(), QX_SYNC_SHARED);
    waitAndSignal(state, lock);
}
BENCHMARK(SharedWriterLock)->Name("SharedWriterLock/qx");

/// A turn that two processes hand to and fro between two CPUs. @p Condition is made in each of
/// them, from @p arguments, and has acquire, release, wait and signal.
template <class Condition, class... Arguments>
void handTurns(benchmark::State& state, const Arguments&... arguments) {
    enum Turn { Parents, Childs, Over };
    const Mapped<std::atomic<Turn>> turn;
    Condition own(arguments...);
    const auto hand = [&](Condition& condition, Turn next, Turn awaited) {
        condition.acquire();
        *turn.get() = next;
        condition.signal();
        while (*turn.get() == next && next != Over)
            condition.wait();
        condition.release();
        return *turn.get() == awaited;
    };
    const pid_t child = fork();
    const OnOwnCpu onOwnCpu(child == 0 ? 1 : 0);
    if (child == 0) {
        Condition condition(arguments...);
        while (hand(condition, Parents, Childs)) {
        }
        _exit(0);
    }
    for (auto _ : state)
        hand(own, Childs, Parents);
    hand(own, Over, Over);
    waitpid(child, nullptr, 0);
    state.SetItemsProcessed(state.iterations());
}

void SharedConditionTurns(benchmark::State& state) {
    handTurns<qx::sync::Condition>(state, uniqueName("turns").c_str(), QX_SYNC_SHARED);
}
BENCHMARK(SharedConditionTurns)->Name("SharedConditionTurns/qx")->UseRealTime();

/// Of the system: a condition and its robust mutex in memory that is mapped before the fork.
class PosixCondition {
public:
    struct State {
        pthread_mutex_t mutex;
        pthread_cond_t signalled;
    };

    explicit PosixCondition(State* state) : m_state(*state) {}

    void acquire() { pthread_mutex_lock(&m_state.mutex); }
    void release() { pthread_mutex_unlock(&m_state.mutex); }
    void wait() { pthread_cond_wait(&m_state.signalled, &m_state.mutex); }
    void signal() { pthread_cond_signal(&m_state.signalled); }

private:
    State& m_state;
};

void PosixConditionTurns(benchmark::State& state) {
    const Mapped<PosixCondition::State> shared;
    initialiseRobust(&shared.get()->mutex);
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_cond_init(&shared.get()->signalled, &attributes);
    pthread_condattr_destroy(&attributes);
    handTurns<PosixCondition>(state, shared.get());
}
BENCHMARK(PosixConditionTurns)->Name("SharedConditionTurns/robust_pthread")->UseRealTime();

} // namespace

BENCHMARK_MAIN();
