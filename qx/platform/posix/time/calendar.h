#pragma once

#include <cstdint>

#include <qx/platform/time.h>

// The Gregorian calendar by whole numbers (Hinnant's algorithms, which begin the year in March so
// that the leap day is its last one).

namespace qx::platform {

inline constexpr int FirstYear = 1601;
inline constexpr int LastYear = 30827;
inline constexpr int64_t SecondsPerDay = 86400;

/// Days from the first of January 1970 to a date; negative before it.
constexpr int64_t daysFromDate(int64_t year, int month, int day) noexcept {
    year -= month <= 2;
    const int64_t era = (year >= 0 ? year : year - 399) / 400;
    const int64_t yearOfEra = year - era * 400;
    const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

/// 0 for Sunday; @p days as above.
constexpr int dayOfWeek(int64_t days) noexcept {
    return static_cast<int>(((days + 4) % 7 + 7) % 7); // it was a Thursday
}

/// Sets year, month, day and day of the week; @p days within the years above.
constexpr void setDate(STRUCT_QX_TIME& time, int64_t days) noexcept {
    const int64_t shifted = days + 719468; // from the first of March of the year 0
    const int64_t era = shifted / 146097;
    const int64_t dayOfEra = shifted - era * 146097;
    const int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t month = (5 * dayOfYear + 2) / 153; // 0 is March
    time.day = static_cast<uint16_t>(dayOfYear - (153 * month + 2) / 5 + 1);
    time.month = static_cast<uint16_t>(month < 10 ? month + 3 : month - 9);
    time.year = static_cast<uint16_t>(yearOfEra + era * 400 + (time.month <= 2));
    time.dayOfWeek = static_cast<uint16_t>(dayOfWeek(days));
}

constexpr bool isLeapYear(int year) noexcept {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr int daysInMonth(int year, int month) noexcept {
    constexpr int8_t days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeapYear(year) ? 29 : days[month - 1];
}

} // namespace qx::platform
