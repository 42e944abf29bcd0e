#include "Encoder.h"

#include <utility>

#include <qx/text/charset/Surrogates.h>

#include "tools/common/Failure.h"

using namespace qx::text::charset;

Encoder::Encoder(qx::Reference<CharToByteConverter> converter, Replacement replacement)
    : m_finder(converter, std::max(1, converter->getMaxBytesPerChar())),
      m_replacement(std::move(replacement)) {
    converter->setSubstitutionMode(false);
    Buffer<signed char> bytes;
    encodeClean(m_replacement.text, bytes);
    m_finder.restart();
}

/// Encodes a text that has to have a form.
void Encoder::encodeClean(const qx::String& text, Buffer<signed char>& bytes) {
    if (text.isEmpty())
        return;
    if (m_finder.convert(text.getData(), text.getLength(), bytes).faultLength > 0)
        throw Failure(Failure::Usage, "the substitution text has no form in " + encodingName());
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
            if (m_replacement.isDefault()) {
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
                      Buffer<signed char>& bytes) {
    const char32_t character =
        length == 2 ? joinSurrogates(units[position], units[position + 1]) : units[position];
    if (m_replacement.kind == Replacement::Kind::Reject)
        throw TextFault{TextFault::Kind::Unmappable, position, character};
    encodeClean(m_replacement.forCharacter(character), bytes);
}
