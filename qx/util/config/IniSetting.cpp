#include "qx/util/config/IniSetting.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include <qx/core/detail/AsciiText.h>
#include <qx/util/SystemName.h>
#include <qx/util/config/IniFileException.h>

namespace qx::util::detail {

namespace {

using qx::detail::asciiOf;

/// A number with its sign; nothing for what is none or has no room.
struct Whole {
    bool isNegative = false;
    uint64_t magnitude = 0;
};

std::optional<Whole> wholeOf(TextView text) {
    const std::string bytes = asciiOf(text);
    std::string_view digits = bytes;
    Whole whole;
    whole.isNegative = digits.starts_with('-');
    if (whole.isNegative || digits.starts_with('+'))
        digits.remove_prefix(1);
    const bool isHexadecimal = digits.starts_with("0x") || digits.starts_with("0X");
    if (isHexadecimal)
        digits.remove_prefix(2);
    const char* const end = digits.data() + digits.size();
    const auto [stopped, error] =
        std::from_chars(digits.data(), end, whole.magnitude, isHexadecimal ? 16 : 10);
    return error == std::errc() && stopped == end ? std::optional(whole) : std::nullopt;
}

} // namespace

std::optional<bool> truthOf(TextView text) {
    constexpr std::string_view truths[] = {"1", "true", "yes", "on"};
    constexpr std::string_view lies[] = {"0", "false", "no", "off"};
    std::string word = asciiOf(text);
    for (char& unit : word)
        unit = 'A' <= unit && unit <= 'Z' ? static_cast<char>(unit - 'A' + 'a') : unit;
    const bool isTrue = std::ranges::find(truths, word) != std::end(truths);
    const bool isKnown = isTrue || std::ranges::find(lies, word) != std::end(lies);
    return isKnown ? std::optional(isTrue) : std::nullopt;
}

std::optional<int64_t> signedOf(TextView text, int64_t least, int64_t most) {
    const auto whole = wholeOf(text);
    const auto limit = whole && whole->isNegative ? uint64_t{0} - static_cast<uint64_t>(least)
                                                  : static_cast<uint64_t>(most);
    if (!whole || whole->magnitude > limit)
        return std::nullopt;
    return static_cast<int64_t>(whole->isNegative ? uint64_t{0} - whole->magnitude
                                                  : whole->magnitude);
}

std::optional<uint64_t> unsignedOf(TextView text, uint64_t most) {
    const auto whole = wholeOf(text);
    const bool fits = whole && whole->magnitude <= (whole->isNegative ? 0 : most);
    return fits ? std::optional(whole->magnitude) : std::nullopt;
}

std::optional<double> realOf(TextView text) {
    return String(text.data(), String::AM_WRAP, static_cast<int32_t>(text.size())).toDouble();
}

std::optional<Nanoseconds> nanosecondsOf(TextView text) {
    constexpr std::pair<std::string_view, int64_t> units[] = {
        {"d", 86'400'000'000'000},
        {"h", 3'600'000'000'000},
        {"min", 60'000'000'000},
        {"s", 1'000'000'000},
        {"ms", 1'000'000},
        {"us", 1'000},
        {"ns", 1},
    };
    const std::string bytes = asciiOf(text);
    std::string_view rest = bytes;
    const auto skipBlanks = [&rest] {
        rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    };
    if (rest == "0")
        return Nanoseconds{0};
    Nanoseconds sum = 0;
    do {
        int64_t count = 0;
        const char* const end = rest.data() + rest.size();
        const auto [stopped, error] = std::from_chars(rest.data(), end, count);
        if (error != std::errc() || count < 0)
            return std::nullopt;
        rest.remove_prefix(static_cast<size_t>(stopped - rest.data()));
        skipBlanks();
        const auto name = rest.substr(0, rest.find_first_not_of("dhimnsu"));
        const auto unit =
            std::ranges::find(units, name, &std::pair<std::string_view, int64_t>::first);
        if (unit == std::end(units) ||
            __builtin_add_overflow(sum, Nanoseconds{count} * unit->second, &sum))
            return std::nullopt;
        rest.remove_prefix(name.size());
        skipBlanks();
    } while (!rest.empty());
    return sum;
}

void throwNotUnderstood(const std::string& path, TextView set, TextView key, TextView value,
                        const String& expected) {
    throw IniFileException(IniFileException::VALUE_NOT_UNDERSTOOD,
                           String::format(u"{0}: [{1}] {2}=\"{3}\" is not {4}",
                                          fromSystemName(path.c_str()), set, key, value, expected));
}

} // namespace qx::util::detail
