#pragma once

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <mutex>

#include <pthread.h>

namespace qx::platform::shared {

/// A process-shared lock in mapped memory that passes on when its holder is killed. The kernel
/// wakes the next waiter, also (from 5.5 on) for a process killed between freeing the lock and
/// waking, and a waiter that nobody wakes looks again by itself. Results are errno values, as the
/// thread library gives them.
class RobustLock {
public:
    /// Makes the lock in place; nobody else may see it yet.
    RobustLock() noexcept;

    /// 0; EOWNERDEAD when the lock is held now but its last holder died with it: the caller repairs
    /// the state under it and calls markRepaired.
    int acquire() noexcept {
        const int error = tryAcquire();
        return error == EBUSY ? acquireContended() : error;
    }
    /// As acquire, or EBUSY.
    int tryAcquire() noexcept { return pthread_mutex_trylock(&m_mutex); }
    void markRepaired() noexcept { pthread_mutex_consistent(&m_mutex); }
    /// 0, or EPERM when the calling thread does not hold the lock.
    int release() noexcept { return pthread_mutex_unlock(&m_mutex); }

private:
    [[gnu::cold, gnu::noinline]] int acquireContended() noexcept;

    pthread_mutex_t m_mutex;
};

/// Keeps the compiler from exchanging the writes before it with those behind it, where it matters
/// between which of them a process was killed. The processor does not: what a killed process has
/// written is what stands before one point of its code.
inline void keepOrderOfWrites() noexcept { std::atomic_signal_fence(std::memory_order_seq_cst); }

/// Reads the result of an attempt to acquire a robust lock: true when it is held now, after
/// @p repair where its last holder died, false when it is another's.
template <class Repair>
bool isAcquired(RobustLock& lock, int error, Repair repair) noexcept {
    if (error == EBUSY)
        return false;
    if (error == EOWNERDEAD) {
        repair();
        lock.markRepaired();
    } else if (error != 0) {
        std::abort(); // the shared memory was overwritten: nothing in it can be relied on
    }
    return true;
}

/// Holds the lock of a state for a scope. @p State has a RobustLock `lock` and a function
/// `repair()` that makes its derived fields right again after a holder died half-way.
template <class State>
class Locked {
public:
    explicit Locked(State& state) noexcept : Locked(state, state.lock.acquire()) {}
    /// Holds it only if nobody else does.
    Locked(State& state, std::try_to_lock_t) noexcept : Locked(state, state.lock.tryAcquire()) {}
    ~Locked() {
        if (m_isHeld)
            m_state.lock.release();
    }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

    explicit operator bool() const noexcept { return m_isHeld; }

private:
    Locked(State& state, int error) noexcept
        : m_state(state), m_isHeld(isAcquired(state.lock, error, [&] { state.repair(); })) {}

    State& m_state;
    const bool m_isHeld;
};

} // namespace qx::platform::shared
