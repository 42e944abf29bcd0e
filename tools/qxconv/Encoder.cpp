#include "Encoder.h"

#include <qx/text/charset/Surrogates.h>

#include "tools/common/Failure.h"

using namespace qx::text::charset;

Encoder::Encoder(qx::Reference<CharToByteConverter> converter, Unmappable unmappable)
    : m_finder(converter, std::max(1, converter->getMaxBytesPerChar())), m_unmappable(unmappable) {
    converter->setSubstitutionMode(false);
}

Encoder::Encoder(qx::Reference<CharToByteConverter> converter, const qx::String& replacement)
    : Encoder(converter, Unmappable::Reject) {
    Buffer<signed char> bytes;
    try {
        encode(replacement.getData(), replacement.getLength(), bytes);
    } catch (const TextFault&) {
        throw Failure(Failure::Usage, "the substitution text has no form in " + encodingName());
    }
    m_replacement = std::move(bytes);
}

void Encoder::encode(const char16_t* units, int32_t length, Buffer<signed char>& bytes) {
    Stride stride;
    int32_t position = 0;
    while (position < length) {
        int32_t step = stride.length(length - position);
        if (isHighSurrogate(units[position + step - 1]))
            ++step; // its partner follows
        Piece piece = m_finder.convert(units + position, step, bytes);
        stride.lengthen();
        if (piece.faultLength > 0) {
            // A converter may have taken the first half of a pair that it then refused.
            if (piece.consumed > 0 && isHighSurrogate(units[position + piece.consumed - 1]))
                piece = {piece.consumed - 1, piece.faultLength + 1};
            if (m_unmappable == Unmappable::Substitute) {
                substituteFromNowOn();
                piece.faultLength = 0; // it comes again
            } else {
                replace(units, position + piece.consumed, piece.faultLength, bytes);
                stride.shorten();
            }
        }
        position += piece.consumed + piece.faultLength;
    }
}

std::string Encoder::encodingName() const {
    return qx::String(m_finder.converter().getEncodingName()).toUtf8();
}

/// From the first substitution on the converter makes them all, which is faster than finding them.
void Encoder::substituteFromNowOn() {
    m_finder.converter().setSubstitutionMode(true);
    m_hasSubstituted = true;
}

void Encoder::replace(const char16_t* units, int32_t position, int32_t length,
                      Buffer<signed char>& bytes) const {
    if (!m_replacement) {
        const char32_t character =
            length == 2 ? joinSurrogates(units[position], units[position + 1]) : units[position];
        throw TextFault{TextFault::Kind::Unmappable, position, character};
    }
    bytes.append(m_replacement->data(), m_replacement->size());
}
