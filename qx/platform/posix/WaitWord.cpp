#include "qx/platform/posix/WaitWord.h"

#include <algorithm>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace qx::platform::shared {

namespace {

long futex(std::atomic<uint32_t>& word, int operation, uint32_t value, const timespec* timeout) {
    static_assert(sizeof(word) == sizeof(uint32_t) && std::atomic<uint32_t>::is_always_lock_free);
    return syscall(SYS_futex, &word, operation, value, timeout, nullptr, 0);
}

} // namespace

Nanoseconds TimeLimit::slice() const {
    if (!m_end)
        return SliceLength;
    const auto rest =
        std::chrono::duration_cast<Nanoseconds>(*m_end - std::chrono::steady_clock::now());
    return std::clamp(rest, Nanoseconds::zero(), SliceLength);
}

bool WaitWord::sleep(uint32_t ticket, Nanoseconds longest) noexcept {
    const timespec timeout{static_cast<time_t>(longest.count() / 1'000'000'000),
                           static_cast<long>(longest.count() % 1'000'000'000)};
    futex(m_sequence, FUTEX_WAIT, ticket, &timeout);
    // Whatever ended the call (wake, signal, time, a moved word), only the word tells of a wake.
    return m_sequence.load() != ticket;
}

void WaitWord::wake(int32_t count) noexcept {
    const uint32_t announced = m_announced.load();
    if (announced == m_absent.load())
        return;
    m_sequence.fetch_add(1);
    if (futex(m_sequence, FUTEX_WAKE, static_cast<uint32_t>(count), nullptr) == 0)
        m_absent.store(announced);
}

} // namespace qx::platform::shared
