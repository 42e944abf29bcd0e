#pragma once

#include <cstdint>

#include <qx/io/FilterInputStream.h>
#include <qx/io/LateFailure.h>
#include <qx/platform/export.h>

namespace qx::io {

class ByteArrayInputStream;

/// Reads values of 1 to 32 bits, most significant bit first, that are packed into bytes without
/// gaps.
///
/// Nothing is read ahead: the wrapped stream is asked for one byte, by its single-byte read, when
/// no bit is left and another is wanted. A wrapped stream whose single-byte reads are expensive
/// should be buffered first. Bytes need not lie at byte borders: the two byte reads take 8 bits
/// each.
///
/// In a derived class the block read calls read, which calls read(int), which calls readBit for
/// each of its bits, so that one of them may be overridden alone; when a wrapped stream throws in
/// the middle of a value, the bits before are gone then.
///
/// The rest is the filter's, so skip, mark and reset work on the bytes of the wrapped stream and
/// leave alone the bits of a byte that is begun: they come next as if nothing had happened.
class QX_API BitInputStream : public FilterInputStream {
public:
    explicit BitInputStream(InputStream* in);

    using FilterInputStream::read;
    /// Reads bytes of 8 bits each until @p length or the end.
    /// @return the number of bytes, or -1 when there are none, also for a length below 1
    /// @throws what the wrapped stream throws; when that has given bytes before, they are returned
    ///     first, and the next call that needs a byte throws
    int32_t read(signed char* to, int32_t length) override;
    /// The next 8 bits as 0 to 255, or -1 when fewer are left; those are gone then.
    int read() override;

    /// The next @p bits bits, 1 to 32, as a number; a value of 32 bits is negative when its highest
    /// bit is set. For 32 bits -1 is also a value: ask available() of the wrapped stream, or read
    /// 16 and 16.
    /// @return the value, or -1 when fewer bits are left; those are gone then
    /// @throws ResultException (result::InvalidArgument) when @p bits is not 1 to 32
    virtual int read(int bits) {
        if (bits < 1 || bits > m_bitsLeft)
            return readBeyondByte(bits);
        m_bitsLeft -= bits;
        return static_cast<int>(m_bits >> m_bitsLeft & ((uint64_t{1} << bits) - 1));
    }
    /// The next bit, 0 or 1, or -1 at the end.
    virtual int readBit() {
        if (m_bitsLeft < 1)
            return readBitBeyondByte();
        return static_cast<int>(m_bits >> --m_bitsLeft & 1);
    }

private:
    int readBeyondByte(int bits);
    int readBitBeyondByte();
    int readFirst(int bits);
    bool fetchByte();
    int readFetching(int bits);
    int32_t readFromMemory(uint8_t* to, int32_t length);

    ByteArrayInputStream* m_memory; // the wrapped stream when it lies in memory, else null
    uint64_t m_bits = 0;
    /// How many of the lowest bits are left: fewer than 8, unless a value was cut off by a failure.
    int32_t m_bitsLeft = 0;
    /// The same in an object of a derived class, where m_bitsLeft stays 0. The first read makes it
    /// -1 in an object of this very class.
    int32_t m_singlesLeft = 0;
    LateFailure m_failure;
};

} // namespace qx::io

using CQXBitInputStream = qx::io::BitInputStream;
