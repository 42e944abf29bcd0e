#include "qx/text/charset/detail/WideKernels.h"

#include <algorithm>
#include <cstring>

#include <qx/text/charset/Surrogates.h>
#include <qx/text/charset/detail/PlainKernels.h>
#include <qx/text/charset/detail/Sse4Kernels.h>
#include <qx/text/charset/detail/WideVectors.h>

namespace qx::text::charset::detail {

namespace {

using wide::Bytes;
using wide::isAscii;
using wide::isZero;
using wide::load;
using wide::Longs;
using wide::lowerFirst;
using wide::pick;
using wide::store;
using wide::Units;
using wide::widen;

/// The low bytes of 16 units.
Bytes narrow(Units low, Units high) {
    return pick<0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30>(
        reinterpret_cast<Bytes>(lowerFirst(low)), reinterpret_cast<Bytes>(lowerFirst(high)));
}

/// Runs @p step over whole blocks of 16 units for as long as it accepts them, then hands the rest
/// to @p tail.
template <class Step, class Tail>
size_t inBlocks(size_t size, Step step, Tail tail) {
    size_t i = 0;
    while (size - i >= 16 && step(i))
        i += 16;
    return i + tail(i);
}

size_t widenAscii(const uint8_t* in, size_t size, char16_t* out) {
    return inBlocks(
        size,
        [=](size_t i) {
            const Bytes bytes = load<Bytes>(in + i);
            if (!isAscii(bytes))
                return false;
            widen(bytes, out + i);
            return true;
        },
        [=](size_t i) {
            const size_t left = size - i;
            return left < 16 && wide::widenIfAscii(in + i, left, out + i)
                       ? left
                       : PlainKernels.widenAscii(in + i, left, out + i);
        });
}

void widenLatin1(const uint8_t* in, size_t size, char16_t* out) {
    inBlocks(
        size,
        [=](size_t i) {
            widen(load<Bytes>(in + i), out + i);
            return true;
        },
        [=](size_t i) {
            PlainKernels.widenLatin1(in + i, size - i, out + i);
            return size - i;
        });
}

template <char16_t Limit, auto Tail>
size_t narrowBelow(const char16_t* in, size_t size, uint8_t* out) {
    return inBlocks(
        size,
        [=](size_t i) {
            const Units low = load<Units>(in + i);
            const Units high = load<Units>(in + i + 8);
            if (!isZero((low | high) & static_cast<uint16_t>(~(Limit - 1))))
                return false;
            store(narrow(low, high), out + i);
            return true;
        },
        [=](size_t i) { return (PlainKernels.*Tail)(in + i, size - i, out + i); });
}

/// Alternates between runs of ASCII, wide, and stretches of other text, where @p plain is given a
/// small window so that the next run is not missed. Windows overlap sequences that they cut.
template <auto Ascii, auto Plain, class In, class Out>
RunLength mixed(const In* in, size_t size, Out* out, size_t capacity) {
    constexpr size_t Window = 32;
    RunLength done;
    for (;;) {
        const size_t room = capacity - done.written;
        const size_t ascii =
            Ascii(in + done.read, std::min(size - done.read, room), out + done.written);
        done += {ascii, ascii};
        if (done.read == size)
            return done;
        const RunLength next =
            (PlainKernels.*Plain)(in + done.read, std::min(size - done.read, Window),
                                  out + done.written, capacity - done.written);
        done += next;
        if (done.read == size || ascii + next.read == 0)
            return done;
    }
}

Units swapBytes(Units units) { return units << 8 | units >> 8; }

/// Exchanges the bytes by shifts: a shuffle of single bytes is not in every machine's baseline, and
/// goes through memory then.
template <bool Swapped>
Longs ordered(Longs lanes) {
    if (!Swapped)
        return lanes;
    const auto halves = reinterpret_cast<Longs>(swapBytes(reinterpret_cast<Units>(lanes)));
    return halves << 16 | halves >> 16;
}

void swapUnits(const void* in, void* out, size_t units) {
    const auto* from = static_cast<const uint8_t*>(in);
    auto* to = static_cast<uint8_t*>(out);
    size_t i = 0;
    for (; units - i >= 8; i += 8) {
        const Units block = load<Units>(from + 2 * i);
        store(swapBytes(block), to + 2 * i);
    }
    PlainKernels.swapUnits(from + 2 * i, to + 2 * i, units - i);
}

/// Reads 8 bytes at once and joins four results to a store: the table look-ups are the limit.
size_t decodeBytes(const uint8_t* in, size_t size, char16_t* out, const PageDecoder& page) {
    const char16_t* const table = page.units;
    return inBlocks(
        size,
        [=](size_t i) {
            const Bytes bytes = load<Bytes>(in + i);
            const auto lookUp = [&](unsigned k) {
                return Units{table[bytes[k]],     table[bytes[k + 1]], table[bytes[k + 2]],
                             table[bytes[k + 3]], table[bytes[k + 4]], table[bytes[k + 5]],
                             table[bytes[k + 6]], table[bytes[k + 7]]};
            };
            const Units low = lookUp(0), high = lookUp(8);
            constexpr uint16_t unmapped = ReplacementCharacter;
            if (!isZero((low == unmapped) | (high == unmapped)))
                return false;
            store(low, out + i);
            store(high, out + i + 8);
            return true;
        },
        [=](size_t i) { return PlainKernels.decodeBytes(in + i, size - i, out + i, page); });
}

size_t encodeUnits(const char16_t* in, size_t size, uint8_t* out, const PageEncoder& page) {
    return inBlocks(
        size,
        [&](size_t i) {
            uint8_t bytes[16];
            uint32_t unmapped = 0;
            for (size_t k = 0; k < 16; ++k) {
                const char16_t unit = in[i + k];
                bytes[k] = page.byteOf(unit);
                unmapped |= static_cast<uint32_t>((bytes[k] == 0) & (unit != 0));
            }
            if (unmapped != 0)
                return false;
            std::memcpy(out + i, bytes, sizeof bytes);
            return true;
        },
        [&](size_t i) { return PlainKernels.encodeUnits(in + i, size - i, out + i, page); });
}

constexpr auto NarrowAscii = narrowBelow<0x80, &KernelSet::narrowAscii>;

bool areSupplementary(Longs values) { return isZero((values - 0x10000u) >> 20); }

/// Values from 0x10000 on as pairs of surrogates.
Longs splitIntoPairs(Longs values) {
    constexpr uint32_t HighBase = 0xD800 - (0x10000 >> 10);
    const Longs high = (values >> 10) + HighBase;
    const Longs low = (values & 0x3FF) | 0xDC00u;
    return platform::IsLittleEndian ? high | low << 16 : high << 16 | low;
}

/// The values of pairs of surrogates.
Longs joinPairs(Longs pairs) {
    const Longs upper = pairs >> 16;
    const Longs high = platform::IsLittleEndian ? pairs : upper;
    const Longs low = platform::IsLittleEndian ? upper : pairs;
    return ((high & 0x3FF) << 10 | (low & 0x3FF)) + 0x10000u;
}

} // namespace

template <bool Swapped>
RunLength wide::fromUtf32(const uint8_t* in, size_t units, char16_t* out, size_t capacity) {
    constexpr auto Plain = Swapped ? &KernelSet::utf32SwappedToUtf16 : &KernelSet::utf32ToUtf16;
    RunLength done;
    while (units - done.read >= 8 && capacity - done.written >= 8) {
        const uint8_t* from = in + 4 * done.read;
        char16_t* to = out + done.written;
        const Longs low = ordered<Swapped>(load<Longs>(from));
        const Longs high = ordered<Swapped>(load<Longs>(from + 16));
        const auto surrogates =
            ((low & 0xFFFFF800u) == 0xD800u) | ((high & 0xFFFFF800u) == 0xD800u);
        if (isZero((low | high) >> 16) && isZero(surrogates)) {
            store(pick<0, 2, 4, 6, 8, 10, 12, 14>(reinterpret_cast<Units>(lowerFirst(low)),
                                                  reinterpret_cast<Units>(lowerFirst(high))),
                  to);
            done += {8, 8};
            continue;
        }
        if (capacity - done.written >= 16 && areSupplementary(low) && areSupplementary(high)) {
            store(splitIntoPairs(low), to);
            store(splitIntoPairs(high), to + 8);
            done += {8, 16};
            continue;
        }
        const RunLength next = (PlainKernels.*Plain)(from, 8, to, capacity - done.written);
        done += next;
        if (next.read != 8)
            return done;
    }
    const RunLength rest = (PlainKernels.*Plain)(in + 4 * done.read, units - done.read,
                                                 out + done.written, capacity - done.written);
    return done += rest;
}

template <bool Swapped>
RunLength wide::toUtf32(const char16_t* in, size_t size, uint8_t* out, size_t capacityInUnits) {
    constexpr auto Plain = Swapped ? &KernelSet::utf16ToUtf32Swapped : &KernelSet::utf16ToUtf32;
    RunLength done;
    while (size - done.read >= 8 && capacityInUnits - done.written >= 8) {
        const char16_t* from = in + done.read;
        uint8_t* to = out + 4 * done.written;
        const Units units = load<Units>(from);
        if (isZero((units & 0xF800) == 0xD800)) {
            const Units zero = {};
            const Units first = platform::IsLittleEndian ? units : zero;
            const Units second = platform::IsLittleEndian ? zero : units;
            const Units low = pick<0, 8, 1, 9, 2, 10, 3, 11>(first, second);
            const Units high = pick<4, 12, 5, 13, 6, 14, 7, 15>(first, second);
            store(ordered<Swapped>(reinterpret_cast<Longs>(low)), to);
            store(ordered<Swapped>(reinterpret_cast<Longs>(high)), to + 16);
            done += {8, 8};
            continue;
        }
        constexpr Units pairs = {0xD800, 0xDC00, 0xD800, 0xDC00, 0xD800, 0xDC00, 0xD800, 0xDC00};
        if (isZero((units & 0xFC00) ^ pairs)) {
            store(ordered<Swapped>(joinPairs(reinterpret_cast<Longs>(units))), to);
            done += {8, 4};
            continue;
        }
        const RunLength next = (PlainKernels.*Plain)(from, 8, to, capacityInUnits - done.written);
        done += next;
        if (next.read < 7) // 7: a pair straddles the end of the block
            return done;
    }
    const RunLength rest = (PlainKernels.*Plain)(
        in + done.read, size - done.read, out + 4 * done.written, capacityInUnits - done.written);
    return done += rest;
}

template RunLength wide::fromUtf32<false>(const uint8_t*, size_t, char16_t*, size_t);
template RunLength wide::fromUtf32<true>(const uint8_t*, size_t, char16_t*, size_t);
template RunLength wide::toUtf32<false>(const char16_t*, size_t, uint8_t*, size_t);
template RunLength wide::toUtf32<true>(const char16_t*, size_t, uint8_t*, size_t);

namespace {

constexpr KernelSet Wide = {
    .name = "wide",
    .utf8ToUtf16 = mixed<widenAscii, &KernelSet::utf8ToUtf16, uint8_t, char16_t>,
    .utf16ToUtf8 = mixed<NarrowAscii, &KernelSet::utf16ToUtf8, char16_t, uint8_t>,
    .utf32ToUtf16 = wide::fromUtf32<false>,
    .utf32SwappedToUtf16 = wide::fromUtf32<true>,
    .utf16ToUtf32 = wide::toUtf32<false>,
    .utf16ToUtf32Swapped = wide::toUtf32<true>,
    .swapUnits = swapUnits,
    .widenLatin1 = widenLatin1,
    .widenAscii = widenAscii,
    .narrowLatin1 = narrowBelow<0x100, &KernelSet::narrowLatin1>,
    .narrowAscii = NarrowAscii,
    .decodeBytes = decodeBytes,
    .encodeUnits = encodeUnits,
};

} // namespace

constinit const KernelSet WideKernels = Wide;

#if defined(__x86_64__)
constinit const KernelSet Sse4Kernels = [] {
    KernelSet set = Wide;
    set.name = "sse4";
    set.utf16ToUtf8 = sse4::utf16ToUtf8;
    set.decodeBytes = sse4::decodeBytes;
    set.encodeUnits = sse4::encodeUnits;
    return set;
}();
#endif

} // namespace qx::text::charset::detail
