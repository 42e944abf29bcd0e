#pragma once

#include <cstdint>
#include <memory>

#include <qx/platform/posix/process/Child.h>

namespace qx::platform {

/// Has the library collect a child of this process for which nobody waits, so that no zombie stays
/// behind when it ends. One small thread does this for all of them, as long as there are any.
/// Unloading the library ends it.
///
/// @return a result code: a failure when that thread cannot be started; the next call tries again
int32_t reapInBackground(std::unique_ptr<Child> child) noexcept;

} // namespace qx::platform
