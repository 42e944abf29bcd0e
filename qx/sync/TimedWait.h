#pragma once

#include <cstdint>

#include <qx/core/Result.h>

namespace qx::sync {

/// Reads the result of a timed platform wait: true when signalled, false when the time ran out.
/// @throws ResultException for every other negative result
inline bool signalled(int32_t waitResult) {
    return waitResult != result::TimedOut && throwIfFailed(waitResult) == result::Ok;
}

} // namespace qx::sync
