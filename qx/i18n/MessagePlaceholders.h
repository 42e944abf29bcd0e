#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include <qx/platform/export.h>

namespace qx::log {

/// A place in a message where an argument goes: "{0}", "{1}" and so on.
struct MessagePlaceholder {
    size_t start; ///< in units, where the brace opens
    size_t length;
    size_t index;
};

/// The placeholders of a message in the order of their places: an index in decimal digits, without
/// further zeros in front of it, in braces. Linear.
QX_API std::vector<MessagePlaceholder> placeholdersIn(std::u16string_view message);

/// How many arguments the placeholders ask for. It is the first index that none of them has; those
/// with a higher one stay as they are.
QX_API size_t argumentCount(const std::vector<MessagePlaceholder>& placeholders);

} // namespace qx::log
