#pragma once

#include <cstddef>
#include <cstdint>

namespace qx::platform {

/// Fills the buffer with unpredictable bytes; the result code.
int32_t randomBytes(void* buffer, size_t length) noexcept;

} // namespace qx::platform
