#pragma once

#include <cstddef>
#include <string_view>

#include <qx/core/Result.h>
#include <qx/platform/detail/TimeText.h>
#include <qx/platform/native.h>

namespace qx::log::detail {

/// What TimeStamp::toString gives; it lies in @p room for platform::TimeStampUnits.
/// @throws ResultException like that
inline std::u16string_view stampText(const STRUCT_QX_TIME& time, bool isLong, char16_t* room) {
    const int32_t units = platform::writeTimeStamp(time, isLong, room);
    if (units == 0)
        throwResult(QXResultFromNative());
    return {room, static_cast<size_t>(units)};
}

} // namespace qx::log::detail
