#include "qx/text/charset/detail/Sse4Vectors.h"

#if defined(__x86_64__)

#define QX_VECTOR_SPACE sse4
#define QX_INLINE_VECTOR QX_INLINE_SSE4
#include <qx/text/charset/detail/Utf8Encoder.h>

QX_TARGET_SSE4 qx::text::charset::RunLength
qx::text::charset::detail::sse4::utf16ToUtf8(const char16_t* in, size_t size, uint8_t* out,
                                             size_t capacity) {
    return encodeUtf8(in, size, out, capacity);
}

#endif
