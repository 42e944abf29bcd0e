#pragma once

#include <version>

#ifdef __cpp_lib_format

#include <concepts>
#include <format>
#include <string>
#include <string_view>

#include <qx/core/Exception.h>
#include <qx/core/Object.h>
#include <qx/core/Str1.h>
#include <qx/core/String.h>
#include <qx/core/TextView.h>

/// @file
/// std::format of texts, exceptions (as qx::describe) and whatever has a toString, with the format
/// specifications of a std::string_view. Available where the standard library has std::format.

namespace qx {

/// What is formatted as text.
template <class T>
concept Formattable = std::same_as<T, TextView> || std::derived_from<T, Str1> ||
    requires(const T& value) {
    { value.toString() } -> std::same_as<String>;
};

} // namespace qx

template <qx::Formattable T>
struct std::formatter<T, char> : std::formatter<std::string_view, char> {
    template <class Context>
    auto format(const T& value, Context& context) const {
        return std::formatter<std::string_view, char>::format(textOf(value), context);
    }

private:
    static std::string textOf(const T& value) {
        if constexpr (std::derived_from<T, qx::Exception>)
            return qx::describe(value).toUtf8();
        else if constexpr (requires { value.toString(); })
            return value.toString().toUtf8();
        else
            return qx::String(std::u16string_view(qx::TextView(value))).toUtf8();
    }
};

#endif
