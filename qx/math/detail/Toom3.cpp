#include "qx/math/detail/Multiply.h"

#include <algorithm>

#include <qx/math/detail/Balanced.h>

namespace qx::math::detail {

namespace {

/// r = a / 3 for a multiple of 3, from the low end.
void divideByThree(Limb* r, const Limb* a, size_t n) {
    constexpr Limb Third = 0x5555555555555555;
    constexpr Limb Inverse = 2 * Third + 1; // of 3 modulo 2^64
    Limb borrow = 0;
    for (size_t i = 0; i < n; ++i) {
        const Limb quotient = (a[i] - borrow) * Inverse;
        borrow = static_cast<Limb>(a[i] < borrow) + static_cast<Limb>(quotient > Third) +
                 static_cast<Limb>(quotient > 2 * Third);
        r[i] = quotient;
    }
}

/// One operand, a = a2 * B^2k + a1 * B^k + a0, as a polynomial in B^k.
class Thirds {
public:
    Thirds(const LimbKernels& kernels, const Limb* a, size_t n, size_t k)
        : m_kernels(kernels), m_a0(a), m_a1(a + k), m_a2(a + 2 * k), m_k(k), m_top(n - 2 * k) {}

    /// The values at 1 and, in magnitude, -1, of k + 1 limbs each; true when the latter is
    /// negative.
    bool atOnes(Limb* plus, Limb* minus) const {
        const Limb carry = m_kernels.add(plus, m_a0, m_a2, m_top);
        plus[m_k] = addLimb(plus + m_top, m_a0 + m_top, m_k - m_top, carry);
        const bool isNegative = plus[m_k] == 0 && compare(plus, m_a1, m_k) < 0;
        if (isNegative) {
            minus[m_k] = 0;
            m_kernels.subtract(minus, m_a1, plus, m_k);
        } else {
            minus[m_k] = plus[m_k] - m_kernels.subtract(minus, plus, m_a1, m_k);
        }
        plus[m_k] += m_kernels.add(plus, plus, m_a1, m_k);
        return isNegative;
    }

    /// From the value at 1 the one at 2: 2 * (a(1) + a2) - a0.
    void onesToTwo(Limb* r) const {
        const Limb carry = m_kernels.add(r, r, m_a2, m_top);
        addLimb(r + m_top, r + m_top, m_k + 1 - m_top, carry);
        shiftLeft(r, r, m_k + 1, 1);
        r[m_k] -= m_kernels.subtract(r, r, m_a0, m_k);
    }

private:
    const LimbKernels& m_kernels;
    const Limb* m_a0;
    const Limb* m_a1;
    const Limb* m_a2;
    size_t m_k;
    size_t m_top;
};

/// a[an] += b[bn], for an >= bn and a sum that fits.
void addInto(const LimbKernels& kernels, Limb* a, size_t an, const Limb* b, size_t bn) {
    addLimb(a + bn, a + bn, an - bn, kernels.add(a, a, b, bn));
}

/// a[an] -= b[bn], for a >= b.
void subtractFrom(const LimbKernels& kernels, Limb* a, size_t an, const Limb* b, size_t bn) {
    subtractLimb(a + bn, a + bn, an - bn, kernels.subtract(a, a, b, bn));
}

} // namespace

// Values at 0, 1, -1, 2 and infinity; interpolation in Bodrato's sequence, where no intermediate
// value is negative.
void multiplyToom3(const LimbKernels& kernels, Limb* r, const Limb* a, const Limb* b, size_t n,
                   Limb* scratch) noexcept {
    const size_t k = (n + 2) / 3;
    const size_t top = n - 2 * k;
    const size_t length = 2 * k + 2; // of a value
    Limb* const atOne = scratch;
    Limb* const atMinusOne = atOne + length;
    Limb* const atTwo = atMinusOne + length;
    Limb* const aValue = atTwo + length;
    Limb* const bValue = aValue + k + 1;
    scratch = bValue + k + 1;

    const Thirds aThirds(kernels, a, n, k);
    bool isNegative = aThirds.atOnes(aValue, r);
    if (a == b) {
        isNegative = false;
        multiplyBalanced(kernels, atOne, aValue, aValue, k + 1, scratch);
        multiplyBalanced(kernels, atMinusOne, r, r, k + 1, scratch);
        aThirds.onesToTwo(aValue);
        multiplyBalanced(kernels, atTwo, aValue, aValue, k + 1, scratch);
    } else {
        const Thirds bThirds(kernels, b, n, k);
        isNegative ^= bThirds.atOnes(bValue, r + k + 1);
        multiplyBalanced(kernels, atOne, aValue, bValue, k + 1, scratch);
        multiplyBalanced(kernels, atMinusOne, r, r + k + 1, k + 1, scratch);
        aThirds.onesToTwo(aValue);
        bThirds.onesToTwo(bValue);
        multiplyBalanced(kernels, atTwo, aValue, bValue, k + 1, scratch);
    }
    Limb* const atInfinity = r + 4 * k;
    multiplyBalanced(kernels, r, a, b, k, scratch);
    multiplyBalanced(kernels, atInfinity, a + 2 * k, b + 2 * k, top, scratch);

    // The comments give what the left side holds, of the coefficients c0 to c4.
    if (isNegative) {
        kernels.add(atTwo, atTwo, atMinusOne, length);
        kernels.add(atMinusOne, atOne, atMinusOne, length);
    } else {
        kernels.subtract(atTwo, atTwo, atMinusOne, length);
        kernels.subtract(atMinusOne, atOne, atMinusOne, length);
    }
    divideByThree(atTwo, atTwo, length);                       // c1 + c2 + 3 c3 + 5 c4
    shiftRight(atMinusOne, atMinusOne, length, 1);             // c1 + c3
    subtractFrom(kernels, atOne, length, r, 2 * k);            // c1 + c2 + c3 + c4
    kernels.subtract(atTwo, atTwo, atOne, length);             // 2 c3 + 4 c4
    shiftRight(atTwo, atTwo, length, 1);                       // c3 + 2 c4
    kernels.subtract(atOne, atOne, atMinusOne, length);        // c2 + c4
    subtractFrom(kernels, atOne, length, atInfinity, 2 * top); // c2
    subtractFrom(kernels, atTwo, length, atInfinity, 2 * top); // c3 + c4
    subtractFrom(kernels, atTwo, length, atInfinity, 2 * top); // c3
    kernels.subtract(atMinusOne, atMinusOne, atTwo, length);   // c1

    std::copy(atOne, atOne + 2 * k, r + 2 * k);
    addLimb(atInfinity, atInfinity, 2 * top, atOne[2 * k]);
    addInto(kernels, r + k, 2 * n - k, atMinusOne, 2 * k + 1);
    addInto(kernels, r + 3 * k, 2 * n - 3 * k, atTwo, std::min(2 * k + 1, 2 * n - 3 * k));
}

size_t toom3Scratch(const LimbKernels& kernels, size_t n, bool isSquare) noexcept {
    const size_t k = (n + 2) / 3;
    return 8 * k + 8 +
           std::max({balancedScratch(kernels, k + 1, isSquare),
                     balancedScratch(kernels, k, isSquare),
                     balancedScratch(kernels, n - 2 * k, isSquare)});
}

} // namespace qx::math::detail
