#pragma once

#include <optional>
#include <string_view>

#include <qx/core/AnyText.h>
#include <qx/platform/export.h>

namespace qx::log {

/// Names for levels, the numbers of which processors compare. A text that is logged without a level
/// has the number of Info, unless its logger is told otherwise. Numbers between and beyond these
/// may be used, too.
///
///     logger->setThreshold(qx::log::Level::Warning);
struct QX_API Level {
    enum : int { Trace = -2, Debug = -1, Info = 0, Warning = 1, Error = 2, Fatal = 3 };

    /// "TRACE" to "FATAL"; empty for other numbers.
    static std::u16string_view nameOf(int level) noexcept;
    /// The level of that name, in letters of either case; nothing for other texts.
    static std::optional<int> find(const AnyText& name);
};

} // namespace qx::log
