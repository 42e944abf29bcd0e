#include "qx/math/detail/Limbs.h"

#include <bit>

#include <qx/math/detail/LimbKernels.h>
#include <qx/math/detail/Reciprocal.h>

namespace qx::math::detail {

Limb add(Limb* r, const Limb* a, const Limb* b, size_t n) noexcept {
    return limbKernels().add(r, a, b, n);
}

Limb subtract(Limb* r, const Limb* a, const Limb* b, size_t n) noexcept {
    return limbKernels().subtract(r, a, b, n);
}

Limb addLimb(Limb* r, const Limb* a, size_t n, Limb b) noexcept {
    size_t i = 0;
    for (; i < n && (b != 0 || r != a); ++i) {
        const Limb sum = a[i] + b;
        b = static_cast<Limb>(sum < b);
        r[i] = sum;
    }
    return b;
}

Limb subtractLimb(Limb* r, const Limb* a, size_t n, Limb b) noexcept {
    for (size_t i = 0; i < n && (b != 0 || r != a); ++i) {
        const Limb minuend = a[i];
        r[i] = minuend - b;
        b = static_cast<Limb>(minuend < b);
    }
    return b;
}

Limb multiplyLimb(Limb* r, const Limb* a, size_t n, Limb b) noexcept {
    return limbKernels().multiplyLimb(r, a, n, b);
}

Limb addProduct(Limb* r, const Limb* a, size_t n, Limb b) noexcept {
    return limbKernels().addProduct(r, a, n, b);
}

Limb subtractProduct(Limb* r, const Limb* a, size_t n, Limb b) noexcept {
    return limbKernels().subtractProduct(r, a, n, b);
}

Limb divideLimb(Limb* q, const Limb* a, size_t n, Limb b) noexcept {
    if (n == 0)
        return 0;
    // The reciprocal wants a divisor with its top bit set; the dividend is shifted on the way.
    const unsigned shift = static_cast<unsigned>(std::countl_zero(b));
    const Limb divisor = b << shift;
    const Limb inverse = reciprocal(divisor);
    if (shift == 0) {
        Limb remainder = 0;
        for (size_t i = n; i-- > 0;)
            q[i] = divideTwo(remainder, a[i], divisor, inverse);
        return remainder;
    }
    Limb next = a[n - 1];
    Limb remainder = next >> (LimbBits - shift);
    for (size_t i = n; i-- > 0;) {
        const Limb below = i > 0 ? a[i - 1] : 0;
        q[i] = divideTwo(remainder, next << shift | below >> (LimbBits - shift), divisor, inverse);
        next = below;
    }
    return remainder >> shift;
}

Limb shiftLeft(Limb* r, const Limb* a, size_t n, unsigned bits) noexcept {
    if (n == 0)
        return 0;
    Limb upper = a[n - 1];
    const Limb out = upper >> (LimbBits - bits);
    for (size_t i = n - 1; i > 0; --i) {
        const Limb lower = a[i - 1];
        r[i] = upper << bits | lower >> (LimbBits - bits);
        upper = lower;
    }
    r[0] = upper << bits;
    return out;
}

Limb shiftRight(Limb* r, const Limb* a, size_t n, unsigned bits) noexcept {
    if (n == 0)
        return 0;
    Limb lower = a[0];
    const Limb out = lower << (LimbBits - bits);
    for (size_t i = 0; i + 1 < n; ++i) {
        const Limb upper = a[i + 1];
        r[i] = lower >> bits | upper << (LimbBits - bits);
        lower = upper;
    }
    r[n - 1] = lower >> bits;
    return out;
}

} // namespace qx::math::detail
