#pragma once

#include <cstddef>
#include <cstdint>

namespace qx::crypto::detail {

/// The MD5 transformation of @p count blocks of 64 bytes, one after the other.
void transformMD5(uint32_t (&state)[4], const signed char* blocks, size_t count) noexcept;

} // namespace qx::crypto::detail
