#pragma once

#include <array>
#include <cstdint>

#include <qx/io/FilterOutputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Writes bytes as text over an alphabet of 32 ASCII characters, five bits in each, most
/// significant bit first, without padding: n bytes and a flush make the ceiling of 8 n / 5
/// characters.
///
/// A character is written as soon as its bits are known; the last one of a text that is no multiple
/// of 5 bytes long comes with flush, and is never written without it.
///
/// Only block writes encode: the write of a single byte is the filter's and puts the byte into the
/// text as it is.
class QX_API AlphaNumOutputStream : public FilterOutputStream {
public:
    /// @param alphabet  exactly 32 ASCII characters, nul-terminated, copied; null for
    ///     "ABCDEFGHJKLMNPQRSTUVWXYZ23456789". The character at index v stands for the value v.
    /// @throws ResultException (result::InvalidArgument) for any other alphabet
    explicit AlphaNumOutputStream(OutputStream* out, const char16_t* alphabet = nullptr);

    using FilterOutputStream::write;
    /// When the wrapped stream throws, none of the bytes since its last success is taken; it is
    /// given the characters in blocks.
    void write(const signed char* from, int32_t length) override;
    /// Writes the character that is begun, its missing bits zero, flushes the wrapped stream and
    /// starts a new group of 5 bytes.
    void flush() override;

private:
    std::array<signed char, 32> m_symbols;
    uint8_t m_previous = 0; // the last byte, whose lowest bits are not written
    int32_t m_bits = 0;     // how many bits those are, 0 to 4
};

} // namespace qx::io

using CQXAlphaNumOutputStream = qx::io::AlphaNumOutputStream;
