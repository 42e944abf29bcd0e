#include "qx/text/charset/detail/Avx2Vectors.h"

#if defined(__x86_64__)

#define QX_VECTOR_SPACE avx2
#define QX_TARGET_VECTOR QX_TARGET_AVX2
#define QX_INLINE_VECTOR QX_INLINE_AVX2
#include <qx/text/charset/detail/Utf8Decoder.h>
#include <qx/text/charset/detail/Utf8Encoder.h>

namespace qx::text::charset::detail::avx2 {

QX_TARGET_AVX2 RunLength utf8ToUtf16(const uint8_t* in, size_t size, char16_t* out,
                                     size_t capacity) {
    return decodeUtf8(in, size, out, capacity);
}

QX_TARGET_AVX2 RunLength utf16ToUtf8(const char16_t* in, size_t size, uint8_t* out,
                                     size_t capacity) {
    return encodeUtf8(in, size, out, capacity);
}

} // namespace qx::text::charset::detail::avx2

#endif
