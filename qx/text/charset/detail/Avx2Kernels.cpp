#include "qx/text/charset/detail/Avx2Kernels.h"

#if defined(__x86_64__)

#include <qx/text/charset/detail/WideKernels.h>

namespace qx::text::charset::detail {

// UTF-32 is bound by memory already in the wide set.
constinit const KernelSet Avx2Kernels = {
    .name = "avx2",
    .utf8ToUtf16 = avx2::utf8ToUtf16,
    .utf16ToUtf8 = avx2::utf16ToUtf8,
    .utf32ToUtf16 = wide::fromUtf32<false>,
    .utf32SwappedToUtf16 = wide::fromUtf32<true>,
    .utf16ToUtf32 = wide::toUtf32<false>,
    .utf16ToUtf32Swapped = wide::toUtf32<true>,
    .swapUnits = avx2::swapUnits,
    .widenLatin1 = avx2::widenLatin1,
    .widenAscii = avx2::widenAscii,
    .narrowLatin1 = avx2::narrowLatin1,
    .narrowAscii = avx2::narrowAscii,
    .decodeBytes = avx2::decodeBytes,
    .encodeUnits = avx2::encodeUnits,
};

} // namespace qx::text::charset::detail

#endif
