#pragma once

#include <array>
#include <cstdint>

#include <qx/io/FilterInputStream.h>
#include <qx/io/LateFailure.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Reads bytes from text that AlphaNumOutputStream wrote over the same alphabet.
///
/// The text carries no length: at its end the bits gathered for another byte are delivered as one,
/// so a text of n bytes yields one byte more, of zero bits, unless n is a multiple of 5. Who needs
/// the exact number writes it down.
///
/// Characters are taken from the wrapped stream one at a time, none ahead of need. Letter case
/// counts. A character outside the alphabet, also a line end, is an error: it is skipped, and the
/// bytes decoded in the same call are lost. When the wrapped stream throws, no byte is: those of
/// the call are returned first, and the next one throws.
///
/// Only block reads and skip decode. The rest is the filter's: the read of a single byte gives the
/// next character of the text as it stands, and mark and reset know nothing of a group of
/// characters that is begun.
class QX_API AlphaNumInputStream : public FilterInputStream {
public:
    /// @param alphabet  as for AlphaNumOutputStream; of two equal characters the first counts
    /// @throws ResultException (result::InvalidArgument) for an alphabet that is none
    explicit AlphaNumInputStream(InputStream* in, const char16_t* alphabet = nullptr);

    using FilterInputStream::read;
    /// Reads bytes until @p length or the end.
    /// @return the number of bytes, or -1 when there are none, also for a length below 1
    /// @throws InvalidCharacterException
    int32_t read(signed char* to, int32_t length) override;
    int32_t skip(int32_t count) override;
    /// Five eighths of what the wrapped stream has available.
    int32_t available() override;

private:
    bool decodeInto(signed char* to, int32_t& count, int32_t length);

    std::array<int8_t, 256> m_values; // by character; -1 outside the alphabet
    uint8_t m_gathered = 0;           // the next byte so far, its bits in the highest places
    int8_t m_phase = 0;               // characters read of a group of 8
    LateFailure m_failure;
};

} // namespace qx::io

using CQXAlphaNumInputStream = qx::io::AlphaNumInputStream;
