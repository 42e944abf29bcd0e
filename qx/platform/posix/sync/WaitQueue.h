#pragma once

#include <utility>

#include <qx/platform/posix/sync/futex.h>

namespace qx::platform {

/// One blocked thread, on its own stack: waits until another thread grants what it waits for.
class Waiter {
public:
    /// Blocks until granted. False when @p deadline (null: none) has passed.
    QX_CONTENDED bool wait(const Deadline* deadline = nullptr) noexcept;

    /// Ends the wait. The waiter may be gone when this returns.
    QX_CONTENDED void grant() noexcept;

private:
    friend class WaitQueue;

    enum State : uint32_t { Awake, Asleep, Granted };

    std::atomic<uint32_t> m_state{Awake};
    Waiter* m_next = nullptr;
};

/// Waiters in the order of their arrival. Not thread-safe: the owner guards it.
class WaitQueue {
public:
    WaitQueue() = default;
    WaitQueue(WaitQueue&& other) noexcept
        : m_first(std::exchange(other.m_first, nullptr)),
          m_last(std::exchange(other.m_last, nullptr)), m_size(std::exchange(other.m_size, 0)) {}

    uint32_t size() const noexcept { return m_size; }
    bool isEmpty() const noexcept { return m_size == 0; }

    void push(Waiter& waiter) noexcept;
    /// Removes the longest waiting; the queue must not be empty.
    Waiter& pop() noexcept;
    /// False when @p waiter is not in the queue. Walks it.
    bool remove(const Waiter& waiter) noexcept;
    /// Moves all waiters of @p other behind the own ones.
    void append(WaitQueue other) noexcept;
    /// Empties the queue and ends every wait. Call it without the guard: a granted thread may
    /// destroy the object it waited on.
    void grantAll() noexcept;
    /// Empties the queue without a look at the waiters, of whom nothing may be left.
    void forgetAll() noexcept {
        m_first = m_last = nullptr;
        m_size = 0;
    }

private:
    Waiter* m_first = nullptr;
    Waiter* m_last = nullptr;
    uint32_t m_size = 0;
};

} // namespace qx::platform
