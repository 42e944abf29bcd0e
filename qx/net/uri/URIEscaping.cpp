// Percent-encoding of the components of a URI.

#include "qx/net/uri/URI.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/Number.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/core/detail/UnitSearch.h>
#include <qx/net/uri/detail/EscapedForm.h>
#include <qx/net/uri/detail/ShortQuery.h>
#include <qx/platform/detail/HexDigits.h>
#include <qx/text/charset/PendingSurrogate.h>
#include <qx/text/charset/detail/Kernels.h>
#include <qx/text/charset/detail/Utf8.h>

namespace qx::net {

namespace {

using text::charset::isHighSurrogate;

/// "%" and two digits.
constexpr int EscapeLength = 3;

/// For each ASCII unit a bit for each part in which it is escaped.
constexpr auto escapedParts = [] {
    std::array<uint8_t, 128> parts{};
    for (size_t unit = 0; unit <= 0x20; ++unit)
        parts[unit] = 0xFF;
    parts[0x7F] = 0xFF;
    for (const char unit : std::string_view("\"#%<>[\\]^`{|}"))
        parts[static_cast<size_t>(unit)] = 0xFF;
    constexpr std::string_view extra[] = {"/:;?@", "/;=?", "$&+,/:;=?@"};
    for (size_t part = 0; part < std::size(extra); ++part) {
        for (const char unit : extra[part])
            parts[static_cast<size_t>(unit)] |= static_cast<uint8_t>(1u << part);
    }
    return parts;
}();

bool isEscaped(char16_t unit, int part) {
    return unit >= 128 || (escapedParts[unit] >> part & 1) != 0;
}

/// Takes the character at the start of @p text.
/// @throws text::charset::InvalidCharacterException for a high surrogate without its low one
char32_t takeCharacter(std::u16string_view& text) {
    char32_t value = text[0];
    text.remove_prefix(1);
    if (isHighSurrogate(value)) {
        text::charset::PendingSurrogate pending;
        pending.set(static_cast<char16_t>(value));
        value = pending.join(text.empty() ? u'\0' : text[0]);
        text.remove_prefix(1);
    }
    return value;
}

char16_t* writeEscape(uint8_t byte, char16_t* out) {
    *out++ = u'%';
    return qx::platform::writeHex<2>(byte, out);
}

/// Length of @p text in escaped form.
int64_t escapedLength(std::u16string_view text, int part) {
    int64_t length = 0;
    while (!text.empty()) {
        if (text[0] < 128) {
            length += isEscaped(text[0], part) ? EscapeLength : 1;
            text.remove_prefix(1);
        } else {
            const size_t bytes = text::charset::detail::utf8Length(takeCharacter(text));
            length += EscapeLength * static_cast<int64_t>(bytes);
        }
    }
    return length;
}

/// The byte that two characters behind a "%" stand for.
uint8_t escapedByte(const uint8_t* characters) {
    const int high = qx::platform::hexValue(characters[0]);
    const int low = qx::platform::hexValue(characters[1]);
    if (high >= 0 && low >= 0)
        return static_cast<uint8_t>(high << 4 | low);
    const char16_t text[] = {characters[0], characters[1]};
    return Number::parseUInt8(TextView(text, 2), 16);
}

void replaceEscapes(std::vector<signed char>& bytes) {
    const auto* in = reinterpret_cast<const uint8_t*>(bytes.data());
    const auto* const end = in + bytes.size();
    auto out = bytes.begin();
    while (in != end) {
        uint8_t byte = *in++;
        if (byte == '%') {
            if (end - in < 2)
                throw withDetail(Exception(), String(u"a \"%\" without two characters behind it"));
            byte = escapedByte(in);
            in += 2;
        }
        *out++ = static_cast<signed char>(byte);
    }
    bytes.erase(out, bytes.end());
}

/// The text that the bytes are in UTF-8.
String decoded(const std::vector<signed char>& bytes) {
    // Well-formed bytes need no converter.
    String text;
    const int32_t capacity = qx::detail::checkedSize(std::ssize(bytes));
    const auto done = text::charset::detail::kernels().utf8ToUtf16(
        reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), text.getWriteLock(capacity),
        bytes.size());
    text.releaseWriteLock(static_cast<int32_t>(done.written));
    return done.read == bytes.size() ? text : String(bytes.data(), capacity, u"UTF-8");
}

/// The bit of no part: set where every part is escaped.
constexpr int EveryPart = 7;

} // namespace

size_t detail::findUnescaped(std::u16string_view text) noexcept {
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u'%' && text.size() - i >= EscapeLength &&
            qx::platform::hexValue(text[i + 1]) >= 0 && qx::platform::hexValue(text[i + 2]) >= 0)
            i += EscapeLength - 1;
        else if (isEscaped(text[i], EveryPart))
            return i;
    }
    return text.npos;
}

String URI::getEscapedString(std::u16string_view text, ESCAPE_PART part) {
    const int32_t length = qx::detail::checkedSize(escapedLength(text, part));
    if (qx::detail::sizeOf(length) == text.size())
        return String(text);
    String escaped;
    char16_t* out = escaped.getWriteLock(length);
    while (!text.empty()) {
        if (text[0] < 128) {
            const char16_t unit = text[0];
            if (isEscaped(unit, part))
                out = writeEscape(static_cast<uint8_t>(unit), out);
            else
                *out++ = unit;
            text.remove_prefix(1);
        } else {
            uint8_t bytes[4];
            const uint8_t* const end = text::charset::detail::writeUtf8(takeCharacter(text), bytes);
            for (const uint8_t* byte = bytes; byte != end; ++byte)
                out = writeEscape(*byte, out);
        }
    }
    escaped.releaseWriteLock(length);
    return escaped;
}

String URI::getEscapedQuery(std::u16string_view query) {
    String escaped;
    const char16_t* separator = u"";
    detail::forEachPiece(query, [&](std::u16string_view key, std::u16string_view value) {
        escaped.append(separator).append(getEscapedString(key, ESCAPE_QUERY));
        if (value.data() != key.data()) // the piece has a "="
            escaped.append(u'=').append(getEscapedString(value, ESCAPE_QUERY));
        separator = u"&";
    });
    return escaped;
}

String URI::getUnescapedString(const String& text) {
    const std::u16string_view units = text.view();
    const auto isAscii = [](char16_t unit) { return unit < 128; };
    std::vector<signed char> bytes;
    if (std::ranges::all_of(units, isAscii)) {
        if (qx::detail::findUnit(units, u'%') == units.npos)
            return text;
        bytes.assign(units.begin(), units.end());
    } else {
        bytes.resize(qx::detail::sizeOf(qx::detail::scaledSize(text.getLength(), 3, 0)));
        const auto capacity = static_cast<int32_t>(bytes.size());
        bytes.resize(qx::detail::sizeOf(text.getBytes(bytes.data(), capacity, u"UTF-8")));
    }
    replaceEscapes(bytes);
    return decoded(bytes);
}

} // namespace qx::net
