#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <qx/core/String.h>
#include <qx/text/charset/ByteToCharConverter.h>

#include "Buffer.h"
#include "FaultFinder.h"

/// From bytes to well-formed UTF-16: no surrogate comes out alone, and no pair is cut.
///
/// Bad text is rejected with a TextFault or replaced. What the library's converters let through or
/// only mark (surrogates in UTF-16, bad sequences in UTF-8) is found here.
class Decoder {
public:
    /// @param replacement  for bad text; absent: bad text is rejected
    Decoder(qx::Reference<qx::text::charset::ByteToCharConverter> converter,
            std::optional<qx::String> replacement);

    /// Appends the text of @p input to @p units.
    /// @param atEnd  true when nothing follows, so that an incomplete sequence is bad
    /// @return the bytes consumed; not all of them before an incomplete sequence, or when @p units
    ///     holds more than enough already
    int32_t decode(const signed char* input, int32_t length, bool atEnd, Buffer<char16_t>& units);

    /// The place in @p input, decoded before without a replacement, of its @p unit th unit.
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
    void replace(TextFault fault, Buffer<char16_t>& units);

    Finder m_finder;
    std::optional<qx::String> m_replacement;
    bool m_isDefault;           ///< U+FFFD replaces
    bool m_marksFaults = false; ///< the converter does so whatever it is told
    bool m_copiesSurrogates = false;
    bool m_hasSubstituted = false;
};
