#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <ratio>
#include <string>
#include <utility>

#include <qx/core/String.h>
#include <qx/core/TextView.h>
#include <qx/platform/export.h>
#include <qx/sync/Duration.h>

/// @file
/// Values of INI files as something else than text.

namespace qx::util {

namespace detail {

template <class T, class... Types>
concept NoneOf = (!std::same_as<T, Types> && ...);

// Each is nothing for a text that is no such value, and for one out of range.

QX_API std::optional<bool> truthOf(TextView text);
QX_API std::optional<int64_t> signedOf(TextView text, int64_t least, int64_t most);
QX_API std::optional<uint64_t> unsignedOf(TextView text, uint64_t most);
QX_API std::optional<double> realOf(TextView text);
/// Wider than a count of any type, so that each gets what it can hold.
__extension__ using Nanoseconds = __int128;
QX_API std::optional<Nanoseconds> nanosecondsOf(TextView text);

/// The names of the place, the value and what it should be.
/// @throws IniFileException with VALUE_NOT_UNDERSTOOD
[[noreturn]] QX_API void throwNotUnderstood(const std::string& path, TextView set, TextView key,
                                            TextView value, const String& expected);

} // namespace detail

/// What a value of an INI file can be taken as:
///
/// - bool: "1", "true", "yes" or "on", and "0", "false", "no" or "off", in either case
/// - an integer of up to 64 bits: decimal digits, or hexadecimal ones behind "0x", with a sign in
///   front or without
/// - float, double: a number as String::toDouble reads it
/// - a std::chrono::duration: whole numbers with units, as "90s", "1min 30s" or "250 ms"; the units
///   are d, h, min, s, ms, us and ns
/// - String: the text as it is
template <class T>
concept IniSetting = std::same_as<T, String> || sync::Duration<T> || std::same_as<T, float> ||
    std::same_as<T, double> ||
    (std::integral<T>&& detail::NoneOf<T, char, wchar_t, char8_t, char16_t, char32_t>);

namespace detail {

/// Nothing for a time between two counts, or out of their range.
template <sync::Duration T>
std::optional<T> durationOf(Nanoseconds nanoseconds) {
    using Count = typename T::rep;
    using Factor = std::ratio_divide<std::nano, typename T::period>;
    if constexpr (std::floating_point<Count>) {
        return T(static_cast<Count>(nanoseconds) * Factor::num / Factor::den);
    } else {
        using Limits = std::numeric_limits<Count>;
        Nanoseconds count = 0;
        if (nanoseconds % Factor::den != 0 ||
            __builtin_mul_overflow(nanoseconds / Factor::den, Nanoseconds{Factor::num}, &count) ||
            count < Limits::min() || count > Limits::max())
            return std::nullopt;
        return T(static_cast<Count>(count));
    }
}

/// The value of a text; nothing when it is none.
template <IniSetting T>
std::optional<T> settingOf(TextView text) {
    if constexpr (std::same_as<T, String>) {
        return String(std::u16string_view(text));
    } else if constexpr (std::same_as<T, bool>) {
        return truthOf(text);
    } else if constexpr (sync::Duration<T>) {
        const auto time = nanosecondsOf(text);
        return time ? durationOf<T>(*time) : std::nullopt;
    } else if constexpr (std::floating_point<T>) {
        const auto value = realOf(text);
        // As it is rounded: the shortest text of the largest float lies above it.
        const bool fits = value && std::isinf(static_cast<T>(*value)) == std::isinf(*value);
        return fits ? std::optional(static_cast<T>(*value)) : std::nullopt;
    } else {
        using Limits = std::numeric_limits<T>;
        if constexpr (std::signed_integral<T>) {
            const auto value = signedOf(text, Limits::min(), Limits::max());
            return value ? std::optional(static_cast<T>(*value)) : std::nullopt;
        } else {
            const auto value = unsignedOf(text, Limits::max());
            return value ? std::optional(static_cast<T>(*value)) : std::nullopt;
        }
    }
}

/// What the text should have been.
template <IniSetting T>
String expectedSetting() {
    if constexpr (std::same_as<T, bool>)
        return String(u"true or false");
    else if constexpr (sync::Duration<T>)
        return String(u"a time such as 90s or 1min 30s");
    else if constexpr (std::floating_point<T>)
        return String(u"a number");
    else if constexpr (std::integral<T>)
        return u"a whole number from " + String::valueOf(+std::numeric_limits<T>::min()) + u" to " +
               String::valueOf(+std::numeric_limits<T>::max());
    else
        return String(u"a text");
}

/// The value of a key of the file at @p path.
/// @throws IniFileException with VALUE_NOT_UNDERSTOOD
template <IniSetting T>
T settingFrom(const std::string& path, TextView set, TextView key, TextView value) {
    if (auto setting = settingOf<T>(value))
        return *std::move(setting);
    throwNotUnderstood(path, set, key, value, expectedSetting<T>());
}

} // namespace detail

} // namespace qx::util
