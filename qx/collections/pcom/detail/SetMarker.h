#pragma once

namespace qx::collections::pcom {

/// Drops the library's own reference to the value that all sets store, when it is unloaded; sets
/// that are still alive keep theirs.
void releaseSetMarker() noexcept;

} // namespace qx::collections::pcom
