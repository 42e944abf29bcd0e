#include "ValueText.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <qx/text/charset/Surrogates.h>

using qx::text::charset::isHighSurrogate;
using qx::text::charset::isLowSurrogate;
using qx::text::charset::isSurrogate;

namespace {

// In the order of the types' numbers.
constexpr std::string_view TypeNames[] = {"string", "uint32", "uint64", "bytes"};

uint64_t numberIn(const Value& value) {
    uint32_t narrow;
    uint64_t wide;
    const auto read = [&value](auto& number) {
        std::memcpy(&number, value.data.data(), sizeof number); // the registry has checked the size
        return uint64_t{number};
    };
    return value.type == QX_REG_UINT32 ? read(narrow) : read(wide);
}

/// Text without the 0 unit at its end.
std::u16string textIn(const Value& value) {
    std::u16string text(value.data.size() / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), value.data.data(), text.size() * sizeof(char16_t));
    if (text.ends_with(u'\0'))
        text.pop_back();
    return text;
}

std::string hexOf(const std::vector<uint8_t>& bytes) {
    std::string hex;
    for (const uint8_t byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        hex += digits;
    }
    return hex;
}

int hexDigit(char16_t unit) {
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    const int letter = (unit | 0x20) - u'a';
    return letter >= 0 && letter < 6 && unit < 0x80 ? letter + 10 : -1;
}

/// Takes @p count hexadecimal digits off the front; -1 when there are fewer.
int32_t takeHex(std::u16string_view& text, size_t count) {
    if (text.size() < count)
        return -1;
    int32_t number = 0;
    for (size_t i = 0; i < count; ++i) {
        const int digit = hexDigit(text[i]);
        if (digit < 0)
            return -1;
        number = number * 16 + digit;
    }
    text.remove_prefix(count);
    return number;
}

Value valueOf(ENUM_QX_REG_TYPE type, const void* data, size_t length) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    return {type, {bytes, bytes + length}};
}

std::string utf8Of(std::u16string_view text) { return qx::String(text).toUtf8(); }

} // namespace

std::string_view typeName(ENUM_QX_REG_TYPE type) { return TypeNames[type]; }

std::optional<ENUM_QX_REG_TYPE> parseTypeName(std::u16string_view name) {
    const auto row = std::ranges::find(TypeNames, utf8Of(name));
    if (row == std::end(TypeNames))
        return std::nullopt;
    return static_cast<ENUM_QX_REG_TYPE>(row - TypeNames);
}

std::optional<uint64_t> parseNumber(std::u16string_view text, uint64_t limit) {
    const bool isHex = text.starts_with(u"0x") || text.starts_with(u"0X");
    const uint64_t radix = isHex ? 16 : 10;
    if (isHex)
        text.remove_prefix(2);
    if (text.empty())
        return std::nullopt;
    uint64_t number = 0;
    for (const char16_t unit : text) {
        const int digit = hexDigit(unit);
        if (digit < 0 || static_cast<uint64_t>(digit) >= radix ||
            number > (limit - static_cast<uint64_t>(digit)) / radix)
            return std::nullopt;
        number = number * radix + static_cast<uint64_t>(digit);
    }
    return number;
}

std::string quoted(std::u16string_view text) {
    std::string result = "\"";
    size_t plainFrom = 0;
    const auto flush = [&](size_t to) {
        result += utf8Of(text.substr(plainFrom, to - plainFrom));
        plainFrom = to + 1;
    };
    for (size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (i + 1 < text.size() && isHighSurrogate(unit) && isLowSurrogate(text[i + 1])) {
            ++i;
            continue;
        }
        if (unit >= 0x20 && unit != u'"' && unit != u'\\' && unit != 0x7F && !isSurrogate(unit))
            continue;
        flush(i);
        if (unit == u'"' || unit == u'\\') {
            result += {'\\', static_cast<char>(unit)};
        } else if (unit == u'\n' || unit == u'\t') {
            result += unit == u'\n' ? "\\n" : "\\t";
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", unit);
            result += escape;
        }
    }
    flush(text.size());
    return result + '"';
}

std::optional<std::u16string> takeQuoted(std::u16string_view& line) {
    if (!line.starts_with(u'"'))
        return std::nullopt;
    line.remove_prefix(1);
    std::u16string text;
    while (!line.empty()) {
        const char16_t unit = line[0];
        line.remove_prefix(1);
        if (unit == u'"')
            return text;
        if (unit != u'\\') {
            text += unit;
            continue;
        }
        if (line.empty())
            return std::nullopt;
        const char16_t escape = line[0];
        line.remove_prefix(1);
        if (escape == u'u') {
            const int32_t coded = takeHex(line, 4);
            if (coded < 0)
                return std::nullopt;
            text += static_cast<char16_t>(coded);
        } else if (escape == u'n' || escape == u't') {
            text += escape == u'n' ? u'\n' : u'\t';
        } else if (escape == u'"' || escape == u'\\') {
            text += escape;
        } else {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

std::string plainText(const Value& value) {
    switch (value.type) {
    case QX_REG_STRING:
        return utf8Of(textIn(value));
    case QX_REG_BYTES:
        return hexOf(value.data);
    default:
        return std::to_string(numberIn(value));
    }
}

std::string jsonText(const Value& value) {
    switch (value.type) {
    case QX_REG_STRING:
        return quoted(textIn(value));
    case QX_REG_BYTES:
        return '"' + hexOf(value.data) + '"';
    default:
        return std::to_string(numberIn(value));
    }
}

std::optional<Value> parsePlain(ENUM_QX_REG_TYPE type, std::u16string_view text) {
    switch (type) {
    case QX_REG_STRING: {
        const std::u16string terminated(text);
        return valueOf(type, terminated.c_str(), (text.size() + 1) * sizeof(char16_t));
    }
    case QX_REG_UINT32:
        if (const auto number = parseNumber(text, UINT32_MAX)) {
            const auto narrow = static_cast<uint32_t>(*number);
            return valueOf(type, &narrow, sizeof narrow);
        }
        return std::nullopt;
    case QX_REG_UINT64:
        if (const auto number = parseNumber(text, UINT64_MAX))
            return valueOf(type, &*number, sizeof(uint64_t));
        return std::nullopt;
    default:
        Value bytes{type, {}};
        while (!text.empty()) {
            const int32_t byte = takeHex(text, 2);
            if (byte < 0)
                return std::nullopt;
            bytes.data.push_back(static_cast<uint8_t>(byte));
        }
        return bytes;
    }
}

std::string typedText(const Value& value) {
    const bool isText = value.type == QX_REG_STRING;
    return std::string(typeName(value.type)) + ':' + (isText ? jsonText(value) : plainText(value));
}

std::optional<Value> parseTyped(std::u16string_view text) {
    const size_t colon = std::min(text.find(u':'), text.size());
    const auto type = parseTypeName(text.substr(0, colon));
    if (!type || colon == text.size())
        return std::nullopt;
    text.remove_prefix(colon + 1);
    if (*type != QX_REG_STRING)
        return parsePlain(*type, text);
    const auto string = takeQuoted(text);
    return string && text.empty() ? parsePlain(*type, *string) : std::nullopt;
}
