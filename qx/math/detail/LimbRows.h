#pragma once

#include <qx/math/detail/Limbs.h>

namespace qx::math::detail {

/// The quadratic algorithms over one implementation of the rows they are made of. @p Rows has the
/// static functions multiplyLimb and addProduct of Limbs.h, and addSquares, which turns r[2n], the
/// sum of the products of different limbs of a[n], into the square of a.
template <class Rows>
struct LimbRows {
    static void multiply(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn) {
        r[an] = Rows::multiplyLimb(r, a, an, b[0]);
        for (size_t i = 1; i < bn; ++i)
            r[an + i] = Rows::addProduct(r + i, a, an, b[i]);
    }

    static void square(Limb* r, const Limb* a, size_t n) {
        r[0] = 0;
        r[2 * n - 1] = 0;
        if (n > 1)
            r[n] = Rows::multiplyLimb(r + 1, a + 1, n - 1, a[0]);
        for (size_t i = 1; i + 1 < n; ++i)
            r[n + i] = Rows::addProduct(r + 2 * i + 1, a + i + 1, n - i - 1, a[i]);
        Rows::addSquares(r, a, n);
    }

    static void montgomery(Limb* t, const Limb* m, size_t n, Limb inverse) {
        for (size_t i = 0; i < n; ++i)
            t[i] = Rows::addProduct(t + i, m, n, t[i] * inverse);
    }
};

} // namespace qx::math::detail
