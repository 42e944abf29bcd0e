#pragma once

#include <qx/core/PlatformHandle.h>
#include <qx/platform/sync.h>
#include <qx/sync/LockObject.h>

namespace qx::sync {

/// Recursive mutual exclusion: its holder may lock it again and unlocks it as often.
///
/// All members may be called from any thread; unlocking is up to the thread that holds the lock.
class QX_API Mutex : public LockObject {
public:
    /// @param name   nul-terminated, copied. With QX_SYNC_SHARED the mutex of that name for all
    ///     processes of the user, and required; else a label for debugging, null for none
    /// @param flags  QX_SYNC_... bits; 0 keeps the mutex inside this process
    /// @throws ResultException with result::InvalidArgument for a name that is missing and for an
    ///     unknown flag, with result::NotAvailable without a memory file system
    explicit Mutex(const char* name = nullptr, unsigned int flags = 0);

    void wait() override;
    [[nodiscard]] bool tryWait() override;
    void signal() override;

    /// True when the calling thread holds the mutex and got it, between processes, from one who
    /// died or ended while it held it, or closed it: what the mutex guards may be half changed.
    /// Stays true until the thread has unlocked it as often as it locked it; the next holder is
    /// told only when this one dies as well. Never true for a mutex inside one process.
    bool acquiredFromDead() const;

private:
    PlatformHandle<&QXMutexDestroy> m_handle;
};

} // namespace qx::sync

using CQXMutex = qx::sync::Mutex;
