#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>

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

/// Text in UTF-8: std::string, std::string_view, units that end with a 0 unit (null: empty), and
/// the same of char8_t.
template <class T>
concept Utf8Text = !std::same_as<T, std::nullptr_t> && !std::convertible_to<const T&, TextView> &&
                   (std::convertible_to<const T&, std::string_view> ||
                    std::convertible_to<const T&, std::u8string_view>);

/// The bytes of a text in UTF-8.
template <Utf8Text T>
std::string_view utf8View(const T& text) noexcept {
    if constexpr (std::convertible_to<const T&, const char8_t*>) {
        const char8_t* const units = text;
        return utf8View(reinterpret_cast<const char*>(units));
    } else if constexpr (!std::convertible_to<const T&, std::string_view>) {
        const std::u8string_view units(text);
        return {reinterpret_cast<const char*>(units.data()), units.size()};
    } else if constexpr (std::convertible_to<const T&, const char*>) {
        const char* const units = text;
        return units ? std::string_view(units) : std::string_view();
    } else {
        return text;
    }
}

} // namespace qx
/// @cond
template <>
inline constexpr bool std::ranges::enable_borrowed_range<qx::TextView> = true;
template <>
inline constexpr bool std::ranges::enable_view<qx::TextView> = true;
/// @endcond
