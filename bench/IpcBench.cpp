// Locks between processes, uncontended, beside what the system offers for the same purpose. Of the
// peers only the robust mutex and the System V semaphore survive the death of a holder.

#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <unistd.h>

#include <qx/ipc/Semaphore.h>
#include <qx/ipc/SemaphoreR.h>
#include <qx/platform/sync.h>
#include <qx/sync/Mutex.h>
#include <qx/sync/ReaderWriterLock.h>

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

void RobustMutex(benchmark::State& state) {
    const Mapped<pthread_mutex_t> mutex;
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(mutex.get(), &attributes);
    for (auto _ : state) {
        pthread_mutex_lock(mutex.get());
        pthread_mutex_unlock(mutex.get());
    }
    state.SetItemsProcessed(state.iterations());
    pthread_mutex_destroy(mutex.get());
    pthread_mutexattr_destroy(&attributes);
}
BENCHMARK(RobustMutex)->Name("SharedMutex/robust_pthread");

void SharedWriterLock(benchmark::State& state) {
    qx::sync::ReaderWriterLock lock(uniqueName("lock").c_str(), QX_SYNC_SHARED);
    waitAndSignal(state, lock);
}
BENCHMARK(SharedWriterLock)->Name("SharedWriterLock/qx");

} // namespace

BENCHMARK_MAIN();
