#pragma once

#include <cstddef>

namespace qx::platform {

/// Fills the buffer with unpredictable bytes.
void fillRandomly(void* buffer, size_t length);

} // namespace qx::platform
