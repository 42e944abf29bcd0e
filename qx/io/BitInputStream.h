#pragma once

#include <cstdint>

#include <qx/io/FilterInputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

class ByteArrayInputStream;

/// Reads values of 1 to 32 bits, most significant bit first, that are packed into bytes without
/// gaps.
///
/// Nothing is read ahead: the wrapped stream is asked for one byte, by its single-byte read, when
/// no bit is left and another is wanted. A wrapped stream whose single bytes are dear should be
/// buffered first. Bytes need not lie at byte borders: the byte operations take 8 bits each.
class QX_API BitInputStream : public FilterInputStream {
public:
    explicit BitInputStream(InputStream* in);

    using FilterInputStream::read;
    /// Reads bytes of 8 bits each until @p length or the end.
    /// @return the number of bytes, or -1 when there are none, also for a length below 1
    int32_t read(signed char* to, int32_t length) override;
    /// The next 8 bits as 0 to 255, or -1 when fewer are left; those are gone then.
    int read() override;
    int32_t skip(int32_t count) override;
    /// Remembers the place to the bit; whether marks are supported is the wrapped stream's matter.
    void mark(int32_t readLimit) override;
    void reset() override;

    /// The next @p bits bits, 1 to 32, as a number; a value of 32 bits is negative when its highest
    /// bit is set.
    /// @return the value, or -1 when fewer bits are left; those are gone then
    /// @throws ResultException (result::InvalidArgument) when @p bits is not 1 to 32
    virtual int read(int bits) {
        if (bits < 1 || bits > m_place.bitsLeft)
            return readBeyondByte(bits);
        m_place.bitsLeft -= bits;
        return m_place.byte >> m_place.bitsLeft & ((1 << bits) - 1);
    }
    /// The next bit, 0 or 1, or -1 at the end.
    virtual int readBit() { return BitInputStream::read(1); }

private:
    struct Place {
        int32_t byte = 0;
        int32_t bitsLeft = 0; // the lowest ones of the byte
    };
    int readBeyondByte(int bits);
    bool fetchByte();
    int readFetching(int bits);
    int32_t readFromMemory(uint8_t* to, int32_t length);

    ByteArrayInputStream* m_memory; // the wrapped stream when it lies in memory, else null
    Place m_place;
    Place m_mark;
};

} // namespace qx::io

using CQXBitInputStream = qx::io::BitInputStream;
