#include "qx/math/detail/LimbKernels.h"

#include <qx/math/detail/LimbRows.h>

namespace qx::math::detail {

namespace {

Limb low(DoubleLimb value) { return static_cast<Limb>(value); }
Limb high(DoubleLimb value) { return static_cast<Limb>(value >> LimbBits); }

/// Rows in portable C++.
struct PlainRows {
    static Limb add(Limb* r, const Limb* a, const Limb* b, size_t n) {
        Limb carry = 0;
        for (size_t i = 0; i < n; ++i) {
            const DoubleLimb sum = DoubleLimb{a[i]} + b[i] + carry;
            r[i] = low(sum);
            carry = high(sum);
        }
        return carry;
    }

    static Limb subtract(Limb* r, const Limb* a, const Limb* b, size_t n) {
        Limb borrow = 0;
        for (size_t i = 0; i < n; ++i) {
            const DoubleLimb difference = DoubleLimb{a[i]} - b[i] - borrow;
            r[i] = low(difference);
            borrow = high(difference) & 1;
        }
        return borrow;
    }

    static Limb multiplyLimb(Limb* r, const Limb* a, size_t n, Limb b) {
        Limb carry = 0;
        for (size_t i = 0; i < n; ++i) {
            const DoubleLimb product = DoubleLimb{a[i]} * b + carry;
            r[i] = low(product);
            carry = high(product);
        }
        return carry;
    }

    static Limb addProduct(Limb* r, const Limb* a, size_t n, Limb b) {
        Limb carry = 0;
        for (size_t i = 0; i < n; ++i) {
            const DoubleLimb product = DoubleLimb{a[i]} * b + r[i] + carry;
            r[i] = low(product);
            carry = high(product);
        }
        return carry;
    }

    static Limb subtractProduct(Limb* r, const Limb* a, size_t n, Limb b) {
        Limb carry = 0;
        for (size_t i = 0; i < n; ++i) {
            const DoubleLimb product = DoubleLimb{a[i]} * b + carry;
            carry = high(product) + static_cast<Limb>(r[i] < low(product));
            r[i] -= low(product);
        }
        return carry;
    }

    static void addSquares(Limb* r, const Limb* a, size_t n) {
        Limb shifted = 0;
        Limb carry = 0;
        for (size_t i = 0; i < n; ++i) {
            const DoubleLimb square = DoubleLimb{a[i]} * a[i];
            const Limb r0 = r[2 * i], r1 = r[2 * i + 1];
            const DoubleLimb sum0 = DoubleLimb{r0 << 1 | shifted} + low(square) + carry;
            const DoubleLimb sum1 =
                DoubleLimb{r1 << 1 | r0 >> (LimbBits - 1)} + high(square) + high(sum0);
            r[2 * i] = low(sum0);
            r[2 * i + 1] = low(sum1);
            carry = high(sum1);
            shifted = r1 >> (LimbBits - 1);
        }
    }
};

} // namespace

namespace {

constexpr LimbKernels Plain = {
    .name = "plain",
    .add = PlainRows::add,
    .subtract = PlainRows::subtract,
    .multiplyLimb = PlainRows::multiplyLimb,
    .addProduct = PlainRows::addProduct,
    .subtractProduct = PlainRows::subtractProduct,
    .multiplyRows = LimbRows<PlainRows>::multiply,
    .squareRows = LimbRows<PlainRows>::square,
    .montgomeryRows = LimbRows<PlainRows>::montgomery,
    .nttMultiply = nttMultiplyPlain,
    .thresholds = PlainThresholds,
};

} // namespace

constinit const LimbKernels PlainLimbKernels = Plain;

#if defined(__aarch64__)
constinit const LimbKernels NeonLimbKernels = [] {
    LimbKernels set = Plain;
    set.name = "neon";
    set.nttMultiply = nttMultiplyNeon;
    return set;
}();
#endif

} // namespace qx::math::detail
