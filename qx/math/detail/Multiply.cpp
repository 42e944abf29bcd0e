#include <qx/math/detail/Multiply.h>

#include <utility>

namespace qx::math::detail {

void multiply(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn) {
    // Long rows: one pass over the longer operand for each limb of the shorter.
    if (an < bn) {
        std::swap(a, b);
        std::swap(an, bn);
    }
    r[an] = multiplyLimb(r, a, an, b[0]);
    for (size_t i = 1; i < bn; ++i)
        r[an + i] = addProduct(r + i, a, an, b[i]);
}

void square(Limb* r, const Limb* a, size_t n) { multiply(r, a, n, a, n); }

} // namespace qx::math::detail
