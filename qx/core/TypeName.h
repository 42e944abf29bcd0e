#pragma once

#include <string_view>

namespace qx {

namespace detail {

template <class T>
constexpr const char* phraseWith() {
    return __PRETTY_FUNCTION__; // "... T = IFoo]"
}

/// The name at the end of such a phrase.
constexpr std::string_view calledIn(std::string_view phrase) {
    return phrase.substr(0, phrase.size() - 1).substr(phrase.find(" = ") + 3);
}

} // namespace detail

/// How the compiler calls a class, as "qx::String". Needs no run-time type information.
template <class T>
constexpr std::string_view typeName() {
    return detail::calledIn(detail::phraseWith<T>());
}

} // namespace qx
