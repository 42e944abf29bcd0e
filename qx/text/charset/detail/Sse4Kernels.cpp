#include "qx/text/charset/detail/Sse4Vectors.h"

#if defined(__x86_64__)

#define QX_VECTOR_SPACE sse4
#define QX_TARGET_VECTOR QX_TARGET_SSE4
#define QX_INLINE_VECTOR QX_INLINE_SSE4
#include <qx/text/charset/detail/PageCoder.h>
#include <qx/text/charset/detail/Utf8Encoder.h>

namespace qx::text::charset::detail::sse4 {

QX_TARGET_SSE4 RunLength utf16ToUtf8(const char16_t* in, size_t size, uint8_t* out,
                                     size_t capacity) {
    return encodeUtf8(in, size, out, capacity);
}

QX_TARGET_SSE4 size_t decodeBytes(const uint8_t* in, size_t size, char16_t* out,
                                  const PageDecoder& page) {
    return decodePage(in, size, out, page);
}

QX_TARGET_SSE4 size_t encodeUnits(const char16_t* in, size_t size, uint8_t* out,
                                  const PageEncoder& page) {
    return encodePage(in, size, out, page);
}

} // namespace qx::text::charset::detail::sse4

#endif
