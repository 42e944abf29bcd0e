#pragma once

#include <memory>

#include <qx/math/detail/Multiply.h>

namespace qx::math::detail {

/// Scratch that the products of one computation share: it grows to what the largest of them needs.
class ProductScratch {
public:
    /// Provides for products of this size.
    /// @throws std::bad_alloc
    void reserve(size_t an, size_t bn) { provide(multiplyScratch(an, bn)); }

    /// As the functions of these names in Multiply.h.
    void multiply(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn) {
        detail::multiply(r, a, an, b, bn, provide(multiplyScratch(an, bn)));
    }
    void square(Limb* r, const Limb* a, size_t n) {
        detail::square(r, a, n, provide(squareScratch(n)));
    }

private:
    Limb* provide(size_t limbs) {
        if (limbs > m_limbs) {
            m_limbs = 0;
            m_block.reset(); // first, so that the two are not there together
            m_block = std::make_unique_for_overwrite<Limb[]>(limbs);
            m_limbs = limbs;
        }
        return m_block.get();
    }

    std::unique_ptr<Limb[]> m_block;
    size_t m_limbs = 0;
};

} // namespace qx::math::detail
