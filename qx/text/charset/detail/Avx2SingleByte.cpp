#include "qx/text/charset/detail/Avx2Vectors.h"

#if defined(__x86_64__)

#define QX_VECTOR_SPACE avx2
#define QX_TARGET_VECTOR QX_TARGET_AVX2
#define QX_INLINE_VECTOR QX_INLINE_AVX2
#include <qx/text/charset/detail/PageCoder.h>
#include <qx/text/charset/detail/RunCoder.h>

namespace qx::text::charset::detail::avx2 {

QX_TARGET_AVX2 void swapUnits(const void* in, void* out, size_t count) { swapRun(in, out, count); }

QX_TARGET_AVX2 void widenLatin1(const uint8_t* in, size_t size, char16_t* out) {
    widenLatin1Run(in, size, out);
}

QX_TARGET_AVX2 size_t widenAscii(const uint8_t* in, size_t size, char16_t* out) {
    return widenAsciiRun(in, size, out);
}

QX_TARGET_AVX2 size_t narrowLatin1(const char16_t* in, size_t size, uint8_t* out) {
    return narrowRun<0x100, &KernelSet::narrowLatin1>(in, size, out);
}

QX_TARGET_AVX2 size_t narrowAscii(const char16_t* in, size_t size, uint8_t* out) {
    return narrowRun<0x80, &KernelSet::narrowAscii>(in, size, out);
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
