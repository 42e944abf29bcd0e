#include "qx/util/config/detail/IniDecoder.h"

#include <algorithm>

#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/Surrogates.h>
#include <qx/text/charset/UTF8.h>
#include <qx/text/charset/detail/Decode.h>

#include <qx/text/charset/detail/Kernels.h>

namespace qx::util::detail {

namespace {

using text::charset::ReplacementCharacter;

/// A std::u16string as the target of decoding.
struct DecodeTarget {
    std::u16string& text;

    int32_t length() const { return static_cast<int32_t>(text.size()); }
    char16_t* prepare(int32_t capacity) {
        text.resize(static_cast<size_t>(capacity));
        return text.data();
    }
    void commit(int32_t length) { text.resize(static_cast<size_t>(length)); }
};

} // namespace

void IniDecoder::useUtf8() {
    if (!m_isUtf8)
        m_decoder = new text::charset::BTCUTF8;
    m_isUtf8 = true;
}

std::u16string_view IniDecoder::decode(std::string_view line, char16_t* room) {
    m_isUndecoded = false;
    const auto* const bytes = reinterpret_cast<const uint8_t*>(line.data());
    // Every encoding of a locale has ASCII.
    if (text::charset::detail::kernels().widenAscii(bytes, line.size(), room) == line.size())
        return {room, line.size()};

    if (!m_decoder)
        m_decoder = text::charset::ByteToCharConverter::getConverter(nullptr);
    m_decoder->reset();
    m_decoded.clear();
    try {
        const auto length = static_cast<int32_t>(line.size());
        const int32_t read =
            qx::detail::decode(*m_decoder, reinterpret_cast<const signed char*>(line.data()),
                               length, DecodeTarget{m_decoded});
        if (read < length)
            m_decoded.push_back(ReplacementCharacter);
    } catch (const text::charset::InvalidCharacterException&) {
        // Some bytes have no substitution, such as those of a number beyond all characters.
        m_decoded.resize(line.size());
        std::ranges::transform(line, m_decoded.begin(), [](char byte) {
            return static_cast<signed char>(byte) < 0 ? ReplacementCharacter
                                                      : static_cast<char16_t>(byte);
        });
    }
    // A file with a byte order mark is written without it, in another encoding perhaps.
    m_isUndecoded = !m_isUtf8 && m_decoded.find(ReplacementCharacter) != m_decoded.npos;
    return m_decoded;
}

} // namespace qx::util::detail
