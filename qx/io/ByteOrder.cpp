#include "qx/io/ByteOrder.h"

namespace qx::io {

namespace {

template <class Word>
[[gnu::always_inline]] inline void swapEach(unsigned char* to, const unsigned char* from,
                                            size_t count) noexcept {
    // Unrolled, for the speed of the vectorised loop does then not depend on where its code lies.
#pragma GCC unroll 4
    for (size_t i = 0; i < count * sizeof(Word); i += sizeof(Word)) {
        Word word;
        std::memcpy(&word, from + i, sizeof(word));
        word = swapBytes(word);
        std::memcpy(to + i, &word, sizeof(word));
    }
}

template <class Word>
[[gnu::always_inline]] inline void swapWords(void* to, const void* from, size_t count) noexcept {
    auto* const target = static_cast<unsigned char*>(to);
    // In place is a loop of its own: told apart only by a check of the compiler for overlaps, it
    // would not be vectorised.
    if (to == from)
        swapEach<Word>(target, target, count);
    else
        swapEach<Word>(target, static_cast<const unsigned char*>(from), count);
}

[[gnu::always_inline]] inline void swapWords(void* to, const void* from, size_t count,
                                             size_t wordSize) noexcept {
    switch (wordSize) {
    case 2:
        return swapWords<uint16_t>(to, from, count);
    case 4:
        return swapWords<uint32_t>(to, from, count);
    default:
        return swapWords<uint64_t>(to, from, count);
    }
}

void swapWordsPlain(void* to, const void* from, size_t count, size_t wordSize) noexcept {
    swapWords(to, from, count, wordSize);
}

#if defined(__x86_64__)
// One byte shuffle per 32 bytes, which the base instruction set has not.
[[gnu::target("avx2")]] void swapWordsWide(void* to, const void* from, size_t count,
                                           size_t wordSize) noexcept {
    swapWords(to, from, count, wordSize);
}
#endif

using SwapFunction = void (*)(void*, const void*, size_t, size_t) noexcept;

SwapFunction bestSwap() noexcept {
#if defined(__x86_64__)
    __builtin_cpu_init(); // may run before the constructors that do this
    if (__builtin_cpu_supports("avx2"))
        return swapWordsWide;
#endif
    return swapWordsPlain;
}

} // namespace

void copySwapped(void* to, const void* from, size_t count, size_t wordSize) noexcept {
    static const SwapFunction swap = bestSwap();
    swap(to, from, count, wordSize);
}

} // namespace qx::io
