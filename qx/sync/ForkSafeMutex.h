#pragma once

#include <memory>

#include <qx/platform/export.h>

namespace qx::sync {

/// A recursive mutex that a child made by fork finds free, also when another thread of the parent,
/// which the child does not have, held it at that moment. Serves std::lock_guard and its like.
///
/// What it guards is then as that thread left it, perhaps half changed: whoever needs it whole asks
/// for that.
class QX_API ForkSafeMutex {
public:
    /// @param name  label for debugging, nul-terminated, copied; null for none
    explicit ForkSafeMutex(const char* name = nullptr);
    ~ForkSafeMutex();
    ForkSafeMutex(const ForkSafeMutex&) = delete;
    ForkSafeMutex& operator=(const ForkSafeMutex&) = delete;

    void lock();
    bool try_lock();
    /// @throws ResultException when the lock is not held (result::NotOwner)
    void unlock();

    /// To be called by the holder.
    /// @throws IllegalStateException "in use by another thread when the process was forked", from
    ///     then on and each time
    void requireWhole() const;

private:
    struct State;

    const std::unique_ptr<State> m_state;
};

} // namespace qx::sync
