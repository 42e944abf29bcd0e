#pragma once

/// @file
/// Calendar time: the clock read as a date and a time of day, and both as texts for the user.
/// Functions that return a result code give a negative one on failure and then zero the time. All
/// may be called from any thread.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

/// A date of the Gregorian calendar from 1601 to 30827 and a time of day, in no particular zone.
typedef struct STRUCT_QX_TIME {
    uint16_t year;
    uint16_t month;     ///< 1 to 12
    uint16_t dayOfWeek; ///< 0 (Sunday) to 6
    uint16_t day;       ///< 1 to 31
    uint16_t hour;      ///< 0 to 23
    uint16_t minute;    ///< 0 to 59
    uint16_t second;    ///< 0 to 59
    uint16_t millisecond;
} STRUCT_QX_TIME;

/// Units that hold every text below with the 0 unit behind it.
enum { QX_TIME_TEXT_UNITS = 200 };

#ifdef __cplusplus
extern "C" {
#endif

/// The time now, in UTC.
QX_API int32_t QXTimeGetSystem(STRUCT_QX_TIME* time);
/// The time now, in the time zone of the process: that of the last tzset, or of the first use.
QX_API int32_t QXTimeGetLocal(STRUCT_QX_TIME* time);
/// The time in UTC so many seconds after the beginning of 1970, counted without leap seconds;
/// negative ones lie before it. 0x80070057 for a time before 1601 or after 30827.
QX_API int32_t QXTimeFromPosix(int64_t seconds, STRUCT_QX_TIME* time);

/// Milliseconds by a clock that never goes back and is quick to read, because it moves in steps of
/// a few milliseconds, 10 at most.
QX_API int64_t QXTimeGetTicks(void);

/// Writes a date as the locale of the calling thread does, which is that of the process unless the
/// program says otherwise; the day of the week is computed from the date. @p text has room for @p
/// capacity units. Returns the number of units with the 0 unit behind them, or 0 on failure;
/// QXResultFromNative then tells why: 0x80070057 for a null pointer and for a time that does not
/// exist, 0x800700CE for a text that is too long; @p text is then empty. @p isLong: not 0 for a
/// date with names of month and day.
QX_API int32_t QXTimeGetDateText(const STRUCT_QX_TIME* time, int32_t isLong, char16_t* text,
                                 int32_t capacity);
/// The same for the time of day.
QX_API int32_t QXTimeGetTimeText(const STRUCT_QX_TIME* time, char16_t* text, int32_t capacity);

#ifdef __cplusplus
}
#endif
