#pragma once

#include <cstdint>
#include <string_view>

namespace qx::io::detail {

/// Number of symbols of an alphabet: five bits each.
inline constexpr int32_t AlphabetLength = 32;

/// The 32 symbols of a nul-terminated alphabet; for null, the letters and digits without I, O, 0
/// and 1. They are ASCII, so the low byte of each is the symbol.
/// @throws ResultException (result::InvalidArgument) when there are not exactly 32 or one is not
///     ASCII
std::u16string_view alphaNumSymbols(const char16_t* alphabet);

} // namespace qx::io::detail
