#pragma once

#include <cstdint>

#include <qx/log/detail/AsyncProcessorImpl.h>
#include <qx/log/detail/RecordQueue.h>

namespace qx::log {

/// A worker thread at work, listed with its processor as long as it runs.
class AsyncProcessorImpl::Worker {
public:
    explicit Worker(AsyncProcessorImpl& core);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Waits for the next entry, which is then in the worker's hands until the next call; false at
    /// shutdown.
    bool next(detail::QueuedEntry& entry);

    /// The worker of @p core that the calling thread is, or null.
    static const Worker* caller(const AsyncProcessorImpl& core) noexcept;

private:
    friend class AsyncProcessorImpl;

    enum class Rest { None, Nap, Sleep };

    Rest lieDown(int naps);
    void rest(Rest rest);

    static constexpr uint64_t NoEntry = UINT64_MAX;

    AsyncProcessorImpl& m_core;
    Worker* m_next; // this and the rest are guarded by m_taking of the processor
    uint64_t m_number = NoEntry;
    /// May use the target or what runs when the queue is empty.
    bool m_isBusy = false;
};

} // namespace qx::log
