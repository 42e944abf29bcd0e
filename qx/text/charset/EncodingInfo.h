#pragma once

#include <qx/platform/export.h>
#include <qx/text/charset/encinfo.h>

namespace qx::text::charset {

/// Builds the table behind the functions of encinfo.h, which know nothing before. Called at
/// start-up; from then on the table is only read, without a lock.
/// @throws std::bad_alloc
QX_API void buildEncodingInfo();

/// Releases the table at shut-down.
QX_API void releaseEncodingInfo() noexcept;

} // namespace qx::text::charset
