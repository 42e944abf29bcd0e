#pragma once

#include <cxxabi.h>

namespace qx {

/// In a catch clause for anything: true when it has met no exception, but a thread that ends itself
/// or is cancelled. That must be let go.
inline bool isThreadEnding() noexcept { return abi::__cxa_current_exception_type() == nullptr; }

} // namespace qx
