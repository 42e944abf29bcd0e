#pragma once

#include <cstdint>

namespace qx::collections::detail {

/// Remainder by a number that seldom changes: the product with the inverse in fixed point has the
/// remainder in its fraction (Lemire, Kaser and Kurz). Exact for all numbers of 32 bits.
/// @param inverse  that of the divisor, by inverseOf
inline uint32_t remainder(uint32_t dividend, uint32_t divisor, uint64_t inverse) noexcept {
    __extension__ using Wide = unsigned __int128;
    return static_cast<uint32_t>((Wide{inverse * dividend} * divisor) >> 64);
}
inline uint64_t inverseOf(uint32_t divisor) noexcept { return ~uint64_t{0} / divisor + 1; }

/// A divisor with its inverse.
class Modulus {
public:
    /// @param divisor  1 or more
    explicit Modulus(int32_t divisor) noexcept
        : m_divisor(static_cast<uint32_t>(divisor)), m_inverse(inverseOf(m_divisor)) {}

    int32_t divisor() const noexcept { return static_cast<int32_t>(m_divisor); }
    uint32_t operator()(uint32_t dividend) const noexcept {
        return remainder(dividend, m_divisor, m_inverse);
    }

private:
    uint32_t m_divisor;
    uint64_t m_inverse;
};

} // namespace qx::collections::detail
