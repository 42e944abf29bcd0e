#pragma once

#include <cstdint>

#include <qx/platform/time.h>

namespace qx::platform {

/// Minutes that a local time is ahead of UTC in the zone of the process. Of a time that occurs
/// twice, when clocks go back, the one is meant that fits what applies now; one that does not
/// occur, when they go forward, counts as one of those around it.
int32_t minutesAhead(const STRUCT_QX_TIME& local) noexcept;
/// Whether a local time occurs twice, so that it may mean something else soon.
bool occursTwice(const STRUCT_QX_TIME& local) noexcept;

} // namespace qx::platform
