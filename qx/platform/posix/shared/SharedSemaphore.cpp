#include "qx/platform/posix/shared/SharedSemaphore.h"

#include <algorithm>

#include <qx/platform/shared.h>

namespace qx::platform {

int32_t SharedSemaphore::post(shared::SharedObject& caller) noexcept {
    const int32_t r = m_isGuard ? postUnit(caller) : postSignal();
    if (r >= 0)
        waiters.wakeOne();
    return r;
}

int32_t SharedSemaphore::wait(shared::SharedObject& caller) noexcept {
    return waitUntil(caller, nullptr);
}

int32_t SharedSemaphore::timedWait(shared::SharedObject& caller, uint32_t milliseconds) noexcept {
    const Deadline deadline = Deadline::after(milliseconds);
    return waitUntil(caller, &deadline);
}

int32_t SharedSemaphore::waitUntil(shared::SharedObject& caller,
                                   const Deadline* deadline) noexcept {
    if (!m_isGuard) {
        const auto take = [this] { return takeSignal(); };
        const auto mayWait = [deadline] { return deadline == nullptr || !deadline->hasPassed(); };
        if (take() || (mayWait() && spinForAnswer(take)))
            return result::Ok;
        const shared::ShownWaiting shown(caller);
        return shared::waitUntil(waiters, deadline, take, [] {});
    }
    const auto take = [&] { return takeUnit(caller); };
    // Without time left nobody sleeps, and what the dead hold is looked for behind a sleep.
    const bool taken = deadline == nullptr ? take() : tryReaping(caller, *this, take);
    return taken ? result::Ok : waitReaping(caller, *this, deadline, take);
}

int32_t SharedSemaphore::tryWait(shared::SharedObject& caller) noexcept {
    const bool taken =
        m_isGuard ? tryReaping(caller, *this, [&] { return takeUnit(caller); }) : takeSignal();
    return taken ? result::Ok : result::Busy;
}

int32_t SharedSemaphore::getValue(shared::SharedObject& caller, int32_t* value) noexcept {
    if (value == nullptr)
        return result::NullPointer;
    if (m_isGuard) { // what the dead hold is free, whoever looked for them last
        reap(caller, *this);
        const shared::Locked locked(*this); // nobody is in the middle of taking or giving back
        *value = m_count.load();
    } else {
        *value = m_count.load();
    }
    return result::Ok;
}

bool SharedSemaphore::tryLeave(shared::SharedObject& caller) noexcept {
    return !m_isGuard || tryGiveBackOwn(caller, *this);
}

bool SharedSemaphore::takeSignal() noexcept {
    int32_t current = m_count.load();
    while (current > 0) {
        if (m_count.compare_exchange_weak(current, current - 1))
            return true;
    }
    return false;
}

int32_t SharedSemaphore::postSignal() noexcept {
    int32_t current = m_count.load();
    do {
        if (current == HighestCount)
            return result::Overflow;
    } while (!m_count.compare_exchange_weak(current, current + 1));
    return result::Ok;
}

bool SharedSemaphore::takeUnit(shared::SharedObject& caller) noexcept {
    const shared::Locked locked(*this);
    const int32_t current = m_count.load(std::memory_order_relaxed);
    if (current == 0)
        return false;
    ++m_held[caller.slot()];
    m_count.store(current - 1, std::memory_order_relaxed);
    caller.heirs().note(m_orphaned > 0);
    if (m_orphaned > 0) {
        shared::keepOrderOfWrites(); // whoever dies in between is missed, and the next one told
        --m_orphaned;
    }
    return true;
}

int32_t SharedSemaphore::postUnit(shared::SharedObject& caller) noexcept {
    const uint32_t slot = caller.slot();
    const shared::Locked locked(*this);
    const int32_t current = m_count.load(std::memory_order_relaxed);
    if (m_held[slot] != 0)
        --m_held[slot];
    else if (m_units < HighestCount)
        ++m_units;
    else
        return result::Overflow;
    m_count.store(current + 1, std::memory_order_relaxed);
    caller.heirs().forget();
    return result::Ok;
}

void SharedSemaphore::giveBack(uint32_t slot) noexcept {
    const auto returned = static_cast<int32_t>(m_held[slot]);
    m_orphaned += std::min(returned, HighestCount - m_orphaned);
    shared::keepOrderOfWrites();
    m_held[slot] = 0;
    const int32_t free = m_count.fetch_add(returned) + returned;
    m_orphaned = std::min(m_orphaned, free);
}

void SharedSemaphore::repair() noexcept {
    const int32_t free = countFree();
    m_count.store(free);
    m_orphaned = std::min(m_orphaned, free);
}

void SharedSemaphore::report(shared::StateReport& report) const noexcept {
    if (!m_isGuard)
        report.kind = QX_SHARED_KIND_SIGNAL;
    report.value = m_isGuard ? countFree() : m_count.load();
    report.isFromDead = m_orphaned > 0;
    for (uint32_t slot = 0; slot < shared::SlotCount; ++slot)
        report.slots[slot].held = m_held[slot];
}

int32_t SharedSemaphore::countFree() const noexcept {
    int32_t free = m_units;
    for (const uint32_t unitsOfSlot : m_held)
        free -= static_cast<int32_t>(unitsOfSlot);
    return free;
}

constexpr shared::Layout shared::SemaphoreLayout = LayoutOf<SharedSemaphore>;

} // namespace qx::platform
