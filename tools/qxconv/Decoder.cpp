#include "Decoder.h"

#include <algorithm>
#include <string_view>

#include <qx/text/charset/Surrogates.h>
#include <qx/text/charset/UTF16.h>
#include <qx/text/charset/UTF8.h>

using namespace qx::text::charset;

namespace {

/// When to hand over what there is: a replacement may make more text than was read.
constexpr int32_t EnoughUnits = 1 << 20;

constexpr std::string_view ReplacementInUtf8 = "\xEF\xBF\xBD";

/// Index of the first unit at or behind @p from that passes @p test, else @p length. Tests whole
/// blocks, which the compiler turns into wide steps, before it looks for the place.
template <class Test>
int32_t findUnit(const char16_t* units, int32_t from, int32_t length, Test test) {
    constexpr int32_t Block = 64;
    while (length - from >= Block) {
        bool found = false;
        for (int32_t i = 0; i < Block; ++i)
            found |= test(units[from + i]);
        if (found)
            break;
        from += Block;
    }
    while (from < length && !test(units[from]))
        ++from;
    return from;
}

} // namespace

Decoder::Decoder(qx::Reference<ByteToCharConverter> converter, Replacement replacement)
    : m_finder(converter, std::max(1, converter->getMaxCharsPerByte())),
      m_replacement(std::move(replacement)), m_isDefault(m_replacement.isDefault()) {
    converter->setSubstitutionMode(false);
    if (auto* const utf8 = dynamic_cast<BTCUTF8*>(converter.get())) {
        utf8->setStrict(true);
        m_marksFaults = true;
    }
    m_copiesSurrogates = dynamic_cast<BTCUTF16*>(converter.get()) != nullptr;
}

int32_t Decoder::decode(const signed char* input, int32_t length, bool atEnd,
                        Buffer<char16_t>& units) {
    Stride stride;
    int32_t position = 0;
    m_finder.beginBlock();
    while (position < length && units.size() < EnoughUnits) {
        const int32_t left = length - position;
        const int32_t step = stride.length(left);
        const bool isLast = atEnd && step == left;
        const Piece piece = decodePiece(input + position, step, isLast, units);
        position += piece.consumed;
        if (piece.faultLength > 0) {
            replace({TextFault::Kind::Invalid, position}, input + position, piece.faultLength,
                    units);
            position += piece.faultLength;
            stride.shorten();
        } else if (piece.consumed > 0 || step < left) {
            stride.lengthen();
        } else if (isLast) {
            replace({TextFault::Kind::Incomplete, position}, input + position, 1, units);
            ++position;
        } else {
            break;
        }
    }
    return position;
}

int32_t Decoder::positionOf(int32_t unit, const signed char* input, int32_t length) {
    return m_finder.consumedFor(unit, input, length);
}

std::string Decoder::encodingName() const {
    return qx::String(m_finder.converter().getEncodingName()).toUtf8();
}

Piece Decoder::decodePiece(const signed char* input, int32_t length, bool atEnd,
                           Buffer<char16_t>& units) {
    const int32_t start = units.size();
    Piece piece = m_finder.convert(input, length, units);
    if (m_marksFaults && !m_isDefault)
        cutAtMark(input, start, units, piece);
    else if (m_marksFaults && !m_hasSubstituted)
        noticeMarks(input, start, units, piece);
    if (m_copiesSurrogates)
        cutAtLoneSurrogate(input, atEnd, start, units, piece);
    return piece;
}

/// Ends the piece before the first U+FFFD that does not stand in the input itself.
void Decoder::cutAtMark(const signed char* input, int32_t start, Buffer<char16_t>& units,
                        Piece& piece) {
    int32_t unit = start;
    int32_t byte = 0; // where that unit comes from
    for (;;) {
        const int32_t mark = findUnit(units.data(), unit, units.size(),
                                      [](char16_t u) { return u == ReplacementCharacter; });
        if (mark == units.size())
            return;
        byte += m_finder.consumedFor(mark - unit, input + byte, piece.consumed - byte);
        const int32_t length = m_finder.consumedFor(1, input + byte, piece.consumed - byte);
        const auto* const source = reinterpret_cast<const char*>(input + byte);
        if (std::string_view(source, static_cast<std::size_t>(length)) != ReplacementInUtf8) {
            units.truncate(mark);
            piece = {byte, length};
            return;
        }
        unit = mark + 1;
        byte += length;
    }
}

/// There are more U+FFFD in the text than in the input when the converter has made one. In UTF-8
/// the bytes of U+FFFD are a character wherever they stand.
void Decoder::noticeMarks(const signed char* input, int32_t start, const Buffer<char16_t>& units,
                          const Piece& piece) {
    auto marks =
        std::count(units.data() + start, units.data() + units.size(), ReplacementCharacter);
    if (marks == 0)
        return;
    const std::string_view bytes(reinterpret_cast<const char*>(input),
                                 static_cast<std::size_t>(piece.consumed));
    for (std::size_t at = 0; (at = bytes.find(ReplacementInUtf8, at)) != bytes.npos;
         at += ReplacementInUtf8.size())
        --marks;
    m_hasSubstituted = marks > 0;
}

/// Ends the piece before the first surrogate without partner. A high one at the end waits for its
/// partner unless nothing follows.
void Decoder::cutAtLoneSurrogate(const signed char* input, bool atEnd, int32_t start,
                                 Buffer<char16_t>& units, Piece& piece) {
    const char16_t* const text = units.data();
    const int32_t end = units.size();
    int32_t unit = start;
    for (;; unit += 2) {
        unit = findUnit(text, unit, end, [](char16_t u) { return isSurrogate(u); });
        if (unit == end)
            return;
        if (!isHighSurrogate(text[unit]) || unit + 1 == end || !isLowSurrogate(text[unit + 1]))
            break;
    }
    const bool isFault = !isHighSurrogate(text[unit]) || unit + 1 < end || atEnd;
    const int32_t byte = m_finder.consumedFor(unit - start, input, piece.consumed);
    const int32_t length = m_finder.consumedFor(1, input + byte, piece.consumed - byte);
    units.truncate(unit);
    piece = {byte, isFault ? length : 0};
}

void Decoder::replace(TextFault fault, const signed char* bytes, int32_t length,
                      Buffer<char16_t>& units) {
    if (m_replacement.kind == Replacement::Kind::Reject)
        throw fault;
    if (m_isDefault) {
        m_hasSubstituted = true;
        // From now on the converter does it, which is faster than finding each place.
        m_finder.converter().setSubstitutionMode(true);
    }
    const qx::String text = m_replacement.forBytes(bytes, length);
    units.append(text.getData(), text.getLength());
}
