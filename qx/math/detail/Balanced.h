#pragma once

#include <qx/math/detail/LimbKernels.h>

/// Multiplication of operands of equal length, by the algorithm that suits the length. Where the
/// operands are the same array, every algorithm passes that on to its smaller products, which end
/// as squares. None of these allocates.
namespace qx::math::detail {

/// r[2n] = a * b for n >= 1, with balancedScratch(kernels, n, a == b) limbs of scratch.
void multiplyBalanced(const LimbKernels& kernels, Limb* r, const Limb* a, const Limb* b, size_t n,
                      Limb* scratch) noexcept;
size_t balancedScratch(const LimbKernels& kernels, size_t n, bool isSquare) noexcept;

/// Karatsuba's algorithm: three products of half the length, n^1.585. n >= 2.
void multiplyKaratsuba(const LimbKernels& kernels, Limb* r, const Limb* a, const Limb* b, size_t n,
                       Limb* scratch) noexcept;
size_t karatsubaScratch(const LimbKernels& kernels, size_t n, bool isSquare) noexcept;

/// Toom and Cook's algorithm in three parts: five products of a third of the length, n^1.465.
/// n >= 5.
void multiplyToom3(const LimbKernels& kernels, Limb* r, const Limb* a, const Limb* b, size_t n,
                   Limb* scratch) noexcept;
size_t toom3Scratch(const LimbKernels& kernels, size_t n, bool isSquare) noexcept;

} // namespace qx::math::detail
