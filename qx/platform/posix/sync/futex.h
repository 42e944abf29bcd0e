#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdint>
#include <ctime>

namespace qx::platform {

/// A point of the monotonic clock, which is the system's CLOCK_MONOTONIC.
class Deadline {
public:
    static Deadline after(std::chrono::nanoseconds time) noexcept {
        return Deadline(Clock::now() + time);
    }
    static Deadline after(uint32_t milliseconds) noexcept {
        return after(std::chrono::milliseconds(milliseconds));
    }

    /// The point as the system takes it, and how long it is until then.
    timespec time() const noexcept { return toTimespec(m_time.time_since_epoch()); }
    timespec timeLeft() const noexcept {
        return toTimespec(std::max(m_time - Clock::now(), Clock::duration(0)));
    }
    bool hasPassed() const noexcept { return Clock::now() >= m_time; }
    bool isBefore(const Deadline& other) const noexcept { return m_time < other.m_time; }

private:
    using Clock = std::chrono::steady_clock;

    explicit Deadline(Clock::time_point time) noexcept : m_time(time) {}
    static timespec toTimespec(std::chrono::nanoseconds time) noexcept {
        const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
        return {seconds.count(), (time - seconds).count()};
    }

    Clock::time_point m_time;
};

/// The same clock in milliseconds.
inline int64_t monotonicMs() noexcept {
    return std::chrono::floor<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// The 32 bits of an atomic that the kernel compares and waits on: all of a 32-bit one, the low
/// half of a 64-bit one.
inline const uint32_t* futexWord(const std::atomic<uint32_t>& word) noexcept {
    return reinterpret_cast<const uint32_t*>(&word);
}

inline const uint32_t* futexWord(const std::atomic<uint64_t>& word) noexcept {
    constexpr int LowHalf = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? 0 : 1;
    return reinterpret_cast<const uint32_t*>(&word) + LowHalf;
}

/// Who sleeps on a word: threads of this process, or of every process that has mapped it.
enum class FutexScope { Process, Machine };

/// Sleeps while the word holds @p expected. May return early for no reason: callers loop on their
/// own condition. False when @p deadline (null: none) has passed. Leaves errno as it was.
bool futexWait(const uint32_t* word, uint32_t expected, const Deadline* deadline = nullptr,
               FutexScope scope = FutexScope::Process) noexcept;

/// Wakes up to @p count sleepers; how many it woke. The word is only an address here: it may belong
/// to an object that a woken thread has freed in the meantime. Leaves errno as it was.
long futexWake(const uint32_t* word, int count, FutexScope scope = FutexScope::Process) noexcept;

inline constexpr int WakeAll = INT_MAX;

/// Marks what runs only when threads meet. Kept out of its callers, whose uncontended path would
/// pay for the registers that it needs.
#define QX_CONTENDED [[gnu::cold, gnu::noinline]]

/// Tells the processor that the caller spins.
inline void relax() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
    __asm__ __volatile__("yield");
#endif
}

/// Whether another thread can run while this one spins.
[[gnu::visibility("hidden")]] extern constinit bool g_hasSeveralCpus;

/// How often to look for what another thread does soon: for about as long as a sleep and wake-up
/// take, and for many times as long.
inline constexpr int ShortSpin = 8, LongSpin = 36;

/// Tries so often. True as soon as @p attempt says so. Pauses double between two looks at first, so
/// that the holder of a lock keeps its cache line most of the time. Where there is one CPU only,
/// nothing would change meanwhile, and it does not try.
template <class Attempt>
bool spin(Attempt attempt, int looks = ShortSpin) noexcept {
    constexpr int LongestPause = 128;
    if (!g_hasSeveralCpus)
        return false;
    for (int pause = 1; looks > 0; --looks) {
        for (int i = 0; i < pause; ++i)
            relax();
        if (attempt())
            return true;
        pause = std::min(pause * 2, LongestPause);
    }
    return false;
}

/// Whether it pays the calling thread to spin before it sleeps, which its last waits tell: after
/// each that was not answered meanwhile it spins half as often, down to one wait of 256.
///
/// Two threads that both sleep between their turns would go on so for ever where a wake-up takes
/// longer than a spin: the other is not awake in time. One spin of many is therefore a long one,
/// and who then finds the other awake spins at his next wait.
class SpinHabit {
public:
    /// How often to look before the sleep that is due, mostly not at all.
    int looks() noexcept {
        if (m_left != 0) {
            --m_left;
            return 0;
        }
        return m_inVain == MostInVain ? LongSpin : ShortSpin;
    }
    void learn(bool isAnswered) noexcept {
        if (isAnswered || m_inVain == MostInVain)
            m_inVain = 0;
        else if (m_gap == LongestGap)
            ++m_inVain;
        m_gap = isAnswered ? 1 : std::min(m_gap * 2, LongestGap);
        m_left = m_gap - 1;
    }
    /// The calling thread has given something to one that was waiting for it awake.
    void hasMetSpinner() noexcept { m_left = 0; }

private:
    static constexpr uint32_t LongestGap = 256, MostInVain = 7;

    uint32_t m_gap = 1; // waits from one that spins to the next
    uint32_t m_left = 0;
    uint32_t m_inVain = 0; // spins at the longest gap since a long one
};

[[gnu::tls_model("initial-exec"),
  gnu::visibility("hidden")]] extern constinit thread_local SpinHabit t_spinHabit;

/// As spin, for what another thread does when it likes: as long as that has come soon.
template <class Attempt>
bool spinForAnswer(Attempt attempt) noexcept {
    const int looks = t_spinHabit.looks();
    if (looks == 0)
        return false;
    const bool isAnswered = spin(attempt, looks);
    t_spinHabit.learn(isAnswered);
    return isAnswered;
}

} // namespace qx::platform
