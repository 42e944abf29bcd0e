#pragma once

#include <qx/math/detail/LimbKernels.h>

/// Multiplication modulo one number, for chains of products: a form of residues, and what was
/// computed from the modulus, are kept from one product to the next. A residue has the length of
/// the modulus; scratch, of scratchLimbs limbs, is the caller's. r may be a or b.
namespace qx::math::detail {

/// Any modulus, normalized and not zero: every product is divided.
class DividedResidues {
public:
    DividedResidues(const Limb* m, size_t n) noexcept : m_modulus(m), m_length(n) {}

    size_t length() const noexcept { return m_length; }
    size_t scratchLimbs() const noexcept;

    /// r = a[an] as a residue, for any an and normalized a.
    void enter(Limb* r, const Limb* a, size_t an) const;
    /// r = a * b.
    void multiply(Limb* r, const Limb* a, const Limb* b, Limb* scratch) const;
    /// r as a number below the modulus.
    void leave(Limb*, Limb*) const noexcept {}

private:
    const Limb* m_modulus;
    size_t m_length;
};

/// An odd modulus: residues are held times B^n for B = 2^64, and products divided by B^n, which
/// takes multiplications only (Montgomery).
class MontgomeryResidues {
public:
    /// @param inverse  room for inverseLimbs limbs
    MontgomeryResidues(const Limb* m, size_t n, Limb* inverse, Limb* scratch) noexcept;

    static size_t inverseLimbs(size_t n) noexcept;
    static size_t scratchLimbs(size_t n) noexcept;
    size_t length() const noexcept { return m_length; }

    void enter(Limb* r, const Limb* a, size_t an) const;
    void multiply(Limb* r, const Limb* a, const Limb* b, Limb* scratch) const noexcept;
    void leave(Limb* r, Limb* scratch) const noexcept;

private:
    void invert(Limb* scratch) noexcept;
    /// r = t[2n] / B^n.
    void reduce(Limb* r, Limb* t, Limb* scratch) const noexcept;

    const LimbKernels& m_kernels;
    const Limb* m_modulus;
    size_t m_length;
    Limb* m_inverse; ///< -1 / m modulo B, or B^n where the reduction is by whole products
};

} // namespace qx::math::detail
