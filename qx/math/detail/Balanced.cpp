#include "qx/math/detail/Balanced.h"

namespace qx::math::detail {

namespace {

enum class Algorithm { Rows, Karatsuba, Toom3, Ntt };

Algorithm choose(const MultiplyThresholds& t, size_t n, bool isSquare) {
    if (n >= (isSquare ? t.nttSquare : t.ntt) && nttApplies(n, n))
        return Algorithm::Ntt;
    if (n >= (isSquare ? t.toom3Square : t.toom3))
        return Algorithm::Toom3;
    return n >= (isSquare ? t.karatsubaSquare : t.karatsuba) ? Algorithm::Karatsuba
                                                             : Algorithm::Rows;
}

} // namespace

void multiplyBalanced(const LimbKernels& kernels, Limb* r, const Limb* a, const Limb* b, size_t n,
                      Limb* scratch) noexcept {
    switch (choose(kernels.thresholds, n, a == b)) {
    case Algorithm::Rows:
        if (a == b)
            kernels.squareRows(r, a, n);
        else
            kernels.multiplyRows(r, a, n, b, n);
        break;
    case Algorithm::Karatsuba:
        multiplyKaratsuba(kernels, r, a, b, n, scratch);
        break;
    case Algorithm::Toom3:
        multiplyToom3(kernels, r, a, b, n, scratch);
        break;
    case Algorithm::Ntt:
        kernels.nttMultiply(r, a, n, b, n, nttPlan(n, n), scratch);
        break;
    }
}

size_t balancedScratch(const LimbKernels& kernels, size_t n, bool isSquare) noexcept {
    switch (choose(kernels.thresholds, n, isSquare)) {
    case Algorithm::Karatsuba:
        return karatsubaScratch(kernels, n, isSquare);
    case Algorithm::Toom3:
        return toom3Scratch(kernels, n, isSquare);
    case Algorithm::Ntt:
        return nttScratch(nttPlan(n, n));
    default:
        return 0;
    }
}

} // namespace qx::math::detail
