#pragma once

#include <cstdint>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/sync.h>
#include <qx/sync/Duration.h>
#include <qx/sync/Object.h>

namespace qx::sync {

/// A count of units, 0 to 0x7FFFFFFF: wait takes one, signal adds one.
///
/// All members may be called from any thread. A failing platform call throws ResultException with
/// the call's result code and leaves the semaphore usable, unless the member says otherwise.
class QX_API Semaphore : public Object {
public:
    /// @param initialCount  units to begin with
    /// @param name          nul-terminated, copied. With QX_SYNC_SHARED the semaphore of that name
    ///     for all processes of the user, and required; else a label for debugging, null for none
    /// @throws ResultException with result::InvalidArgument for a name that is missing and for an
    ///     unknown flag, with result::NotAvailable without a memory file system
    explicit Semaphore(uint32_t initialCount = 0, const char* name = nullptr,
                       unsigned int flags = 0);

    /// Blocks until there is a unit and takes it.
    void wait() override;
    [[nodiscard]] bool tryWait() override;

    /// Waits for a unit for at most any std::chrono::duration, rounded up to milliseconds, or until
    /// a time point of any clock; false when there was none in time. When the time is already over,
    /// they take a unit that is there.
    template <Duration D>
    [[nodiscard]] bool waitFor(const D& duration) {
        return waitInSteps(duration,
                           [this](uint32_t milliseconds) { return tryWait(milliseconds); });
    }
    template <TimePoint T>
    [[nodiscard]] bool waitUntil(const T& end) {
        return waitUntilTime(end, [this](uint32_t milliseconds) { return tryWait(milliseconds); });
    }

    /// Adds one unit.
    /// @throws ResultException at the greatest count (result::Overflow)
    virtual void signal();

    /// The units at hand at a moment within the call, those that dead processes held included; out
    /// of date as soon as another thread waits or signals.
    virtual int32_t getValue();

    /// True when the unit that the calling thread took last is one that came back from a process
    /// which died or ended with it, and the thread has not signalled since. Only a semaphore
    /// between processes that was created with 1 or more gets units back; each is taken before
    /// others and told once, and once more when whoever was told dies with it.
    bool acquiredFromDead() const;

private:
    bool tryWait(uint32_t milliseconds);

    PlatformHandle<&QXSemaphoreDestroy> m_handle;
};

} // namespace qx::sync

using CQXSemaphore = qx::sync::Semaphore;
