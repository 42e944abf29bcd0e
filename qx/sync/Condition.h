#pragma once

#include <cstdint>

#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/platform/export.h>
#include <qx/platform/sync.h>

namespace qx::sync {

/// A condition variable together with the recursive lock that guards what it is about:
///
///     Condition::Holder holder(condition);
///     while (queue.isEmpty())
///         condition.wait();
///
/// Serves std::lock_guard and std::unique_lock. All members may be called from any thread; a
/// failing platform call throws ResultException with the call's result code and leaves the
/// condition usable.
class QX_API Condition : public qx::Object {
public:
    class Holder;

    /// @param name   label for debugging, nul-terminated, copied; null for none
    /// @param flags  QX_SYNC_... bits; 0 keeps the condition inside this process
    explicit Condition(const char* name = nullptr, unsigned int flags = 0);
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    void acquire();
    void release();

    /// Gives the lock up, as often as it is held, blocks until a signal for this wait, and takes
    /// the lock back.
    /// @throws ResultException when the caller does not hold the lock (result::NotOwner)
    void wait();

    /// The same for at most @p milliseconds. A time-out is an exception too, thrown with the lock
    /// taken back.
    /// @throws ResultException when the time ran out first (result::TimedOut)
    void wait(uint32_t milliseconds);

    /// Ends the longest wait, if there is one.
    void signal();
    /// Ends every wait.
    void broadcast();

    void lock() { acquire(); }
    void unlock() { release(); }

private:
    PlatformHandle<&QXConditionDestroy> m_handle;
};

/// Holds a condition for the length of a scope.
class QX_API Condition::Holder {
public:
    explicit Holder(Condition& condition);
    ~Holder();
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

private:
    Condition& m_condition;
};

} // namespace qx::sync

using CQXCondition = qx::sync::Condition;
