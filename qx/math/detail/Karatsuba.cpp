#include "qx/math/detail/Multiply.h"

#include <algorithm>

#include <qx/math/detail/Balanced.h>

namespace qx::math::detail {

namespace {

/// r[an] = |a - b| for an equal to bn or one above; true when a is below b.
bool absoluteDifference(const LimbKernels& kernels, Limb* r, const Limb* a, size_t an,
                        const Limb* b, size_t bn) {
    if (an > bn) {
        r[bn] = a[bn];
        if (r[bn] != 0) {
            r[bn] -= kernels.subtract(r, a, b, bn);
            return false;
        }
    }
    const bool isBelow = compare(a, b, bn) < 0;
    if (isBelow)
        kernels.subtract(r, b, a, bn);
    else
        kernels.subtract(r, a, b, bn);
    return isBelow;
}

} // namespace

// With a = a1 * B^h + a0 and b likewise, a1 * b0 + a0 * b1 is what (a0 - a1) * (b0 - b1) lacks to
// a0 * b0 + a1 * b1. The differences, unlike sums, need no limb more than the halves.
void multiplyKaratsuba(const LimbKernels& kernels, Limb* r, const Limb* a, const Limb* b, size_t n,
                       Limb* scratch) noexcept {
    const size_t h = (n + 1) / 2; // of the low half
    const size_t l = n - h;       // of the high half: h or h - 1
    Limb* const middle = scratch;
    scratch += 2 * h;

    bool isNegative = absoluteDifference(kernels, r, a, h, a + h, l);
    if (a == b) {
        isNegative = false;
        multiplyBalanced(kernels, middle, r, r, h, scratch);
    } else {
        isNegative ^= absoluteDifference(kernels, r + h, b, h, b + h, l);
        multiplyBalanced(kernels, middle, r, r + h, h, scratch);
    }
    multiplyBalanced(kernels, r, a, b, h, scratch);
    multiplyBalanced(kernels, r + 2 * h, a + h, b + h, l, scratch);

    // r holds the quarters L0, L1, H0, H1, where H1 may be shorter. To be added to L1 and H0, at h:
    // L0 + H0 and L1 + H1, that is L1 + H0 to both L0 and H1 in their places.
    const size_t top = 2 * n - 3 * h;
    Limb* const quarter = r + h;
    const Limb shared = kernels.add(quarter + h, quarter, quarter + h, h);
    const Limb first = shared + kernels.add(quarter, quarter + h, r, h);
    Limb carry = kernels.add(quarter + h, quarter + h, quarter + 2 * h, top);
    carry = shared + addLimb(quarter + h + top, quarter + h + top, h - top, carry);
    carry += addLimb(quarter + h, quarter + h, h, first);
    if (isNegative)
        carry += kernels.add(quarter, quarter, middle, 2 * h);
    else
        carry -= kernels.subtract(quarter, quarter, middle, 2 * h);
    addLimb(quarter + 2 * h, quarter + 2 * h, top, carry);
}

size_t karatsubaScratch(const LimbKernels& kernels, size_t n, bool isSquare) noexcept {
    const size_t h = (n + 1) / 2;
    return 2 * h + std::max(balancedScratch(kernels, h, isSquare),
                            balancedScratch(kernels, n - h, isSquare));
}

} // namespace qx::math::detail
