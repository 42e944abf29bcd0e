#pragma once

#include <qx/platform/posix/shared/SharedObject.h>

namespace qx::platform {

/// A semaphore between processes. Created with 1 or more units it guards resources: units belong to
/// the process that took them, and a process that ends gives its units back. Created with 0 it is a
/// signal: nobody owns units.
///
/// A signal is the atomic count alone. A guard also knows who holds how many units: m_units and
/// m_held are the truth and change by one word at a time, under the lock; the count of a guard is
/// derived from them, so that a holder of the lock may die between any two writes.
///
/// Units that came back from the dead are taken first, and whoever takes one is told. How many they
/// are is counted so that a death between two writes tells one too many but never one too few.
class SharedSemaphore {
public:
    static constexpr int32_t HighestCount = INT32_MAX;

    explicit SharedSemaphore(uint32_t initial) noexcept
        : m_isGuard(initial > 0), m_count(int32_t(initial)), m_units(int32_t(initial)) {}

    int32_t post(shared::SharedObject& caller) noexcept;
    int32_t wait(shared::SharedObject& caller) noexcept;
    int32_t tryWait(shared::SharedObject& caller) noexcept;
    int32_t timedWait(shared::SharedObject& caller, uint32_t milliseconds) noexcept;
    int32_t getValue(shared::SharedObject& caller, int32_t* value) noexcept;

    bool tryLeave(shared::SharedObject& caller) noexcept;
    bool isInUse(uint32_t slot) const noexcept { return m_held[slot] != 0; }
    void giveBack(uint32_t slot) noexcept;
    void repair() noexcept;
    void report(shared::StateReport& report) const noexcept;

    shared::RobustLock lock;
    shared::WaitWord waiters{};

private:
    int32_t waitUntil(shared::SharedObject& caller, const Deadline* deadline) noexcept;
    bool takeSignal() noexcept;
    int32_t postSignal() noexcept;
    bool takeUnit(shared::SharedObject& caller) noexcept;
    int32_t postUnit(shared::SharedObject& caller) noexcept;
    int32_t countFree() const noexcept;

    const bool m_isGuard;
    std::atomic<int32_t> m_count; // units that can be taken
    int32_t m_units;              // of a guard, held ones included
    int32_t m_orphaned = 0;       // of those that can be taken: given back for the dead
    uint32_t m_held[shared::SlotCount] = {};
};

template <>
inline constexpr shared::Kind shared::KindOf<SharedSemaphore> = Kind::Semaphore;

} // namespace qx::platform
