#include "qx/platform/posix/shared/WaitWord.h"

namespace qx::platform::shared {

namespace {

bool isFirst(const Deadline* deadline, const Deadline& slice) noexcept {
    return deadline != nullptr && deadline->isBefore(slice);
}

} // namespace

bool sleepForASlice(const uint32_t* word, uint32_t expected, const Deadline* deadline) noexcept {
    const Deadline slice = Deadline::after(SliceInMs);
    const bool isLast = isFirst(deadline, slice);
    return futexWait(word, expected, isLast ? deadline : &slice, FutexScope::Machine) || !isLast;
}

bool WaitWord::sleep(uint32_t ticket, const Deadline* deadline) noexcept {
    const Deadline slice = Deadline::after(SliceInMs);
    const Deadline* const end = isFirst(deadline, slice) ? deadline : &slice;
    while (!hasMovedSince(ticket)) { // whatever ends the call, only the word tells of a wake
        if (!futexWait(futexWord(m_sequence), ticket, end, FutexScope::Machine))
            break;
    }
    return hasMovedSince(ticket);
}

void WaitWord::wake(int count) noexcept {
    const uint32_t announced = m_announced.load();
    if (announced == m_absent.load())
        return;
    m_sequence.fetch_add(1);
    if (futexWake(futexWord(m_sequence), count, FutexScope::Machine) == 0)
        m_absent.store(announced);
}

} // namespace qx::platform::shared
