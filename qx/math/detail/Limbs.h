#pragma once

#include <cstddef>
#include <cstdint>

#include <qx/platform/export.h>

/// Arithmetic on natural numbers held as arrays of limbs of 64 bits, the least significant first.
///
/// Lengths count limbs. Nothing here allocates or checks: the callers own the memory and have seen
/// to the lengths. Unless a function says otherwise, leading zero limbs are allowed, a length may
/// be 0, and the result may be the very array of an operand but not overlap it in another way.
/// Exported for the tests.
namespace qx::math::detail {

using Limb = uint64_t;

/// Two limbs: what a product of two limbs and two carries fits into.
__extension__ typedef unsigned __int128 DoubleLimb;

constexpr unsigned LimbBits = 64;

/// Length without the leading zero limbs.
inline size_t normalizedLength(const Limb* a, size_t n) noexcept {
    while (n > 0 && a[n - 1] == 0)
        --n;
    return n;
}

/// -1, 0 or 1 as a is below, equal to or above b.
inline int compare(const Limb* a, const Limb* b, size_t n) noexcept {
    while (n > 0) {
        --n;
        if (a[n] != b[n])
            return a[n] < b[n] ? -1 : 1;
    }
    return 0;
}

/// r = a + b; returns the carry.
QX_API Limb add(Limb* r, const Limb* a, const Limb* b, size_t n) noexcept;
/// r = a - b; returns the borrow.
QX_API Limb subtract(Limb* r, const Limb* a, const Limb* b, size_t n) noexcept;
/// r = a + b for a single limb b; returns the carry.
QX_API Limb addLimb(Limb* r, const Limb* a, size_t n, Limb b) noexcept;
/// r = a - b for a single limb b; returns the borrow.
QX_API Limb subtractLimb(Limb* r, const Limb* a, size_t n, Limb b) noexcept;

/// r = a * b; returns the limb above r.
QX_API Limb multiplyLimb(Limb* r, const Limb* a, size_t n, Limb b) noexcept;
/// r += a * b; returns the limb to add above r.
QX_API Limb addProduct(Limb* r, const Limb* a, size_t n, Limb b) noexcept;
/// r -= a * b; returns the limb to subtract above r.
QX_API Limb subtractProduct(Limb* r, const Limb* a, size_t n, Limb b) noexcept;
/// q = a / b for b != 0; returns a mod b.
QX_API Limb divideLimb(Limb* q, const Limb* a, size_t n, Limb b) noexcept;

/// r = a * 2^bits for 1 <= bits <= 63; returns the bits shifted out, as the low bits of a limb.
/// r may also begin above a.
QX_API Limb shiftLeft(Limb* r, const Limb* a, size_t n, unsigned bits) noexcept;
/// r = a / 2^bits for 1 <= bits <= 63; returns the bits shifted out, as the high bits of a limb.
/// r may also begin below a.
QX_API Limb shiftRight(Limb* r, const Limb* a, size_t n, unsigned bits) noexcept;

} // namespace qx::math::detail
