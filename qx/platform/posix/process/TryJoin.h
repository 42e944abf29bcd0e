#pragma once

#include <qx/platform/types.h>

namespace qx::platform {

/// Joins a thread that has ended; false, with nothing changed, for one that runs.
bool tryJoin(QXHandle thread) noexcept;

} // namespace qx::platform
