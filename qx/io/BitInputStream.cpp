#include "qx/io/BitInputStream.h"

#include <algorithm>
#include <utility>

#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteOrder.h>
#include <qx/io/detail/Bits.h>
#include <qx/io/detail/ExactClass.h>

namespace qx::io {

namespace {

/// False where each step has to be a call that a derived class may have overridden.
inline bool isPlain(BitInputStream& stream) noexcept {
    return detail::exactly<BitInputStream>(stream) != nullptr;
}

} // namespace

BitInputStream::BitInputStream(InputStream* in)
    : FilterInputStream(in), m_memory(detail::exactly<ByteArrayInputStream>(wrapped())) {}

int BitInputStream::read() { return read(8); }

int32_t BitInputStream::read(signed char* to, int32_t length) {
    const bool plain = isPlain(*this);
    if (plain && m_memory)
        return readFromMemory(reinterpret_cast<uint8_t*>(to), length);
    int32_t count = 0;
    m_failure.guard(count, [&] {
        for (int byte; count < length && (byte = plain ? readFetching(8) : read()) >= 0; ++count)
            to[count] = static_cast<signed char>(byte);
    });
    return count > 0 ? count : -1;
}

/// A value that the current byte does not hold alone.
int BitInputStream::readBeyondByte(int bits) {
    detail::checkBitWidth(bits);
    if (m_singlesLeft >= 0) [[unlikely]]
        return readFirst(bits);
    if (!m_memory)
        return readFetching(bits);
    const auto rest = m_memory->rest();
    if (rest.size() < sizeof(uint64_t)) [[unlikely]]
        return readFetching(bits);
    // The bits left and the next eight bytes in one word; at most 4 of those bytes are used up.
    const uint64_t next = loadInOrder<uint64_t>(rest.data(), QX_ENDIAN_BIG);
    const int left = m_bitsLeft;
    const uint64_t window = m_bits << 1 << (63 - left) | next >> left;
    const int bytes = (bits - left + 7) >> 3;
    m_memory->tryTake(bytes);
    m_bits = static_cast<uint8_t>(rest[static_cast<size_t>(bytes - 1)]);
    m_bitsLeft = left + 8 * bytes - bits;
    return static_cast<int>(window >> (64 - bits));
}

/// The first value; in an object of a derived class each.
[[gnu::noinline]] int BitInputStream::readFirst(int bits) {
    if (isPlain(*this)) {
        m_singlesLeft = -1;
        return readBeyondByte(bits);
    }
    uint32_t value = 0;
    while (bits-- > 0) {
        const int bit = readBit();
        if (bit < 0)
            return -1;
        value = value << 1 | static_cast<uint32_t>(bit);
    }
    return static_cast<int>(value);
}

int BitInputStream::readBitBeyondByte() {
    if (isPlain(*this))
        return readBeyondByte(1);
    if (m_singlesLeft == 0) {
        if (!fetchByte())
            return -1;
        m_singlesLeft = std::exchange(m_bitsLeft, 0);
    }
    return static_cast<int>(m_bits >> --m_singlesLeft & 1);
}

/// Adds the next byte of the wrapped stream to the bits that are left; false at the end.
bool BitInputStream::fetchByte() {
    m_failure.raise();
    const int byte = wrapped().next();
    if (byte < 0)
        return false;
    m_bits = m_bits << 8 | (static_cast<unsigned>(byte) & 0xFF);
    m_bitsLeft += 8;
    return true;
}

/// Takes a value once all of its bits are there: a failure of the wrapped stream loses none.
int BitInputStream::readFetching(int bits) {
    while (m_bitsLeft < bits) {
        if (!fetchByte()) {
            m_bitsLeft = 0;
            return -1;
        }
    }
    m_bitsLeft -= bits;
    return static_cast<int>(m_bits >> m_bitsLeft & detail::lowBits(bits));
}

int32_t BitInputStream::readFromMemory(uint8_t* to, int32_t length) {
    if (length < 1)
        return -1;
    const auto count = std::min(static_cast<int32_t>(m_memory->rest().size()), length);
    if (count > 0) {
        const auto* const from = reinterpret_cast<const uint8_t*>(m_memory->tryTake(count));
        const int left = m_bitsLeft;
        to[0] = static_cast<uint8_t>(m_bits << (8 - left) | from[0] >> left);
        for (int32_t i = 1; i < count; ++i)
            to[i] = static_cast<uint8_t>(from[i - 1] << (8 - left) | from[i] >> left);
        m_bits = from[count - 1];
    }
    if (count == length)
        return length;
    m_bitsLeft = 0; // the attempt at another byte uses up the rest
    return count > 0 ? count : -1;
}

} // namespace qx::io
