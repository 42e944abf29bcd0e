#include "qx/text/charset/AMP7.h"

#include <cstring>
#include <string_view>

#include <qx/platform/detail/HexDigits.h>
#include <qx/text/charset/PendingSurrogate.h>
#include <qx/text/charset/Surrogates.h>
#include <qx/text/charset/detail/Window.h>

namespace qx::text::charset {

namespace {

using detail::DecodeWindow;
using detail::EncodeWindow;

constexpr char32_t LastEscaped = 0xFFFFF; // five digits
constexpr size_t MaxDigits = 5;

struct Escape {
    enum State { Complete, Unfinished, Malformed };

    State state = Malformed;
    char32_t value = 0;
    size_t length = 0; ///< in bytes, of a complete one
};

int digitValue(char byte) { return qx::platform::hexValue(static_cast<uint8_t>(byte)); }

Escape readNumber(std::string_view text) {
    Escape escape;
    size_t i = 2; // behind "&_"
    while (i < text.size() && i < 2 + MaxDigits && digitValue(text[i]) >= 0)
        escape.value = escape.value << 4 | static_cast<char32_t>(digitValue(text[i++]));
    if (i == text.size()) {
        escape.state = Escape::Unfinished;
    } else if (text[i] == ';') {
        escape.state = Escape::Complete;
        escape.length = i + 1;
    }
    return escape;
}

/// Reads what begins with the "&" at the start of @p text.
Escape readEscape(std::string_view text) {
    if (text.size() == 1)
        return {Escape::Unfinished, 0, 0};
    if (text[1] == '_')
        return readNumber(text);
    constexpr struct {
        std::string_view text;
        char32_t value;
    } names[] = {{"&QUOT;", U'"'}, {"&APOS;", U'\''}, {"&AMP;", U'&'}};
    for (const auto& name : names) {
        if (text.substr(0, name.text.size()) == name.text)
            return {Escape::Complete, name.value, name.text.size()};
        if (text == name.text.substr(0, text.size()))
            return {Escape::Unfinished, 0, 0};
    }
    return {};
}

/// Writes the character of @p length bytes; false when it does not fit.
bool writeCharacter(DecodeWindow& window, const Escape& escape) {
    char16_t units[2];
    const char16_t* const end = writeUtf16(escape.value, units);
    return window.replace(escape.length, std::span<const char16_t>(units, end));
}

/// Copies the ASCII text up to the next "&" or the end of the room.
void decodeRun(DecodeWindow& window) {
    // In steps: a byte that ends the run must not cost a look at everything behind it.
    constexpr size_t Step = 512;
    for (;;) {
        const size_t size = std::min({window.left(), window.room(), Step});
        if (size == 0)
            return;
        const void* const found = std::memchr(window.in(), '&', size);
        const size_t run =
            found ? static_cast<size_t>(static_cast<const uint8_t*>(found) - window.in()) : size;
        const size_t done = detail::kernels().widenAscii(window.in(), run, window.out());
        window.advance(done, done);
        if (done != size)
            return;
    }
}

bool standsForItself(char16_t unit) {
    return (unit >= 0x20 && unit <= 0x7E && unit != u'&') || unit == u'\t' || unit == u'\n' ||
           unit == u'\r';
}

/// "&AMP;", or "&_", the value in hexadecimal without leading zeros, and ";". 8 bytes at the most.
std::string_view writeEscape(char32_t value, char (&buffer)[8]) {
    if (value == U'&')
        return "&AMP;";
    char* digits = std::end(buffer);
    *--digits = ';';
    do {
        *--digits = qx::platform::hexDigit(value & 0xF);
        value >>= 4;
    } while (value != 0);
    *--digits = '_';
    *--digits = '&';
    return {digits, std::end(buffer)};
}

void encodeRun(EncodeWindow& window) {
    const size_t size = std::min(window.left(), window.room());
    size_t i = 0;
    for (; i < size && standsForItself(window.in()[i]); ++i)
        window.out()[i] = static_cast<uint8_t>(window.in()[i]);
    window.advance(i, i);
}

} // namespace

int32_t BTCAMP7::convert(const signed char* in, int32_t* inPosition, int32_t inLength,
                         char16_t* out, int32_t* outPosition, int32_t outCapacity) {
    DecodeWindow window(in, inPosition, inLength, out, outPosition, outCapacity);
    for (;;) {
        decodeRun(window);
        if (window.left() == 0 || window.room() == 0)
            break;
        Escape escape;
        if (*window.in() == '&')
            escape = readEscape({reinterpret_cast<const char*>(window.in()), window.left()});
        if (escape.state == Escape::Unfinished)
            break;
        bool fits;
        if (escape.state == Escape::Malformed || escape.value == ReplacementCharacter) {
            detail::requireSubstitution(getSubstitutionMode());
            fits = window.replace(1, substitution());
        } else if (isSurrogate(escape.value)) {
            throw InvalidCharacterException(
                u"Invalid AMP-7 sequence (decoded chars in surrogate range)"_qs);
        } else {
            fits = writeCharacter(window, escape);
        }
        if (!fits)
            break;
    }
    return window.finish(inPosition, outPosition);
}

int32_t CTBAMP7::convert(const char16_t* in, int32_t* inPosition, int32_t inLength,
                         signed char* out, int32_t* outPosition, int32_t outCapacity) {
    EncodeWindow window(in, inPosition, inLength, out, outPosition, outCapacity);
    for (;;) {
        encodeRun(window);
        if (window.left() == 0)
            break;
        const char16_t unit = *window.in();
        char32_t value = unit;
        if (isHighSurrogate(unit)) {
            if (window.left() == 1)
                break;
            if (isLowSurrogate(window.in()[1]))
                value = joinSurrogates(unit, window.in()[1]);
            else if (!replacesHalves())
                PendingSurrogate::throwUnpaired();
        }
        const char32_t written =
            replacesHalves() && isSurrogate(value) ? ReplacementCharacter : value;
        const auto length = static_cast<size_t>(utf16Length(value));
        bool fits;
        if (value > LastEscaped) {
            detail::requireSubstitution(getSubstitutionMode());
            // One byte stays free behind the substitution.
            fits = window.room() > substitution().size() && window.replace(length, substitution());
        } else if (standsForItself(unit)) {
            fits = false; // the run ended with the room
        } else {
            char buffer[8];
            fits = window.replace(length, std::span<const char>(writeEscape(written, buffer)));
        }
        if (!fits)
            break;
    }
    return window.finish(inPosition, outPosition);
}

} // namespace qx::text::charset
