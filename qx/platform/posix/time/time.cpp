#include "qx/platform/time.h"

#include <atomic>
#include <cstdint>
#include <ctime>
#include <optional>

#include <qx/platform/detail/LocalZone.h>
#include <qx/platform/result.h>

#include <qx/platform/posix/CLibraryCall.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/time/calendar.h>

using namespace qx;
using namespace qx::platform;

namespace {

constexpr int64_t FirstSecond = daysFromDate(FirstYear, 1, 1) * SecondsPerDay;
constexpr int64_t EndSecond = daysFromDate(LastYear + 1, 1, 1) * SecondsPerDay;

/// The last day whose date was asked for: times come by the million on one day, and computing its
/// date is most of what one of them takes.
///
/// One word, so that it is read and replaced as a whole: the day, plus 1, in the bits above the
/// date.
class LastDate {
public:
    /// @param day  counted from the first of January of FirstYear
    void set(STRUCT_QX_TIME& time, int64_t day) noexcept {
        const auto key = static_cast<uint64_t>(day + 1);
        uint64_t known = m_known.load(std::memory_order_relaxed);
        if (known >> DateBits != key) {
            setDate(time, day + FirstSecond / SecondsPerDay);
            known = key << DateBits | uint64_t{time.year} << 12 | uint64_t{time.month} << 8 |
                    uint64_t{time.day} << 3 | time.dayOfWeek;
            m_known.store(known, std::memory_order_relaxed);
            return;
        }
        time.year = static_cast<uint16_t>(known >> 12 & 0x7FFF);
        time.month = static_cast<uint16_t>(known >> 8 & 0xF);
        time.day = static_cast<uint16_t>(known >> 3 & 0x1F);
        time.dayOfWeek = static_cast<uint16_t>(known & 7);
    }

private:
    static constexpr int DateBits = 27;

    std::atomic<uint64_t> m_known{0};
};

constinit LastDate lastDate;

int32_t setTime(STRUCT_QX_TIME& time, int64_t seconds) noexcept {
    if (seconds < FirstSecond || seconds >= EndSecond)
        return result::InvalidArgument;
    const int64_t sinceStart = seconds - FirstSecond;
    const auto ofDay = static_cast<int32_t>(sinceStart % SecondsPerDay);
    lastDate.set(time, sinceStart / SecondsPerDay);
    time.hour = static_cast<uint16_t>(ofDay / 3600);
    time.minute = static_cast<uint16_t>(ofDay / 60 % 60);
    time.second = static_cast<uint16_t>(ofDay % 60);
    return result::Ok;
}

uint16_t milliseconds(const timespec& now) noexcept {
    return static_cast<uint16_t>(now.tv_nsec / 1'000'000);
}

/// The last minute for which the system was asked for the local time. It looks that up under a
/// lock, for tens of times what reading the clock takes, and zones change at full minutes only.
///
/// A zone is told apart by what tzset leaves of it, so that a program that changes to another one
/// gets its time at once; two with the same names that differ today, only from the next minute on.
///
/// One word, so that it is read and replaced as a whole: the minute of UTC, plus the hash of the
/// zone, modulo 2^37, in the upper bits, and the seconds that local time is ahead, plus Bias, in
/// the lower 27.
class LocalOffset {
public:
    /// Seconds that local time is ahead of UTC in the minute of @p seconds.
    /// @return false when the system has none, errno tells why
    bool find(int64_t seconds, int64_t& offset) noexcept {
        const auto minute = static_cast<uint64_t>((seconds - FirstSecond) / 60);
        const uint64_t known = m_known.load(std::memory_order_relaxed);
        // No offset is so far behind that nothing is left of it with Bias: 0 is what is not known.
        if (known != 0 && (known & ~OffsetMask) == keyOf(minute)) {
            offset = static_cast<int64_t>(known & OffsetMask) - Bias;
            return true;
        }
        const auto asked = static_cast<time_t>(seconds);
        tm local;
        if (callCLibrary([&] { return localtime_r(&asked, &local); }) == nullptr)
            return false;
        // What the clock of the zone shows: one that counts leap seconds is behind its own offset.
        offset =
            daysFromDate(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday) * SecondsPerDay +
            local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec - seconds;
        // Zones that count leap seconds divide into other minutes: nothing to keep.
        if (local.tm_sec == (seconds - FirstSecond) % 60)
            m_known.store(keyOf(minute) | static_cast<uint64_t>(offset + Bias),
                          std::memory_order_relaxed);
        return true;
    }

private:
    /// A minute in the zone of the process, in the bits above the offset.
    static uint64_t keyOf(uint64_t minute) noexcept {
        // The system replaces the names; the texts of one zone stay where they are.
        const auto standard =
            reinterpret_cast<uintptr_t>(__atomic_load_n(&tzname[0], __ATOMIC_RELAXED));
        const auto summer =
            reinterpret_cast<uintptr_t>(__atomic_load_n(&tzname[1], __ATOMIC_RELAXED));
        const auto behind = static_cast<uint64_t>(__atomic_load_n(&timezone, __ATOMIC_RELAXED));
        const auto hasSummer = static_cast<uint64_t>(__atomic_load_n(&daylight, __ATOMIC_RELAXED));
        uint64_t zone = (standard ^ behind << 1 ^ hasSummer) * 0x9E3779B97F4A7C15u;
        zone = (zone ^ summer) * 0xC2B2AE3D27D4EB4Fu;
        return ((zone >> OffsetBits) + minute) << OffsetBits;
    }

    static constexpr int OffsetBits = 27;
    static constexpr uint64_t OffsetMask = (uint64_t{1} << OffsetBits) - 1;
    static constexpr int64_t Bias = int64_t{1} << (OffsetBits - 1);

    std::atomic<uint64_t> m_known{0};
};

constinit LocalOffset localOffset;

/// Seconds since 1970 that a clock has counted which shows @p time when it goes by UTC.
int64_t secondsOf(const STRUCT_QX_TIME& time) noexcept {
    return daysFromDate(time.year, time.month, time.day) * SecondsPerDay + time.hour * 3600 +
           time.minute * 60 + time.second;
}

/// Seconds that local time is ahead of UTC at @p utc; nothing when the system does not tell.
std::optional<int64_t> aheadAt(int64_t utc) noexcept {
    const auto asked = static_cast<time_t>(utc);
    tm local;
    if (callCLibrary([&] { return localtime_r(&asked, &local); }) == nullptr)
        return std::nullopt;
    return local.tm_gmtoff;
}

} // namespace

bool qx::platform::occursTwice(const STRUCT_QX_TIME& local) noexcept {
    const int64_t seconds = secondsOf(local);
    const auto before = aheadAt(seconds - SecondsPerDay), after = aheadAt(seconds + SecondsPerDay);
    return before > after && aheadAt(seconds - *before) == before &&
           aheadAt(seconds - after.value_or(0)) == after;
}

int32_t qx::platform::minutesAhead(const STRUCT_QX_TIME& local) noexcept {
    const int64_t seconds = secondsOf(local);
    const auto now = aheadAt(std::time(nullptr));
    if (!now)
        return 0;
    // Right already, but where the zone has changed between that time and now.
    const int64_t then = aheadAt(seconds - *now).value_or(0);
    return static_cast<int32_t>(aheadAt(seconds - then).value_or(0) / 60);
}

int32_t QXTimeGetSystem(STRUCT_QX_TIME* time) {
    if (!time)
        return result::NullPointer;
    *time = {};
    timespec now;
    if (clock_gettime(CLOCK_REALTIME, &now) != 0)
        return lastResult();
    time->millisecond = milliseconds(now);
    return setTime(*time, now.tv_sec);
}

int32_t QXTimeGetLocal(STRUCT_QX_TIME* time) {
    if (!time)
        return result::NullPointer;
    *time = {};
    timespec now;
    int64_t offset;
    if (clock_gettime(CLOCK_REALTIME, &now) != 0 || !localOffset.find(now.tv_sec, offset))
        return lastResult();
    time->millisecond = milliseconds(now);
    return setTime(*time, now.tv_sec + offset);
}

int32_t QXTimeFromPosix(int64_t seconds, STRUCT_QX_TIME* time) {
    if (!time)
        return result::NullPointer;
    *time = {};
    return setTime(*time, seconds);
}

int64_t QXTimeGetTicks() {
#ifdef CLOCK_MONOTONIC_COARSE
    constexpr clockid_t clock = CLOCK_MONOTONIC_COARSE;
#else
    constexpr clockid_t clock = CLOCK_MONOTONIC;
#endif
    timespec now{};
    clock_gettime(clock, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}
