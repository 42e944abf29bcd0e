#pragma once

#include <cstdint>

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/exec/IRunnable.h>
#include <qx/log/ILogProcessor.h>
#include <qx/platform/export.h>

namespace qx::log {

class AsyncProcessorImpl;

namespace detail {
class OwnTarget;
struct Record;
} // namespace detail

/// Settings of an asynchronous processor beside its target and the number of its workers.
struct AsyncOptions {
    /// What happens to an entry for which the queue has no room.
    enum class Overflow {
        /// The caller waits for room. A worker that logs in the middle of an entry does not wait:
        /// its entry goes beyond the bound. Without a worker there will be no room: process throws
        /// IllegalStateException. A fan-out of several processors lets one entry at a time
        /// through, so a target must not log through a Logger in front of one that this queue is
        /// in: that may be waiting for it.
        Block,
        /// The entry is dropped.
        DropNewest,
        /// The entry that has waited longest is dropped.
        DropOldest,
    };

    /// The most entries that may wait, without those that workers are handing on; 0 for any number.
    uint32_t capacity = 0;
    Overflow overflow = Overflow::Block;

    /// What a worker does when the target or whenEmpty throws. Either way the entry is lost and the
    /// failure counted.
    enum class Failure {
        /// It ends. When the last worker has ended, queued entries wait for the destructor.
        EndWorker,
        /// It carries on with the next entry: one that cannot be written does not cost those that
        /// follow.
        CarryOn,
    };
    Failure failure = Failure::EndWorker;
    /// Run by a worker whenever it has handed entries on and finds the queue empty, by flush, and
    /// at shutdown: the place to release what io::HeldFlushWriter holds back. Several threads may
    /// run it at the same time. What it throws counts like a failure of the target.
    Reference<exec::IRunnable> whenEmpty;
};

/// Queues entries and lets worker threads hand them to a target, so that whoever logs does not wait
/// for it. Entries are taken in the order in which they were queued, so one worker keeps the order.
/// Several workers call the target at the same time: it must allow that, or stand behind a
/// MultiProcessor, which lets one entry at a time through.
///
/// The queue has no bound unless the options set one. Loggers that outrun the workers pause for a
/// few milliseconds every some thousand entries, but do not wait for a target that hangs.
///
/// When the target throws, the entry is lost (getFailedCount) and the worker ends, unless the
/// options let it carry on; other workers carry on in any case. Without a worker, also when there
/// never was one, entries wait for the destructor.
///
/// The destructor hands on the entries that still wait, in order and on its own thread, even when
/// the target throws for some of them. Workers are not joined: one that is in the middle of an
/// entry finishes it meanwhile. The target is released by the destructor, or by such a worker when
/// that ends later. After a successful flush no worker is in the middle of an entry.
///
/// Unloading the library waits for the threads of workers that have nothing left to do. One that is
/// in the middle of an entry for longer than the destructor waits for it, a second, keeps the
/// library loaded. The code of a plug-in's own target is not kept. A plug-in that brings the
/// library along, and leaves its processor to the destructor of a static object, has that run when
/// both are chosen to be unloaded: then nothing can keep the library, and the system's loader ends
/// the process. Such a plug-in drops its processor in a function that is called before dlclose, or
/// its program has the library loaded by itself.
///
/// A child made by fork has neither the workers nor what is queued, which its parent hands on: the
/// queue is empty there, flush returns false, process throws IllegalStateException, and the target
/// is neither called nor released. A child that is to log makes a processor of its own.
///
/// Every Logger holds a reference. Whoever drops the last one runs the destructor, and entries
/// logged up to then are handed on. The target must not drop the last reference.
class QX_API AsyncProcessor : public qx::pcom::Implements<Object, ILogProcessor> {
public:
    /// @param target       kept by a reference
    /// @param threadCount  workers; below 1 for none
    /// @throws ResultException with result::NullPointer for a null target, or when a thread cannot
    ///     be started
    static Reference<AsyncProcessor> create(ILogProcessor* target, int threadCount,
                                            const AsyncOptions& options = {});

    ~AsyncProcessor() override;

    /// Queues the entry by a reference. Any thread may call it.
    /// @throws std::bad_alloc, IllegalStateException as Overflow::Block says, or in a forked child
    void process(const ILogEntry* entry) override;

    /// Waits until the target has returned (or thrown) for every entry that was queued before the
    /// call, then runs the whenEmpty of the options. Entries that are queued meanwhile are not
    /// waited for.
    /// @return false, without waiting, when that is impossible: no worker is left while entries
    ///     wait, the caller is a worker in the middle of an entry, or the process is a child of the
    ///     one that made the processor
    /// @throws what whenEmpty throws
    bool flush();

    /// Entries that wait; those that the bound of the queue made it drop; how often the target or
    /// whenEmpty threw; workers that have not ended. Out of date as soon as somebody logs.
    ///
    /// All of what was logged has arrived when flush has returned true and none was dropped or has
    /// failed.
    uint64_t getQueuedCount() const;
    uint64_t getDroppedCount() const;
    uint64_t getFailedCount() const;
    int getWorkerCount() const;
    /// The result code of what was thrown first; result::Ok when nothing was.
    int32_t getFirstFailure() const;

private:
    friend class detail::OwnTarget;

    bool tryProcess(const detail::Record& record);

    explicit AsyncProcessor(Reference<AsyncProcessorImpl> core);

    const Reference<AsyncProcessorImpl> m_core;
};

} // namespace qx::log
