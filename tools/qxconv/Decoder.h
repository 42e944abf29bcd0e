#pragma once

#include <cstdint>
#include <string>

#include <qx/core/String.h>
#include <qx/text/charset/ByteToCharConverter.h>

#include "Buffer.h"
#include "FaultFinder.h"
#include "Replacement.h"

/// From bytes to well-formed UTF-16: no surrogate comes out alone, and no pair is cut.
///
/// Bad text is rejected with a TextFault or replaced. What the library's converters let through or
/// only mark (surrogates in UTF-16, bad sequences in UTF-8) is found here.
class Decoder {
public:
    Decoder(qx::Reference<qx::text::charset::ByteToCharConverter> converter,
            Replacement replacement);

    /// To be called at the start of each text.
    void restart() { m_finder.restart(); }

    /// Appends the text of @p input to @p units.
    /// @param atEnd  true when nothing follows, so that an incomplete sequence is bad
    /// @return the bytes consumed; not all of them before an incomplete sequence, or when @p units
    ///     holds more than enough already
    int32_t decode(const signed char* input, int32_t length, bool atEnd, Buffer<char16_t>& units);

    /// The place in @p input, the block decoded last, without a replacement, of its @p unit th
    /// unit.
    int32_t positionOf(int32_t unit, const signed char* input, int32_t length);

    /// True when bad text was replaced by U+FFFD, which nobody has asked for.
    bool hasSubstituted() const { return m_hasSubstituted; }

    std::string encodingName() const;

private:
    using Finder = FaultFinder<qx::text::charset::ByteToCharConverter, signed char, char16_t>;

    Piece decodePiece(const signed char* input, int32_t length, bool atEnd,
                      Buffer<char16_t>& units);
    void cutAtMark(const signed char* input, int32_t start, Buffer<char16_t>& units, Piece& piece);
    void cutAtLoneSurrogate(const signed char* input, bool atEnd, int32_t start,
                            Buffer<char16_t>& units, Piece& piece);
    void noticeMarks(const signed char* input, int32_t start, const Buffer<char16_t>& units,
                     const Piece& piece);
    void replace(TextFault fault, const signed char* bytes, int32_t length,
                 Buffer<char16_t>& units);

    Finder m_finder;
    Replacement m_replacement;
    bool m_isDefault;           ///< U+FFFD replaces
    bool m_marksFaults = false; ///< the converter does so whatever it is told
    bool m_copiesSurrogates = false;
    bool m_hasSubstituted = false;
};
