#include "qx/platform/posix/shared/WaitWord.h"

namespace qx::platform::shared {

bool sleepForASlice(const uint32_t* word, uint32_t expected, const Deadline* deadline) noexcept {
    const Deadline slice = Deadline::after(SliceInMs);
    const bool isLast = deadline != nullptr && deadline->isBefore(slice);
    return futexWait(word, expected, isLast ? deadline : &slice, FutexScope::Machine) || !isLast;
}

bool WaitWord::sleep(uint32_t ticket, const Deadline* deadline) noexcept {
    sleepForASlice(futexWord(m_sequence), ticket, deadline);
    // Whatever ended the call (wake, signal, time, a moved word), only the word tells of a wake.
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
