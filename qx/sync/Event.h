#pragma once

#include <cstdint>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/sync.h>
#include <qx/sync/Duration.h>
#include <qx/sync/Object.h>

namespace qx::sync {

/// A signal that releases one wait. While nobody waits it is remembered, once: the next wait
/// returns at once, and the event is unset again.
///
/// All members may be called from any thread. A failing platform call throws ResultException with
/// the call's result code and leaves the event usable, unless the member says otherwise.
class QX_API Event : public Object {
public:
    /// Creates an event that is not signalled.
    /// @param name   nul-terminated, copied. With QX_SYNC_SHARED the event of that name for all
    ///     processes of the user, and required; else a label for debugging, null for none
    /// @param flags  QX_SYNC_... bits; 0 keeps the event inside this process
    /// @throws ResultException with result::InvalidArgument for a name that is missing and for an
    ///     unknown flag, with result::NotAvailable without a memory file system
    explicit Event(const char* name = nullptr, unsigned int flags = 0);

    /// Blocks until a signal is given for this wait.
    void wait() override;

    /// Always false: an event cannot be polled. wait(0) takes a remembered signal without blocking.
    [[nodiscard]] bool tryWait() override;

    /// Blocks for at most @p milliseconds; false when the time ran out first.
    virtual bool wait(uint32_t milliseconds);

    /// The same for any std::chrono::duration, rounded up to milliseconds, and until a time point
    /// of any clock. When the time is already over, they only look at the state.
    template <Duration D>
    [[nodiscard]] bool waitFor(const D& duration) {
        return waitInSteps(duration, [this](uint32_t milliseconds) { return wait(milliseconds); });
    }
    template <TimePoint T>
    bool waitUntil(const T& end) {
        return waitUntilTime(end, [this](uint32_t milliseconds) { return wait(milliseconds); });
    }

    virtual void signal();

private:
    PlatformHandle<&QXEventDestroy> m_handle;
};

} // namespace qx::sync

using CQXEvent = qx::sync::Event;
