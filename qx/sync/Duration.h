#pragma once

#include <cstdint>
#include <limits>
#include <ratio>
#include <type_traits>

#include <qx/platform/export.h>

/// @file
/// How timed waits take the durations and time points of the standard library. Concepts describe
/// them here, because `<chrono>` costs a quarter of the compile time of a small program; a caller
/// that has a duration to hand over has included it.

namespace qx::sync {

/// Any std::chrono::duration.
template <class T>
concept Duration = requires(const T& duration) {
    typename T::rep;
    typename T::period;
    duration.count();
};

/// Any std::chrono::time_point of a clock that tells the time.
template <class T>
concept TimePoint = requires {
    typename T::duration;
    T::clock::now();
};

/// A duration in units of @p Period, however many: the nearest number of them.
template <class Period, Duration D>
constexpr long double unitsOf(const D& duration) noexcept {
    using Factor = std::ratio_divide<typename D::period, Period>;
    return static_cast<long double>(duration.count()) * Factor::num / Factor::den;
}

/// A duration in units of @p Period, rounded up so that nothing ends early: 0 for a negative one
/// and for NaN, @p most for what is longer.
template <class Period, Duration D>
constexpr uint64_t roundedUp(const D& duration,
                             uint64_t most = std::numeric_limits<uint64_t>::max()) noexcept {
    using Factor = std::ratio_divide<typename D::period, Period>;
    const auto count = duration.count();
    if (!(count > 0))
        return 0;
    if constexpr (std::is_floating_point_v<decltype(count)>) {
        const auto value = unitsOf<Period>(duration);
        if (!(value < static_cast<long double>(most)))
            return most;
        const auto whole = static_cast<uint64_t>(value);
        return static_cast<long double>(whole) < value ? whole + 1 : whole;
    } else {
        constexpr auto Num = static_cast<uint64_t>(Factor::num);
        constexpr auto Den = static_cast<uint64_t>(Factor::den);
        const auto units = static_cast<uint64_t>(count);
        uint64_t whole = 0;
        uint64_t rest = 0;
        if (__builtin_mul_overflow(units / Den, Num, &whole) ||
            __builtin_mul_overflow(units % Den, Num, &rest))
            return most;
        rest = rest / Den + (rest % Den != 0 ? 1 : 0);
        return whole > most || rest > most - whole ? most : whole + rest;
    }
}

/// Waits for at most @p milliseconds by calls of @p wait, which takes a number of 32 bits and
/// returns true when the wait was satisfied. All calls but the last one wait for the longest time.
template <class Wait>
bool waitInSteps(uint64_t milliseconds, Wait&& wait) {
    constexpr uint32_t Longest = std::numeric_limits<uint32_t>::max();
    for (; milliseconds > Longest; milliseconds -= Longest) {
        if (wait(Longest))
            return true;
    }
    return wait(static_cast<uint32_t>(milliseconds));
}

template <Duration D, class Wait>
bool waitInSteps(const D& duration, Wait&& wait) {
    return waitInSteps(roundedUp<std::milli>(duration), wait);
}

/// The time between any two points of a clock that counts units of @p Period.
template <class Period>
struct Distance {
    using rep = long double;
    using period = Period;
    constexpr rep count() const noexcept { return units; }

    rep units;
};

/// The same until a point in time, which may be one that the clock cannot tell: days and seconds
/// reach further than its units. Its clock is read again after every wait, because it may run at
/// another speed than the monotonic clock and may be set.
template <TimePoint T, class Wait>
bool waitUntilTime(const T& end, Wait&& wait) {
    using Period = typename decltype(T::clock::now())::period;
    const auto left = [&end] {
        return Distance<Period>{unitsOf<Period>(end.time_since_epoch()) -
                                unitsOf<Period>(T::clock::now().time_since_epoch())};
    };
    for (auto distance = left(); distance.units > 0; distance = left()) {
        if (waitInSteps(distance, wait))
            return true;
    }
    return wait(uint32_t{0});
}

/// A time limit that several waits share, measured by the monotonic clock.
class QX_API TimeBudget {
public:
    /// Begins now.
    explicit TimeBudget(uint64_t milliseconds) noexcept;

    /// The time that is left; 0 at the end.
    uint64_t milliseconds() const noexcept;

private:
    uint64_t m_end;
};

} // namespace qx::sync
