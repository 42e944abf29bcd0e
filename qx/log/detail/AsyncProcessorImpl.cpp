#include "qx/log/detail/AsyncProcessorImpl.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/Required.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/exec/Thread.h>
#include <qx/exec/detail/ThreadHandle.h>
#include <qx/log/LogEntry.h>
#include <qx/log/detail/AsyncWorker.h>
#include <qx/platform/detail/LeavingThreads.h>
#include <qx/platform/thread.h>

namespace qx::log {

using detail::EntryReference;
using detail::QueuedEntry;

namespace {

/// How long a shutdown waits for workers in the middle of an entry, so that the rest follows that
/// entry and the target goes with the processor. A target that hangs holds nobody up for longer.
constexpr std::chrono::milliseconds Grace(1000);

/// Loggers that outrun the workers would make the queue so long that entries are out of all caches
/// by the time they are taken, and lie in ever new memory; both sides then work at a fraction of
/// their rate. So every so many entries a logger pauses, for as long as it takes the workers at
/// their present rate to come down to a short queue, within limits. So few calls pause that it does
/// not show in the percentiles of their time.
constexpr uint64_t PauseInterval = 8192;
constexpr uint64_t ShortQueue = 2048;
constexpr double LongestPause = 16; // ms

} // namespace

AsyncProcessorImpl::AsyncProcessorImpl(ILogProcessor* target, const AsyncOptions& options)
    : m_target(target), m_own(target), m_whenEmpty(options.whenEmpty), m_capacity(options.capacity),
      m_overflow(options.overflow), m_failureAction(options.failure),
      m_lock("qx/log/AsyncProcessorImpl::m_lock"),
      m_signal(0, "qx/log/AsyncProcessorImpl::m_signal") {}

AsyncProcessorImpl::~AsyncProcessorImpl() = default;

void AsyncProcessorImpl::startWorker() {
    const auto thread = makeReference<exec::Thread>(this, u"qx log worker"_qs);
    m_threads.reserve(m_threads.size() + 1);
    ++m_workerCount; // whoever looks before the thread runs has a worker to wait for
    try {
        thread->start();
    } catch (...) {
        --m_workerCount;
        throw;
    }
    m_threads.push_back(exec::detail::ThreadHandle::takeFrom(*thread));
}

void* AsyncProcessorImpl::run() {
    Worker worker(*this);
    QueuedEntry entry;
    while (worker.next(entry)) {
        asWorker([&] { handOn(entry); });
        entry.clear();
    }
    return nullptr;
}

void AsyncProcessorImpl::process(const ILogEntry* entry) {
    enqueue(EntryReference(required(entry)));
}

void AsyncProcessorImpl::process(const detail::Record& record) { enqueue(record); }

template <class Entry>
void AsyncProcessorImpl::enqueue(Entry&& entry) {
    bool isSignalDue = false;
    uint32_t pause = 0;
    {
        std::unique_lock lock(m_lock);
        if (isFull()) [[unlikely]] {
            lock.unlock();
            enqueueFull(std::forward<Entry>(entry));
            return;
        }
        isSignalDue = put(std::forward<Entry>(entry));
        if (m_putCount % PauseInterval == 0) [[unlikely]]
            pause = duePause();
    }
    if (isSignalDue)
        m_signal.signal();
    if (pause != 0)
        exec::Thread::sleep(pause);
}

template <class Entry>
void AsyncProcessorImpl::enqueueFull(Entry&& entry) {
    QueuedEntry oldest; // goes without a lock
    const std::lock_guard taking(m_taking);
    std::unique_lock lock(m_lock);
    if (m_overflow == AsyncOptions::Overflow::Block && Worker::caller(*this) == nullptr) {
        while (isFull() && !m_stopping) {
            if (m_workerCount == 0)
                throw IllegalStateException(u"queue full and no worker left");
            lock.unlock(); // entries are taken under m_taking only: no room is missed
            m_nap.signal();
            ++m_roomWaiters;
            m_taking.wait();
            --m_roomWaiters;
            lock.lock();
        }
    }
    if (isFull() && m_overflow == AsyncOptions::Overflow::DropNewest) {
        ++m_dropped;
        return;
    }
    if (put(std::forward<Entry>(entry)))
        m_signal.signal();
    if (m_overflow == AsyncOptions::Overflow::DropOldest &&
        m_putCount - m_takenCount > m_capacity) {
        refill();
        takeFirst(oldest);
        ++m_dropped;
        notify();
    }
}

/// For holders of m_lock; exact where m_taking is held too, else a moment behind.
bool AsyncProcessorImpl::isFull() const noexcept {
    return m_capacity != 0 &&
           m_putCount - m_takenCount.load(std::memory_order_relaxed) >= m_capacity;
}

/// For holders of m_lock. True when a sleeper has to get a unit of the signal.
template <class Entry>
bool AsyncProcessorImpl::put(Entry&& entry) {
    if (m_isParents)
        throw IllegalStateException(u"processor belongs to the parent of this process");
    if (m_stopping)
        throw IllegalStateException(u"processor has been shut down");
    m_incoming.push(std::forward<Entry>(entry));
    ++m_putCount;
    const int sleepers = m_sleepers.load(std::memory_order_relaxed);
    if (sleepers == 0 || m_isNapping)
        return false;
    m_sleepers.store(sleepers - 1, std::memory_order_relaxed);
    return true;
}

/// For holders of m_lock: the milliseconds that the calling logger is to pause. Called every
/// PauseInterval entries.
uint32_t AsyncProcessorImpl::duePause() noexcept {
    // A bound keeps the queue short by itself, and a pause of the last worker helps nobody.
    if (m_capacity != 0 || m_workerCount == 0 || Worker::caller(*this))
        return 0;
    const auto now = std::chrono::steady_clock::now();
    const uint64_t takenCount = m_takenCount.load(std::memory_order_relaxed);
    const auto elapsed = now - std::exchange(m_lookedAt, now);
    const uint64_t taken = takenCount - std::exchange(m_lookedAtCount, takenCount);
    const uint64_t length = m_putCount - takenCount;
    if (length <= ShortQueue)
        return 0;
    const double perEntry = elapsed / std::chrono::duration<double, std::milli>(1) /
                            static_cast<double>(std::max<uint64_t>(taken, 1));
    const double pause = perEntry * static_cast<double>(length - ShortQueue);
    return static_cast<uint32_t>(std::min(pause, LongestPause));
}

/// For holders of m_taking, as everything down to wakeSleeper: whether an entry is ready.
bool AsyncProcessorImpl::refill() {
    if (m_ready.isEmpty()) {
        const std::lock_guard lock(m_lock);
        m_ready.swap(m_incoming);
    }
    return !m_ready.isEmpty();
}

void AsyncProcessorImpl::takeFirst(QueuedEntry& entry) noexcept {
    m_takenCount.store(m_takenCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    m_ready.pop(entry);
}

/// Tells those who wait in flush and for room, as far as they have to know.
void AsyncProcessorImpl::notify() {
    if (isHandedOn(m_awaited)) {
        m_awaited = UINT64_MAX;
        m_taking.broadcast();
    } else if (m_roomWaiters > 0) {
        // Not for every entry: each time all of them wake.
        const uint64_t room = m_capacity - std::min<uint64_t>(getQueuedCount(), m_capacity);
        if (room >= std::max<uint32_t>(m_capacity / 8, 1))
            m_taking.broadcast();
    }
}

/// Whether all entries below @p number are gone from the queue and from the hands of workers.
bool AsyncProcessorImpl::isHandedOn(uint64_t number) const noexcept {
    if (m_takenCount.load(std::memory_order_relaxed) < number)
        return false;
    for (const Worker* worker = m_workers; worker; worker = worker->m_next) {
        if (worker->m_number < number)
            return false;
    }
    return true;
}

bool AsyncProcessorImpl::isIdleBut(const Worker* caller) const noexcept {
    for (const Worker* worker = m_workers; worker; worker = worker->m_next) {
        if (worker->m_isBusy && worker != caller)
            return false;
    }
    return true;
}

void AsyncProcessorImpl::wakeSleeper() {
    if (m_sleepers.load(std::memory_order_relaxed) == 0)
        return;
    {
        const std::lock_guard lock(m_lock);
        const int sleepers = m_sleepers.load(std::memory_order_relaxed);
        if (sleepers == 0)
            return;
        m_sleepers.store(sleepers - 1, std::memory_order_relaxed);
    }
    m_signal.signal();
}

/// Counts a failure of @p body and passes it on.
template <class Body>
void AsyncProcessorImpl::counted(Body&& body) {
    try {
        body();
    } catch (...) {
        int32_t none = result::Ok;
        m_firstFailure.compare_exchange_strong(none, currentExceptionResult());
        ++m_failed;
        throw;
    }
}

void AsyncProcessorImpl::handOn(const QueuedEntry& queued) {
    counted([&] {
        if (queued.entry())
            m_target->process(queued.entry());
        else if (!m_own.tryProcess(queued.record()))
            m_target->process(LogEntry::create(queued.record()));
    });
}

void AsyncProcessorImpl::runWhenEmpty() {
    if (m_whenEmpty)
        counted([this] { m_whenEmpty->run(); });
}

bool AsyncProcessorImpl::flush() {
    if (m_isParents || Worker::caller(*this))
        return false;
    {
        const std::lock_guard taking(m_taking);
        const uint64_t number = [this] {
            const std::lock_guard lock(m_lock);
            return m_putCount;
        }();
        while (!isHandedOn(number)) {
            if (m_workerCount == 0)
                return false;
            m_awaited = std::min(m_awaited, number);
            m_nap.signal();
            m_taking.wait();
        }
    }
    runWhenEmpty();
    return true;
}

void AsyncProcessorImpl::shutDown() noexcept {
    if (m_isParents)
        return;
    resultOf([this] { stopWorkers(); });
    resultOf([this] { awaitIdleWorkers(); });
    drain();
    resultOf([this] { runWhenEmpty(); });
    leaveThreads(releaseTarget(true));
}

/// Workers that @p areIdle have nothing left to do but to end, which unloading the library waits
/// for. One that is with the target may stay there for ever, and needs the library until then.
void AsyncProcessorImpl::leaveThreads(bool areIdle) noexcept {
    if (!areIdle)
        platform::keepLibraryLoaded();
    for (const QXHandle each : m_threads) {
        if (areIdle)
            platform::leaveThread(each);
        else
            QXThreadDetach(each);
    }
    m_threads.clear();
}

void AsyncProcessorImpl::stopWorkers() {
    const std::lock_guard taking(m_taking);
    int sleepers = 0;
    {
        const std::lock_guard lock(m_lock);
        m_stopping = true;
        sleepers = m_sleepers.exchange(0, std::memory_order_relaxed);
    }
    for (; sleepers > 0; --sleepers)
        m_signal.signal();
    m_nap.signal();
    m_taking.broadcast();
}

void AsyncProcessorImpl::awaitIdleWorkers() {
    using std::chrono::ceil;
    using std::chrono::milliseconds;
    const auto end = std::chrono::steady_clock::now() + Grace;
    const std::lock_guard taking(m_taking);
    while (!isIdleBut(Worker::caller(*this))) {
        const auto left = ceil<milliseconds>(end - std::chrono::steady_clock::now());
        if (left <= milliseconds::zero())
            return;
        m_taking.wait(static_cast<uint32_t>(left.count())); // throws when the time is over
    }
}

void AsyncProcessorImpl::drain() {
    for (;;) {
        QueuedEntry entry;
        {
            const std::lock_guard taking(m_taking);
            if (!refill())
                return;
            takeFirst(entry);
        }
        resultOf([&] { handOn(entry); });
    }
}

/// Drops the target unless somebody may still use it: as long as entries wait, or a worker has one
/// in its hands.
/// @param isDrained  true when the caller knows that none waits
/// @return whether the target was dropped
bool AsyncProcessorImpl::releaseTarget(bool isDrained) noexcept {
    Reference<ILogProcessor> target;
    Reference<exec::IRunnable> whenEmpty;
    {
        const std::lock_guard taking(m_taking);
        // Whoever shuts down may close the writer next, so that a worker that ends at this moment
        // must not find the queue drained and take the target out of its hands.
        m_drained |= isDrained;
        if (!m_drained || !isIdleBut(nullptr))
            return false;
        target.swap(m_target);
        whenEmpty.swap(m_whenEmpty);
    }
    // A writer may end its document now.
    target.reset();
    if (whenEmpty)
        resultOf([&] { whenEmpty->run(); });
    return true;
}

uint64_t AsyncProcessorImpl::getQueuedCount() const {
    const std::lock_guard lock(m_lock);
    return m_putCount - m_takenCount.load(std::memory_order_relaxed);
}

void AsyncProcessorImpl::lockAll() {
    m_taking.lock();
    m_lock.lock();
}

void AsyncProcessorImpl::unlockAll() {
    m_lock.unlock();
    m_taking.unlock();
}

/// In a forked child: to be called with all locked. What is queued stays where it is, since giving
/// it back may run code that must not run in the middle of a fork.
void AsyncProcessorImpl::leaveToParent() {
    m_isParents = true;
    m_stopping = true;
    m_takenCount = m_putCount;
    m_workerCount = 0;
    // A writer that went with this reference would end the parent's document.
    static_cast<void>(m_target.detach());
    static_cast<void>(m_whenEmpty.detach());
}

constexpr platform::ForkSteps AsyncProcessorImpl::Forks{
    [](void* self) noexcept { static_cast<AsyncProcessorImpl*>(self)->lockAll(); },
    [](void* self) noexcept { static_cast<AsyncProcessorImpl*>(self)->unlockAll(); },
    [](void* self) noexcept {
        static_cast<AsyncProcessorImpl*>(self)->leaveToParent();
        static_cast<AsyncProcessorImpl*>(self)->unlockAll();
    }};

} // namespace qx::log
