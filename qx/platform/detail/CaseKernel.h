#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <qx/platform/detail/ByteOrder.h>

/*
 * Case mapping and caseless comparison in wide steps: a vector of units is treated as ASCII, and
 * only the lanes that are not (or that differ) go one by one through the full mapping, a function
 * from unit to unit. The templates are inlined into callers that are compiled for the instruction
 * set of the vector width, so one body serves 16 and 32 bytes.
 */

namespace qx::platform {

enum class CaseTarget { Lower, Upper };

template <size_t Bytes>
struct UnitVector {
    static constexpr size_t Units = Bytes / sizeof(char16_t);
    typedef uint16_t Lanes __attribute__((vector_size(Bytes)));
    typedef uint64_t Words __attribute__((vector_size(Bytes)));
    typedef int8_t LaneFlags __attribute__((vector_size(Units)));
};

template <class Vector>
[[gnu::always_inline]] inline void load(typename Vector::Lanes& lanes, const char16_t* from) {
    std::memcpy(&lanes, from, sizeof lanes);
}

template <CaseTarget Target, class Vector>
[[gnu::always_inline]] inline void mapAscii(typename Vector::Lanes& lanes) {
    using Lanes = typename Vector::Lanes;
    constexpr uint16_t First = Target == CaseTarget::Lower ? u'A' : u'a';
    const Lanes isLetter = (Lanes)((lanes - First) < uint16_t{26});
    lanes ^= isLetter & uint16_t{0x20};
}

template <class Vector>
[[gnu::always_inline]] inline bool anyBit(const typename Vector::Lanes& lanes) {
    const auto words = (typename Vector::Words)lanes;
    uint64_t all = 0;
    for (size_t i = 0; i < sizeof words / sizeof all; ++i)
        all |= words[i];
    return all != 0;
}

/// One bit per lane, set where the lane is not 0; lane 0 is the lowest bit.
template <class Vector>
[[gnu::always_inline]] inline uint64_t laneBits(const typename Vector::Lanes& lanes) {
    using Flags = typename Vector::LaneFlags;
    const Flags flags = __builtin_convertvector(lanes != uint16_t{0}, Flags);
    uint64_t groups[sizeof flags / sizeof(uint64_t)];
    std::memcpy(groups, &flags, sizeof flags);
    uint64_t bits = 0;
    for (size_t i = 0; i < sizeof flags / sizeof(uint64_t); ++i)
        bits |= bitsOfBytes(groups[i] & 0x0101010101010101u) << (8 * i);
    return bits;
}

/// From how many of @p units on it is faster to map all than to visit bit by bit.
constexpr int visitAllFrom(size_t units) { return static_cast<int>(units / 4); }

/// Maps those of @p units units at @p text whose bit is set; the others may be mapped twice.
template <class Map>
[[gnu::always_inline]] inline void mapMarked(char16_t* text, size_t units, uint64_t marked,
                                             Map map) {
    if (std::popcount(marked) >= visitAllFrom(units)) {
        for (size_t i = 0; i < units; ++i)
            text[i] = map(text[i]);
        return;
    }
    for (; marked != 0; marked &= marked - 1) {
        char16_t& unit = text[std::countr_zero(marked)];
        unit = map(unit);
    }
}

/// Maps @p length units in place.
template <CaseTarget Target, size_t Bytes, class Map>
[[gnu::always_inline]] inline void mapCase(char16_t* text, size_t length, Map map) {
    using Vector = UnitVector<Bytes>;
    using Lanes = typename Vector::Lanes;
    constexpr uint16_t NotAscii = 0xFF80;
    constexpr size_t Unrolled = 4;
    constexpr size_t Step = Unrolled * Vector::Units;

    size_t done = 0;
    for (; length - done >= Step; done += Step) {
        Lanes others[Unrolled];
        Lanes anyOthers{};
        for (size_t i = 0; i < Unrolled; ++i) {
            char16_t* const at = text + done + i * Vector::Units;
            Lanes lanes;
            load<Vector>(lanes, at);
            others[i] = lanes & NotAscii;
            anyOthers |= others[i];
            mapAscii<Target, Vector>(lanes);
            std::memcpy(at, &lanes, sizeof lanes);
        }
        if (anyBit<Vector>(anyOthers)) {
            uint64_t marked = 0;
            for (size_t i = 0; i < Unrolled; ++i)
                marked |= laneBits<Vector>(others[i]) << (i * Vector::Units);
            mapMarked(text + done, Step, marked, map);
        }
    }
    for (; length - done >= Vector::Units; done += Vector::Units) {
        Lanes lanes;
        load<Vector>(lanes, text + done);
        const Lanes others = lanes & NotAscii;
        mapAscii<Target, Vector>(lanes);
        std::memcpy(text + done, &lanes, sizeof lanes);
        if (anyBit<Vector>(others))
            mapMarked(text + done, Vector::Units, laneBits<Vector>(others), map);
    }
    for (; done < length; ++done)
        text[done] = map(text[done]);
}

/// Loads units and maps each; no branch depends on them.
template <class Vector, class Map>
[[gnu::always_inline]] inline void loadMapped(typename Vector::Lanes& lanes, const char16_t* from,
                                              Map map) {
    char16_t mapped[Vector::Units];
    for (size_t i = 0; i < Vector::Units; ++i)
        mapped[i] = map(from[i]);
    load<Vector>(lanes, mapped);
}

/// Sets the lanes at which the comparison of @p l with @p r may end.
template <bool EndsAtZero, class Vector>
[[gnu::always_inline]] inline void markSuspects(typename Vector::Lanes& suspects,
                                                const typename Vector::Lanes& l,
                                                const typename Vector::Lanes& r) {
    using Lanes = typename Vector::Lanes;
    suspects = (Lanes)(l != r);
    if constexpr (EndsAtZero)
        suspects |= (Lanes)(l == uint16_t{0});
}

/// How far beyond the end of a text compareIgnoringCase may load.
enum class ReadAhead {
    None,       ///< both texts hold @p count units, 0 units among them
    WithinPage, ///< both may end early, at a common 0 unit; loads go on to the end of the page
};

/// Compares units mapped by @p lower, at most @p count of them: -1, 0 or 1.
template <size_t Bytes, ReadAhead Ahead, class Map>
[[gnu::always_inline]] inline int compareIgnoringCase(const char16_t* left, const char16_t* right,
                                                      size_t count, Map lower) {
    using Vector = UnitVector<Bytes>;
    using Lanes = typename Vector::Lanes;
    constexpr size_t SmallestPage = 4096;
    const auto crossesPage = [](const char16_t* at) {
        return (reinterpret_cast<uintptr_t>(at) & (SmallestPage - 1)) > SmallestPage - Bytes;
    };
    constexpr bool EndsAtZero = Ahead == ReadAhead::WithinPage;
    // The order of two units; GoesOn when they are equal and do not end the comparison.
    constexpr int GoesOn = 2;
    const auto orderAt = [&](size_t i) {
        const char16_t l = lower(left[i]);
        const char16_t r = lower(right[i]);
        return l != r ? (l < r ? -1 : 1) : EndsAtZero && l == 0 ? 0 : GoesOn;
    };

    size_t done = 0;
    for (; count - done >= Vector::Units; done += Vector::Units) {
        if constexpr (EndsAtZero) {
            if (crossesPage(left + done) || crossesPage(right + done)) {
                for (size_t lane = 0; lane < Vector::Units; ++lane) {
                    if (const int order = orderAt(done + lane); order != GoesOn)
                        return order;
                }
                continue;
            }
        }
        Lanes l, r;
        load<Vector>(l, left + done);
        load<Vector>(r, right + done);
        mapAscii<CaseTarget::Lower, Vector>(l);
        mapAscii<CaseTarget::Lower, Vector>(r);
        Lanes suspects;
        markSuspects<EndsAtZero, Vector>(suspects, l, r);
        if (!anyBit<Vector>(suspects)) [[likely]]
            continue;
        uint64_t marked = laneBits<Vector>(suspects);
        if (std::popcount(marked) >= visitAllFrom(Vector::Units)) {
            loadMapped<Vector>(l, left + done, lower);
            loadMapped<Vector>(r, right + done, lower);
            markSuspects<EndsAtZero, Vector>(suspects, l, r);
            marked = laneBits<Vector>(suspects);
        }
        for (; marked != 0; marked &= marked - 1) {
            const size_t lane = static_cast<size_t>(std::countr_zero(marked));
            if (const int order = orderAt(done + lane); order != GoesOn)
                return order;
        }
    }
    for (; done < count; ++done) {
        if (const int order = orderAt(done); order != GoesOn)
            return order;
    }
    return 0;
}

} // namespace qx::platform
