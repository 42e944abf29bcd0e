#include "qx/platform/posix/sync/WaitQueue.h"

namespace qx::platform {

bool Waiter::wait(const Deadline* deadline) noexcept {
    const auto isGranted = [this] { return m_state.load(std::memory_order_acquire) == Granted; };
    if (spinForAnswer(isGranted))
        return true;
    uint32_t expected = Awake;
    m_state.compare_exchange_strong(expected, Asleep, std::memory_order_relaxed);
    while (!isGranted()) {
        if (!futexWait(futexWord(m_state), Asleep, deadline))
            return isGranted();
    }
    return true;
}

void Waiter::grant() noexcept {
    const uint32_t* word = futexWord(m_state);
    if (m_state.exchange(Granted, std::memory_order_release) == Asleep)
        futexWake(word, 1);
    else
        t_spinHabit.hasMetSpinner();
}

void WaitQueue::push(Waiter& waiter) noexcept {
    waiter.m_next = nullptr;
    (m_last ? m_last->m_next : m_first) = &waiter;
    m_last = &waiter;
    ++m_size;
}

Waiter& WaitQueue::pop() noexcept {
    Waiter& waiter = *m_first;
    m_first = waiter.m_next;
    if (m_first == nullptr)
        m_last = nullptr;
    --m_size;
    return waiter;
}

bool WaitQueue::remove(const Waiter& waiter) noexcept {
    Waiter* previous = nullptr;
    for (Waiter* each = m_first; each != nullptr; previous = each, each = each->m_next) {
        if (each != &waiter)
            continue;
        (previous ? previous->m_next : m_first) = each->m_next;
        if (m_last == each)
            m_last = previous;
        --m_size;
        return true;
    }
    return false;
}

void WaitQueue::append(WaitQueue other) noexcept {
    if (other.isEmpty())
        return;
    (m_last ? m_last->m_next : m_first) = other.m_first;
    m_last = other.m_last;
    m_size += other.m_size;
}

void WaitQueue::grantAll() noexcept {
    while (!isEmpty())
        pop().grant(); // popped first: the waiter's stack frame may go with the grant
}

} // namespace qx::platform
