#pragma once

#include <memory>

#include <qx/platform/export.h>

namespace qx::sync {

/// A recursive mutex that is free in a child made by fork even when another thread of the parent,
/// which the child does not have, held it at that moment. Serves std::lock_guard and its like.
///
/// What the mutex guards is then as that thread left it, perhaps half changed; requireWhole tells.
class QX_API ForkSafeMutex {
public:
    /// @param name  label for debugging, nul-terminated, copied; null for none
    explicit ForkSafeMutex(const char* name = nullptr);
    ~ForkSafeMutex();
    ForkSafeMutex(const ForkSafeMutex&) = delete;
    ForkSafeMutex& operator=(const ForkSafeMutex&) = delete;

    void lock();
    [[nodiscard]] bool try_lock();
    /// @throws ResultException when the lock is not held (result::NotOwner)
    void unlock();

    /// Refuses to go on with what another thread may have left half changed. The caller holds the
    /// mutex.
    /// @throws IllegalStateException "in use by another thread when the process was forked", each
    ///     time when such a fork has happened
    void requireWhole() const;

private:
    struct State;

    const std::unique_ptr<State> m_state;
};

} // namespace qx::sync
