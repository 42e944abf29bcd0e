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
    /// @param name   label for debugging, nul-terminated, copied; null for none
    /// @param flags  QX_SYNC_... bits; 0 keeps the mutex inside this process
    explicit Mutex(const char* name = nullptr, unsigned int flags = 0);

    void wait() override;
    [[nodiscard]] bool tryWait() override;
    void signal() override;

private:
    PlatformHandle<&QXMutexDestroy> m_handle;
};

} // namespace qx::sync

using CQXMutex = qx::sync::Mutex;
