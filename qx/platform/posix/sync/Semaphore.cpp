#include "qx/platform/sync.h"

#include <algorithm>

#include <qx/platform/posix/shared/SharedSemaphore.h>
#include <qx/platform/posix/sync/ForkMark.h>
#include <qx/platform/posix/sync/Grants.h>
#include <qx/platform/posix/sync/synchandle.h>

namespace qx::platform {

namespace {

/// Waiting and posting are one addition each as long as nobody has to sleep.
class LocalSemaphore {
public:
    static constexpr int64_t MaximumCount = 0x7FFFFFFF;

    explicit LocalSemaphore(uint32_t count) noexcept : m_balance(count) {}

    int32_t post() noexcept {
        // Posts that race at the limit may go beyond it by one each; no unit is lost.
        if (m_balance.load(std::memory_order_relaxed) >= MaximumCount)
            return result::Overflow;
        if (m_balance.fetch_add(1, std::memory_order_release) < 0)
            m_grants.grant();
        return result::Ok;
    }

    int32_t wait() noexcept {
        return m_balance.fetch_sub(1, std::memory_order_acquire) > 0 ? result::Ok : m_grants.wait();
    }

    int32_t tryWait() noexcept {
        int64_t balance = m_balance.load(std::memory_order_relaxed);
        while (balance > 0) {
            if (m_balance.compare_exchange_weak(balance, balance - 1, std::memory_order_acquire,
                                                std::memory_order_relaxed))
                return result::Ok;
        }
        return m_mark.isFromParent() ? tryWaitInChild() : result::Busy;
    }

    int32_t timedWait(uint32_t milliseconds) noexcept {
        if (tryWait() == result::Ok)
            return result::Ok;
        if (milliseconds == 0)
            return result::TimedOut;
        const Deadline deadline = Deadline::after(milliseconds);
        return m_balance.fetch_sub(1, std::memory_order_acquire) > 0
                   ? result::Ok
                   : m_grants.wait(m_balance, deadline);
    }

    int32_t getValue(int32_t* value) noexcept {
        if (value == nullptr)
            return result::NullPointer;
        const int64_t balance = m_balance.load(std::memory_order_relaxed);
        const int64_t granted = m_mark.isFromParent() ? m_grants.count() : 0;
        *value = static_cast<int32_t>(
            std::clamp<int64_t>(std::max<int64_t>(balance, 0) + granted, 0, MaximumCount));
        return result::Ok;
    }

private:
    /// In a child of fork the balance still counts those who waited in the parent. They never take
    /// the grants that are given for them, which are units at hand: whoever waits takes one at
    /// once.
    QX_CONTENDED int32_t tryWaitInChild() noexcept {
        return m_balance.fetch_sub(1, std::memory_order_acquire) > 0 ||
                       m_grants.wait(m_balance, Deadline::after(0u)) == result::Ok
                   ? result::Ok
                   : result::Busy;
    }

    std::atomic<int64_t> m_balance; // units at hand; -n: n waiters without a grant
    Grants m_grants;
    ForkMark m_mark;
};

} // namespace

} // namespace qx::platform

using namespace qx::platform;

int32_t QXSemaphoreCreate(uint32_t initialCount, const char* name, uint32_t flags,
                          QXHandle* handle) {
    if (handle != nullptr && initialCount > LocalSemaphore::MaximumCount) {
        *handle = NoHandle;
        return qx::result::InvalidArgument;
    }
    return createSync<LocalSemaphore, SharedSemaphore>(name, flags, handle, initialCount);
}

int32_t QXSemaphoreDestroy(QXHandle handle) {
    return destroySync<LocalSemaphore, SharedSemaphore>(handle);
}

int32_t QXSemaphorePost(QXHandle handle) {
    return callSync<&LocalSemaphore::post, &SharedSemaphore::post>(handle);
}

int32_t QXSemaphoreWait(QXHandle handle) {
    return callSync<&LocalSemaphore::wait, &SharedSemaphore::wait>(handle);
}

int32_t QXSemaphoreTryWait(QXHandle handle) {
    return callSync<&LocalSemaphore::tryWait, &SharedSemaphore::tryWait>(handle);
}

int32_t QXSemaphoreTimedWait(QXHandle handle, uint32_t milliseconds) {
    return callSync<&LocalSemaphore::timedWait, &SharedSemaphore::timedWait>(handle, milliseconds);
}

int32_t QXSemaphoreGetValue(QXHandle handle, int32_t* value) {
    return callSync<&LocalSemaphore::getValue, &SharedSemaphore::getValue>(handle, value);
}
