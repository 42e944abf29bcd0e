#pragma once

#include <cstddef>
#include <string_view>

#include <qx/core/String.h>

namespace qx::text::charset::detail {

/// The bytes as text for a message: what is not printable ASCII in hexadecimal, like "\xE4".
String shownBytes(std::string_view bytes);

/// Says where @p text is no UTF-8, and shows the bytes around.
/// @throws InvalidCharacterException, always
[[noreturn]] void throwMalformedUtf8(std::string_view text, size_t at);

} // namespace qx::text::charset::detail
