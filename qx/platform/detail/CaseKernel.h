#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/*
 * Case mapping and caseless comparison in wide steps: a vector of units is treated as ASCII, and
 * only the lanes that are not (or that differ) go one by one through the mapping @p map. The
 * functions are inlined into callers that are compiled for the instruction set of the vector width,
 * so one body serves 16 and 32 bytes.
 */

namespace qx::platform {

static_assert(std::endian::native == std::endian::little, "lanes are found from the lowest byte");

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

/// Calls @p visit with the index of each non-zero lane, in order, until it returns true; whether it
/// did.
template <class Vector, class Visit>
[[gnu::always_inline]] inline bool findLane(const typename Vector::Lanes& lanes, Visit&& visit) {
    using Flags = typename Vector::LaneFlags;
    const Flags flags = __builtin_convertvector(lanes != uint16_t{0}, Flags);
    uint64_t groups[sizeof flags / sizeof(uint64_t)];
    std::memcpy(groups, &flags, sizeof flags);
    for (size_t i = 0; i < sizeof flags / sizeof(uint64_t); ++i) {
        // One bit per lane, at the bottom of its byte.
        for (uint64_t left = groups[i] & 0x0101010101010101u; left != 0; left &= left - 1) {
            if (visit(i * 8 + static_cast<size_t>(std::countr_zero(left)) / 8))
                return true;
        }
    }
    return false;
}

/// Maps @p length units in place.
template <CaseTarget Target, size_t Bytes, class Map>
[[gnu::always_inline]] inline void mapCase(char16_t* text, size_t length, Map map) {
    using Vector = UnitVector<Bytes>;
    constexpr uint16_t NotAscii = 0xFF80;
    constexpr size_t Unrolled = 4;

    // Lanes that are not ASCII are still unmapped in the text when they are visited.
    const auto mapOthers = [&](char16_t* at, const typename Vector::Lanes& others) {
        findLane<Vector>(others, [&](size_t lane) {
            at[lane] = map(at[lane]);
            return false;
        });
    };
    size_t done = 0;
    for (; length - done >= Unrolled * Vector::Units; done += Unrolled * Vector::Units) {
        typename Vector::Lanes others[Unrolled];
        typename Vector::Lanes anyOthers{};
        for (size_t i = 0; i < Unrolled; ++i) {
            char16_t* const at = text + done + i * Vector::Units;
            typename Vector::Lanes lanes;
            load<Vector>(lanes, at);
            others[i] = lanes & NotAscii;
            anyOthers |= others[i];
            mapAscii<Target, Vector>(lanes);
            std::memcpy(at, &lanes, sizeof lanes);
        }
        if (anyBit<Vector>(anyOthers)) {
            for (size_t i = 0; i < Unrolled; ++i)
                mapOthers(text + done + i * Vector::Units, others[i]);
        }
    }
    for (; length - done >= Vector::Units; done += Vector::Units) {
        typename Vector::Lanes lanes;
        load<Vector>(lanes, text + done);
        const typename Vector::Lanes others = lanes & NotAscii;
        mapAscii<Target, Vector>(lanes);
        std::memcpy(text + done, &lanes, sizeof lanes);
        if (anyBit<Vector>(others))
            mapOthers(text + done, others);
    }
    for (; done < length; ++done)
        text[done] = map(text[done]);
}

/// How far beyond the end of a text compareIgnoringCase may load.
enum class ReadAhead {
    None,       ///< both texts hold @p count units
    WithinPage, ///< a text may end early; memory is loaded up to the end of its page
};

/// Compares units mapped by @p lower, at most @p count of them, up to a common 0 unit: -1, 0 or 1.
template <size_t Bytes, ReadAhead Ahead, class Map>
[[gnu::always_inline]] inline int compareIgnoringCase(const char16_t* left, const char16_t* right,
                                                      size_t count, Map lower) {
    using Vector = UnitVector<Bytes>;
    using Lanes = typename Vector::Lanes;
    constexpr size_t SmallestPage = 4096;
    const auto crossesPage = [](const char16_t* at) {
        return (reinterpret_cast<uintptr_t>(at) & (SmallestPage - 1)) > SmallestPage - Bytes;
    };
    int order = 0;
    // Whether the comparison ends at this unit, with the order left in `order`.
    const auto endsAt = [&](size_t i) {
        const char16_t l = lower(left[i]);
        const char16_t r = lower(right[i]);
        order = l == r ? 0 : l < r ? -1 : 1;
        return order != 0 || l == 0;
    };

    size_t done = 0;
    while (count - done >= Vector::Units) {
        if constexpr (Ahead == ReadAhead::WithinPage) {
            if (crossesPage(left + done) || crossesPage(right + done)) {
                for (const size_t end = done + Vector::Units; done < end; ++done) {
                    if (endsAt(done))
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
        const Lanes suspects = (Lanes)(l != r) | (Lanes)(l == uint16_t{0});
        if (anyBit<Vector>(suspects) &&
            findLane<Vector>(suspects, [&](size_t lane) { return endsAt(done + lane); }))
            return order;
        done += Vector::Units;
    }
    for (; done < count; ++done) {
        if (endsAt(done))
            return order;
    }
    return 0;
}

} // namespace qx::platform
