#pragma once

#include <cstdint>

#include <qx/platform/time.h>

namespace qx::platform {

/// Units that hold every text below with the 0 unit behind it.
inline constexpr int32_t TimeStampUnits = 2 * QX_TIME_TEXT_UNITS;

/// Writes what QXTimeGetDateText gives, a blank and what QXTimeGetTimeText gives; @p text has room
/// for TimeStampUnits. Returns the number of units without the 0 unit, or 0 on failure like these.
int32_t writeTimeStamp(const STRUCT_QX_TIME& time, bool isLong, char16_t* text) noexcept;

} // namespace qx::platform
