#include "qx/crypto/MD5Digest.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/crypto/detail/MD5Blocks.h>
#include <qx/crypto/detail/Wipe.h>
#include <qx/platform/detail/ByteOrder.h>

namespace qx::crypto {

MD5Digest::MD5Digest() noexcept { begin(); }

MD5Digest::~MD5Digest() {
    detail::wipe(m_state, sizeof m_state);
    detail::wipe(m_block, sizeof m_block);
}

void MD5Digest::begin() noexcept {
    constexpr uint32_t Initial[] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    m_lengthInBits = 0;
    std::ranges::copy(Initial, m_state);
    std::ranges::fill(m_block, static_cast<signed char>(0));
}

void MD5Digest::update(const signed char* data, int32_t length) {
    if (length < 0)
        throw RangeErrorException(u"Length can't be negative"_qs);
    if (length > MaxUpdateLength)
        throw RangeErrorException(u"Length must be below 268435456"_qs);
    if (length == 0)
        return;
    if (!data)
        throwResult(result::NullPointer, u"message");

    const auto held = static_cast<int32_t>(m_lengthInBits / 8 % BlockLength);
    m_lengthInBits += static_cast<uint32_t>(length) * 8;
    if (held > 0) {
        const int32_t taken = std::min(length, BlockLength - held);
        std::memcpy(m_block + held, data, static_cast<size_t>(taken));
        if (held + taken < BlockLength)
            return;
        detail::transformMD5(m_state, m_block, 1);
        data += taken;
        length -= taken;
    }
    const int32_t rest = length % BlockLength;
    detail::transformMD5(m_state, data, static_cast<size_t>(length / BlockLength));
    std::memcpy(m_block, data + (length - rest), static_cast<size_t>(rest));
}

void MD5Digest::getDigest(signed char* out, int32_t outLength) {
    if (outLength < getLength())
        throwResult(result::BufferTooSmall);
    if (!out)
        throwResult(result::NullPointer, u"digest");

    static constexpr signed char Padding[BlockLength] = {-0x80};
    constexpr int32_t LengthAt = BlockLength - 8;
    const uint64_t lengthInBits = m_lengthInBits;
    const auto held = static_cast<int32_t>(lengthInBits / 8 % BlockLength);
    // Of this class, not what a derived class may have made of it: padding is no message.
    MD5Digest::update(Padding, (held < LengthAt ? LengthAt : LengthAt + BlockLength) - held);

    using platform::storeOrdered;
    constexpr auto Little = std::endian::little;
    storeOrdered<Little>(lengthInBits, m_block + LengthAt);
    detail::transformMD5(m_state, m_block, 1);
    for (int i = 0; i < 4; ++i)
        storeOrdered<Little>(m_state[i], out + 4 * i);
    reset();
}

void MD5Digest::reset() { begin(); }

int32_t MD5Digest::getLength() const { return Length; }

String MD5Digest::getName() const { return u"MD5"_qs; }

} // namespace qx::crypto
