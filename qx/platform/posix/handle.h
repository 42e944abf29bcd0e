#pragma once

#include <qx/platform/types.h>

namespace qx::platform {

/// The handle that stands for none.
inline constexpr QXHandle NoHandle = ~QXHandle{0};

} // namespace qx::platform
