#pragma once

// Runs of text where every unit is a byte or changes its byte order, with the vectors of one
// instruction set; Utf8Encoder.h says how a source includes this.

#include <iterator>

#include <qx/text/charset/detail/WideKernels.h>

namespace qx::text::charset::detail::QX_VECTOR_SPACE {

namespace {

/// The bits that are set in any of the vectors.
template <size_t Count>
QX_INLINE_VECTOR Vector anyOf(const Vector (&vectors)[Count]) {
    Vector any = vectors[0];
    for (size_t i = 1; i < Count; ++i)
        any |= vectors[i];
    return any;
}

QX_INLINE_VECTOR size_t widenAsciiRun(const uint8_t* in, size_t size, char16_t* out) {
    const size_t i = widenAsciiBlocks(in, size, out);
    return i + WideKernels.widenAscii(in + i, size - i, out + i);
}

QX_INLINE_VECTOR void widenLatin1Run(const uint8_t* in, size_t size, char16_t* out) {
    constexpr size_t Step = RunVectors * VectorBytes;
    size_t i = 0;
    for (; size - i >= Step; i += Step) {
        for (size_t k = 0; k < Step; k += VectorBytes)
            widen(load(in + i + k), out + i + k);
    }
    WideKernels.widenLatin1(in + i, size - i, out + i);
}

/// Narrows units below @p Limit, a power of two, in steps of 32, and as @p Tail does it in the end.
template <unsigned Limit, auto Tail>
QX_INLINE_VECTOR size_t narrowRun(const char16_t* in, size_t size, uint8_t* out) {
    constexpr size_t Step = 32;
    const Vector tooHigh = units(0x10000 - Limit);
    size_t i = 0;
    for (; size - i >= Step; i += Step) {
        Vector blocks[Step / VectorUnits];
        for (size_t k = 0; k < std::size(blocks); ++k)
            blocks[k] = load(in + i + k * VectorUnits);
        if (!hasNone(anyOf(blocks), tooHigh))
            break;
        for (size_t k = 0; k < std::size(blocks); k += 2)
            store(narrow(blocks[k], blocks[k + 1]), out + i + k * VectorUnits);
    }
    return i + (WideKernels.*Tail)(in + i, size - i, out + i);
}

QX_INLINE_VECTOR void swapRun(const void* in, void* out, size_t count) {
    const auto* from = static_cast<const uint8_t*>(in);
    auto* to = static_cast<uint8_t*>(out);
    constexpr size_t Step = RunVectors * VectorUnits;
    size_t i = 0;
    for (; count - i >= Step; i += Step) {
        Vector blocks[RunVectors]; // read first: the compiler may not, for they may be the same
        for (size_t k = 0; k < RunVectors; ++k)
            blocks[k] = load(from + 2 * i + k * VectorBytes);
        for (size_t k = 0; k < RunVectors; ++k)
            store(swapBytes(blocks[k]), to + 2 * i + k * VectorBytes);
    }
    WideKernels.swapUnits(from + 2 * i, to + 2 * i, count - i);
}

} // namespace

} // namespace qx::text::charset::detail::QX_VECTOR_SPACE
