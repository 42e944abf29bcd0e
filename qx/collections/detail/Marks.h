#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace qx::collections::detail {

/// Marks that lie in one group of buckets, unless it is a large one.
constexpr uint32_t SmallGroup = 48;

/// How buckets are joined to groups, and the byte by which a group knows each of its entries: the
/// bucket within the group above, bits of the hash below.
class Marking {
public:
    static constexpr uint32_t MostBuckets = 32;

    /// As many buckets to a group, at most MostBuckets, as fill half of its marks at @p loadFactor.
    explicit Marking(float loadFactor) noexcept {
        while ((2u << m_bucketBits) <= MostBuckets &&
               static_cast<float>(4u << m_bucketBits) * loadFactor <= SmallGroup)
            ++m_bucketBits;
    }

    uint32_t group(uint32_t bucket) const noexcept { return bucket >> m_bucketBits; }
    /// Groups of a table of @p length buckets.
    uint32_t groups(int32_t length) const noexcept {
        return group(static_cast<uint32_t>(length) - 1) + 1;
    }
    /// Below 256. Not of one byte: one that is written and read as a word would hold up the
    /// processor.
    uint32_t mark(uint32_t bucket, uint32_t hash) const noexcept {
        // The factor, 2^32 by the golden ratio, brings what consecutive keys differ in to the top.
        return (bucket << (8 - m_bucketBits) & 0xFF) | hash * 0x9E3779B1u >> (24 + m_bucketBits);
    }
    /// The bucket within the group.
    uint32_t bucket(uint32_t mark) const noexcept { return mark >> (8 - m_bucketBits); }
    /// Capacity that most groups will not outgrow before the table does, a multiple of 8; 0 when
    /// the groups are large.
    uint32_t usualCapacity(float loadFactor) const noexcept {
        const float entries = static_cast<float>(1u << m_bucketBits) * loadFactor;
        const float capacity = entries + 1.5f * std::sqrt(entries);
        return capacity < SmallGroup ? (static_cast<uint32_t>(capacity) + 8) & ~7u : 0;
    }

private:
    uint32_t m_bucketBits = 0;
};

/// Bit i is set where marks[i] is @p mark, for SmallGroup marks of which the first @p count count.
inline uint64_t plainMatches(const uint8_t* marks, uint32_t count, uint32_t mark) noexcept {
    uint64_t matches = 0;
    for (uint32_t i = 0; i < count; ++i)
        matches |= uint64_t{marks[i] == mark} << i;
    return matches;
}

inline uint64_t matchesOf(const uint8_t* marks, uint32_t count, uint32_t mark) noexcept {
#if defined(__SSE2__)
    const __m128i wanted = _mm_set1_epi32(static_cast<int>(mark * 0x01010101u));
    uint64_t matches = 0;
    for (int i = 0; i < 3; ++i) {
        const __m128i some = _mm_loadu_si128(reinterpret_cast<const __m128i*>(marks) + i);
        const int equal = _mm_movemask_epi8(_mm_cmpeq_epi8(some, wanted));
        matches |= static_cast<uint64_t>(equal) << (16 * i);
    }
    return matches & ((uint64_t{1} << count) - 1);
#elif defined(__aarch64__)
    // Each byte keeps the bit of its place in its half, and sums of neighbours bring eight
    // together.
    const uint8x16_t wanted = vdupq_n_u8(static_cast<uint8_t>(mark));
    const uint8x16_t places = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    const uint8x16_t first = vceqq_u8(vld1q_u8(marks), wanted) & places;
    const uint8x16_t second = vceqq_u8(vld1q_u8(marks + 16), wanted) & places;
    const uint8x16_t third = vceqq_u8(vld1q_u8(marks + 32), wanted) & places;
    uint8x16_t sums = vpaddq_u8(vpaddq_u8(first, second), vpaddq_u8(third, third));
    sums = vpaddq_u8(sums, sums); // the third once more above the others
    return vgetq_lane_u64(vreinterpretq_u64_u8(sums), 0) & ((uint64_t{1} << count) - 1);
#else
    return plainMatches(marks, count, mark);
#endif
}

} // namespace qx::collections::detail
