#pragma once

#include <cstdint>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/sync.h>
#include <qx/sync/Duration.h>
#include <qx/sync/Object.h>

namespace qx::sync {

/// A barrier that stays open once opened: until it is closed again, every wait returns at once.
///
/// All members may be called from any thread. A failing platform call throws ResultException with
/// the call's result code and leaves the gate usable, unless the member says otherwise.
class QX_API Gate : public Object {
public:
    /// Creates a closed gate.
    /// @param name   nul-terminated, copied. With QX_SYNC_SHARED the gate of that name for all
    ///     processes of the user, and required; else a label for debugging, null for none
    /// @param flags  QX_SYNC_... bits; 0 keeps the gate inside this process
    /// @throws ResultException with result::InvalidArgument for a name that is missing and for an
    ///     unknown flag, with result::NotAvailable without a memory file system
    explicit Gate(const char* name = nullptr, unsigned int flags = 0);

    /// Blocks until the gate is open.
    void wait() override;

    /// True when the gate is open. Neither blocks nor throws.
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

    /// Releases all waiting threads, even when the gate is closed again at once.
    virtual void open();
    virtual void close();

private:
    PlatformHandle<&QXGateDestroy> m_handle;
};

} // namespace qx::sync

using CQXGate = qx::sync::Gate;
