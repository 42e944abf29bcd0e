#pragma once

#include <concepts>
#include <cstdint>

#include <qx/io/FilterOutputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

class ByteArrayOutputStream;

/// Packs values of 1 to 32 bits into bytes without gaps, most significant bit first.
///
/// A byte goes to the wrapped stream, by its single-byte write, as soon as it is full; a wrapped
/// stream whose single-byte writes are expensive should be buffered. Up to 7 bits stay behind until
/// flush and are never written without it. When the wrapped stream throws, the full bytes before
/// the one it refused are written and the rest of that call's bits are not taken.
///
/// In a derived class every bit goes to writeBit, so that it may be overridden alone.
class QX_API BitOutputStream : public FilterOutputStream {
public:
    explicit BitOutputStream(OutputStream* out);

    using FilterOutputStream::write;
    /// Writes bytes of 8 bits each.
    void write(const signed char* from, int32_t length) override;
    void write(signed char byte) override;
    /// Fills a begun byte with zero bits, writes it and flushes the wrapped stream.
    void flush() override;

    /// Writes the lowest @p bits bits of @p value.
    /// @throws ResultException (result::InvalidArgument) when @p bits is not 1 to 32
    /// @throws RangeErrorException when the value has more than @p bits bits
    virtual void write(uint32_t value, int bits) {
        const uint32_t room = static_cast<uint32_t>(m_most - m_bits); // without filling the byte
        if (static_cast<uint32_t>(bits) - 1 >= room || value >> bits != 0)
            return writeBeyondByte(value, bits);
        m_begun = m_begun << bits | value;
        m_bits += bits;
    }
    /// Writes one bit.
    virtual void writeBit(bool bit) {
        if (m_bits >= m_most)
            return writeBitBeyondByte(bit);
        m_begun = m_begun << 1 | uint32_t{bit};
        ++m_bits;
    }

    /// The above for any type of integer: a value that is too wide is refused, not cut. A negative
    /// value of up to 32 bits counts as its 32 bits.
    template <std::integral T>
    void write(T value, int bits) {
        if constexpr (sizeof(T) > sizeof(uint32_t))
            checkFits(static_cast<uint64_t>(value), bits);
        write(static_cast<uint32_t>(value), bits);
    }

private:
    static void checkFits(uint64_t value, int bits);
    void writeBeyondByte(uint32_t value, int bits);
    void writeBitBeyondByte(bool bit);
    void writeFirst(uint32_t value, int bits);
    void put(uint32_t value, int bits);
    void putToMemory(const uint8_t* from, int32_t length);

    ByteArrayOutputStream* m_memory; // the wrapped stream when it lies in memory, else null
    uint32_t m_begun = 0;            // bits of the byte that is not full, in the lowest places
    int32_t m_bits = 0;              // how many those are; 0 in an object of a derived class
    int32_t m_most = 0;    // 7, but 0 in one of a derived class and before the first value
    int32_t m_singles = 0; // how many bits are begun in one of a derived class
};

} // namespace qx::io

using CQXBitOutputStream = qx::io::BitOutputStream;
