#pragma once

#include <cstddef>
#include <memory>

#include <qx/math/detail/Limbs.h>

namespace qx::math::detail {

/// Limbs for intermediate results, without a value at first: on the stack up to @p InlineLimbs,
/// above that in one block of the heap. It is handed out piece by piece.
template <size_t InlineLimbs>
class Scratch {
public:
    /// Room for @p limbs limbs.
    /// @throws std::bad_alloc
    explicit Scratch(size_t limbs) {
        if (limbs > InlineLimbs) {
            m_block = std::make_unique_for_overwrite<Limb[]>(limbs);
            m_next = m_block.get();
        }
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    /// The next @p limbs limbs; the pieces together are no more than the room.
    Limb* take(size_t limbs) noexcept {
        Limb* const piece = m_next;
        m_next += limbs;
        return piece;
    }

private:
    Limb m_inline[InlineLimbs];
    std::unique_ptr<Limb[]> m_block;
    Limb* m_next = m_inline;
};

} // namespace qx::math::detail
