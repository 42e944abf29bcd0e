#pragma once

#include <cstddef>
#include <string_view>

// What readers of text files of any form go by.

namespace qx::util::detail {

constexpr std::string_view Utf8ByteOrderMark = "\xEF\xBB\xBF";

/// Whether a line or value ends in a "\" that asks for the next line. Two of them stand for one.
constexpr bool endsInSingleBackslash(std::u16string_view text) noexcept {
    const size_t others = text.find_last_not_of(u'\\') + 1; // npos + 1 is 0
    return (text.size() - others) % 2 == 1;
}

} // namespace qx::util::detail
