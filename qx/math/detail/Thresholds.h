#pragma once

#include <cstddef>

/// Lengths in limbs from which on the better algorithm for long operands takes over.
namespace qx::math::detail {

constexpr size_t DivideRecursiveThreshold = 60;

/// Chunks of digits that are read or written one by one; more are cut in two.
constexpr size_t ReadLeafChunks = 30;
constexpr size_t WriteLeafChunks = 30;

} // namespace qx::math::detail
