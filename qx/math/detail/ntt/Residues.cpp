#include "qx/math/detail/ntt/Residues.h"

#include <algorithm>

#include <qx/math/detail/Balanced.h>
#include <qx/math/detail/Divide.h>
#include <qx/math/detail/Multiply.h>
#include <qx/math/detail/Scratch.h>

namespace qx::math::detail {

namespace {

constexpr size_t InlineLimbs = 128;

/// r[n] = a * B^shift mod m.
void remainder(Limb* r, const Limb* a, size_t an, size_t shift, const Limb* m, size_t n) {
    const size_t length = std::max(an + shift, n);
    if (shift == 0 && length == an) {
        divide(nullptr, r, a, an, m, n);
        return;
    }
    Scratch<InlineLimbs> scratch(length);
    Limb* const dividend = scratch.take(length);
    std::fill_n(dividend, shift, 0);
    std::copy_n(a, an, dividend + shift);
    std::fill(dividend + shift + an, dividend + length, 0);
    divide(nullptr, r, dividend, length, m, n);
}

/// r[n] = -a[n] modulo B^n.
void negate(Limb* r, const Limb* a, size_t n) {
    for (size_t i = 0; i < n; ++i)
        r[i] = ~a[i];
    addLimb(r, r, n, 1);
}

bool reducesByRows(size_t n) { return n < limbKernels().thresholds.montgomery; }

} // namespace

size_t DividedResidues::scratchLimbs() const noexcept {
    return 2 * m_length + std::max(multiplyScratch(m_length, m_length), squareScratch(m_length));
}

void DividedResidues::enter(Limb* r, const Limb* a, size_t an) const {
    remainder(r, a, an, 0, m_modulus, m_length);
}

void DividedResidues::multiply(Limb* r, const Limb* a, const Limb* b, Limb* scratch) const {
    detail::multiply(scratch, a, m_length, b, m_length, scratch + 2 * m_length);
    divide(nullptr, r, scratch, 2 * m_length, m_modulus, m_length);
}

MontgomeryResidues::MontgomeryResidues(const Limb* m, size_t n, Limb* inverse,
                                       Limb* scratch) noexcept
    : m_kernels(limbKernels()), m_modulus(m), m_length(n), m_inverse(inverse) {
    invert(scratch);
}

size_t MontgomeryResidues::inverseLimbs(size_t n) noexcept { return reducesByRows(n) ? 1 : n; }

size_t MontgomeryResidues::scratchLimbs(size_t n) noexcept {
    const size_t product = std::max(multiplyScratch(n, n), squareScratch(n));
    if (reducesByRows(n))
        return 2 * n + product;
    // Three products at once in a reduction, and what invert takes.
    size_t limbs = 6 * n + product;
    for (size_t k = 1; k < n; k *= 2) {
        const size_t next = std::min(2 * k, n);
        limbs = std::max(
            {limbs, 5 * k + multiplyScratch(next, k), 5 * k + multiplyScratch(k, next - k)});
    }
    return limbs;
}

// Newton's iteration x = x * (2 - m * x) doubles the limbs that are right.
void MontgomeryResidues::invert(Limb* scratch) noexcept {
    Limb x = m_modulus[0]; // 3 bits are right
    for (int i = 0; i < 5; ++i)
        x *= 2 - m_modulus[0] * x;
    const size_t n = inverseLimbs(m_length);
    m_inverse[0] = x;
    for (size_t k = 1; k < n;) {
        // m * x is 1 + B^k * h, and what x lacks above B^k is -x * h.
        const size_t next = std::min(2 * k, n);
        Limb* const product = scratch;
        Limb* const correction = product + 3 * k;
        detail::multiply(product, m_modulus, next, m_inverse, k, correction + 2 * k);
        detail::multiply(correction, m_inverse, k, product + k, next - k, correction + 2 * k);
        negate(m_inverse + k, correction, next - k);
        k = next;
    }
    negate(m_inverse, m_inverse, n);
}

void MontgomeryResidues::enter(Limb* r, const Limb* a, size_t an) const {
    remainder(r, a, an, m_length, m_modulus, m_length);
}

void MontgomeryResidues::multiply(Limb* r, const Limb* a, const Limb* b,
                                  Limb* scratch) const noexcept {
    Limb* const product = scratch;
    scratch += 2 * m_length;
    multiplyBalanced(m_kernels, product, a, b, m_length, scratch);
    reduce(r, product, scratch);
}

void MontgomeryResidues::leave(Limb* r, Limb* scratch) const noexcept {
    std::copy_n(r, m_length, scratch);
    std::fill_n(scratch + m_length, m_length, 0);
    reduce(r, scratch, scratch + 2 * m_length);
}

void MontgomeryResidues::reduce(Limb* r, Limb* t, Limb* scratch) const noexcept {
    const size_t n = m_length;
    Limb carry;
    if (reducesByRows(n)) {
        m_kernels.montgomeryRows(t, m_modulus, n, *m_inverse);
        carry = m_kernels.add(r, t + n, t, n);
    } else {
        // The multiple of m that cancels the low half of t, which leaves a carry unless that is 0.
        Limb* const factor = scratch;
        Limb* const multiple = factor + 2 * n;
        scratch = multiple + 2 * n;
        detail::multiply(factor, t, n, m_inverse, n, scratch);
        detail::multiply(multiple, factor, n, m_modulus, n, scratch);
        const Limb low = normalizedLength(t, n) != 0 ? 1 : 0;
        carry = addLimb(t + n, t + n, n, low);
        carry += m_kernels.add(r, t + n, multiple + n, n);
    }
    if (carry != 0 || compare(r, m_modulus, n) >= 0)
        m_kernels.subtract(r, r, m_modulus, n);
}

} // namespace qx::math::detail
