#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include <qx/platform/export.h>

namespace qx::log {

/// A place in a message that an argument replaces: "{0}", "{1}" and so on.
struct MessagePlaceholder {
    size_t start; ///< the place of the opening brace, in units
    size_t length;
    size_t index;
};

/// The placeholders of a message in the order of their places. A placeholder is an index in braces:
/// in decimal digits, without leading zeros. Takes linear time.
QX_API std::vector<MessagePlaceholder> placeholdersIn(std::u16string_view message);

/// The number of arguments that the placeholders ask for: the first index that none of them has.
/// Placeholders with a higher index are not replaced.
QX_API size_t argumentCount(const std::vector<MessagePlaceholder>& placeholders);

} // namespace qx::log
