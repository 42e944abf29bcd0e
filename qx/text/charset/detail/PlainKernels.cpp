#include "qx/text/charset/detail/PlainKernels.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include <qx/platform/detail/ByteOrder.h>
#include <qx/text/charset/detail/Utf8.h>

namespace qx::text::charset::detail {

namespace {

RunLength utf8ToUtf16(const uint8_t* in, size_t size, char16_t* out, size_t capacity) {
    RunLength done;
    while (done.read < size) {
        const Sequence sequence = readWellFormed(in + done.read, size - done.read);
        const size_t units = sequence.value < 0x10000 ? 1 : 2;
        if (sequence.length == 0 || capacity - done.written < units)
            break;
        writeUtf16(sequence.value, out + done.written);
        done.read += sequence.length;
        done.written += units;
    }
    return done;
}

/// The code point at the start of @p size > 0 units and its length, 0 for an unpaired surrogate.
Sequence readUtf16(const char16_t* in, size_t size) {
    if (!isSurrogate(in[0]))
        return {in[0], 1};
    if (size < 2 || !isHighSurrogate(in[0]) || !isLowSurrogate(in[1]))
        return {};
    return {joinSurrogates(in[0], in[1]), 2};
}

RunLength utf16ToUtf8(const char16_t* in, size_t size, uint8_t* out, size_t capacity) {
    RunLength done;
    while (done.read < size) {
        const Sequence character = readUtf16(in + done.read, size - done.read);
        const size_t bytes = utf8Length(character.value);
        if (character.length == 0 || capacity - done.written < bytes)
            break;
        writeUtf8(character.value, out + done.written);
        done.read += character.length;
        done.written += bytes;
    }
    return done;
}

template <std::endian Order>
RunLength utf32ToUtf16(const uint8_t* in, size_t units, char16_t* out, size_t capacity) {
    RunLength done;
    while (done.read < units) {
        const char32_t value = platform::loadOrdered<char32_t, Order>(in + 4 * done.read);
        const size_t length = value < 0x10000 ? 1 : 2;
        if (isSurrogate(value) || value > LastCodePoint || capacity - done.written < length)
            break;
        writeUtf16(value, out + done.written);
        ++done.read;
        done.written += length;
    }
    return done;
}

template <std::endian Order>
RunLength utf16ToUtf32(const char16_t* in, size_t size, uint8_t* out, size_t capacityInUnits) {
    RunLength done;
    while (done.read < size && done.written < capacityInUnits) {
        const Sequence character = readUtf16(in + done.read, size - done.read);
        if (character.length == 0)
            break;
        platform::storeOrdered<Order>(character.value, out + 4 * done.written);
        done.read += character.length;
        ++done.written;
    }
    return done;
}

void swapUnits(const void* in, void* out, size_t units) {
    const auto* from = static_cast<const uint8_t*>(in);
    auto* to = static_cast<uint8_t*>(out);
    for (size_t i = 0; i < 2 * units; i += 2) {
        const uint8_t first = from[i]; // in and out may be the same
        to[i] = from[i + 1];
        to[i + 1] = first;
    }
}

void widenLatin1(const uint8_t* in, size_t size, char16_t* out) { std::copy_n(in, size, out); }

size_t widenAscii(const uint8_t* in, size_t size, char16_t* out) {
    size_t i = 0;
    for (; i < size && in[i] < 0x80; ++i)
        out[i] = in[i];
    return i;
}

template <char16_t Limit>
size_t narrow(const char16_t* in, size_t size, uint8_t* out) {
    size_t i = 0;
    for (; i < size && in[i] < Limit; ++i)
        out[i] = static_cast<uint8_t>(in[i]);
    return i;
}

size_t decodeBytes(const uint8_t* in, size_t size, char16_t* out, const PageDecoder& page) {
    size_t i = 0;
    for (; i < size && page.units[in[i]] != ReplacementCharacter; ++i)
        out[i] = page.units[in[i]];
    return i;
}

size_t encodeUnits(const char16_t* in, size_t size, uint8_t* out, const PageEncoder& page) {
    size_t i = 0;
    for (; i < size; ++i) {
        const uint8_t byte = page.byteOf(in[i]);
        if (byte == 0 && in[i] != 0)
            break;
        out[i] = byte;
    }
    return i;
}

constexpr std::endian Swapped = platform::IsLittleEndian ? std::endian::big : std::endian::little;

} // namespace

constinit const KernelSet PlainKernels = {
    .name = "plain",
    .utf8ToUtf16 = utf8ToUtf16,
    .utf16ToUtf8 = utf16ToUtf8,
    .utf32ToUtf16 = utf32ToUtf16<std::endian::native>,
    .utf32SwappedToUtf16 = utf32ToUtf16<Swapped>,
    .utf16ToUtf32 = utf16ToUtf32<std::endian::native>,
    .utf16ToUtf32Swapped = utf16ToUtf32<Swapped>,
    .swapUnits = swapUnits,
    .widenLatin1 = widenLatin1,
    .widenAscii = widenAscii,
    .narrowLatin1 = narrow<0x100>,
    .narrowAscii = narrow<0x80>,
    .decodeBytes = decodeBytes,
    .encodeUnits = encodeUnits,
};

} // namespace qx::text::charset::detail
