#include "qx/platform/posix/CountingSemaphore.h"
#include "qx/platform/posix/synchandle.h"

namespace qx::platform {

int32_t CountingSemaphore::waitContended(const Deadline* deadline) noexcept {
    m_state.fetch_add(OneWaiter, std::memory_order_relaxed);
    bool inTime = true;
    while (!tryTake(OneWaiter + 1)) {
        if (!inTime) {
            m_state.fetch_sub(OneWaiter, std::memory_order_relaxed);
            return result::TimedOut;
        }
        inTime = futexWait(futexWord(m_state), 0, deadline);
    }
    return result::Ok;
}

} // namespace qx::platform

using namespace qx::platform;

int32_t QXSemaphoreCreate(uint32_t initialCount, const char* name, uint32_t flags,
                          QXHandle* handle) {
    if (handle != nullptr && initialCount > CountingSemaphore::MaximumCount) {
        *handle = NoHandle;
        return qx::result::InvalidArgument;
    }
    return createSync<CountingSemaphore, &shared::semaphoreCreate>(name, flags, handle,
                                                                   initialCount);
}

int32_t QXSemaphoreDestroy(QXHandle handle) {
    return destroySync<CountingSemaphore, &shared::semaphoreDestroy>(handle);
}

int32_t QXSemaphorePost(QXHandle handle) {
    return callSync<&CountingSemaphore::post, &shared::semaphorePost>(handle);
}

int32_t QXSemaphoreWait(QXHandle handle) {
    return callSync<&CountingSemaphore::wait, &shared::semaphoreWait>(handle);
}

int32_t QXSemaphoreTryWait(QXHandle handle) {
    return callSync<&CountingSemaphore::tryWait, &shared::semaphoreTryWait>(handle);
}

int32_t QXSemaphoreGetValue(QXHandle handle, int32_t* value) {
    return callSync<&CountingSemaphore::getValue, &shared::semaphoreGetValue>(handle, value);
}
