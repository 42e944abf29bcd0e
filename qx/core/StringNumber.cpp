// Numbers that a text spells as a whole.

#include "qx/core/String.h"

#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/detail/AsciiText.h>
#include <qx/core/detail/PlainNumber.h>
#include <qx/core/detail/Terminated.h>
#include <qx/platform/text.h>

namespace qx {

namespace {

enum class Fault { None, NoNumber, TooLarge };

template <class Value>
struct Parsed {
    Value value = 0;
    Fault fault = Fault::None;

    std::optional<Value> optional() const {
        return fault == Fault::None ? std::optional(value) : std::nullopt;
    }
    Value orThrow(const String& text, const char16_t* kind) const {
        if (fault == Fault::None)
            return value;
        // What is no number may be anything, of any length.
        constexpr int32_t Shown = 80;
        const bool isLong = text.getLength() > Shown;
        throw Exception(String(fault == Fault::NoNumber ? u"not a " : u"too large for a ") + kind +
                        u": \"" + text.substring(0, isLong ? Shown : -1) +
                        (isLong ? u"...\"" : u"\""));
    }
};

template <class Integer>
Parsed<Integer> parseInteger(std::u16string_view text, int32_t radix) {
    if (radix < 2 || radix > 36)
        throw RangeErrorException(u"not a radix: " + String::valueOf(radix));
    Parsed<Integer> parsed;
    if (text.starts_with(u'+') && !text.starts_with(u"+-"))
        text.remove_prefix(1);
    if (const auto plain = radix == 10 ? detail::plainNumber(text) : std::nullopt) {
        if (std::in_range<Integer>(*plain))
            parsed.value = static_cast<Integer>(*plain);
        else
            parsed.fault = Fault::TooLarge;
        return parsed;
    }
    const std::string digits = detail::asciiOf(text);
    const char* const end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, parsed.value, radix);
    if (stopped != end || error == std::errc::invalid_argument)
        parsed.fault = Fault::NoNumber;
    else if (error != std::errc())
        parsed.fault = Fault::TooLarge;
    return parsed;
}

Parsed<double> parseReal(std::u16string_view text) {
    const detail::Terminated terminated(text);
    char16_t* end = nullptr;
    Parsed<double> parsed{QXStrToDW(terminated.get(), &end)};
    constexpr std::u16string_view first = u"+-.0123456789iInN"; // no white space
    if (text.empty() || first.find(text.front()) == std::u16string_view::npos ||
        end != terminated.get() + text.size())
        parsed.fault = Fault::NoNumber;
    else if (std::isinf(parsed.value) && text.find_first_of(u"iI") == std::u16string_view::npos)
        parsed.fault = Fault::TooLarge;
    return parsed;
}

} // namespace

std::optional<int32_t> String::toInt(int32_t radix) const {
    return parseInteger<int32_t>(view(), radix).optional();
}

std::optional<int64_t> String::toInt64(int32_t radix) const {
    return parseInteger<int64_t>(view(), radix).optional();
}

std::optional<double> String::toDouble() const { return parseReal(view()).optional(); }

int32_t String::toIntOrThrow(int32_t radix) const {
    return parseInteger<int32_t>(view(), radix).orThrow(*this, u"whole number of 32 bits");
}

int64_t String::toInt64OrThrow(int32_t radix) const {
    return parseInteger<int64_t>(view(), radix).orThrow(*this, u"whole number of 64 bits");
}

double String::toDoubleOrThrow() const { return parseReal(view()).orThrow(*this, u"number"); }

} // namespace qx
