#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include <qx/platform/detail/ByteOrder.h>

namespace qx::crypto::detail {

/// Which way through the P-array: decryption is encryption from its other end.
enum class Direction { Encrypt, Decrypt };

/// The tables of one key.
struct BlowFishSchedule {
    const uint32_t (&pbox)[18];
    const uint32_t (&sbox)[4][256];
};

inline uint32_t blowFishF(const uint32_t (&sbox)[4][256], uint32_t x) noexcept {
    return ((sbox[0][x >> 24] + sbox[1][x >> 16 & 0xFF]) ^ sbox[2][x >> 8 & 0xFF]) +
           sbox[3][x & 0xFF];
}

/// The sixteen rounds on @p Lanes blocks side by side. A round of one block waits for its table
/// look-ups most of the time, which the other blocks fill.
template <Direction Way, size_t Lanes>
inline void blowFishRounds(const BlowFishSchedule& schedule, uint32_t (&left)[Lanes],
                           uint32_t (&right)[Lanes]) noexcept {
    const auto p = [&](size_t i) { return schedule.pbox[Way == Direction::Encrypt ? i : 17 - i]; };
    // Two rounds at once, so that the halves change their names instead of their places.
    for (size_t round = 0; round < 16; round += 2) {
        for (size_t lane = 0; lane < Lanes; ++lane) {
            left[lane] ^= p(round);
            right[lane] ^= blowFishF(schedule.sbox, left[lane]);
        }
        for (size_t lane = 0; lane < Lanes; ++lane) {
            right[lane] ^= p(round + 1);
            left[lane] ^= blowFishF(schedule.sbox, right[lane]);
        }
    }
    for (size_t lane = 0; lane < Lanes; ++lane) {
        const uint32_t last = left[lane] ^ p(16);
        left[lane] = right[lane] ^ p(17);
        right[lane] = last;
    }
}

/// Carries @p Lanes blocks of 8 bytes from @p in to @p out; all are read before one is written.
template <Direction Way, size_t Lanes>
inline void blowFishBlocks(const BlowFishSchedule& schedule, signed char* out,
                           const signed char* in) noexcept {
    uint32_t left[Lanes], right[Lanes];
    for (size_t lane = 0; lane < Lanes; ++lane) {
        left[lane] = platform::loadOrdered<uint32_t, std::endian::big>(in + 8 * lane);
        right[lane] = platform::loadOrdered<uint32_t, std::endian::big>(in + 8 * lane + 4);
    }
    blowFishRounds<Way>(schedule, left, right);
    for (size_t lane = 0; lane < Lanes; ++lane) {
        platform::storeOrdered<std::endian::big>(left[lane], out + 8 * lane);
        platform::storeOrdered<std::endian::big>(right[lane], out + 8 * lane + 4);
    }
}

} // namespace qx::crypto::detail
