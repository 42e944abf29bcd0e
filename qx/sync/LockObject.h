#pragma once

#include <qx/sync/Object.h>

namespace qx::sync {

/// A lock of some kind: wait locks, tryWait tries to, signal unlocks. Serves std::lock_guard,
/// std::unique_lock, std::scoped_lock and std::condition_variable_any.
class QX_API LockObject : public Object {
public:
    /// Unlocks.
    /// @throws ResultException when the lock is not held (result::NotOwner)
    virtual void signal() = 0;

    void lock() { wait(); }
    [[nodiscard]] bool try_lock() { return tryWait(); }
    void unlock() { signal(); }
};

} // namespace qx::sync

using CQXLockObject = qx::sync::LockObject;
