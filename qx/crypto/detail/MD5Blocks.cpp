#include "qx/crypto/detail/MD5Blocks.h"

#include <bit>
#include <utility>

#include <qx/crypto/detail/MD5Sines.h>
#include <qx/platform/detail/ByteOrder.h>

namespace qx::crypto::detail {

namespace {

// Every step waits for the one before, and for nothing else: b is the newest word, so a round takes
// as long as the way from b to its result. What does not need b is worked out beside it.

struct F {
    static uint32_t add(uint32_t sum, uint32_t b, uint32_t c, uint32_t d) {
        return sum + (((c ^ d) & b) ^ d);
    }
    static constexpr int Rotations[] = {7, 12, 17, 22};
    static constexpr unsigned wordOf(unsigned step) { return step; }
};

struct G {
    static uint32_t add(uint32_t sum, uint32_t b, uint32_t c, uint32_t d) {
        // No bit is in both terms, so that the sum is their union, and one is ready before b is.
        return sum + (c & ~d) + (b & d);
    }
    static constexpr int Rotations[] = {5, 9, 14, 20};
    static constexpr unsigned wordOf(unsigned step) { return (5 * step + 1) % 16; }
};

struct H {
    static uint32_t add(uint32_t sum, uint32_t b, uint32_t c, uint32_t d) {
        return sum + ((c ^ d) ^ b);
    }
    static constexpr int Rotations[] = {4, 11, 16, 23};
    static constexpr unsigned wordOf(unsigned step) { return (3 * step + 5) % 16; }
};

struct I {
    static uint32_t add(uint32_t sum, uint32_t b, uint32_t c, uint32_t d) {
        return sum + (c ^ (b | ~d));
    }
    static constexpr int Rotations[] = {6, 10, 15, 21};
    static constexpr unsigned wordOf(unsigned step) { return 7 * step % 16; }
};

/// One step; the four words change their places from step to step instead of their contents.
template <class Function, unsigned Round, unsigned Step>
inline void step(uint32_t (&words)[4], const signed char* block) noexcept {
    uint32_t& a = words[(16 - Step) % 4];
    const uint32_t b = words[(17 - Step) % 4];
    const uint32_t c = words[(18 - Step) % 4];
    const uint32_t d = words[(19 - Step) % 4];
    const auto word =
        platform::loadOrdered<uint32_t, std::endian::little>(block + 4 * Function::wordOf(Step));
    const uint32_t sum = a + MD5Sines[16 * Round + Step] + word;
    a = b + std::rotl(Function::add(sum, b, c, d), Function::Rotations[Step % 4]);
}

template <class Function, unsigned Round, unsigned... Steps>
inline void round(uint32_t (&words)[4], const signed char* block,
                  std::integer_sequence<unsigned, Steps...>) noexcept {
    (step<Function, Round, Steps>(words, block), ...);
}

} // namespace

void transformMD5(uint32_t (&state)[4], const signed char* blocks, size_t count) noexcept {
    constexpr auto Steps = std::make_integer_sequence<unsigned, 16>();
    uint32_t total[] = {state[0], state[1], state[2], state[3]};
    for (; count > 0; --count, blocks += 64) {
        uint32_t words[] = {total[0], total[1], total[2], total[3]};
        round<F, 0>(words, blocks, Steps);
        round<G, 1>(words, blocks, Steps);
        round<H, 2>(words, blocks, Steps);
        round<I, 3>(words, blocks, Steps);
        for (int i = 0; i < 4; ++i)
            total[i] += words[i];
    }
    for (int i = 0; i < 4; ++i)
        state[i] = total[i];
}

} // namespace qx::crypto::detail
