#pragma once

#include <bit>
#include <cstdint>

#include <qx/platform/types.h>

namespace qx {

/// 16-byte globally unique identifier in the standard field layout.
using GUID = ::QXGUID;

} // namespace qx

/// Identity of all 16 bytes, compared as two 64-bit halves.
constexpr bool operator==(const QXGUID& left, const QXGUID& right) noexcept {
    struct Halves {
        uint64_t first;
        uint64_t second;
    };
    const auto l = std::bit_cast<Halves>(left);
    const auto r = std::bit_cast<Halves>(right);
    return l.first == r.first && l.second == r.second;
}
