#pragma once

#include <cerrno>
#include <cstdlib>

#include <pthread.h>

namespace qx::platform::shared {

/// A process-shared lock in mapped memory that passes on when its holder is killed. The kernel
/// wakes the next waiter, also (from 5.5 on) for a process killed between freeing the lock and
/// waking. Results are errno values, as the thread library gives them.
class RobustLock {
public:
    enum class Recursion { None, Counted };

    /// Makes the lock in place; nobody else may see it yet.
    explicit RobustLock(Recursion recursion) noexcept;

    /// 0; EOWNERDEAD when the lock is held now but its last holder died with it: the caller repairs
    /// the state under it and calls markRepaired; EAGAIN when it cannot be taken more often.
    int acquire() noexcept { return pthread_mutex_lock(&m_mutex); }
    /// As acquire, or EBUSY.
    int tryAcquire() noexcept { return pthread_mutex_trylock(&m_mutex); }
    void markRepaired() noexcept { pthread_mutex_consistent(&m_mutex); }
    /// 0, or EPERM when the calling thread does not hold the lock.
    int release() noexcept { return pthread_mutex_unlock(&m_mutex); }

private:
    pthread_mutex_t m_mutex;
};

/// Holds the lock of a state for a scope. @p State has a RobustLock `lock` and a function
/// `repair()` that makes its derived fields right again after a holder died half-way.
template <class State>
class Locked {
public:
    explicit Locked(State& state) noexcept : m_state(state) {
        const int error = state.lock.acquire();
        if (error == EOWNERDEAD) {
            state.repair();
            state.lock.markRepaired();
        } else if (error != 0) {
            std::abort(); // the shared memory was overwritten: nothing in it can be relied on
        }
    }
    ~Locked() { m_state.lock.release(); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

private:
    State& m_state;
};

} // namespace qx::platform::shared
