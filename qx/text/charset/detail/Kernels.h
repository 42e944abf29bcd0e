#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <qx/platform/export.h>
#include <qx/text/charset/RunLength.h>
#include <qx/text/charset/detail/PageTables.h>

/// Transcoding kernels: pure functions over whole runs of text that need no rule.
///
/// A kernel converts the longest prefix of its input that is well-formed, mappable and fits the
/// output, and reports how far it came; what to do with the rest (malformed input, substitution,
/// pending surrogates, a full buffer) is the business of the converter that called it. Every set
/// below gives exactly the same result; they differ in speed only. Behind what it reports as
/// written, but never behind the capacity, a kernel may leave scratch values in the output.
namespace qx::text::charset::detail {

struct KernelSet {
    const char* name;

    RunLength (*utf8ToUtf16)(const uint8_t* in, size_t size, char16_t* out, size_t capacity);
    /// Stops before a surrogate that is not part of a pair.
    RunLength (*utf16ToUtf8)(const char16_t* in, size_t size, uint8_t* out, size_t capacity);

    /// UTF-32 counts its units of four bytes, which need no alignment; "Swapped" is the order of
    /// bytes that is not the machine's.
    RunLength (*utf32ToUtf16)(const uint8_t* in, size_t units, char16_t* out, size_t capacity);
    RunLength (*utf32SwappedToUtf16)(const uint8_t* in, size_t units, char16_t* out,
                                     size_t capacity);
    RunLength (*utf16ToUtf32)(const char16_t* in, size_t size, uint8_t* out,
                              size_t capacityInUnits);
    RunLength (*utf16ToUtf32Swapped)(const char16_t* in, size_t size, uint8_t* out,
                                     size_t capacityInUnits);

    /// Copies @p units 16-bit units with their bytes exchanged. No alignment needed.
    void (*swapUnits)(const void* in, void* out, size_t units);

    void (*widenLatin1)(const uint8_t* in, size_t size, char16_t* out);
    /// These return the count of units converted before the first that has no mapping.
    size_t (*widenAscii)(const uint8_t* in, size_t size, char16_t* out);
    size_t (*narrowLatin1)(const char16_t* in, size_t size, uint8_t* out);
    size_t (*narrowAscii)(const char16_t* in, size_t size, uint8_t* out);
    size_t (*decodeBytes)(const uint8_t* in, size_t size, char16_t* out, const PageDecoder& page);
    size_t (*encodeUnits)(const char16_t* in, size_t size, uint8_t* out, const PageEncoder& page);
};

/// The fastest set that this machine can run; the plain one until that is known.
extern const KernelSet* g_fastestKernels;
inline const KernelSet& kernels() { return *g_fastestKernels; }

/// Every set that this machine can run, the plain one first. Exported for the tests, which hold
/// the sets against each other.
QX_API std::span<const KernelSet* const> kernelSets();

} // namespace qx::text::charset::detail
