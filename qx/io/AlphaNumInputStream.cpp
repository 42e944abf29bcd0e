#include "qx/io/AlphaNumInputStream.h"

#include <utility>

#include <qx/core/String.h>
#include <qx/io/detail/AlphaNumAlphabet.h>
#include <qx/io/detail/SourceDefaults.h>
#include <qx/text/charset/EncodingException.h>

namespace qx::io {

AlphaNumInputStream::AlphaNumInputStream(InputStream* in, const char16_t* alphabet)
    : FilterInputStream(in) {
    const auto symbols = detail::alphaNumSymbols(alphabet);
    m_values.fill(-1);
    for (auto value = detail::AlphabetLength; value-- > 0;)
        m_values[symbols[static_cast<size_t>(value)]] = static_cast<int8_t>(value);
}

int32_t AlphaNumInputStream::read(signed char* to, int32_t length) {
    if (length > 0)
        m_failure.raise();
    int32_t count = 0;
    bool isValid = true;
    m_failure.guard(count, [&] { isValid = decodeInto(to, count, length); });
    if (!isValid)
        throw text::charset::InvalidCharacterException(String(u"Invalid AlphaNum character"));
    return count > 0 ? count : -1;
}

/// False at a character that is no symbol.
bool AlphaNumInputStream::decodeInto(signed char* to, int32_t& count, int32_t length) {
    while (count < length) {
        const int character = wrapped().next();
        if (character < 0) {
            if (m_phase != 0)
                to[count++] = static_cast<signed char>(std::exchange(m_gathered, uint8_t{0}));
            m_phase = 0;
            break;
        }
        const int value = m_values[static_cast<uint8_t>(character)];
        if (value < 0)
            return false;
        // The five bits follow those already gathered; what does not fit begins the next byte.
        const int begun = m_phase * 5 % 8;
        const int window = m_gathered << 8 | value << (11 - begun);
        const bool complete = begun >= 3;
        if (complete)
            to[count++] = static_cast<signed char>(window >> 8);
        m_gathered = static_cast<uint8_t>(complete ? window : window >> 8);
        m_phase = static_cast<int8_t>((m_phase + 1) % 8);
    }
    return true;
}

int32_t AlphaNumInputStream::skip(int32_t count) {
    return detail::skipByReading<signed char>(*this, count, m_failure);
}

int32_t AlphaNumInputStream::available() {
    return static_cast<int32_t>(int64_t{FilterInputStream::available()} * 5 / 8);
}

} // namespace qx::io
