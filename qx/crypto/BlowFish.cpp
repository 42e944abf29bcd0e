#include "qx/crypto/BlowFish.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/crypto/detail/BlowFishRounds.h>
#include <qx/crypto/detail/Wipe.h>

namespace qx::crypto {

using detail::Direction;

namespace {

/// Blocks in flight: four more than double the rate of one, eight would add a twentieth.
constexpr size_t Lanes = 4;

void requireBlocks(const signed char* out, const signed char* in, int32_t length) {
    if (length % BlowFish::BlockLength != 0)
        throw Exception(u"only supports 8 byte block boundaries"_qs);
    if (length < 0)
        throw RangeErrorException(u"Length can't be negative"_qs);
    if (length > 0 && !in)
        throwResult(result::NullPointer, u"input");
    if (length > 0 && !out)
        throwResult(result::NullPointer, u"output");
}

template <Direction Way>
void cipher(const detail::BlowFishSchedule& schedule, signed char* out, const signed char* in,
            size_t blocks) noexcept {
    constexpr size_t Group = Lanes * BlowFish::BlockLength;
    for (; blocks >= Lanes; blocks -= Lanes, in += Group, out += Group)
        detail::blowFishBlocks<Way, Lanes>(schedule, out, in);
    for (; blocks > 0; --blocks, in += BlowFish::BlockLength, out += BlowFish::BlockLength)
        detail::blowFishBlocks<Way, 1>(schedule, out, in);
}

template <Direction Way>
void cipherBlock(const detail::BlowFishSchedule& schedule, uint32_t& left,
                 uint32_t& right) noexcept {
    uint32_t lefts[] = {left}, rights[] = {right};
    detail::blowFishRounds<Way>(schedule, lefts, rights);
    left = lefts[0];
    right = rights[0];
}

} // namespace

BlowFish::BlowFish(const signed char* key, int32_t keyLength) {
    if (keyLength < 0)
        throw RangeErrorException(u"Length can't be negative"_qs);
    if (keyLength > 0 && !key)
        throwResult(result::NullPointer, u"key");

    std::memcpy(m_pbox, s_pbox, sizeof m_pbox);
    std::memcpy(m_sbox, s_sbox, sizeof m_sbox);
    const int32_t used = std::min(keyLength, MaxKeyLength);
    if (used == 0)
        return;

    int32_t next = 0;
    for (uint32_t& word : m_pbox) {
        uint32_t part = 0;
        for (int byte = 0; byte < 4; ++byte, next = (next + 1) % used)
            part = part << 8 | static_cast<uint8_t>(key[next]);
        word ^= part;
    }

    uint32_t left = 0, right = 0;
    const auto replace = [&](auto& words) {
        for (size_t i = 0; i < std::size(words); i += 2) {
            encryptBlock(left, right);
            words[i] = left;
            words[i + 1] = right;
        }
    };
    replace(m_pbox);
    for (auto& box : m_sbox)
        replace(box);
}

BlowFish::~BlowFish() {
    detail::wipe(m_pbox, sizeof m_pbox);
    detail::wipe(m_sbox, sizeof m_sbox);
}

void BlowFish::encrypt(signed char* out, const signed char* in, int32_t length) const {
    requireBlocks(out, in, length);
    cipher<Direction::Encrypt>({m_pbox, m_sbox}, out, in, static_cast<size_t>(length) / 8);
}

void BlowFish::decrypt(signed char* out, const signed char* in, int32_t length) const {
    requireBlocks(out, in, length);
    cipher<Direction::Decrypt>({m_pbox, m_sbox}, out, in, static_cast<size_t>(length) / 8);
}

void BlowFish::encryptBlock(uint32_t& left, uint32_t& right) const noexcept {
    cipherBlock<Direction::Encrypt>({m_pbox, m_sbox}, left, right);
}

void BlowFish::decryptBlock(uint32_t& left, uint32_t& right) const noexcept {
    cipherBlock<Direction::Decrypt>({m_pbox, m_sbox}, left, right);
}

} // namespace qx::crypto
