#pragma once

#include <cstdint>

namespace qx::collections::detail {

/// Remainder by a number that seldom changes: the product with the inverse in fixed point has the
/// remainder in its fraction (Lemire, Kaser and Kurz). Exact for all numbers of 32 bits.
class Modulus {
public:
    /// @param divisor  1 or more
    explicit Modulus(int32_t divisor) noexcept
        : m_divisor(static_cast<uint32_t>(divisor)), m_inverse(~uint64_t{0} / m_divisor + 1) {}

    int32_t divisor() const noexcept { return static_cast<int32_t>(m_divisor); }
    uint32_t operator()(uint32_t dividend) const noexcept {
        __extension__ using Wide = unsigned __int128;
        return static_cast<uint32_t>((Wide{m_inverse * dividend} * m_divisor) >> 64);
    }

private:
    uint32_t m_divisor;
    uint64_t m_inverse;
};

} // namespace qx::collections::detail
