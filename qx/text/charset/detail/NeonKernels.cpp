#include "qx/text/charset/detail/NeonVectors.h"

#if defined(__aarch64__)

#include <algorithm>

#define QX_VECTOR_SPACE neon
#define QX_TARGET_VECTOR QX_TARGET_NEON
#define QX_INLINE_VECTOR QX_INLINE_NEON
#include <qx/text/charset/detail/PageCoder.h>
#include <qx/text/charset/detail/RunCoder.h>
#include <qx/text/charset/detail/Utf8Decoder.h>
#include <qx/text/charset/detail/Utf8Encoder.h>

namespace qx::text::charset::detail {

namespace neon {

namespace {

RunLength utf8ToUtf16(const uint8_t* in, size_t size, char16_t* out, size_t capacity) {
    constexpr size_t LongText = 64; // with room for a run of ASCII
    RunLength done;
    if (size > 2 * VectorBytes &&
        size < LongText) { // mostly ASCII, for which the steps of any text are dear
        const size_t ascii = WideKernels.widenAscii(in, std::min(size, capacity), out);
        done += {ascii, ascii};
        if (ascii == size)
            return done;
    }
    return done += decodeUtf8(in + done.read, size - done.read, out + done.written,
                              capacity - done.written);
}

} // namespace

} // namespace neon

// UTF-32 is bound by memory already in the wide set.
constinit const KernelSet NeonKernels = {
    .name = "neon",
    .utf8ToUtf16 = neon::utf8ToUtf16,
    .utf16ToUtf8 = [](const char16_t* in, size_t size, uint8_t* out,
                      size_t capacity) { return neon::encodeUtf8(in, size, out, capacity); },
    .utf32ToUtf16 = wide::fromUtf32<false>,
    .utf32SwappedToUtf16 = wide::fromUtf32<true>,
    .utf16ToUtf32 = wide::toUtf32<false>,
    .utf16ToUtf32Swapped = wide::toUtf32<true>,
    .swapUnits = [](const void* in, void* out, size_t units) { neon::swapRun(in, out, units); },
    .widenLatin1 = [](const uint8_t* in, size_t size,
                      char16_t* out) { neon::widenLatin1Run(in, size, out); },
    .widenAscii = [](const uint8_t* in, size_t size,
                     char16_t* out) { return neon::widenAsciiRun(in, size, out); },
    .narrowLatin1 =
        [](const char16_t* in, size_t size, uint8_t* out) {
            return neon::narrowRun<0x100, &KernelSet::narrowLatin1>(in, size, out);
        },
    .narrowAscii =
        [](const char16_t* in, size_t size, uint8_t* out) {
            return neon::narrowRun<0x80, &KernelSet::narrowAscii>(in, size, out);
        },
    .decodeBytes = [](const uint8_t* in, size_t size, char16_t* out,
                      const PageDecoder& page) { return neon::decodePage(in, size, out, page); },
    .encodeUnits = [](const char16_t* in, size_t size, uint8_t* out,
                      const PageEncoder& page) { return neon::encodePage(in, size, out, page); },
};

} // namespace qx::text::charset::detail

#endif
