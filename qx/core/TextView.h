#pragma once

#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

namespace qx {

class String;

/// Text handed to a call, whatever it lies in: a String, units that end with a 0 unit (null:
/// empty), counted units or a view. Does not own the units, which must outlive the call; they need
/// not be followed by a 0 unit.
class TextView : public std::u16string_view {
public:
    constexpr TextView() noexcept = default;
    constexpr TextView(std::u16string_view text) noexcept : std::u16string_view(text) {}
    TextView(const std::u16string& text) noexcept : std::u16string_view(text) {}
    constexpr TextView(const char16_t* units) noexcept
        : std::u16string_view(units ? std::u16string_view(units) : std::u16string_view()) {}
    /// A negative length means up to the first 0 unit.
    constexpr TextView(const char16_t* units, int32_t length) noexcept
        : std::u16string_view(units && length >= 0
                                  ? std::u16string_view(units, static_cast<size_t>(length))
                                  : TextView(units)) {}
    inline TextView(const String& text) noexcept;
};

} // namespace qx
/// @cond
template <>
inline constexpr bool std::ranges::enable_borrowed_range<qx::TextView> = true;
template <>
inline constexpr bool std::ranges::enable_view<qx::TextView> = true;
/// @endcond
