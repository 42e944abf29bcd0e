#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <vector>

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/exec/IRunnable.h>
#include <qx/log/AsyncProcessor.h>
#include <qx/log/ILogEntry.h>
#include <qx/log/ILogProcessor.h>
#include <qx/log/detail/OwnTarget.h>
#include <qx/log/detail/RecordQueue.h>
#include <qx/platform/detail/ForkWatch.h>
#include <qx/sync/Condition.h>
#include <qx/sync/Event.h>
#include <qx/sync/Mutex.h>
#include <qx/sync/Semaphore.h>

namespace qx::log {

/// What an AsyncProcessor shares with its workers, which outlive it: queue, target and the loop of
/// a worker. The members mean what they mean there.
///
/// An entry is queued by a reference, but what a plain logger has to say as a record, of which the
/// worker makes an entry where the target takes no records.
///
/// Loggers put entries into one list under a short lock, workers take them from another under
/// another lock; a worker that finds its list empty swaps the two. A worker that has nothing to do
/// naps for a while before it sleeps, and nobody has to wake it from a nap: as long as entries
/// come, logging makes no system call, and they are handed on in batches.
class AsyncProcessorImpl final
    : public qx::pcom::Implements<Object, exec::IRunnable, ILogProcessor> {
public:
    AsyncProcessorImpl(ILogProcessor* target, const AsyncOptions& options);
    ~AsyncProcessorImpl() override;

    /// @throws ResultException when the thread cannot be started
    void startWorker();
    /// The loop of a worker, until shutdown or a failure, which it throws.
    void* run() override;
    void process(const ILogEntry* entry) override;
    /// Queues what an entry with the fields of @p record would be; see KeptRecord::fits.
    void process(const detail::Record& record);
    bool flush();
    /// Ends the workers and hands on what waits. Afterwards process throws IllegalStateException.
    void shutDown() noexcept;

    uint64_t getQueuedCount() const;
    uint64_t getDroppedCount() const noexcept { return m_dropped; }
    uint64_t getFailedCount() const noexcept { return m_failed; }
    int32_t getFirstFailure() const noexcept { return m_firstFailure; }
    int getWorkerCount() const noexcept { return m_workerCount; }

private:
    class Worker;

    template <class Entry>
    void enqueue(Entry&& entry);
    template <class Entry>
    void enqueueFull(Entry&& entry);
    bool isFull() const noexcept;
    template <class Entry>
    bool put(Entry&& entry);
    uint32_t duePause() noexcept;
    bool refill();
    void takeFirst(detail::QueuedEntry& entry) noexcept;
    template <class Body>
    void counted(Body&& body);
    void handOn(const detail::QueuedEntry& queued);
    void runWhenEmpty();
    void wakeSleeper();
    void stopWorkers();
    void awaitIdleWorkers();
    void drain();
    void notify();
    bool isHandedOn(uint64_t number) const noexcept;
    bool isIdleBut(const Worker* caller) const noexcept;
    bool releaseTarget(bool isDrained) noexcept;
    void leaveThreads(bool areIdle) noexcept;
    /// What a worker does with the target: a failure ends it, or not.
    template <class Body>
    void asWorker(Body&& body) {
        if (m_failureAction == AsyncOptions::Failure::CarryOn)
            resultOf(body);
        else
            body();
    }
    void lockAll();
    void unlockAll();
    void leaveToParent();

    std::vector<QXHandle> m_threads;   // changed by the owner only
    Reference<ILogProcessor> m_target; // until nobody can need it any more
    const detail::OwnTarget m_own;     // the target as far as it takes records
    Reference<exec::IRunnable> m_whenEmpty;
    const uint32_t m_capacity;
    const AsyncOptions::Overflow m_overflow;
    const AsyncOptions::Failure m_failureAction;

    /// Side of the loggers. m_taking is acquired before m_lock where both are.
    alignas(64) mutable sync::Mutex m_lock;
    detail::RecordQueue m_incoming;
    uint64_t m_putCount = 0;
    bool m_stopping = false; // changed under both locks
    /// In a child of the process that made this. Nothing there may look at the workers or at those
    /// who wait: they lay on stacks that are used for something else now.
    bool m_isParents = false;
    bool m_isNapping = false;
    std::atomic<int> m_sleepers{0}; // workers that need a unit of m_signal; changed under m_lock
    std::atomic<uint64_t> m_dropped{0};
    std::chrono::steady_clock::time_point m_lookedAt; // when a pause was last thought about
    uint64_t m_lookedAtCount = 0;                     // m_takenCount then

    /// Side of the workers.
    alignas(64) mutable sync::Condition m_taking;
    detail::RecordQueue m_ready;
    std::atomic<uint64_t> m_takenCount{0}; // the number of the first entry that waits
    Worker* m_workers = nullptr;
    std::atomic<int> m_workerCount{0};
    int m_roomWaiters = 0;
    /// Number of entries that the first to return from flush waits for.
    uint64_t m_awaited = UINT64_MAX;
    bool m_drained = false;
    std::atomic<uint64_t> m_failed{0};
    std::atomic<int32_t> m_firstFailure{0};

    sync::Semaphore m_signal;
    sync::Event m_nap; // ends a nap before its time

    static const platform::ForkSteps Forks;
    platform::ForkWatch m_forks{this, Forks}; // last
};

} // namespace qx::log
