#pragma once

#include <concepts>
#include <cstdint>

#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/platform/export.h>
#include <qx/platform/sync.h>
#include <qx/sync/Duration.h>

namespace qx::sync {

/// A condition variable together with the recursive lock that guards what it is about:
///
///     Condition::Holder holder(condition);
///     while (queue.isEmpty())
///         condition.wait();
///
/// Serves std::lock_guard, std::unique_lock and std::scoped_lock. All members may be called from
/// any thread; a failing platform call throws ResultException with the call's result code and
/// leaves the condition usable.
class QX_API Condition : public qx::Object {
public:
    class Holder;

    /// @param name   nul-terminated, copied. With QX_SYNC_SHARED the condition of that name for all
    ///     processes of the user, and required; else a label for debugging, null for none
    /// @param flags  QX_SYNC_... bits; 0 keeps the condition inside this process
    /// @throws ResultException with result::InvalidArgument for a name that is missing and for an
    ///     unknown flag, with result::NotAvailable without a memory file system
    explicit Condition(const char* name = nullptr, unsigned int flags = 0);
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    void acquire();
    /// True when the lock is now held, maybe once more. Does not block.
    [[nodiscard]] bool tryAcquire();
    void release();

    /// True when the calling thread holds the lock and got it, between processes, from one who died
    /// or ended while it held it: what it guards may be half changed. A wait gives the lock up, and
    /// with it this answer, and takes it anew: ask before it and again behind it. To signal without
    /// holding the lock leaves the answer to the next holder.
    bool acquiredFromDead() const;

    /// Gives the lock up, as often as it is held, blocks until a signal for this wait, and takes
    /// the lock back.
    /// @throws ResultException when the caller does not hold the lock (result::NotOwner)
    void wait();

    /// The same for at most @p milliseconds. A time-out is an exception too, thrown with the lock
    /// taken back.
    /// @throws ResultException when the time ran out first (result::TimedOut)
    void wait(uint32_t milliseconds);

    /// The same for any std::chrono::duration, rounded up to milliseconds, and until a time point
    /// of any clock: false, and no exception, when the time ran out first.
    template <Duration D>
    [[nodiscard]] bool waitFor(const D& duration) {
        return waitInSteps(duration,
                           [this](uint32_t milliseconds) { return tryWait(milliseconds); });
    }
    template <TimePoint T>
    bool waitUntil(const T& end) {
        return waitUntilTime(end, [this](uint32_t milliseconds) { return tryWait(milliseconds); });
    }

    /// Wait until @p isTrue returns true. It is called with the lock held, the first time before
    /// any wait. The timed forms return what it returned last. The lock is given up and taken
    /// between two calls, so it is @p isTrue that must ask acquiredFromDead, where that matters:
    /// behind the wait only the last acquisition is told of.
    template <std::predicate Predicate>
    void wait(Predicate isTrue) {
        while (!isTrue())
            wait();
    }
    template <Duration D, std::predicate Predicate>
    [[nodiscard]] bool waitFor(const D& duration, Predicate isTrue) {
        const TimeBudget budget(roundedUp<std::milli>(duration));
        bool inTime = true;
        while (!isTrue()) {
            if (!inTime)
                return false;
            const uint64_t left = budget.milliseconds();
            inTime = left != 0 && waitInSteps(left, [this](uint32_t ms) { return tryWait(ms); });
        }
        return true;
    }
    template <TimePoint T, std::predicate Predicate>
    bool waitUntil(const T& end, Predicate isTrue) {
        bool inTime = true;
        while (!isTrue()) {
            if (!inTime)
                return false;
            inTime = waitUntil(end);
        }
        return true;
    }

    /// Ends the longest wait, if there is one. Between processes it ends any wait, now and then
    /// several.
    void signal();
    /// Ends every wait.
    void broadcast();

    void lock() { acquire(); }
    [[nodiscard]] bool try_lock() { return tryAcquire(); }
    void unlock() { release(); }

private:
    bool tryWait(uint32_t milliseconds);

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
