#include "qx/text/charset/detail/Avx2Vectors.h"

#if defined(__x86_64__)

#include <qx/text/charset/Surrogates.h>
#include <qx/text/charset/detail/WideKernels.h>

namespace qx::text::charset::detail::avx2 {

namespace {

/// The upper half of a byte table, 128 entries, asked for 32 bytes at once: one 16-entry shuffle
/// per high nibble, whose results are joined.
class UpperHalfTable {
public:
    QX_INLINE_AVX2 UpperHalfTable() {}

    /// Entries 16 @p row and up.
    QX_INLINE_AVX2 void setRow(unsigned row, __m128i entries) { m_rows[row] = entries; }

    /// The entries for those of the bytes that are 0x80 or more, 0 for the others.
    QX_INLINE_AVX2 __m256i lookUp(__m256i block) const {
        __m256i result = _mm256_setzero_si256();
        __m256i inRow = _mm256_xor_si256(block, m_upper); // 0 to 15 in the row at hand
        for (const __m128i& row : m_rows) {
            // Elsewhere the saturated sum has its top bit set, and a shuffle answers 0.
            const __m256i index = _mm256_adds_epu8(inRow, m_pastRow);
            result = _mm256_or_si256(result,
                                     _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(row), index));
            inRow = _mm256_sub_epi8(inRow, m_rowSize);
        }
        return result;
    }

private:
    __m128i m_rows[8];
    __m256i m_upper = bytes(0x80);
    __m256i m_pastRow = bytes(0x70);
    __m256i m_rowSize = bytes(0x10);
};

} // namespace

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

// Code pages.
//
// Both directions take ASCII as it is and look the upper half of the bytes, or of the first 256
// units, up by shuffles. Tables that change ASCII, and blocks of other units, go the wide way.

namespace {

/// The low or, with @p Shift 8, the high bytes of 16 units.
template <int Shift>
QX_INLINE_AVX2 __m128i byteOfEach(const char16_t* entries) {
    const __m256i row = _mm256_and_si256(_mm256_srli_epi16(load(entries), Shift), units(0xFF));
    return _mm_packus_epi16(_mm256_castsi256_si128(row), _mm256_extracti128_si256(row, 1));
}

/// True when the first 128 entries map to themselves.
QX_INLINE_AVX2 bool keepsAscii(const char16_t* table) {
    __m256i expected =
        _mm256_cvtepu8_epi16(_mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
    __m256i different = _mm256_setzero_si256();
    for (int i = 0; i < 128; i += 16) {
        different = _mm256_or_si256(different, _mm256_xor_si256(load(table + i), expected));
        expected = _mm256_add_epi16(expected, units(16));
    }
    return _mm256_testz_si256(different, different) != 0;
}

QX_INLINE_AVX2 bool keepsAscii(const signed char* table) {
    char16_t entries[128];
    for (int i = 0; i < 128; i += 32)
        widen(load(table + i), entries + i);
    return keepsAscii(entries);
}

/// Below this the preparation of the tables costs more than it saves.
constexpr size_t WorthPreparing = 96;
/// What goes the wide way first.
constexpr size_t Trial = 32;

} // namespace

QX_TARGET_AVX2 size_t decodeBytes(const uint8_t* in, size_t size, char16_t* out,
                                  const char16_t* table) {
    if (size < WorthPreparing || !keepsAscii(table))
        return WideKernels.decodeBytes(in, size, out, table);
    // Text full of faults does not pay for the tables again and again.
    const size_t trial = WideKernels.decodeBytes(in, Trial, out, table);
    if (trial != Trial)
        return trial;
    UpperHalfTable lowBytes;
    UpperHalfTable highBytes;
    for (unsigned row = 0; row < 8; ++row) {
        const char16_t* entries = table + 0x80 + 0x10 * row;
        lowBytes.setRow(row, byteOfEach<0>(entries));
        highBytes.setRow(row, byteOfEach<8>(entries));
    }
    constexpr unsigned replacement = ReplacementCharacter;
    const __m256i replacementLow = bytes(replacement & 0xFF);
    const __m256i replacementHigh = bytes(replacement >> 8);
    size_t i = Trial;
    for (; size - i >= 32; i += 32) {
        const __m256i block = load(in + i);
        if (topBits(block) == 0) {
            widen(block, out + i);
            continue;
        }
        const __m256i low = _mm256_blendv_epi8(block, lowBytes.lookUp(block), block);
        const __m256i high = highBytes.lookUp(block);
        const __m256i unmapped = _mm256_and_si256(_mm256_cmpeq_epi8(low, replacementLow),
                                                  _mm256_cmpeq_epi8(high, replacementHigh));
        if (topBits(unmapped) != 0)
            break;
        const __m256i outer = _mm256_unpacklo_epi8(low, high); // positions 0-7 and 16-23
        const __m256i inner = _mm256_unpackhi_epi8(low, high); // positions 8-15 and 24-31
        store(_mm256_permute2x128_si256(outer, inner, 0x20), out + i);
        store(_mm256_permute2x128_si256(outer, inner, 0x31), out + i + 16);
    }
    return i + WideKernels.decodeBytes(in + i, size - i, out + i, table);
}

QX_TARGET_AVX2 size_t encodeUnits(const char16_t* in, size_t size, uint8_t* out,
                                  const UnitToByteTable& table) {
    const signed char* firstPage = table.bytes + table.offsets[0];
    if (size < WorthPreparing || !keepsAscii(firstPage))
        return WideKernels.encodeUnits(in, size, out, table);
    const size_t trial = WideKernels.encodeUnits(in, Trial, out, table);
    if (trial != Trial)
        return trial;
    UpperHalfTable upperHalf;
    for (unsigned row = 0; row < 8; ++row)
        upperHalf.setRow(row, loadHalf(firstPage + 0x80 + 0x10 * row));
    const __m256i aboveAscii = units(0xFF80);
    const __m256i aboveBytes = units(0xFF00);
    size_t i = Trial;
    for (; size - i >= 32; i += 32) {
        const __m256i first = load(in + i);
        const __m256i second = load(in + i + 16);
        const __m256i all = _mm256_or_si256(first, second);
        if (_mm256_testz_si256(all, aboveAscii)) {
            store(narrow(first, second), out + i);
            continue;
        }
        if (_mm256_testz_si256(all, aboveBytes)) {
            const __m256i block = narrow(first, second);
            const __m256i mapped = _mm256_blendv_epi8(block, upperHalf.lookUp(block), block);
            const __m256i zero = _mm256_setzero_si256();
            const __m256i unmapped = _mm256_andnot_si256(_mm256_cmpeq_epi8(block, zero),
                                                         _mm256_cmpeq_epi8(mapped, zero));
            if (topBits(unmapped) == 0) {
                store(mapped, out + i);
                continue;
            }
        }
        const size_t mapped = WideKernels.encodeUnits(in + i, 32, out + i, table);
        if (mapped != 32)
            return i + mapped;
    }
    return i + WideKernels.encodeUnits(in + i, size - i, out + i, table);
}

} // namespace qx::text::charset::detail::avx2

#endif
