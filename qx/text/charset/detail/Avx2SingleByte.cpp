#include "qx/text/charset/detail/Avx2Vectors.h"

#if defined(__x86_64__)

#define QX_VECTOR_SPACE avx2
#define QX_TARGET_VECTOR QX_TARGET_AVX2
#define QX_INLINE_VECTOR QX_INLINE_AVX2
#include <qx/text/charset/detail/PageCoder.h>

namespace qx::text::charset::detail::avx2 {

QX_TARGET_AVX2 void swapUnits(const void* in, void* out, size_t count) {
    const auto* from = static_cast<const uint8_t*>(in);
    auto* to = static_cast<uint8_t*>(out);
    size_t i = 0;
    for (; count - i >= 16; i += 16) {
        const __m256i block = load(from + 2 * i);
        store(_mm256_or_si256(_mm256_slli_epi16(block, 8), _mm256_srli_epi16(block, 8)),
              to + 2 * i);
    }
    WideKernels.swapUnits(from + 2 * i, to + 2 * i, count - i);
}

QX_TARGET_AVX2 void widenLatin1(const uint8_t* in, size_t size, char16_t* out) {
    size_t i = 0;
    for (; size - i >= 32; i += 32)
        widen(load(in + i), out + i);
    WideKernels.widenLatin1(in + i, size - i, out + i);
}

QX_TARGET_AVX2 size_t widenAscii(const uint8_t* in, size_t size, char16_t* out) {
    const size_t i = widenAsciiBlocks(in, size, out);
    return i + WideKernels.widenAscii(in + i, size - i, out + i);
}

QX_TARGET_AVX2 size_t narrowLatin1(const char16_t* in, size_t size, uint8_t* out) {
    const size_t i = narrowBlocks(in, size, out, units(0xFF00));
    return i + WideKernels.narrowLatin1(in + i, size - i, out + i);
}

QX_TARGET_AVX2 size_t narrowAscii(const char16_t* in, size_t size, uint8_t* out) {
    const size_t i = narrowBlocks(in, size, out, units(0xFF80));
    return i + WideKernels.narrowAscii(in + i, size - i, out + i);
}

QX_TARGET_AVX2 size_t decodeBytes(const uint8_t* in, size_t size, char16_t* out,
                                  const PageDecoder& page) {
    return decodePage(in, size, out, page);
}

QX_TARGET_AVX2 size_t encodeUnits(const char16_t* in, size_t size, uint8_t* out,
                                  const PageEncoder& page) {
    return encodePage(in, size, out, page);
}

} // namespace qx::text::charset::detail::avx2

#endif
