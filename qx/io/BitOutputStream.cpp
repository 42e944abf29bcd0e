#include "qx/io/BitOutputStream.h"

#include <algorithm>

#include <qx/core/Exception.h>
#include <qx/core/String.h>
#include <qx/io/ByteArrayOutputStream.h>
#include <qx/io/ByteOrder.h>
#include <qx/io/detail/Bits.h>
#include <qx/io/detail/ExactClass.h>

namespace qx::io {

namespace {

inline void requireFits(uint64_t value, int bits) {
    detail::checkBitWidth(bits);
    if (value > detail::lowBits(bits)) [[unlikely]]
        throw RangeErrorException(String(u"Number out of range"));
}

/// False where every bit has to be a call that a derived class may have overridden.
inline bool isPlain(BitOutputStream& stream) noexcept {
    return detail::exactly<BitOutputStream>(stream) != nullptr;
}

} // namespace

BitOutputStream::BitOutputStream(OutputStream* out)
    : FilterOutputStream(out), m_memory(detail::exactly<ByteArrayOutputStream>(wrapped())) {}

void BitOutputStream::write(signed char byte) {
    if (m_most == 0) [[unlikely]]
        return writeFirst(static_cast<uint8_t>(byte), 8);
    put(static_cast<uint8_t>(byte), 8);
}

void BitOutputStream::write(const signed char* from, int32_t length) {
    if (!isPlain(*this)) [[unlikely]] {
        for (int32_t i = 0; i < length; ++i)
            write(from[i]);
        return;
    }
    if (m_memory)
        return putToMemory(reinterpret_cast<const uint8_t*>(from), length);
    for (int32_t i = 0; i < length; ++i)
        put(static_cast<uint8_t>(from[i]), 8);
}

void BitOutputStream::flush() {
    if (const int32_t begun = m_bits + m_singles; begun > 0) {
        wrapped().write(static_cast<signed char>(m_begun << (8 - begun)));
        m_begun = 0;
        m_bits = m_singles = 0;
    }
    FilterOutputStream::flush();
}

void BitOutputStream::checkFits(uint64_t value, int bits) { requireFits(value, bits); }

/// A value that fills the begun byte, or one to be refused.
void BitOutputStream::writeBeyondByte(uint32_t value, int bits) {
    requireFits(value, bits);
    if (m_most == 0) [[unlikely]]
        return writeFirst(value, bits);
    put(value, bits);
}

void BitOutputStream::writeBitBeyondByte(bool bit) {
    if (isPlain(*this))
        return writeBeyondByte(bit, 1);
    const uint32_t begun = m_begun << 1 | uint32_t{bit};
    const bool isFull = m_singles == 7;
    if (isFull)
        wrapped().write(static_cast<signed char>(begun));
    m_begun = isFull ? 0 : begun;
    m_singles = isFull ? 0 : m_singles + 1;
}

/// The first value; in an object of a derived class each.
[[gnu::noinline]] void BitOutputStream::writeFirst(uint32_t value, int bits) {
    if (isPlain(*this)) {
        m_most = 7;
        return put(value, bits);
    }
    while (bits-- > 0)
        writeBit((value >> bits & 1) != 0);
}

/// Appends the lowest @p bits bits of @p value, which has no others.
void BitOutputStream::put(uint32_t value, int bits) {
    const uint64_t all = uint64_t{m_begun} << bits | value; // at most 39 bits
    int left = m_bits + bits;
    if (m_memory) {
        const auto room = m_memory->room();
        if (room.size() >= sizeof all) [[likely]] {
            storeInOrder(room.data(), all << (64 - left), QX_ENDIAN_BIG);
            m_memory->tryClaim(left >> 3);
            m_bits = left & 7;
            m_begun = static_cast<uint32_t>(all & detail::lowBits(m_bits));
            return;
        }
    }
    while (left >= 8) {
        wrapped().write(static_cast<signed char>(all >> (left - 8)));
        left -= 8;
        m_begun = 0;
        m_bits = 0;
    }
    m_begun = static_cast<uint32_t>(all & detail::lowBits(left));
    m_bits = left;
}

void BitOutputStream::putToMemory(const uint8_t* from, int32_t length) {
    for (int32_t done = 0; done < length;) {
        const auto count = std::min(static_cast<int32_t>(m_memory->room().size()), length - done);
        if (count == 0) { // the buffer grows as it does for any single byte
            put(from[done++], 8);
            continue;
        }
        const uint8_t* const bytes = from + done;
        auto* const to = reinterpret_cast<uint8_t*>(m_memory->tryClaim(count));
        to[0] = static_cast<uint8_t>(m_begun << (8 - m_bits) | bytes[0] >> m_bits);
        for (int32_t i = 1; i < count; ++i)
            to[i] = static_cast<uint8_t>(bytes[i - 1] << (8 - m_bits) | bytes[i] >> m_bits);
        m_begun = static_cast<uint32_t>(bytes[count - 1] & detail::lowBits(m_bits));
        done += count;
    }
}

} // namespace qx::io
