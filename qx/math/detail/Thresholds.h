#pragma once

#include <cstddef>

/// Lengths in limbs from which on the better algorithm for long operands takes over.
namespace qx::math::detail {

constexpr size_t DivideRecursiveThreshold = 60;

} // namespace qx::math::detail
